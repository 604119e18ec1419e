#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The system on kernels that check themselves: the kernel lane, failing allocations,
# coverage-guided fuzzing and leaks on one with every checker (tests/kernel/debug.config);
# power cuts of a machine with CFI flash on a plain one; and faults planted in copies of
# the system, which have to be seen by the checkers.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/kernel-guest.sh
. scripts/parallel.sh

cuts=${MAC_POWER_CUTS:-100}

build_for() {
	use_kernel arm64 "$1"
	lane=$name
	build_all
	build_initramfs
}

# What runs beside something else needs a processor for each.
add_processors() {
	[ "$1" != callers ] || qemu+=(-smp 2)
}

# run_checked RUN SECONDS APPEND...
run_checked() {
	use_kernel arm64 debug
	add_processors "$1"
	lane=$name-$1
	boot "$1" "$2" "$checked" "mac_run=$1" "${@:3}"
	verdict "$1"
}

run_power_cuts() {
	use_kernel arm64 plain
	python3 tests/kernel/power_cuts.py "$cuts" "$build/flash.img" build/results/power-cuts \
		"${qemu[@]}" -accel tcg -m 256 -nic none -nographic -no-reboot \
		-kernel "$(echo "$kernel"/boot/vmlinuz-*)" -initrd "$build/initrd.gz" -append \
		"console=$console panic=-1 loglevel=3 mac_run=power mtdparts=0.flash:512k@64m(manuinfo),512k@65m(u-boot-env)"
}

planted_file=
# plant NAME FILE SED-EXPRESSION: a guest like the others in build/planted/NAME, whose
# modules have that fault.
plant() {
	local planted=$PWD/build/planted
	use_kernel arm64 debug
	lane=planted-$1
	kdir=$kernel/build
	tree=$planted/tree
	mkdir -p "$tree" "$planted/$1"
	git ls-files -z -- sources.mk scripts base config storage core service control platform include |
		xargs -0 cp --parents --preserve=timestamps -t "$tree"
	# The fault before this one is gone again, which by its time nobody would see.
	[ -z "$planted_file" ] || touch "$tree/$planted_file"
	planted_file=$2
	sed -i "$3" "$tree/$2"
	! cmp -s "$2" "$tree/$2" || fail "nothing was planted in $2"
	cp -a "$build/root" "$build/guest" "$planted/$1/"
	stage "$planted/$1/modules.log" "planted-$1: modules" "$tree/scripts/build-modules.sh" "$kdir" "$planted/modules" "${kbuild[@]}"
	cp "$planted"/modules/mac_{mng,platform}.ko "$planted/$1/root/modules/"
	root=$planted/$1/root
	build=$planted/$1
	pack_initramfs
}

# run_planted NAME RUN SECONDS APPEND...: a run that passes with what was planted.
run_planted() {
	use_kernel arm64 debug
	add_processors "$2"
	build=$PWD/build/planted/$1
	lane=planted-$1
	boot "$2" "$3" "$checked" "mac_run=$2" "${@:4}"
	verdict "$2"
}

# must_be_seen NAME RUN REPORT APPEND...: the run has to fail, and the report to be there.
must_be_seen() {
	local status=0
	(run_planted "$1" "$2" 600 "${@:4}") || status=$?
	use_kernel arm64 debug
	build=$PWD/build/planted/$1
	lane=planted-$1
	rm -f "build/results/$lane" # a failure here is what was to come
	if [ "$status" -eq 0 ]; then
		echo "the run passes with the fault planted"
		return 1
	fi
	grep -m 1 -E "$3" "$build/$2.guest" || { echo "no report like \"$3\""; return 1; }
}

passed=0 failed=0
finished() {
	if [ "$2" -eq 0 ]; then
		passed=$((passed + 1))
		echo "ok      $1: $(grep -E "$summary" "$jobs/$1.log" | tail -n 1)"
	else
		failed=$((failed + 1))
		echo "not ok  $1:"
		tail -n 60 "$jobs/$1.log"
	fi
}
summary='^# [0-9]+ passed|cuts in|BUG:|circular|objects leak'

jobs=build/debug-jobs
rm -rf build/planted
mkdir -p $jobs
build_for debug
build_for plain
plant bounds core/mac_area.cc 's/platform_kept_zalloc(u64{size} + mac::kRecordSlack)/platform_kept_zalloc(u64{size} \/ 2)/'
plant leak core/mac_data.cc '/^void mac_data_remove/,/^}/{/mac::free_later(mng);/d}'
plant order service/mac_func.cc \
	's/^    const mac::SpinGuard guard(config->lock);/    { const mac::SpinGuard first(g_mac_func.lock); const mac::SpinGuard second(config->lock); }\n&\n    const mac::SpinGuard third(g_mac_func.lock);/'
plant sleep service/mac_func.cc \
	's/^    const mac::SpinGuard guard(config->lock);/&\n    platform_free(platform_zalloc(8));/; s/^#include "base\/log.h"/&\n#include "platform\/memory.h"/'
plant early platform/linux/mng/mng_reclaim.c \
	's/call_srcu(&calls, (struct rcu_head \*)record, release_record);/release_record((struct rcu_head *)record);/'
# No fault: a kernel without sleepable RCU.
plant counter platform/linux/compat.h 's/^#define COMPAT_SRCU$//'
echo "== kernel-arm64-debug: running"
start callers run_checked callers 1800 kmemleak=off "mac_rounds=${MAC_CALLER_ROUNDS:-10000}"
# Without leak detection where it is not used, for it takes half a minute to start.
start failures run_checked failures 1200 kmemleak=off
start test run_checked test 1200 kmemleak=off
start power-cuts run_power_cuts
start leaks run_checked leaks 600
start fuzz run_checked fuzz 600 kmemleak=off
start planted-leak must_be_seen leak leaks 'not ok .* objects leak'
start planted-bounds must_be_seen bounds commands 'BUG: KASAN: slab-out-of-bounds' kmemleak=off
start planted-order must_be_seen order commands 'possible circular locking dependency' kmemleak=off
start counter run_planted counter callers 600 kmemleak=off mac_rounds=1000
start planted-early must_be_seen early callers 'BUG: KASAN: (slab-)?use-after-free' kmemleak=off mac_rounds=1000
start planted-sleep must_be_seen sleep commands 'BUG: sleeping function called' kmemleak=off
finish_all
# varies ROW RUN EXPRESSION: the sum of the numbers that sed finds in what a run has said.
varies() {
	scripts/evidence.py varies "$1" "$(sed -nE "$3" "$jobs/$2.log" | awk '{ sum += $1 } END { print sum + 0 }')"
}
varies "failing points of commands and of loading, in the kernel" failures \
	's/.*: ([0-9]+) points failed in turn.*/\1/p'
varies "power cuts of the machine" power-cuts 's/^([0-9]+) cuts in .*/\1/p'
varies "calls guided by the kernel's coverage" fuzz 's/.* - ([0-9]+) calls, .*/\1/p'
echo "$passed $failed" >build/results/kernel-debug
echo "== kernel-arm64-debug: $passed passed, $failed failed"
[ "$failed" -eq 0 ]

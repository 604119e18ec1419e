#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The gate of module builds (check-modules.sh) held against a module with one fault each,
# built for Debian's arm64 kernel: each has to be refused with its object and flag, and the
# module without a fault has to pass.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/kernel-guest.sh
. scripts/verdict.sh

use_kernel arm64 6.1
lane="module-gate"
build=$PWD/build/module-gate
fetch_all
kdir=$(echo "$kernel"/usr/src/linux-headers-*-"$arch")

# build_gate NAME FLAGS: the module with these flags. A kernel of old only warns of symbols
# that nobody has, and so does this build.
build_gate() {
	rm -rf "${build:?}/$1"
	mkdir -p "$build/$1"
	cp tests/kernel/gate/* "$build/$1/"
	make -C "$kdir" M="$build/$1" "ARCH=$kbuild_arch" "CROSS_COMPILE=$cross" KBUILD_MODPOST_WARN=1 \
		MAC_GATE_FLAGS="$2" modules >"$build/$1/build.log" 2>&1 || {
		tail -n 20 "$build/$1/build.log" >&2
		fail "the module \"$1\" does not build"
	}
}

# gate NAME [KDIR]: what the gate says of it.
gate() {
	local said
	if said=$(scripts/check-modules.sh "${2:-$kdir}" "$build/$1" 2>&1); then
		echo "passes$said"
	else
		echo "$said"
	fi
}

quiet="-fno-asynchronous-unwind-tables -fno-unwind-tables"
build_gate clean "$quiet"
verdict_is "a module without a fault" passes "$(gate clean)"
build_gate tables -fasynchronous-unwind-tables
verdict_is "without the flags against unwind tables" \
	"check-modules: mac_gate.ko: gate_main.o, gate_part.o: .eh_frame: compiled without -fno-asynchronous-unwind-tables -fno-unwind-tables" \
	"$(gate tables)"
build_gate coverage "$quiet -fsanitize-coverage=trace-pc"
verdict_is "with coverage on a kernel that has none" \
	"check-modules: mac_gate.ko: gate_main.o, gate_part.o: __sanitizer_cov_trace_pc: compiled with -fsanitize-coverage, and this kernel has no KCOV" \
	"$(gate coverage)"
build_gate undefined "$quiet -DGATE_UNDEFINED"
verdict_is "with a symbol that nobody exports" \
	"check-modules: mac_gate.ko: gate_part.o: mac_gate_nowhere: neither the kernel nor a platform service exports it" \
	"$(gate undefined)"
build_gate constructor "$quiet -DGATE_CONSTRUCTOR"
verdict_is "with a static constructor" \
	"check-modules: mac_gate.ko: gate_part.o: .init_array: a static object with a constructor, which kernels do not run; compile it with constinit" \
	"$(gate constructor)"
build_gate distance "$quiet -DGATE_DISTANCE"
verdict_is "with a distance among its constants" \
	"check-modules: mac_gate.ko: gate_part.o: R_AARCH64_PREL32 in .rodata: a table of distances, which kernels before 4.5 refuse; compiled without -fno-jump-tables or with -fpic" \
	"$(gate distance)"

# A kernel that checks its memory runs the constructors of the checker, and no others.
checking=$build/kernel-checking
mkdir -p "$checking/include/config"
cp "$kdir/include/config/kernel.release" "$checking/include/config/"
{ cat "$kdir/include/config/auto.conf" && echo CONFIG_CONSTRUCTORS=y; } >"$checking/include/config/auto.conf"
checked="$quiet -fsanitize=kernel-address"
build_gate checked "$checked"
"${cross}readelf" -sW "$build/checked/mac_gate.ko" | awk '$7 == "UND" && $8 ~ /^__asan_/ { print "0x0\t" $8 "\tvmlinux\tEXPORT_SYMBOL" }' |
	cat "$kdir/Module.symvers" - >"$checking/Module.symvers"
verdict_is "with the constructors of the kernel's checker" passes "$(gate checked "$checking")"
build_gate checked-constructor "$checked -DGATE_CONSTRUCTOR"
verdict_is "with a static constructor beside those of the checker" \
	"check-modules: mac_gate.ko: gate_part.o: .init_array: a static object with a constructor, which kernels do not run; compile it with constinit" \
	"$(gate checked-constructor "$checking")"

# What a kernel's own macros make is refused where that kernel cannot load it.
old=$build/kernel-4.4
mkdir -p "$old/include/config"
cp "$kdir/Module.symvers" "$old/"
echo 4.4.0 >"$old/include/config/kernel.release"
: >"$old/include/config/auto.conf"
verdict_is "an export by a distance on 4.4" \
	"check-modules: mac_gate.ko: gate_main.o: R_AARCH64_PREL32 in __ksymtab, which this kernel does not load" \
	"$(gate clean "$old")"

end_verdicts module-gate

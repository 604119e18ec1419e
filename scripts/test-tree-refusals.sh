#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# What "make test-kernel KERNEL=PATH" says of a path that is no kernel source it can build,
# and of options that a tree lacks.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/kernel-guest.sh
. scripts/kernel-tree.sh
. scripts/verdict.sh

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p build/results

# tree NAME VERSION PATCHLEVEL: a folder that looks like a kernel source.
tree() {
	mkdir -p "$work/$1/arch/arm64"
	touch "$work/$1/Kconfig"
	printf 'VERSION = %s\nPATCHLEVEL = %s\nSUBLEVEL = 9\nEXTRAVERSION =\n' "$2" "$3" >"$work/$1/Makefile"
}

# said PATH [LEVEL]: the sentence and the exit status.
said() {
	local status=0 text
	text=$(scripts/test-kernel-tree.sh "$@" 2>&1) || status=$?
	echo "$text ($status)"
}

verdict_is "no folder" "test-kernel: there is no folder $work/absent (2)" "$(said "$work/absent")"
mkdir "$work/empty"
verdict_is "an empty folder" "test-kernel: $work/empty is no kernel source: it has no Makefile (2)" "$(said "$work/empty")"
tree other "" ""
verdict_is "another project's source" \
	"test-kernel: $work/other is no kernel source: its Makefile has no VERSION and PATCHLEVEL (2)" "$(said "$work/other")"
tree older 4 3
verdict_is "an older line" "test-kernel: $work/older is Linux 4.3.9; the modules are for 4.4 and later (2)" "$(said "$work/older")"
tree oldest 3 18
verdict_is "a much older line" "test-kernel: $work/oldest is Linux 3.18.9; the modules are for 4.4 and later (2)" "$(said "$work/oldest")"
for trace in .config include/config arch/arm64/include/generated; do
	tree "built-${trace##*/}" 4 4
	mkdir -p "$work/built-${trace##*/}/$trace"
	verdict_is "a tree built in place: $trace" \
		"test-kernel: $work/built-${trace##*/} was built in place (it has $trace): name a source as it was unpacked, or run \"make mrproper\" in it (2)" \
		"$(said "$work/built-${trace##*/}")"
done
tree fine 6 1
verdict_is "a kernel by clang" "test-kernel: LLVM is \"1\": the modules are for kernels that gcc built (2)" "$(LLVM=1 said "$work/fine")"
tree clang 6 1
mkdir -p "$work/clang/include/config"
printf 'CONFIG_CC_IS_CLANG=y\nCONFIG_CFI_CLANG=y\n' >"$work/clang/include/config/auto.conf"
found=$(scripts/build-modules.sh "$work/clang" "$work/modules" 2>&1) || found="$found ($?)"
verdict_is "modules for a kernel by clang" \
	"build-modules: $work/clang was built by clang, and the modules are for kernels that gcc built: g++ neither takes clang's flags nor makes the checks of indirect calls (CFI) that such a kernel expects of every object (1)" \
	"$found"
verdict_is "another level" "test-kernel: LEVEL is \"most\", expected lean or debug (2)" "$(said "$work/fine" most)"

# Options: one that the tree has, one that it keeps off, one that it has never heard of.
tree_path=$work/fine
kernel=$work/kernel
mkdir -p "$kernel/build"
printf 'config TTY\nconfig KPROBES\n\tbool\nmenuconfig MTD\n' >"$tree_path/Kconfig"
printf 'CONFIG_TTY=y\nCONFIG_KPROBES=y\nCONFIG_NVMEM_SYSFS=y\n' >"$kernel/config"
printf 'CONFIG_TTY=y\n# CONFIG_KPROBES is not set\n' >"$kernel/build/.config"
cp "$kernel/config" "$work/wanted"
grep TTY "$work/wanted" >"$kernel/config"
lacking "$kernel/config"
verdict_is "a tree that lacks nothing" "" "$(say_left_out)"
cp "$work/wanted" "$kernel/config"
lacking "$kernel/config"
verdict_is "options that a tree lacks" "-- CONFIG_KPROBES stays off here: loads in which each call fails in turn
-- CONFIG_NVMEM_SYSFS is unknown here: nothing: before 5.4 it is always there" "$(say_left_out)"
lane="tree-refusals"
verdict_is "nothing is missing that all tests need" "" "$(must_be_testable 2>&1)"
echo 'CONFIG_MTD=y' >>"$kernel/config"
lacking "$kernel/config"
verdict_is "without flash nothing can be tested" \
	"$lane: $tree_path cannot be tested: CONFIG_MTD stays off, and without it there is no flash" "$(must_be_testable 2>&1)"

# Checkers whose other half the tree has in another form.
cross=aarch64-linux-gnu-
mkdir -p "$tree_path/mm/kasan" "$kernel/build/lib"
echo CONFIG_KASAN=y >"$kernel/build/.config"
echo 'void use(int *); int sum(int *a) { int b[9]; use(b); return a[2] + b[1]; }' |
	tee "$kernel/build/lib/vsprintf.c" >"$kernel/build/lib/cmdline.c"
for part in vsprintf cmdline; do
	"${cross}gcc" -O2 -fsanitize=kernel-address --param asan-stack=1 -c -o "$kernel/build/lib/$part.o" "$kernel/build/lib/$part.c"
done
echo "void __asan_handle_no_return(void)" >"$tree_path/mm/kasan/kasan.c"
verdict_is "a checker that the tree has in another form" "__asan_load4_noabort" "$(missing_half KASAN __asan_ mm/kasan)"
printf '__asan_load##size __asan_report_load##size##_noabort __asan_stack_malloc_ __asan_store' >>"$tree_path/mm/kasan/kasan.c"
verdict_is "a checker that the tree has" "" "$(missing_half KASAN __asan_ mm/kasan)"
verdict_is "a checker that is off" "" "$(missing_half UBSAN __ubsan_ lib/ubsan.c)"

verdict_is "modules without headers" \
	"$work/absent is no kernel tree and no headers: install linux-headers-$(uname -r), or name a tree with KDIR= (1)" \
	"$(status=0; text=$(scripts/build-modules.sh "$work/absent" "$work/modules" 2>&1) || status=$?; echo "$text ($status)")"

end_verdicts tree-refusals

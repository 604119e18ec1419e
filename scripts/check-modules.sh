#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The gate of every module build: what no loader of modules takes, or takes only on some
# kernels, is found in the modules of a folder on the day it gets there, whichever kernel
# they were built for. Each finding names the module, the objects and the flag.
#
#   check-modules.sh KDIR FOLDER [SYMVERS ...]
#
# SYMVERS: lists of what further modules export, beside FOLDER's own.
set -eu
kdir=$1
folder=$2
shift 2
readelf=${READELF:-readelf}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
configuration=$kdir/include/config/auto.conf

# complain TEST ARGUMENT TEXT: with the objects that the test is true of.
complain() {
	echo "check-modules: $name: $(objects_with "$1" "$2"): $3" >&2
	echo "$name" >>"$work/refused"
}

# objects: those that $name was put together from, as Kbuild's files tell, or the one that
# it is.
objects() {
	local base=${name%.ko} object
	cat "$folder/$base.mod" "$folder/.$base.o.cmd" >"$work/told" 2>/dev/null || true
	find "$folder" -name '*.o' -not -name '*.mod.o' | sort | while read -r object; do
		[ -e "${object%.o}.ko" ] || ! grep -qF "${object#"$folder"/}" "$work/told" || echo "$object"
	done >"$work/parts"
	if [ -s "$work/parts" ]; then cat "$work/parts"; else echo "$folder/$base.o"; fi
}

# objects_with TEST ARGUMENT: the names of those for which the command is true, in one line.
objects_with() {
	objects | while read -r object; do
		! "$1" "$object" "$2" || printf '%s ' "${object#"$folder"/}"
	done | sed 's/ $//; s/ /, /g'
}

has_option() { grep -q "^$1=y" "$configuration"; }

# sections FILE: the names of those that are loaded.
sections() {
	"$readelf" -SW "$1" | sed -n 's/^ *\[ *[0-9]*\] //p' | awk '$7 ~ /A/ { print $1 }'
}
has_section() { sections "$1" | grep -qxF "$2"; }

# has_own_entry OBJECT SECTION: more constructors than a checker's, which have names of its own.
has_own_entry() {
	has_section "$1" "$2" || return 1
	[ "$("$readelf" -rW "$1" | awk -v "section='.rela$2'" '
		/^Relocation section/ { inside = $3 == section; next }
		inside && /R_/ { count++ }
		END { print count + 0 }')" -gt \
		"$("$readelf" -sW "$1" | grep -cE " _sub_$(case $2 in .init* | .c*) echo I ;; *) echo D ;; esac)_[0-9]+_[0-9]+\$" || true)" ]
}

# needs FILE: the symbols that others have to export.
needs() {
	"$readelf" -sW "$1" | awk '$7 == "UND" && $5 == "GLOBAL" && $8 != "" { print $8 }' | sort -u
}
needs_symbol() { needs "$1" | grep -qxF "$2"; }

# relative FILE: "SECTION TYPE" of relocations that are distances from their own place.
relative() {
	"$readelf" -rW "$1" | awk '
		/^Relocation section/ { section = $3; gsub(/\047/, "", section); sub(/^\.rela?/, "", section); next }
		$3 ~ /^R_AARCH64_PREL(16|32|64)$/ { print section, $3 }' | sort -u
}
# The sections of an object have longer names than those that the module has of them.
has_relative() {
	relative "$1" | awk -v "section=${2% *}" -v "type=${2#* }" \
		'index($1, section) && $2 == type { found = 1 } END { exit !found }'
}

# flag_of SYMBOL: what makes a compiler call it.
flag_of() {
	case $1 in
	__sanitizer_cov_*) echo "compiled with -fsanitize-coverage, and this kernel has no KCOV" ;;
	__asan_* | __hwasan_*) echo "compiled with -fsanitize=kernel-address, and this kernel has no KASAN" ;;
	__cfi_* | __ubsan_handle_cfi*) echo "compiled with -fsanitize=cfi, and this kernel has none" ;;
	__ubsan_*) echo "compiled with -fsanitize=undefined, and this kernel has no UBSAN" ;;
	__tsan_*) echo "compiled with -fsanitize=thread, and this kernel has no KCSAN" ;;
	__stack_chk_*) echo "compiled with -fstack-protector, and this kernel has none" ;;
	_mcount | __fentry__) echo "compiled with -pg, and this kernel traces no functions" ;;
	__gcov_* | llvm_gcov_*) echo "compiled with -fprofile-arcs, and this kernel has no GCOV" ;;
	__aarch64_*) echo "compiled without -mno-outline-atomics" ;;
	__cxa_* | __dso_handle | atexit) echo "compiled without -fno-use-cxa-atexit or -fno-threadsafe-statics" ;;
	__gxx_personality_v0 | _Unwind_*) echo "compiled without -fno-exceptions" ;;
	_ZTI* | _ZTV*) echo "compiled without -fno-rtti" ;;
	*) echo "neither the kernel nor a platform service exports it$(if has_option CONFIG_TRIM_UNUSED_KSYMS; then echo " (this kernel was built with TRIM_UNUSED_KSYMS, which takes out what its own modules do not need)"; fi)" ;;
	esac
}

check_sections() {
	local section
	! sections "$1" | grep -q '^\.eh_frame' ||
		complain has_section .eh_frame ".eh_frame: compiled without -fno-asynchronous-unwind-tables -fno-unwind-tables"
	for section in .init_array .ctors .fini_array .dtors; do
		has_section "$1" "$section" || continue
		if [ -n "$(objects_with has_own_entry $section)" ]; then
			complain has_own_entry $section "$section: a static object with a constructor, which kernels do not run; compile it with constinit"
		elif ! has_option CONFIG_CONSTRUCTORS; then
			complain has_section $section "$section: a checker's constructor, which this kernel does not run"
		fi
	done
}

check_symbols() {
	local symbol
	needs "$1" | comm -23 - "$work/exported" >"$work/missing"
	while read -r symbol; do
		complain needs_symbol "$symbol" "$symbol: $(flag_of "$symbol")"
	done <"$work/missing"
}

# Whether this kernel's own macros make such relocations in a section, and it can load them.
kernel_makes() {
	[ "$release" -ge 405 ] || return 1
	case $1 in
	__ksymtab*) has_option CONFIG_HAVE_ARCH_PREL32_RELOCATIONS ;;
	__bug_table) has_option CONFIG_GENERIC_BUG_RELATIVE_POINTERS ;;
	__jump_table) has_option CONFIG_HAVE_ARCH_JUMP_LABEL_RELATIVE ;;
	__ex_table) [ "$release" -ge 406 ] ;;
	*) true ;;
	esac
}

check_relocations() {
	local section type
	relative "$1" >"$work/relative"
	while read -r section type; do
		case $section in
		.text* | .init.text | .exit.text | .rodata* | .data*)
			complain has_relative "$section $type" "$type in $section: a table of distances, which kernels before 4.5 refuse; compiled without -fno-jump-tables or with -fpic" ;;
		.debug* | .eh_frame*) ;;
		*)
			kernel_makes "$section" ||
				complain has_relative "$section $type" "$type in $section, which this kernel does not load" ;;
		esac
	done <"$work/relative"
}

# Version 4.4 is 404.
release=$(sed -n 's/^\([0-9]*\)\.\([0-9]*\).*/\1 \2/p' "$kdir/include/config/kernel.release" | awk '{ print $1 * 100 + $2 }')
if [ -s "$kdir/Module.symvers" ]; then
	find "$kdir/Module.symvers" "$folder" "$@" -maxdepth 1 -name Module.symvers -exec awk '{ print $2 }' {} + |
		sort -u >"$work/exported"
fi
: >"$work/refused"
for module in "$folder"/*.ko; do
	name=$(basename "$module")
	check_sections "$module"
	[ ! -e "$work/exported" ] || check_symbols "$module"
	check_relocations "$module"
done
[ -e "$work/exported" ] || echo "check-modules: $kdir has no Module.symvers: what the modules need of the kernel was not looked at" >&2
[ ! -s "$work/refused" ]

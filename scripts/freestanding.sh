#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The gate of the system's objects: with every compiler and architecture they
# compile freestanding, need nothing but the declared platform operations and the
# four memory routines, use no floating-point register, and bring no static
# constructor, destructor or exception table.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/parallel.sh

sources=$(sed -n '/^MAC_MNG_SOURCES/,/[^\\]$/p' sources.mk | grep -oE '[a-z0-9_/]+\.cc')
flags="-std=gnu++20 -O2 -ffreestanding -fno-exceptions -fno-rtti -nostdlib -fno-threadsafe-statics
	-fno-use-cxa-atexit -fno-asynchronous-unwind-tables -fno-pic -mgeneral-regs-only
	-Wall -Wextra -Wshadow -Wconversion -Werror -I. -Iinclude"

# Every function that a platform header declares.
declared=$(sed -e 's:/\*.*\*/::' -e '/^\/\*/,/\*\//d' platform/*.h |
	grep -oE '\b[a-z][a-z0-9_]+\(' | tr -d '(' | sort -u)
# shellcheck disable=SC2086 # several words
allowed=$(printf '%s\n' $declared memcpy memmove memset memcmp | sort -u)

failures=0
complain() {
	echo "FAILED  $*"
	failures=$((failures + 1))
}

# compile NAME COMPILER [OPTION ...]: every source, on all processors.
compile() {
	local name=$1 source
	shift
	for source in $sources; do
		# shellcheck disable=SC2086
		start "$name/${source//\//_}" "$@" $flags -c "$source" -o "build/freestanding/$name/${source//\//_}.o"
	done
}
# shellcheck disable=SC2154 # $jobs
finished() {
	[ "$2" -eq 0 ] || { complain "$1"; cat "$jobs/$1.log"; }
}

# check NAME TOOL-PREFIX: what the objects of a compiler need and bring.
check() {
	local name=$1 tools=$2 undefined sections exported out=build/freestanding/$1
	"${tools}ld" -r -o "$out/system.o" "$out"/*.cc.o
	undefined=$("${tools}nm" -u "$out/system.o" | awk '{ print $2 }' | sort -u |
		comm -23 - <(echo "$allowed"))
	[ -z "$undefined" ] || complain "$name: undeclared symbols: $undefined"
	sections=$("${tools}objdump" -h "$out/system.o" |
		grep -oE '\.(init_array|fini_array|ctors|dtors|gcc_except_table)[^ ]*' || true)
	[ -z "$sections" ] || complain "$name: forbidden sections: $sections"
	exported=$("${tools}nm" --defined-only "$out/system.o" | awk '$2 ~ /[TW]/ { print $3 }' |
		grep -cE '^drv_mac_(init|deinit|set_addr|get_addr|set_addr_num|get_addr_num|set_num|get_num|patch_func[12])$' || true)
	[ "$exported" = 10 ] || complain "$name: $exported of the ten exported functions are C symbols"
	echo "checked $name: $(size "$out/system.o" 2>/dev/null | awk 'NR == 2 { print $1 " bytes of text and constants" }')"
}

jobs=build/freestanding
rm -rf $jobs
mkdir -p $jobs/{gcc,clang}-{x86-64,aarch64}
compile gcc-x86-64 g++
compile clang-x86-64 clang++ --target=x86_64-linux-gnu
compile gcc-aarch64 aarch64-linux-gnu-g++
compile clang-aarch64 clang++ --target=aarch64-linux-gnu
finish_all
if [ "$failures" -eq 0 ]; then
	check gcc-x86-64 ""
	check clang-x86-64 ""
	check gcc-aarch64 aarch64-linux-gnu-
	check clang-aarch64 aarch64-linux-gnu-
fi

# The public headers are plain C, for kernel modules and tools.
for header in mac_mng.h mac_ioctl.h mac_status.h; do
	for standard in c11 c17; do
		echo "#include \"mac_mng/$header\"" |
			gcc -std=$standard -Wall -Wextra -Werror -pedantic -Iinclude -fsyntax-only -xc - ||
			complain "include/mac_mng/$header as $standard"
	done
done
for header in platform/*.h; do
	echo "#include \"$header\"" |
		gcc -std=gnu11 -Wall -Wextra -Werror -I. -Iinclude -fsyntax-only -xc - || complain "$header as C"
done

mkdir -p build/results
if [ "$failures" -eq 0 ]; then
	echo "1 0" >build/results/freestanding
	echo "freestanding: passed"
else
	echo "0 1" >build/results/freestanding
	exit 1
fi

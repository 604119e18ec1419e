#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The gates prove themselves: they pass on the system as it is, and builds of it with one
# fault planted in each have to be caught. Each fault stands alone: of all objects only
# that of the planted file differs from the build without a fault.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/stage.sh
# A copy of the tree, built in its own build folder: the same flags and the same relative
# paths, so that ccache has it all where the originals are built.
tree=build/mutants
passed=0 failed=0

# verdict STATUS GOOD BAD
verdict() {
	if [ "$1" -eq 0 ]; then
		echo "ok      $2"
		passed=$((passed + 1))
	else
		echo "not ok  $3"
		failed=$((failed + 1))
	fi
}

# Makes the tree the checkout's. What was another gets a new time: nothing that was built
# from it stays, be it of a run that was broken off.
lay_out() {
	local file
	mkdir -p "$tree"
	git ls-files >"$tree.files"
	(cd "$tree" && find . -path ./build -prune -o -type f -printf '%P\n') |
		grep -vxFf "$tree.files" | (cd "$tree" && xargs -r -d '\n' rm) || true
	while read -r file; do
		cmp -s "$file" "$tree/$file" || cp --parents "$file" "$tree"
	done <"$tree.files"
}

build_plain() { build_in scenarios scenarios -DCMAKE_BUILD_TYPE=Release; }
build_sanitized() {
	build_in gcc-sanitized area_tests -DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE=Debug -DMAC_SANITIZE=ON
}

# objects BUILD: the checksum and name of each.
objects() { (cd "$tree/build/$1" && find . -name '*.o' -type f -exec sha256sum {} + | sort -k 2); }

# Promises kept, and every outcome as in docs/reliability.md.
gate_plain() {
	local programs=$tree/build/scenarios/tests row
	"$programs/scenarios" || return 1
	"$programs/scenarios" --table | grep '^|' >"$tree.table"
	while read -r row; do
		grep -qxF "$row" docs/reliability.md || { echo "not ok  no outcome in docs/reliability.md: $row"; return 1; }
	done <"$tree.table"
}
gate_sanitized() { "$tree/build/gcc-sanitized/tests/area_tests"; }
# What has to be said of a fault.
declare -A telling=([plain]='^not ok' [sanitized]='ERROR: AddressSanitizer')

# build CONFIGURATION
build() { (cd "$tree" && "build_$1") >"$tree.build" || { cat "$tree.build"; exit 1; }; }

# without_fault CONFIGURATION FOLDER
without_fault() {
	local status=0
	build "$1"
	objects "$2" >"$tree.$1"
	"gate_$1" >"$tree.out" 2>&1 || status=1
	verdict "$status" "passes: $1, without a fault" "fails: $1, without a fault"
}

# fault CONFIGURATION FOLDER NAME FILE SED-EXPRESSION: has to be caught by the gate, alone.
fault() {
	local status=0 differ
	sed -i "$5" "$tree/$4"
	! cmp -s "$4" "$tree/$4" || { echo "mutants: nothing was planted in $4" >&2; exit 1; }
	build "$1"
	differ=$(objects "$2" | { diff "$tree.$1" - || true; } | sed -n 's/^> [0-9a-f]* *.*\.dir\///p' | tr '\n' ' ')
	! "gate_$1" >"$tree.out" 2>&1 && grep -q "${telling[$1]}" "$tree.out" || status=1
	verdict "$status" "caught: $3" "not caught: $3"
	grep -m 1 "${telling[$1]}" "$tree.out" | sed 's/^/        for example  /' || true
	status=0
	[ "$differ" = "$4.o " ] || status=1
	verdict "$status" "alone: of all objects only $4.o differs" "not alone: these objects differ: $differ"
	cp "$4" "$tree/$4"
}

mkdir -p build/results
lay_out
without_fault plain scenarios
fault plain scenarios "nothing is repaired" core/mac_data_sync.cc \
	's/return mac_data_copy_write(inst, type, mac::kMainArea, mac::kSpareArea);/return MAC_OK;/'
fault plain scenarios "the spare is written first" core/mac_data_sync.cc \
	'/^u32 mac_data_sync_write/,/^}/{s/u32 result = mac_data_write(inst, type, src);/u32 result = mac_data_copy_write(inst, type, dst, src);/;s/    result = mac_data_copy_write(inst, type, dst, src);/    result = mac_data_write(inst, type, src);/}'
fault plain scenarios "the check value is not compared" storage/formats/mac_qolt.cc \
	's/return MAC_CHECK_MISMATCH;/return MAC_OK;/; s/? MAC_OK : MAC_CHECK_MISMATCH/? MAC_OK : MAC_OK/'
without_fault sanitized gcc-sanitized
fault sanitized gcc-sanitized "records without slack" core/mac_area.cc 's/zalloc(u64{size} + mac::kRecordSlack)/zalloc(u64{size})/'

echo "$passed $failed" >build/results/mutants
echo "== mutants: $passed passed, $failed failed"
[ "$failed" -eq 0 ]

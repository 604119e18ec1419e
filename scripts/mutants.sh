#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The gates prove themselves: builds of the system with one fault planted in each have
# to be caught.
set -euo pipefail
cd "$(dirname "$0")/.."
work=build/mutants
mkdir -p "$work" build/results
passed=0 failed=0

# plant FILE SED-EXPRESSION: in the copy; nothing planted is a failure of this script.
plant() {
	sed -i "$2" "$work/tree/$1"
	! cmp -s "$1" "$work/tree/$1" || { echo "mutants: nothing was planted in $1" >&2; exit 1; }
}

# verdict NAME STATUS: a gate that ends with 0 has not seen the fault.
verdict() {
	if [ "$2" -ne 0 ]; then
		echo "ok      caught: $1"
		passed=$((passed + 1))
	else
		echo "not ok  not caught: $1"
		failed=$((failed + 1))
	fi
}

fresh_tree() {
	mkdir -p "$work/tree"
	git ls-files -z | xargs -0 cp --parents --preserve=timestamps -t "$work/tree"
}

build() {
	local folder=$work/$1 target=$2
	shift 2
	{ cmake -S "$work/tree" -B "$folder" "$@" && cmake --build "$folder" -j "$(nproc)" --target "$target"; } \
		>"$work/build.log" 2>&1 || { tail -n 30 "$work/build.log" >&2; exit 1; }
}

# scenarios NAME FILE SED-EXPRESSION: caught by a promise broken, or by outcomes that
# differ from those in docs/reliability.md.
scenarios() {
	fresh_tree
	plant "$2" "$3"
	build plain scenarios -DCMAKE_BUILD_TYPE=Release
	local status=0
	"$work/plain/tests/scenarios" >"$work/out" 2>&1 || status=$?
	"$work/plain/tests/scenarios" --table >"$work/table"
	grep -qFf <(grep '^| flash |' "$work/table") docs/reliability.md || status=1
	grep -qFf <(grep '^| router_in_crc |' "$work/table") docs/reliability.md || status=1
	verdict "$1" "$status"
	grep -m 1 '^not ok' "$work/out" | sed 's/^not ok/        for example/' || true
}

scenarios "nothing is repaired" core/mac_data_sync.cc \
	's/return mac_data_copy_write(inst, type, mac::kMainArea, mac::kSpareArea);/return MAC_OK;/'
scenarios "the spare is written first" core/mac_data_sync.cc \
	'/^u32 mac_data_sync_write/,/^}/{s/u32 result = mac_data_write(inst, type, src);/u32 result = mac_data_copy_write(inst, type, dst, src);/;s/    result = mac_data_copy_write(inst, type, dst, src);/    result = mac_data_write(inst, type, src);/}'
scenarios "the check value is not compared" storage/formats/mac_qolt.cc \
	's/return MAC_CHECK_MISMATCH;/return MAC_OK;/; s/? MAC_OK : MAC_CHECK_MISMATCH/? MAC_OK : MAC_OK/'

fresh_tree
plant core/mac_data.h 's/kRecordSlack = 16;/kRecordSlack = 0;/'
build sanitized unit_tests -DCMAKE_BUILD_TYPE=Debug -DMAC_SANITIZE=ON
status=0
"$work/sanitized/tests/unit_tests" --gtest_filter='MacData*:MacAddress*:MacMedia*' >"$work/out" 2>&1 || status=$?
verdict "records without slack" "$status"
grep -m 1 'ERROR: AddressSanitizer' "$work/out" | sed 's/^/        for example  /' || true

echo "$passed $failed" >build/results/mutants
echo "== mutants: $passed passed, $failed failed"
[ "$failed" -eq 0 ]

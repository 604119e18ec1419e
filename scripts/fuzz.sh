#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Fuzzers of everything that reads hostile input, MAC_FUZZ_SECONDS (60) each, from the
# committed seeds. An input that breaks something is shown as the line to add to them.
#
#   fuzz.sh [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/stage.sh
. scripts/parallel.sh
build=build/fuzz
seconds=${MAC_FUZZ_SECONDS:-60}
targets=("$@")
[ $# -gt 0 ] || targets=(formats device board_tree env_image board_file identify)
mkdir -p build/results
build_in fuzz "${targets[*]/#/fuzz_}" -DCMAKE_CXX_COMPILER=clang++ -DMAC_FUZZ=ON -DMAC_SANITIZE=ON

# expand TARGET: the seeds as files.
expand() {
	python3 - "tests/fuzz/seeds/$1.hex" "$build/corpus/$1" <<-'END'
		import pathlib
		import sys
		folder = pathlib.Path(sys.argv[2])
		folder.mkdir(parents=True, exist_ok=True)
		lines = [line for line in open(sys.argv[1]) if not line.startswith("#")]
		for number, line in enumerate(lines):
		    (folder / f"seed{number}").write_bytes(bytes.fromhex(line))
	END
	[ "$1" != board_file ] || cp boards/*.xml tests/kernel/*.xml "$build/corpus/$1/"
}

fuzz() {
	"$build/tests/fuzz_$1" -max_total_time="$seconds" -max_len=8192 -timeout=20 -rss_limit_mb=4096 \
		-print_final_stats=1 -artifact_prefix="$build/$1." "$build/corpus/$1"
}

passed=0 failed=0
finished() {
	local runs input
	runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$jobs/$1.log")
	if [ "$2" -eq 0 ]; then
		echo "ok      $1: $runs runs"
		scripts/evidence.py varies "inputs of the fuzzer $1" "$runs"
		passed=$((passed + 1))
		return
	fi
	echo "not ok  $1:"
	grep -E '^fuzz: |^SUMMARY' "$jobs/$1.log" || tail -n 20 "$jobs/$1.log"
	input=$(sed -n 's/.*Test unit written to //p' "$jobs/$1.log")
	[ -z "$input" ] || { od -An -v -tx1 "$input" | tr -d ' \n' && echo; }
	failed=$((failed + 1))
}

rm -rf "$build/corpus"
jobs=$build
for target in "${targets[@]}"; do
	expand "$target"
	start "$target" fuzz "$target"
done
finish_all

echo "$passed $failed" >build/results/fuzz
echo "== fuzz: $passed passed, $failed failed"
[ "$failed" -eq 0 ]

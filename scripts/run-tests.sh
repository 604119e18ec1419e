#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Builds the unit tests in one configuration and runs them, in shards side by side.
#
#   run-tests.sh NAME [CMAKE-OPTION ...]
#
# Shows what the failing ones wrote, and leaves the counts in build/results/NAME as
# "PASSED FAILED".
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/stage.sh
name=$1
shift
build=build/$name
mkdir -p build/results
build_in "$name" unit_tests "$@"

# What ctest says of each shard ("SHARD: LINE"): the lines of each test that failed or did
# not end, then "PASSED SKIPPED".
only_failures() {
	awk '
	match($0, /^[0-9]+: /) {
		shard = substr($0, 1, RLENGTH - 2)
		line = substr($0, RLENGTH + 1)
		if (line ~ /\[ RUN      \] /) {
			running[shard] = ""
			inside[shard] = 1
		}
		if (inside[shard]) running[shard] = running[shard] line "\n"
		if (line ~ /\[       OK \] .*\([0-9]+ ms\)$/) { passed++; inside[shard] = 0 }
		if (line ~ /\[  SKIPPED \] .*\([0-9]+ ms\)$/) { skipped++; inside[shard] = 0 }
		if (line ~ /\[  FAILED  \] .*\([0-9]+ ms\)$/) { printf "%s", running[shard]; inside[shard] = 0 }
	}
	END {
		for (shard in inside) if (inside[shard]) printf "%s(did not end)\n", running[shard]
		print passed + 0, skipped + 0
	}'
}

echo "== $name: running"
started=$SECONDS status=0
ASAN_OPTIONS=detect_stack_use_after_return=1 UBSAN_OPTIONS=print_stacktrace=1 \
	ctest --test-dir "$build" --verbose -j "$(nproc)" >"$build.out" 2>&1 || status=$?
only_failures <"$build.out" >"$build.failures"
read -r passed skipped < <(tail -n 1 "$build.failures")
total=$("$build"/tests/unit_tests --gtest_list_tests | grep -c '^  ')
# Those that a crash left out have failed.
failed=$((total - passed - skipped))
if [ "$status" -ne 0 ] || [ "$failed" -ne 0 ]; then
	sed '$d' "$build.failures" >&2
	[ "$failed" -gt 0 ] || { failed=1 && tail -n 40 "$build.out" >&2; }
	status=1
fi
[ "$skipped" -eq 0 ] || echo "== $name: $skipped skipped"
echo "$passed $failed" >"build/results/$name"
echo "== $name: $passed passed, $failed failed after $((SECONDS - started)) s"
exit "$status"

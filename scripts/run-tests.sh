#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Builds the tests in one configuration and runs them.
#
#   run-tests.sh NAME [CMAKE-OPTION ...]
#
# Writes the counts to build/results/NAME as "PASSED FAILED".
set -eu
name=$1
shift
build=build/$name
mkdir -p build/results
echo "== $name: building"
if ! { cmake -S . -B "$build" "$@" && cmake --build "$build" -j "$(nproc)"; } >"build/$name.log" 2>&1; then
	tail -n 60 "build/$name.log" >&2
	echo "0 1" >"build/results/$name"
	exit 1
fi
echo "== $name: running"
status=0
(
	cd "$build"
	export ASAN_OPTIONS=detect_stack_use_after_return=1
	export UBSAN_OPTIONS=print_stacktrace=1
	ctest --output-on-failure --output-junit junit.xml
) >"build/$name.out" 2>&1 || status=$?
"$build"/tests/unit_tests --gtest_list_tests >"$build/tests.list"
total=$(grep -c '^  ' "$build/tests.list")
failed=$(grep -c '^ *\[  FAILED  \] .*ms)$' "build/$name.out" || true)
if [ "$status" -ne 0 ]; then
	[ "$failed" -gt 0 ] || failed=1
	cat "build/$name.out" >&2
fi
echo "$((total - failed)) $failed" >"build/results/$name"
echo "== $name: $((total - failed)) passed, $failed failed"
exit "$status"

#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Coverage of the system's rooms by the unit tests: every line, and at least 95 % of
# the branches.
set -eu
cd "$(dirname "$0")/.."
# Each source by itself, as gcov looks at them.
scripts/run-tests.sh coverage -DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE=Debug -DMAC_COVERAGE=ON \
	-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON
mkdir -p build/coverage-report
status=0
gcovr --root . --object-directory build/coverage \
	--filter 'base/' --filter 'config/' --filter 'storage/' --filter 'core/' \
	--filter 'service/' --filter 'control/' \
	--exclude-unreachable-branches --exclude-throw-branches \
	--html-details build/coverage-report/index.html \
	--fail-under-line 100 --fail-under-branch 95 --print-summary \
	--txt build/coverage-report/lines.txt >build/coverage-report/summary.txt 2>&1 || status=$?
cat build/coverage-report/lines.txt
tail -n 4 build/coverage-report/summary.txt
[ "$status" -eq 0 ] || echo "coverage: below 100 % of lines or 95 % of branches" >&2
exit "$status"

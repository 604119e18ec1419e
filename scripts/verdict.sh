# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Tests of what a script says: each a line, and the counts at the end. Sourced.
# shellcheck shell=bash

passed=0 failed=0

# verdict_is WHAT EXPECTED FOUND
verdict_is() {
	if [ "$2" = "$3" ]; then
		passed=$((passed + 1))
		echo "ok      $1"
	else
		failed=$((failed + 1))
		printf 'not ok  %s\n  expected: %s\n  found:    %s\n' "$1" "$2" "$3"
	fi
}

# end_verdicts NAME: leaves the counts in build/results/NAME; whether all passed.
end_verdicts() {
	mkdir -p build/results
	echo "$passed $failed" >"build/results/$1"
	echo "== $1: $passed passed, $failed failed"
	[ "$failed" -eq 0 ]
}

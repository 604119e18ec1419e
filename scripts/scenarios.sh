#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Every power cut and every second one in the repair that follows, and every failing
# step; with "--replay ID" one run, step by step. Holds the table of outcomes and the
# numbers of runs in docs/reliability.md against the run ("--write" brings them up to date).
set -eu
cd "$(dirname "$0")/.."
. scripts/stage.sh
build=build/scenarios
mkdir -p build/results
build_in scenarios scenarios -DCMAKE_BUILD_TYPE=Release
[ "${1:-}" != --replay ] || exec $build/tests/scenarios --replay "$2"

begin='<!-- outcomes: made by scripts/scenarios.sh -->'
end='<!-- end of outcomes -->'
$build/tests/scenarios --table >build/outcomes.md
awk -v begin="$begin" -v end="$end" '
	$0 == end { skip = 0 }
	!skip { print }
	$0 == begin { print ""; while ((getline line < "build/outcomes.md") > 0) print line; print ""; skip = 1 }
	' docs/reliability.md >build/reliability.md
if [ "${1:-}" = --write ]; then
	cp build/reliability.md docs/reliability.md
	export MAC_WRITE_EVIDENCE=1
fi
echo "== scenarios: running"
status=0
for part in "--depth 2" --large; do
	# shellcheck disable=SC2086 # two words
	$build/tests/scenarios $part || status=$?
done >build/scenarios.out
cat build/scenarios.out
counts=$(sed -n 's/^\([0-9]*\) passed, \([0-9]*\) failed$/\1 \2/p' build/scenarios.out |
	awk '{ p += $1; f += $2 } END { print p, f }')
if ! cmp -s build/reliability.md docs/reliability.md; then
	echo "scenarios: the table in docs/reliability.md is not that of this run" >&2
	counts="${counts% *} $((${counts#* } + 1))"
	status=1
fi
runs=$(sed -n 's/^\([0-9]*\) runs at depth .*/\1/p' build/scenarios.out)
if ! { scripts/evidence.py same "runs with one or two cuts, failing steps" "${runs%%[!0-9]*}" &&
	scripts/evidence.py same "runs with records of 5455 and 65534 addresses, one cut" "${runs##*[!0-9]}"; }; then
	counts="${counts% *} $((${counts#* } + 1))"
	status=1
fi
echo "$counts" >build/results/scenarios
exit "$status"

#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Plants faults in the system by machine, one a run of the tests that reach it, and sees
# whether they notice.
#
#   planted-faults.sh prove     the machine itself: that what has to fail a run does
#   planted-faults.sh full [--write] [ROOM ...]
#                               all faults; holds the table in docs/reliability.md against
#                               the run, or brings it and the recorded base up to date
#   planted-faults.sh sample    those that differ from the base, then as many others as there
#                               is time for in MAC_SAMPLE_SECONDS, chosen by the commit
#
# Other arguments, "again" and "only" among them, go to tests/mutants/run.py.
set -eu
cd "$(dirname "$0")/.."
mkdir -p build/results
name=planted-faults program=run.py
case "${1:-full}" in
prove)
	name=planted-proof program=prove.py
	shift
	;;
sample) set -- sample "$(git rev-parse HEAD 2>/dev/null || echo none)" "${MAC_SAMPLE_SECONDS:-240}" ;;
*) [ $# -gt 0 ] || set -- full ;;
esac
status=0
nice python3 "tests/mutants/$program" "$@" >"build/$name.out" || status=$?
cat "build/$name.out"
counts=$(sed -n 's/^\([0-9]*\) passed, \([0-9]*\) failed$/\1 \2/p' "build/$name.out")
echo "${counts:-0 1}" >"build/results/$name"
exit "$status"

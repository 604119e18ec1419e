# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Jobs side by side, as many as there are processors. Sourced by bash scripts.
# shellcheck shell=bash

declare -A running_jobs=()

# start NAME COMMAND...: waits for a free processor, then runs the command, whose output
# goes to $jobs/NAME.log ($jobs: a folder). When it has ended, "finished NAME STATUS" is
# called, which the sourcing script defines.
start() {
	local name=$1
	shift
	[ ${#running_jobs[@]} -lt "$(nproc)" ] || finish_one
	"$@" >"${jobs:?}/$name.log" 2>&1 &
	running_jobs[$!]=$name
}

finish_one() {
	local pid name status=0
	wait -n -p pid "${!running_jobs[@]}" || status=$?
	name=${running_jobs[$pid]}
	unset "running_jobs[$pid]"
	finished "$name" "$status"
}

finish_all() {
	while [ ${#running_jobs[@]} -gt 0 ]; do finish_one; done
}

# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Jobs side by side, as many as there are processors, or $slots. Sourced by bash scripts.
# shellcheck shell=bash

declare -A running_jobs=() running_since=()

# start NAME COMMAND...: waits for a free slot, then runs the command, whose output goes to
# $jobs/NAME.log ($jobs: a folder). When it has ended, "finished NAME STATUS SECONDS" is
# called, which the sourcing script defines.
start() {
	local name=$1
	shift
	[ ${#running_jobs[@]} -lt "${slots:-$(nproc)}" ] || finish_one
	mkdir -p "${jobs:?}"
	# In a process group of its own, so that it can be ended with all that it started.
	set -m
	"$@" >"$jobs/$name.log" 2>&1 </dev/null &
	set +m
	running_jobs[$!]=$name
	running_since[$!]=$SECONDS
}

finish_one() {
	local pid name seconds status=0
	wait -n -p pid "${!running_jobs[@]}" || status=$?
	name=${running_jobs[$pid]} seconds=$((SECONDS - running_since[$pid]))
	unset "running_jobs[$pid]" "running_since[$pid]"
	finished "$name" "$status" "$seconds"
}

finish_all() {
	while [ ${#running_jobs[@]} -gt 0 ]; do finish_one; done
}

# Nothing outlives the script.
end_jobs() {
	local pid
	for pid in "${!running_jobs[@]}"; do kill -- "-$pid" 2>/dev/null || true; done
}
trap end_jobs EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

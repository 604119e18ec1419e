# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The stages of a script: one line each, with the seconds that it took, and its output
# only when it fails. Sourced by sh and bash scripts in the project's folder, after
# "set -eu".
# shellcheck shell=sh

# Only for folders that are configured for the first time; all works without either.
if command -v ninja >/dev/null; then
	export CMAKE_GENERATOR="${CMAKE_GENERATOR:-Ninja}"
fi
if command -v ccache >/dev/null; then
	export CMAKE_CXX_COMPILER_LAUNCHER="${CMAKE_CXX_COMPILER_LAUNCHER-ccache}"
	# Copies of the tree, and two folders with the same flags, share what is compiled.
	export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$PWD}"
	# What it wants for sources with a precompiled header.
	export CCACHE_SLOPPINESS="${CCACHE_SLOPPINESS:-pch_defines,time_macros}"
fi

# stage LOG TEXT COMMAND...: runs the command. A failure shows the end of its output and
# ends the script. Not for conditions: there a function would not end at its first failure.
stage() {
	stage_log=$1
	stage_from=$(date +%s)
	printf '== %s' "$2"
	shift 2
	set +e
	(
		set -e
		"$@"
	) >"$stage_log" 2>&1
	stage_status=$?
	set -e
	stage_seconds=$(($(date +%s) - stage_from))
	if [ "$stage_status" -ne 0 ]; then
		printf ': failed after %d s\n' "$stage_seconds"
		tail -n 60 "$stage_log" >&2
		exit 1
	fi
	printf ', %d s\n' "$stage_seconds"
}

# build_in NAME TARGETS [CMAKE-OPTION ...]: configures build/NAME and builds the targets
# there. Who else wants the same folder waits.
build_in() {
	build_name=$1 build_targets=$2
	shift 2
	mkdir -p build
	exec 8>"build/$build_name.lock"
	flock 8
	stage "build/$build_name.log" "$build_name: configuring" cmake -S . -B "build/$build_name" "$@"
	# shellcheck disable=SC2086 # several targets
	stage "build/$build_name.log" "$build_name: building" \
		cmake --build "build/$build_name" -j "$(nproc)" --target $build_targets
	exec 8>&-
}

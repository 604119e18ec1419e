#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The direction of includes, the page of messages, clang-tidy over the system, the platform and
# the tools, and the shell scripts, those that macctl makes among them; any finding fails.
set -eu
cd "$(dirname "$0")/.."
. scripts/stage.sh
mkdir -p build

tidy() {
	cmake -S . -B build/lint -DCMAKE_CXX_COMPILER=clang++ -DMAC_TESTS=OFF >build/lint.cmake 2>&1 ||
		{ cat build/lint.cmake; return 1; }
	find base config storage core service control platform tools -name '*.cc' -not -path 'platform/linux/*' |
		sort | xargs -P "$(nproc)" -n 4 clang-tidy -p build/lint --quiet --warnings-as-errors='*' 2>build/lint.err ||
		{ grep -v 'warnings generated' build/lint.err; return 1; }
}

completions() {
	shellcheck -s bash build/release/made/macctl
	zsh -n build/release/made/_macctl
	found=$(PATH=$PWD/build/release:$PATH fish -c 'source build/release/made/macctl.fish; complete -C "macctl set bl"')
	[ "${found%%	*}" = block ] || { echo "lint: fish completes \"macctl set bl\" to \"$found\""; return 1; }
}

stage build/includes.log "lint: direction of includes" python3 scripts/check_includes.py --prove
stage build/messages.log "lint: messages" python3 scripts/check_messages.py --prove
stage build/shell.log "lint: shell scripts" shellcheck -x scripts/*.sh .ci/run tests/kernel/*.sh
scripts/build.sh
stage build/completions.log "lint: completions" completions
stage build/lint.log "lint: clang-tidy" tidy
echo "lint: no findings"

#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Kernel lanes side by side, each ARCH:SERIES:MEDIA[,MEDIA...]; see test-kernel.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/parallel.sh

status=0
# shellcheck disable=SC2154 # $jobs
finished() {
	cat "$jobs/$1.log"
	printf '== kernel-%s: status %d after %d s\n' "$1" "$2" "$3"
	[ "$2" -eq 0 ] || status=1
}

jobs=build/kernel-jobs
for lane in "$@"; do
	read -r -a words <<<"${lane//[:,]/ }"
	[ $# -gt 1 ] || exec scripts/test-kernel.sh "${words[@]}"
	start "${words[0]}-${words[1]}" scripts/test-kernel.sh "${words[@]}"
done
finish_all
exit "$status"

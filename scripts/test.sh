#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The tests of "make test": the unit tests under sanitizers and, beside them, both
# modules in an emulated arm64 machine.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/stage.sh
. scripts/parallel.sh
sanitized=(gcc-sanitized -DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE=Debug -DMAC_SANITIZE=ON -DMAC_UNITY=ON)

status=0
# shellcheck disable=SC2154 # $jobs
finished() {
	cat "$jobs/$1.log"
	echo "== $1: status $2 after $3 s"
	[ "$2" -eq 0 ] || status=1
}

jobs=build/test-jobs
# The machine's boards are compiled by the tested macctl; the rest of the tests is built
# while the machine is.
build_in "${sanitized[0]}" macctl "${sanitized[@]:1}"
export MAC_HOST_MACCTL=$PWD/build/${sanitized[0]}/macctl
start kernel-arm64-6.1 scripts/test-kernel.sh arm64 6.1 test
scripts/run-tests.sh "${sanitized[@]}" || status=1
echo "== kernel-arm64-6.1: running"
finish_all
exit "$status"

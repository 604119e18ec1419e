#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Callers on several threads while instances are mounted and unmounted, under the thread
# sanitizer and without suppressions. MAC_THREAD_ROUNDS unmounts, ten reads for each.
set -eu
cd "$(dirname "$0")/.."
. scripts/stage.sh
build=build/threads
mkdir -p build/results
build_in threads thread_tests -DCMAKE_BUILD_TYPE=Debug -DMAC_SANITIZE_THREADS=ON
echo "== threads: running"
status=0
MAC_THREAD_ROUNDS=${MAC_THREAD_ROUNDS:-10000} $build/tests/thread_tests >$build.out 2>&1 || status=$?
grep ' unmounts: ' $build.out || true
passed=$(grep -c '^\[       OK \]' $build.out || true)
if [ "$status" -eq 0 ]; then
	echo "$passed 0" >build/results/threads
else
	cat $build.out >&2
	echo "$passed 1" >build/results/threads
fi
echo "== threads: $(sed 's/ / passed, /' build/results/threads) failed"
exit "$status"

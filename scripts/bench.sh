#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Builds the benchmarks and runs bench/report.py: "check" or "write".
set -eu
cd "$(dirname "$0")/.."
mkdir -p build
scripts/build.sh
build=build/bench
if ! { cmake -S . -B $build -DCMAKE_BUILD_TYPE=Release -DMAC_TESTS=OFF -DMAC_BENCH=ON \
	-DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON &&
	cmake --build $build -j "$(nproc)" --target bench_counts bench_memory bench_times bench_empty; } >$build.log 2>&1; then
	tail -n 40 $build.log >&2
	exit 1
fi
scripts/bench-kernel.sh
exec python3 bench/report.py "$1" $build/bench build/release/macctl build/bench-kernel

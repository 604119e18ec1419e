#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Builds the benchmarks and runs bench/report.py: "check" or "write".
set -eu
cd "$(dirname "$0")/.."
. scripts/stage.sh
scripts/build.sh
build_in bench "bench_counts bench_memory bench_times bench_empty" -DCMAKE_BUILD_TYPE=Release \
	-DMAC_TESTS=OFF -DMAC_BENCH=ON -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON
scripts/bench-kernel.sh
exec python3 bench/report.py "$1" build/bench/bench build/release/macctl build/bench-kernel

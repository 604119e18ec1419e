#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# What the modules cost in an arm64 kernel: builds them for the plain one, runs every
# command in a guest whose clock counts instructions, and leaves in build/bench-kernel
# the guest's lines "bench NAME: N" (bench.guest), the modules and, per object, its
# functions with their stack and whom they call (modules/**/*.ci).
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/kernel-guest.sh

use_kernel arm64 plain
lane=bench-kernel
build=$PWD/build/bench-kernel
mkdir -p "$build"
kbuild+=("KCFLAGS=-fcallgraph-info=su")
build_all
build_initramfs
qemu+=(-icount "shift=0,sleep=off")
boot bench 300 loglevel=3 mac_run=bench
verdict bench >"$build/tap" || { cat "$build/tap" >&2; exit 1; }
rm -f "build/results/$lane" # counted as part of the benchmarks

#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Builds macctl, optimised, without the tests.
set -eu
cd "$(dirname "$0")/.."
mkdir -p build
log=build/release.log
if ! { cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DMAC_TESTS=OFF -DMAC_STATIC=ON &&
	cmake --build build/release -j "$(nproc)"; } >"$log" 2>&1; then
	tail -n 60 "$log" >&2
	exit 1
fi

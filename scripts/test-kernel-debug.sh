#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The kernel lane on a kernel with every checker (tests/kernel/debug.config).
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/kernel-guest.sh

use_kernel arm64 debug
lane=$name
fetch_all
echo "== $name: building for $(basename "$kernel"/lib/modules/*)"
quietly build_modules
quietly build_programs
build_initramfs
echo "== $name: running"
boot test 900 kasan_multi_shot kmemleak=off initcall_blacklist=physmap_init
verdict test

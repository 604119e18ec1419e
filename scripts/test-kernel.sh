#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# A kernel lane: builds both modules for a kernel, boots it under QEMU (TCG) and runs the
# guest's tests there, whose TAP lines are shown.
#
#   test-kernel.sh ARCH SERIES [RUN ...]
#
# ARCH arm64 or amd64; SERIES 6.1, 6.12 or 5.10 for Debian's kernels, linux-VERSION for one
# of the cache that was built from a tree; RUN test (a board of emulated NOR flash and
# EEPROMs, with faults), stock (what the kernel itself brings) or, on a kernel that checks
# itself, leaks or failures.
# MAC_QEMU_ACCEL=kvm uses KVM, which has to be asked for: it can be there and hang.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/kernel-guest.sh

use_kernel "${1:?architecture}" "${2:?kernel series}"
shift 2
[ $# -gt 0 ] || set -- test
lane=$name
exec 7>"$build.lock"
flock 7
build_all
check_warnings "$build/modules.log"
check_symbols
check_modinfo
build_initramfs
status=0
for run in "$@"; do
	lane=$name-$run
	echo "== $name: running $(basename "$kernel"/lib/modules/*), run \"$run\""
	boot "$run" "$(limit_of)" "$(arguments_of "$run")" "mac_run=$run"
	(verdict "$run") || status=1
done
exit "$status"

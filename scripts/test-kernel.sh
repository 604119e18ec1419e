#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# A kernel lane: builds both modules for a stock Debian kernel, boots it under QEMU
# (TCG) and runs the guest's tests there, whose TAP lines are shown.
#
#   test-kernel.sh ARCH SERIES [MEDIA ...]
#
# ARCH arm64 or amd64; SERIES 6.1, 6.12 or 5.10; MEDIA test (a board of emulated
# NOR flash and EEPROMs, with faults) or stock (what the kernel itself brings).
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
check_symbols
check_modinfo
build_initramfs
status=0
for media in "$@"; do
	lane=$name-$media
	echo "== $name: running $(basename "$kernel"/lib/modules/*) on $media media"
	boot "$media" 300 loglevel=3 "mac_run=$media"
	(verdict "$media") || status=1
done
exit "$status"

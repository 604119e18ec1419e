#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The kernel lane on a kernel source that somebody has: builds a lean arm64 kernel from it
# out of tree, then both modules, and runs the guest's tests.
#
#   test-kernel-tree.sh PATH [LEVEL]
#
# PATH an unpacked source of Linux 4.4 or later; LEVEL lean, or debug with the checkers
# that it has.
set -euo pipefail
cd "$(dirname "$0")/.."
# What make was called with is not for the kernel's Makefile.
unset MAKEFLAGS MFLAGS MAKEOVERRIDES MAKELEVEL
. scripts/kernel-guest.sh
. scripts/kernel-tree.sh

use_tree "${1:?path}" "${2:-lean}"
lane=$name
scripts/build.sh
build_tree
test_tree

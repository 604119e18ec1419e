#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The kernel lane on every kernel of the cache that was built from a tree. Nothing is built
# but the modules: a kernel that is not there, or that was built with other options, did
# not run, and that is said.
#
#   test-kernel-trees.sh [LINE]
#
# LINE, such as 4.4: the lean kernels of this line alone.
set -euo pipefail
cd "$(dirname "$0")/.."
unset MAKEFLAGS MFLAGS MAKEOVERRIDES MAKELEVEL
. scripts/kernel-guest.sh
. scripts/kernel-tree.sh

line=${1:-}
ran=0 failed=0 absent=0

say_absent() {
	echo "== $1 did not run: $2"
	absent=$((absent + 1))
}

run_one() {
	use_cached "$(basename "$1")"
	if [ ! -e "$kernel/key" ]; then
		say_absent "$name" "its build did not end; make test-kernel KERNEL=PATH LEVEL=$level begins it anew"
		return
	fi
	if ! is_current; then
		say_absent "$name" "it was built with other options or another compiler; make test-kernel KERNEL=$(head -n 1 "$kernel/tree" 2>/dev/null || echo PATH) LEVEL=$level builds it anew"
		return
	fi
	ran=$((ran + 1))
	(test_tree) || failed=$((failed + 1))
}

for folder in "$CACHE/kernel-arm64-linux-${line:+$line.}"*; do
	[ -d "$folder" ] || continue
	case $line:$folder in ?*:*-debug) continue ;; esac
	[ "$ran" -gt 0 ] || scripts/build.sh
	run_one "$folder"
done
[ $((ran + absent)) -gt 0 ] ||
	say_absent "Linux ${line:-of any tree}" "$CACHE has no kernel of it; make test-kernel KERNEL=PATH builds one from an unpacked source"
echo "== trees: $((ran - failed)) passed, $failed failed, $absent did not run"
[ "$failed" -eq 0 ]

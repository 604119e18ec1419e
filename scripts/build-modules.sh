#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Builds mac_mng.ko and mac_platform.ko against a kernel tree, and looks at them.
#
#   build-modules.sh KDIR OUTPUT [MAKE-VARIABLE ...]
#
# The sources are laid out as links in OUTPUT, so that nothing is written into them.
set -eu
cd "$(dirname "$0")/.."
kdir=$1
output=$2
shift 2
if [ ! -e "$kdir/Makefile" ]; then
	echo "$kdir is no kernel tree and no headers: install linux-headers-$(uname -r), or name a tree with KDIR=" >&2
	exit 1
fi
if grep -qs '^CONFIG_CC_IS_CLANG=y' "$kdir/include/config/auto.conf"; then
	echo "build-modules: $kdir was built by clang, and the modules are for kernels that gcc built: g++ neither takes clang's flags nor makes the checks of indirect calls (CFI) that such a kernel expects of every object" >&2
	exit 1
fi
mkdir -p "$output"
output=$(realpath "$output")
for folder in base config storage core service control platform include; do
	find "$folder" -type d -exec mkdir -p "$output/{}" \;
	find "$folder" -type f -exec ln -sf "$PWD/{}" "$output/{}" \;
done
ln -sf "$PWD/sources.mk" "$output/sources.mk"
ln -sf "$PWD/platform/linux/Kbuild" "$output/Kbuild"
make -j "$(nproc)" -C "$kdir" M="$output" "$@" modules
scripts/check-modules.sh "$kdir" "$output"

#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Installs the packages of a purpose (demo, test, kernel, kernel-debug, bench, all) that are
# missing, as root or with sudo. Does nothing, and asks for nothing, when all are there.
set -eu
# shellcheck source=scripts/packages.sh
. "$(dirname "$0")/packages.sh"

case "${1:-}" in
demo) packages=$PACKAGES_DEMO ;;
test) packages=$PACKAGES_TEST ;;
kernel) packages=$PACKAGES_KERNEL ;;
kernel-debug) packages=$PACKAGES_KERNEL_DEBUG ;;
bench) packages=$PACKAGES_BENCH ;;
all) packages=$PACKAGES_ALL ;;
*)
	echo "usage: install-packages.sh demo|test|kernel|kernel-debug|bench|all" >&2
	exit 2
	;;
esac

missing=
for package in $packages; do
	status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
	[ "$status" = "install ok installed" ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
	if ! command -v sudo >/dev/null; then
		echo "These packages are missing; install them as root:$missing" >&2
		exit 1
	fi
	as_root=sudo
fi
echo "Installing what is missing:$missing"
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# shellcheck disable=SC2086 # several packages
if ! { $as_root apt-get update && $as_root apt-get install -y --no-install-recommends $missing; } >"$log" 2>&1; then
	cat "$log" >&2
	exit 1
fi

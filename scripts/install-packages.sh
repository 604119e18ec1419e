#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Installs the packages of a purpose (demo, test, clang, mutants, kernel, kernels, kernel-debug,
# bench, all) that are missing, as root or with sudo. Does nothing, and asks for nothing, when all
# are there.
set -eu
cd "$(dirname "$0")/.."
. scripts/stage.sh
. scripts/packages.sh

case "${1:-}" in
demo) packages=$PACKAGES_DEMO ;;
test) packages=$PACKAGES_TEST ;;
clang) packages=$PACKAGES_CLANG ;;
mutants) packages=$PACKAGES_MUTANTS ;;
kernel) packages=$PACKAGES_KERNEL ;;
kernels) packages=$PACKAGES_KERNELS ;;
kernel-debug) packages=$PACKAGES_KERNEL_DEBUG ;;
bench) packages=$PACKAGES_BENCH ;;
all) packages=$PACKAGES_ALL ;;
*)
	echo "usage: install-packages.sh demo|test|clang|mutants|kernel|kernels|kernel-debug|bench|all" >&2
	exit 2
	;;
esac

# Two lanes may want the same.
mkdir -p build
exec 9>build/packages.lock
flock 9
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
export DEBIAN_FRONTEND=noninteractive
echo "== packages that are missing:$missing"
stage build/packages.log "packages: lists" $as_root apt-get update 9>&-
# shellcheck disable=SC2086 # several packages
stage build/packages.log "packages: installing" \
	$as_root apt-get install -y --no-install-recommends $missing 9>&-

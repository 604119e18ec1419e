# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The Debian packages of each purpose. Sourced.

# Building macctl and running the demo.
PACKAGES_DEMO="g++ cmake make libpugixml-dev libcli11-dev libfmt-dev libfdt-dev libmtd-dev libubootenv-tool"

# Building and passing the tests.
PACKAGES_TEST="$PACKAGES_DEMO clang libclang-rt-14-dev libgtest-dev librapidcheck-dev"

# Building for and booting Debian's arm64 kernel.
PACKAGES_KERNEL="$PACKAGES_DEMO qemu-system-arm cpio g++-aarch64-linux-gnu libc6-dev-arm64-cross
	gcc-arm-linux-gnueabihf libc6-dev-armhf-cross"

# Everything that continuous integration runs.
PACKAGES_ALL="$PACKAGES_TEST $PACKAGES_KERNEL gcovr clang-tidy python3"

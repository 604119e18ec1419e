# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The Debian packages of each purpose. Sourced.
# shellcheck shell=sh disable=SC2034 # by others

# Building macctl and running the demo.
PACKAGES_DEMO="g++ cmake make ninja-build libpugixml-dev libcli11-dev nlohmann-json3-dev libfmt-dev libfdt-dev
	libmtd-dev libubootenv-tool"

# Building for Debian's arm64 kernel and booting it.
PACKAGES_KERNEL="$PACKAGES_DEMO qemu-system-arm cpio kmod xz-utils libelf1
	g++-aarch64-linux-gnu libc6-dev-arm64-cross gcc-arm-linux-gnueabihf libc6-dev-armhf-cross"

# The same for its amd64 kernels.
PACKAGES_KERNELS="$PACKAGES_KERNEL qemu-system-x86 g++-x86-64-linux-gnu gcc-i686-linux-gnu libc6-dev-i386-cross"
# Native there.
case $(dpkg --print-architecture) in
amd64) PACKAGES_KERNELS=$(echo "$PACKAGES_KERNELS" | sed 's/g++-x86-64-linux-gnu//') ;;
esac

# Building and passing the tests, the arm64 kernel's among them.
PACKAGES_TEST="$PACKAGES_KERNEL libgtest-dev librapidcheck-dev python3 python3-jsonschema tmux man-db strace binutils
	libubootenv-dev"

# The tests once more with the second compiler, and the fuzzers that it brings.
PACKAGES_CLANG="$PACKAGES_TEST clang libclang-rt-14-dev"

# Faults planted by machine.
PACKAGES_MUTANTS="$PACKAGES_CLANG lld git"

# Building a kernel that checks itself, and one with CFI flash.
PACKAGES_KERNEL_DEBUG="$PACKAGES_KERNEL python3 bc bison flex"

# Benchmarks and what they are compared with.
PACKAGES_BENCH="$PACKAGES_KERNEL_DEBUG valgrind strace libbenchmark-dev libisal-dev"

# Everything that continuous integration runs.
PACKAGES_ALL="$PACKAGES_MUTANTS $PACKAGES_KERNELS $PACKAGES_KERNEL_DEBUG $PACKAGES_BENCH
	ccache gcovr clang-tidy shellcheck zsh fish"

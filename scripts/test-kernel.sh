#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# The kernel lane: builds both modules for Debian's stock arm64 kernel, boots that
# kernel under QEMU (no KVM) with a test board of emulated media, and runs the
# guest's tests, whose TAP lines are shown. Downloads are kept in ~/.cache/mac_mng.
set -euo pipefail
cd "$(dirname "$0")/.."

cache=${XDG_CACHE_HOME:-$HOME/.cache}/mac_mng/kernel-arm64
build=$PWD/build/kernel-arm64
cross=aarch64-linux-gnu-
limit=300 # seconds for the guest

fail() {
	echo "test-kernel: $*" >&2
	mkdir -p build/results
	echo "0 1" >build/results/kernel-arm64
	exit 1
}

# apt with package lists of its own, so that the machine's are left alone.
private_apt() {
	local command=$1
	shift
	"$command" -o Dir::State::Lists="$cache/apt/lists" -o Dir::Cache="$cache/apt/cache" \
		-o APT::Architectures="arm64,$(dpkg --print-architecture)" \
		-o APT::Sandbox::User=root -o APT::Get::List-Cleanup=0 "$@"
}

# The package that a meta package stands for.
newest() { private_apt apt-cache depends "$1" | awk '$1 == "Depends:" && $2 ~ /^linux-/ { print $2; exit }'; }

fetch() {
	mkdir -p "$cache/apt/lists/partial" "$cache/apt/cache/archives/partial" "$cache/new"
	private_apt apt-get update >"$cache/apt.log" 2>&1 || fail "no package lists; see $cache/apt.log"
	local image headers abi
	image=$(newest linux-image-arm64:arm64)
	headers=$(newest linux-headers-arm64:arm64)
	abi=${headers#linux-headers-}
	abi=${abi%-arm64*}
	(cd "$cache/new" && private_apt apt-get download "$image" "$headers" "linux-headers-$abi-common" \
		linux-kbuild-6.1 busybox-static:arm64 libubootenv-tool:arm64 libubootenv0.1:arm64 \
		libyaml-0-2:arm64 zlib1g:arm64 libc6:arm64) >>"$cache/apt.log" 2>&1 ||
		fail "the packages cannot be downloaded; see $cache/apt.log"
	rm -rf "$cache/root"
	for package in "$cache"/new/*.deb; do dpkg -x "$package" "$cache/root"; done
	# The headers look for their common half where a package would put it.
	sed -i "s#include /usr/src#include $cache/root/usr/src#" "$cache"/root/usr/src/linux-headers-*-arm64/Makefile
	rm -rf "$cache/new"
	touch "$cache/complete"
}

[ -e "$cache/complete" ] || fetch
kdir=$(echo "$cache"/root/usr/src/linux-headers-*-arm64)
kernel=$(echo "$cache"/root/boot/vmlinuz-*)
release=$(basename "$cache"/root/lib/modules/*)
kbuild=(ARCH=arm64 CROSS_COMPILE=$cross)

build_modules() {
	scripts/build-modules.sh "$kdir" "$build/modules" "${kbuild[@]}"
	for module in board consumer; do
		mkdir -p "$build/$module"
		cp tests/kernel/$module/* "$build/$module/"
		make -C "$kdir" M="$build/$module" MAC_MNG_INCLUDE="$PWD/include" \
			KBUILD_EXTRA_SYMBOLS="$build/modules/Module.symvers" "${kbuild[@]}" modules
	done
	${cross}gcc -O2 -Wall -Wextra -Wno-sign-compare -static -Iinclude tests/kernel/guest.c -o "$build/guest"
	arm-linux-gnueabihf-gcc -O2 -Wall -Wextra -Wno-sign-compare -static -Iinclude tests/kernel/guest.c \
		-o "$build/guest32"
}

# mac_mng.ko exports the ten functions and needs nothing but the kernel's symbols
# and the platform services that the platform headers declare.
check_symbols() {
	local module=$build/modules/mac_mng.ko exported foreign
	exported=$(awk '$3 ~ /mac_mng$/ { print $2 }' "$build/modules/Module.symvers" | sort | tr '\n' ' ')
	[ "$exported" = "drv_mac_deinit drv_mac_get_addr drv_mac_get_addr_num drv_mac_get_num drv_mac_init drv_mac_patch_func1 drv_mac_patch_func2 drv_mac_set_addr drv_mac_set_addr_num drv_mac_set_num " ] ||
		fail "mac_mng.ko exports: $exported"
	foreign=$(${cross}nm -u "$module" | awk '{ print $2 }' | sort -u |
		comm -23 - <(awk '{ print $2 }' "$kdir/Module.symvers" | sort -u) |
		comm -23 - <(sed -e '/^\/\*/,/\*\//d' platform/*.h | grep -oE '\b[a-z][a-z0-9_]+\(' | tr -d '(' | sort -u))
	[ -z "$foreign" ] || fail "mac_mng.ko needs undeclared symbols:" $foreign
}

build_initramfs() {
	local root=$build/root library
	rm -rf "$root"
	mkdir -p "$root"/{bin,modules,etc,var/lock,tmp,proc,sys,dev,lib/firmware,lib/aarch64-linux-gnu,usr/lib/aarch64-linux-gnu}
	cp "$build/guest" "$root/init"
	cp "$build/guest" "$build/guest32" "$root/"
	cp "$cache/root/bin/busybox" "$root/bin/sh"
	cp "$cache/root/usr/bin/fw_printenv" "$root/bin/"
	cp "$cache/root/usr/bin/fw_printenv" "$root/bin/fw_setenv"
	for library in libc.so.6 libz.so.1 ld-linux-aarch64.so.1; do
		cp -L "$cache/root/lib/aarch64-linux-gnu/$library" "$root/lib/aarch64-linux-gnu/"
	done
	cp -L "$cache/root/lib/aarch64-linux-gnu/ld-linux-aarch64.so.1" "$root/lib/"
	find "$cache/root/usr/lib/aarch64-linux-gnu" \( -name 'libubootenv.so*' -o -name 'libyaml-0.so*' \) \
		-exec cp -L {} "$root/usr/lib/aarch64-linux-gnu/" \;
	printf '/dev/mtd1 0x0 0x4000 0x10000\n/dev/mtd1 0x10000 0x4000 0x10000\n' >"$root/etc/fw_env.config"
	cp "$cache/root/lib/modules/$release"/kernel/drivers/{mtd/mtd,misc/eeprom/at24}.ko \
		"$build"/modules/mac_{mng,platform}.ko "$build"/board/*.ko "$build"/consumer/*.ko "$root/modules/"
	${cross}strip --strip-debug "$root"/modules/*.ko
	build/release/macctl --board boards/demo.xml board install --firmware "$root/lib/firmware"
	(cd "$root" && find . | cpio -o -H newc 2>/dev/null | gzip -1) >"$build/initrd.gz"
}

mkdir -p "$build" build/results
echo "== kernel arm64 ($release): building"
build_modules >"$build/build.log" 2>&1 || { tail -n 40 "$build/build.log" >&2; fail "the modules do not build"; }
check_symbols
build_initramfs
echo "== kernel arm64 ($release): running"
timeout "$limit" qemu-system-aarch64 -M virt -cpu cortex-a57 -m 512 -nic none -kernel "$kernel" \
	-initrd "$build/initrd.gz" -append "console=ttyAMA0 panic=-1 loglevel=3" -nographic -no-reboot \
	</dev/null >"$build/console.log" 2>&1 || true
tr -d '\r' <"$build/console.log" | grep -E '^ *(TAP|ok|not ok|1\.\.|# [0-9])' || true
counts=$(tr -d '\r' <"$build/console.log" | sed -n 's/^# \([0-9]*\) passed, \([0-9]*\) failed$/\1 \2/p')
[ -n "$counts" ] || { tail -n 40 "$build/console.log" >&2; fail "the guest did not finish"; }
if grep -vE '^ *(ok|not ok) ' "$build/console.log" | grep -qE 'WARNING:|BUG:|Oops|Call trace|corruption'; then
	fail "the guest's console has a warning; see $build/console.log"
fi
echo "$counts" >"build/results/kernel-arm64"
[ "${counts#* }" = 0 ]

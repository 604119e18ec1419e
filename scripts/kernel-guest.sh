# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Building both modules for a kernel and running them in a guest under QEMU (TCG).
# Sourced by bash scripts in the project's folder, after "set -euo pipefail"; then
# use_kernel says which kernel.
# shellcheck shell=bash
# shellcheck disable=SC2154 # variables of the sourcing script
. scripts/kernel-packages.sh
. scripts/stage.sh

# use_kernel ARCH SERIES: names and tools of a kernel. Series "plain" and "debug" are
# built from Debian's source, "linux-VERSION[-debug]" from a tree (scripts/kernel-tree.sh),
# the others are Debian's kernels.
use_kernel() {
	arch=$1 series=$2
	name=kernel-$arch-$series
	build=$PWD/build/$name
	tree=$PWD
	case $arch in
	arm64)
		triplet=aarch64-linux-gnu cross32=arm-linux-gnueabihf- kbuild_arch=arm64
		qemu=(qemu-system-aarch64 -M "virt,gic-version=3" -cpu cortex-a57) console=ttyAMA0
		;;
	amd64)
		triplet=x86_64-linux-gnu cross32=i686-linux-gnu- kbuild_arch=x86_64
		qemu=(qemu-system-x86_64 -cpu max) console=ttyS0
		;;
	*)
		echo "no architecture $arch" >&2
		exit 2
		;;
	esac
	cross=$triplet-
	user=$CACHE/user-$arch
	kernel=$CACHE/$name
	macctl=build/macctl-$arch/macctl
	[ "$arch" != "$(dpkg --print-architecture)" ] || macctl=build/release/macctl
	# This machine's, which compiles the boards; any build of it will do.
	host_macctl=${MAC_HOST_MACCTL:-build/release/macctl}
	# A tree's modules are built as docs/kernel.md tells everybody. Elsewhere the compiler
	# writes unwind tables unless our own flags say no: those of the kernel would hide that
	# ours are missing, and 4.4 has none. Type data of modules would need pahole, and
	# nothing here does.
	kbuild=("ARCH=$kbuild_arch" "CROSS_COMPILE=$cross")
	case $series in
	linux-*) ;;
	*) kbuild+=("CC=${cross}gcc" CONFIG_DEBUG_INFO_BTF_MODULES= KCFLAGS=-fasynchronous-unwind-tables) ;;
	esac
	mkdir -p "$build" build/results
}

# fail TEXT: ends the lane, whose result file counts as one failure.
fail() {
	echo "$lane: $*" >&2
	echo "0 1" >"build/results/$lane"
	exit 1
}

fetch_all() {
	local configs=tests/kernel
	case $series in
	plain) fetch_built_kernel plain $configs/plain.config ;;
	debug) fetch_built_kernel debug $configs/plain.config $configs/debug.config ;;
	linux-*) [ -e "$kernel/key" ] ;;
	*) fetch_kernel "$arch" "$series" ;;
	esac || fail "the kernel cannot be had; see $CACHE/apt.log and $kernel/build.log"
	fetch_user "$arch" || fail "the guest's programs cannot be downloaded; see $CACHE/apt.log"
}

find_headers() {
	case $series in
	plain | debug | linux-*) kdir=$kernel/build ;;
	*) kdir=$(echo "$kernel"/usr/src/linux-headers-*-"$arch") ;;
	esac
}

kernel_has() { grep -q "^$1=[ym]" "$kernel"/boot/config-*; }

# The test modules that this kernel can have.
test_modules() {
	echo board consumer vendor empty
	! kernel_has CONFIG_KPROBES || echo fault
}

build_modules() {
	local module
	"$tree/scripts/build-modules.sh" "$kdir" "$build/modules" "${kbuild[@]}"
	for module in $(test_modules); do
		mkdir -p "$build/$module"
		cp tests/kernel/"$module"/* "$build/$module/"
		make -j "$(nproc)" -C "$kdir" M="$build/$module" MAC_MNG_INCLUDE="$PWD/include" \
			KBUILD_EXTRA_SYMBOLS="$build/modules/Module.symvers" "${kbuild[@]}" modules
		scripts/check-modules.sh "$kdir" "$build/$module" "$build/modules/Module.symvers"
	done
}

# check_warnings LOG: building the modules gave none of ours; the kernel's own headers have
# theirs under a compiler that came after them.
check_warnings() {
	! grep -E "^(cc1|cc1plus|[^ ]*g(cc|\+\+)|$build/[^ ]*): warning:|^WARNING:" "$1" ||
		fail "the modules do not build without warnings"
}

build_guests() {
	local warnings=(-Wall -Wextra -Wno-sign-compare)
	"${cross}gcc" -O2 "${warnings[@]}" -static -Iinclude tests/kernel/guest/*.c -o "$build/guest"
	"${cross32}gcc" -O2 "${warnings[@]}" -static -Iinclude tests/kernel/guest/*.c -o "$build/guest32"
}

# The guest's little optimised: building it takes longer than all that it does there.
build_macctl() {
	case $macctl:$host_macctl in
	*build/release/macctl*) scripts/build.sh ;;
	esac
	[ "$macctl" != build/release/macctl ] || return 0
	build_in "macctl-$arch" macctl -DCMAKE_BUILD_TYPE=Guest -DCMAKE_CXX_FLAGS_GUEST="-O1 -DNDEBUG" -DMAC_TESTS=OFF -DMAC_UNITY=ON \
		-DCMAKE_SYSTEM_NAME=Linux -DCMAKE_CXX_COMPILER="${cross}g++" \
		-DCMAKE_LIBRARY_ARCHITECTURE="$triplet" -DCMAKE_FIND_ROOT_PATH="$user" \
		-DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER \
		-DCMAKE_CXX_FLAGS="-isystem $user/usr/include" \
		-DCMAKE_EXE_LINKER_FLAGS="-L$user/usr/lib/$triplet -Wl,-rpath-link,$user/usr/lib/$triplet"
}

# build_all: the kernel, both modules for it, and the guest's programs.
build_all() {
	stage "$build/fetch.log" "$name: kernel" fetch_all
	find_headers
	stage "$build/modules.log" "$name: modules" build_modules
	stage "$build/guests.log" "$name: guest" build_guests
	build_macctl
}

# allowed SYMBOL: whether mac_mng.ko may need it.
allowed() {
	local pattern
	while read -r pattern; do
		# shellcheck disable=SC2254 # it is a pattern
		case $1 in $pattern) return 0 ;; esac
	done < <(grep -v '^#' tests/kernel/mac_mng.symbols)
	return 1
}

# What is exported to GPL-compatible modules only: what hands on such functions of the kernel.
check_licences() {
	local found
	found=$(awk '$4 == "EXPORT_SYMBOL_GPL" { print $2 }' "$build/modules/Module.symvers" | sort | tr '\n' ' ')
	[ "$found" = "diag_create_kobject drv_eeprom_read_data drv_eeprom_write_data drv_env_get drv_env_save drv_env_set drv_flash_read drv_flash_write " ] ||
		fail "exported to GPL-compatible modules only: $found"
}

# mac_mng.ko exports the ten functions, with versions where the kernel has them, and
# needs nothing but what is listed of the kernel and of the platform's services.
check_symbols() {
	local exported symbol
	check_licences
	exported=$(awk '$3 ~ /mac_mng$/ { print $2 }' "$build/modules/Module.symvers" | sort | tr '\n' ' ')
	[ "$exported" = "drv_mac_deinit drv_mac_get_addr drv_mac_get_addr_num drv_mac_get_num drv_mac_init drv_mac_patch_func1 drv_mac_patch_func2 drv_mac_set_addr drv_mac_set_addr_num drv_mac_set_num " ] ||
		fail "mac_mng.ko exports: $exported"
	if kernel_has CONFIG_MODVERSIONS; then
		! grep -q '^0x00000000' "$build/modules/Module.symvers" || fail "a symbol has no version"
	fi
	"${cross}nm" -u "$build/modules/mac_mng.ko" | awk '{ print $2 }' >"$build/needs"
	while read -r symbol; do
		allowed "$symbol" || fail "mac_mng.ko needs $symbol, which is not listed in tests/kernel/mac_mng.symbols"
	done <"$build/needs"
}

# expect_modinfo MODULE FIELD VALUE: the values, sorted, in one line.
expect_modinfo() {
	local found
	found=$(/sbin/modinfo -F "$2" "$build/modules/$1.ko" | tr ',' '\n' | sort | tr '\n' ' ')
	[ "$found" = "$3 " ] || fail "modinfo $1: $2 is \"$found\", expected \"$3\""
}

# is_older_than VERSION: whether the kernel is.
is_older_than() {
	[ "$(printf '%s\n' "$1" "$(basename "$kernel"/lib/modules/*)" | sort -V | head -n 1)" != "$1" ]
}

check_modinfo() {
	local mtd=''
	grep -q '^CONFIG_MTD=y' "$kernel"/boot/config-* || mtd=mtd # what is built in is no module
	is_older_than 4.16 || expect_modinfo mac_mng name mac_mng
	expect_modinfo mac_mng license 'Dual BSD/GPL'
	expect_modinfo mac_mng description 'MAC address manager of network devices'
	expect_modinfo mac_mng depends "mac_platform${mtd:+ $mtd}"
	expect_modinfo mac_platform license 'Dual BSD/GPL'
	expect_modinfo mac_platform description 'Reference platform services of mac_mng'
	expect_modinfo mac_platform depends "$mtd"
	expect_modinfo mac_platform firmware mac_mng/board.dtb
	[ -z "$(/sbin/modinfo -F parm "$build/modules/mac_mng.ko")" ] || fail "mac_mng.ko has parameters"
	[ "$(/sbin/modinfo -F parm "$build/modules/mac_platform.ko" | cut -d: -f1 | sort | tr '\n' ' ')" = \
		"board log_level ring_level " ] || fail "mac_platform.ko has other parameters"
}

# add_stock_module NAME: the kernel's module, and beside it the names of those that it
# needs, those first that need none.
add_stock_module() {
	local file need
	file=$(find "$kernel/lib/modules" -name "$1.ko*" -o -name "${1//-/_}.ko*" | head -n 1)
	case $file in
	*.xz) xz -dc "$file" >"$root/modules/$1.ko" ;;
	?*) cp "$file" "$root/modules/$1.ko" ;;
	*) return 0 ;; # built in
	esac
	: >"$root/modules/$1.needs"
	for need in $(/sbin/modinfo -F depends "$root/modules/$1.ko" | tr ',' ' '); do
		add_stock_module "$need"
		[ ! -e "$root/modules/$need.needs" ] ||
			cat "$root/modules/$need.needs" >>"$root/modules/$1.needs"
		echo "$need" >>"$root/modules/$1.needs"
	done
}

add_firmware() {
	local folder=$root/lib/firmware/mac_mng
	mkdir -p "$folder"
	"$host_macctl" --board boards/demo.xml board install --firmware "$root/lib/firmware"
	"$host_macctl" --board tests/kernel/stock.xml board compile "$folder/stock.dtb"
	"$host_macctl" --board tests/kernel/cfi.xml board compile "$folder/cfi.dtb"
	echo "no board at all" >"$folder/garbage.dtb"
	sed 's/ibm-3740/nothing!/' "$folder/board.dtb" >"$folder/crc.dtb"
	# Names of the same length, so that nothing in the compiled board moves.
	sed 's/drv_mac_eeprom/drv_mac_vendor/g' "$folder/board.dtb" >"$folder/vendor.dtb"
	sed 's/manuinfo/manuread/g' "$folder/board.dtb" >"$folder/readonly.dtb"
	sed 's/manuinfo/manunand/g' "$folder/board.dtb" >"$folder/nand.dtb"
	sed 's/0x10000\x00/0x00010\x00/g' "$folder/board.dtb" >"$folder/overlap.dtb"
}

build_initramfs() {
	local applet loader module
	root=$build/root
	rm -rf "$root"
	mkdir -p "$root"/{bin,modules,boards,etc,var/lock,tmp,proc,sys,dev,lib64}
	mkdir -p "$root/lib/$triplet" "$root/usr/lib/$triplet"
	cp "$build/guest" "$root/init"
	cp "$build/guest" tests/kernel/same_words.sh "$root/"
	! kernel_has CONFIG_COMPAT || cp "$build/guest32" "$root/"
	cp "$user/bin/busybox" "$root/bin/"
	for applet in sh cmp cp dd diff grep head mkdir printf sed tail wc; do ln -s busybox "$root/bin/$applet"; done
	cp "$macctl" "$root/bin/macctl"
	cp "$user/usr/bin/fw_printenv" "$root/bin/"
	ln -s fw_printenv "$root/bin/fw_setenv"
	cp boards/demo.xml tests/kernel/stock.xml "$root/boards/"
	cp -P "$user"/lib/"$triplet"/*.so* "$user"/usr/lib/"$triplet"/*.so* "$root/usr/lib/$triplet/"
	loader=/usr/lib/$triplet/$(basename "$user"/lib/"$triplet"/ld-linux*)
	ln -s "$loader" "$root/lib/"
	ln -s "$loader" "$root/lib64/"
	printf '/dev/mtd1 0x0 0x4000 0x10000\n/dev/mtd1 0x10000 0x4000 0x10000\n' >"$root/etc/fw_env.config"
	for module in mtd at24 mtdram i2c-stub; do add_stock_module $module; done
	cp "$build"/modules/mac_{mng,platform}.ko "$root/modules/"
	for module in $(test_modules); do cp "$build/$module"/*.ko "$root/modules/"; done
	"${cross}strip" "$root/bin/macctl"
	add_firmware
	pack_initramfs
}

pack_initramfs() {
	"${cross}strip" --strip-debug "$root"/modules/*.ko
	(cd "$root" && find . | cpio -o -H newc 2>/dev/null | gzip -1) >"$build/initrd.gz"
}

# boot LABEL SECONDS APPEND...: runs the guest with these kernel arguments and leaves what
# its console showed in $build/LABEL.guest.
boot() {
	local label=$1 limit=$2
	shift 2
	timeout --foreground "$limit" "${qemu[@]}" -accel "${MAC_QEMU_ACCEL:-tcg}" -m 512 -nic none \
		-kernel "$(echo "$kernel"/boot/vmlinuz-*)" -initrd "$build/initrd.gz" \
		-append "console=$console panic=-1 $*" \
		-nographic -no-reboot </dev/null >"$build/$label.console" 2>&1 || true
	tr -d '\r' <"$build/$label.console" >"$build/$label.guest"
}

# verdict LABEL: shows the guest's TAP lines and fails unless it finished, nothing failed
# and no checker of the kernel's spoke.
verdict() {
	local log=$build/$1.guest
	grep -E '^ *(TAP|ok|not ok|1\.\.|# )' "$log" || true
	counts=$(sed -n 's/^# \([0-9]*\) passed, \([0-9]*\) failed$/\1 \2/p' "$log")
	[ -n "$counts" ] || { tail -n 40 "$log" >&2; fail "the guest did not finish"; }
	if grep -vE '^ *(ok|not ok) ' "$log" | grep -qE "$complaints"; then
		fail "the guest's console has a warning; see $build/$1.console"
	fi
	echo "$counts" >"build/results/$lane"
	[ "${counts#* }" = 0 ]
}

# No flash of the machine's own, so that the board's is first: the driver of any line.
own_flash_off="initcall_blacklist=physmap_init,of_flash_driver_init"
# On a kernel that checks itself: reports go to the console.
checked="loglevel=4 kasan_multi_shot $own_flash_off"

# What a run is booted with, and how many seconds it may take. Without leak detection where
# it is not used, for it takes half a minute to start.
arguments_of() {
	case $series:$1 in
	linux-*-debug:leaks) echo "$checked" ;;
	linux-*-debug:*) echo "$checked kmemleak=off" ;;
	linux-*) echo "loglevel=3 $own_flash_off" ;;
	*) echo "loglevel=3" ;;
	esac
}

limit_of() { case $series in linux-*-debug) echo 900 ;; *) echo 300 ;; esac; }

# What a checker of the kernel's says.
complaints='WARNING:|BUG:|UBSAN:|Oops|Call [Tt]race|corruption|possible circular|unreferenced object|sleeping function|INFO: task'

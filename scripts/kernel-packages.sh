# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Debian's kernels, their headers and a guest's programs, unpacked under
# ~/.cache/mac_mng without touching the machine's package database. Sourced by
# bash scripts, after "set -eu".
# shellcheck shell=bash

CACHE=${XDG_CACHE_HOME:-$HOME/.cache}/mac_mng

# The Debian release that has a kernel of this series.
release_of() {
	case $1 in
	6.1) echo bookworm ;;
	6.12) echo bookworm-backports ;;
	5.10) echo bullseye ;;
	*) return 1 ;;
	esac
}

# apt with sources and lists of its own: the machine's bookworm sources, and from
# the same server the releases that have the other kernels.
private_apt() {
	local command=$1
	shift
	"$command" -o Dir::Etc::SourceList="$CACHE/apt/sources.list" -o Dir::Etc::SourceParts=/dev/null \
		-o Dir::State::Lists="$CACHE/apt/lists" -o Dir::Cache="$CACHE/apt/cache" \
		-o APT::Architectures="$(dpkg --print-architecture),arm64,amd64" \
		-o APT::Sandbox::User=root -o APT::Get::List-Cleanup=0 -o Acquire::Retries=3 "$@"
}

# locked NAME COMMAND...: one process at a time; two lanes may want the same kernel.
locked() {
	local lock status=0
	mkdir -p "$CACHE"
	exec {lock}>"$CACHE/$1.lock"
	shift
	flock "$lock"
	"$@" || status=$?
	exec {lock}>&-
	return "$status"
}

# Lists of half an hour ago will do.
update_lists() {
	local key='deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg]' uri
	[ -z "$(find "$CACHE/apt/fresh" -mmin -30 2>/dev/null)" ] || return 0
	mkdir -p "$CACHE/apt/lists/partial" "$CACHE/apt/cache/archives/partial"
	apt-get indextargets --format "$key \$(REPO_URI) \$(RELEASE) \$(COMPONENT)" \
		'Created-By: Packages' | grep -E ' bookworm(-security|-updates)? main$' |
		sort -u >"$CACHE/apt/sources.list"
	uri=$(awk '$4 == "bookworm" { print $3; exit }' "$CACHE/apt/sources.list")
	printf "$key %s %s main\n" "$uri" bookworm-backports "$uri" bullseye >>"$CACHE/apt/sources.list"
	private_apt apt-get update >"$CACHE/apt.log" 2>&1 || return 1
	touch "$CACHE/apt/fresh"
}

# unpack FOLDER PACKAGE...: downloads the packages and unpacks them in FOLDER.
unpack() {
	local folder=$1 package
	shift
	rm -rf "$folder.new"
	mkdir -p "$folder.new/deb"
	(cd "$folder.new/deb" && locked apt private_apt apt-get download "$@") >>"$CACHE/apt.log" 2>&1 || return 1
	for package in "$folder.new"/deb/*.deb; do dpkg -x "$package" "$folder.new"; done
	rm -rf "$folder.new/deb" "$folder"
	mv "$folder.new" "$folder"
}

# The package that a meta package of a release stands for.
newest() { private_apt apt-cache -t "$2" depends "$1" | sed -n 's/.*Depends: \(linux-[^:]*\).*/\1/p' | head -n 1; }

# fetch_kernel ARCH SERIES: the kernel and its headers in $CACHE/kernel-ARCH-SERIES.
fetch_kernel() { locked "kernel-$1-$2" have_kernel "$@"; }

have_kernel() {
	local arch=$1 series=$2 folder=$CACHE/kernel-$1-$2 release image headers abi
	[ ! -e "$folder/boot" ] || return 0
	locked apt update_lists || return 1
	release=$(release_of "$series")
	image=$(newest "linux-image-$arch:$arch" "$release")
	headers=$(newest "linux-headers-$arch:$arch" "$release")
	abi=${headers#linux-headers-}
	abi=${abi%-"$arch"}
	unpack "$folder" "$image:$arch" "$headers:$arch" "linux-headers-$abi-common" \
		"$(private_apt apt-cache depends "$headers:$arch" | sed -n 's/.*Depends: \(linux-kbuild-[^:]*\).*/\1/p')" ||
		return 1
	# The headers look for their common half where a package would put it.
	sed -i "s#include /usr/src#include $folder/usr/src#" \
		"$folder/usr/src/linux-headers-$abi-$arch/Makefile"
}

# fetch_source: Debian's kernel source, unpacked in $CACHE/linux-source.
fetch_source() { locked linux-source have_source; }

have_source() {
	local folder=$CACHE/linux-source
	[ ! -e "$folder/Makefile" ] || return 0
	locked apt update_lists || return 1
	unpack "$folder.deb" linux-source-6.1:all || return 1
	rm -rf "$folder" "$folder.new"
	mkdir "$folder.new"
	tar -xf "$folder.deb"/usr/src/linux-source-*.tar.xz --strip-components=1 -C "$folder.new" || return 1
	rm -rf "$folder.deb"
	mv "$folder.new" "$folder"
}

# fetch_built_kernel NAME CONFIG...: the kernel and what modules are built with, for arm64
# in $CACHE/kernel-arm64-NAME: built from source, with the options of the CONFIG files over
# the smallest configuration.
fetch_built_kernel() { locked "kernel-arm64-$1" have_built_kernel "$@"; }

have_built_kernel() {
	local name=$1 folder=$CACHE/kernel-arm64-$1 make
	shift
	! cat "$@" | cmp -s - "$folder/fragment" || return 0
	fetch_source || return 1
	rm -rf "$folder"
	mkdir -p "$folder/boot"
	cat "$@" >"$folder/config"
	make=(make -s -j "$(nproc)" -C "$CACHE/linux-source" "O=$folder/build" ARCH=arm64
		CROSS_COMPILE=aarch64-linux-gnu- "LOCALVERSION=-mac-$name" KBUILD_BUILD_TIMESTAMP=@0)
	{
		"${make[@]}" tinyconfig &&
			(cd "$CACHE/linux-source" && scripts/kconfig/merge_config.sh -m -O "$folder/build" \
				"$folder/build/.config" "$folder/config") &&
			"${make[@]}" olddefconfig && missing_options "$folder/config" "$folder/build/.config" &&
			"${make[@]}" Image modules && "${make[@]}" INSTALL_MOD_PATH="$folder" modules_install
	} >"$folder/build.log" 2>&1 || return 1
	cp "$folder/build/arch/arm64/boot/Image" "$folder/boot/vmlinuz-$name"
	cp "$folder/build/.config" "$folder/boot/config-$name"
	find "$folder/build" -name '*.o' -not -path '*/scripts/*' -delete
	mv "$folder/config" "$folder/fragment"
}

# missing_options CONFIG RESULT: names what the result lacks of a fragment.
missing_options() {
	! grep '^CONFIG_' "$1" | grep -vxFf "$2"
}

# fetch_user ARCH: what guests run and what macctl is built with, in $CACHE/user-ARCH.
fetch_user() { locked "user-$1" have_user "$@"; }

have_user() {
	local arch=$1 packages=() package
	[ ! -e "$CACHE/user-$arch/usr/include/nlohmann" ] || return 0
	locked apt update_lists || return 1
	for package in busybox-static libc6 libgcc-s1 libstdc++6 zlib1g libyaml-0-2 libubootenv-tool \
		libubootenv0.1 libpugixml1v5 libpugixml-dev libfmt9 libfmt-dev libfdt1 libfdt-dev libmtd-dev; do
		packages+=("$package:$arch")
	done
	unpack "$CACHE/user-$arch" "${packages[@]}" libcli11-dev nlohmann-json3-dev
}

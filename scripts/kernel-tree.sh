# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Lean arm64 kernels from an unpacked source of any line, built out of tree under
# ~/.cache/mac_mng. Sourced by bash scripts after scripts/kernel-guest.sh.
#
# Of each version and level the cache has a folder kernel-arm64-linux-VERSION[-debug]:
#   boot, lib/modules   the kernel, its configuration, its modules
#   build, source       what modules are built with; "source" is the part of the source
#                       that this takes, so that the rest may go
#   left-out            options that the tree lacks, and what goes without each
#   flags               what the kernel was given for the compiler
#   key, tree           the options and the compiler; the source and its state
# shellcheck shell=bash
# shellcheck disable=SC2154 # variables of the sourcing script

# refuse TEXT: one sentence for who named the tree.
refuse() {
	echo "test-kernel: $*" >&2
	exit 2
}

# makefile_value NAME: what the tree's Makefile says of its version.
makefile_value() { sed -n "s/^$1[[:space:]]*=[[:space:]]*\([0-9]*\).*/\1/p" "$tree_path/Makefile" | head -n 1; }

# use_tree PATH LEVEL: a source that can be built, or a sentence that says why not.
use_tree() {
	local part major minor trace
	[ -d "$1" ] || refuse "there is no folder $1"
	tree_path=$(realpath "$1")
	for part in Makefile Kconfig arch/arm64; do
		[ -e "$tree_path/$part" ] || refuse "$tree_path is no kernel source: it has no $part"
	done
	major=$(makefile_value VERSION) minor=$(makefile_value PATCHLEVEL)
	if [ -z "$major" ] || [ -z "$minor" ]; then
		refuse "$tree_path is no kernel source: its Makefile has no VERSION and PATCHLEVEL"
	fi
	tree_version=$major.$minor.$(makefile_value SUBLEVEL)
	[ $((major * 1000 + minor)) -ge 4004 ] ||
		refuse "$tree_path is Linux $tree_version; the modules are for 4.4 and later"
	[ -z "${LLVM:-}" ] || refuse "LLVM is \"$LLVM\": the modules are for kernels that gcc built"
	for trace in .config include/config arch/arm64/include/generated; do
		[ ! -e "$tree_path/$trace" ] ||
			refuse "$tree_path was built in place (it has $trace): name a source as it was unpacked, or run \"make mrproper\" in it"
	done
	level=$2
	case $level in
	lean) use_kernel arm64 "linux-$tree_version" ;;
	debug) use_kernel arm64 "linux-$tree_version-debug" ;;
	*) refuse "LEVEL is \"$level\", expected lean or debug" ;;
	esac
}

# use_cached NAME: a kernel of the cache by its folder's name.
use_cached() {
	use_kernel arm64 "${1#kernel-arm64-}"
	level=lean
	case $1 in *-debug) level=debug ;; esac
}

# tree_state: changes when a file of the source does.
tree_state() {
	find "$tree_path" -name .git -prune -o -type f -printf '%P %s %T@\n' | LC_ALL=C sort | sha256sum
}

# tree_config: the options that are wanted at this level.
tree_config() {
	cat tests/kernel/plain.config tests/kernel/tree.config
	case $level in debug) cat tests/kernel/debug.config tests/kernel/tree-debug.config ;; esac
}

# tree_key: the options and the compiler, for a kernel is built anew when they change.
tree_key() {
	"${cross}gcc" --version | head -n 1
	tree_config
}

# tree_make TARGET...: as the kernel itself is built.
tree_make() {
	make -s -j "$(nproc)" -C "$tree_path" "O=$kernel/build" "${kbuild[@]}" \
		LOCALVERSION= KBUILD_BUILD_TIMESTAMP=@0 "HOSTCFLAGS=${host_flags:--O2}" "KCFLAGS=$target_flags" "$@"
}

# configure CONFIG: the smallest configuration, and over it the options of CONFIG.
configure() {
	local output=$kernel/build
	tree_make tinyconfig || return 1
	sed -nE 's/^(# )?(CONFIG_[A-Za-z0-9_]+)[ =].*/\2/p' "$1" >"$output/wanted"
	awk 'NR == FNR { wanted[$1] = 1; next }
		{ name = $1 == "#" ? $2 : $1; sub(/=.*/, "", name) } !(name in wanted)' \
		"$output/wanted" "$output/.config" >"$output/merged"
	cat "$output/merged" "$1" >"$output/.config"
	tree_make olddefconfig
}

# What a line needs with a compiler that came after it, found by trying: tools that
# define a variable twice, and unwind tables, which no loader of modules wants.
find_flags() {
	if ! tree_make scripts; then
		host_flags="-O1 -w -fcommon"
		tree_make scripts || return 1
	fi
	if ! tree_make prepare lib/cmdline.o; then
		target_flags="-w"
		tree_make prepare lib/cmdline.o || return 1
	fi
	if "${cross}readelf" -SW "$kernel/build/lib/cmdline.o" | grep ' \.eh_frame ' >/dev/null &&
		! grep -q '^CONFIG_UNWIND_TABLES=y' "$kernel/build/.config"; then
		target_flags="$target_flags -fno-asynchronous-unwind-tables -fno-unwind-tables"
	fi
}

# compile: the kernel and its modules; once more without warnings where they are errors.
compile() {
	tree_make Image modules && return 0
	[ "${target_flags#*-w}" = "$target_flags" ] || return 1
	target_flags="$target_flags -w"
	tree_make Image modules
}

# keep_headers: the part of the source that modules are built with, and the build folder
# made to look there instead of into the source.
keep_headers() {
	mkdir -p "$kernel/source"
	(cd "$tree_path" && {
		find . -name .git -prune -o -type f \( -name 'Makefile*' -o -name 'Kbuild*' -o -name 'Kconfig*' -o -name '*.lds' \) -print
		find include scripts arch/arm/include arch/arm64/include -type f -o -type l
	} | LC_ALL=C sort -u | cpio -pdmu --quiet "$kernel/source")
	sed -i "s#$tree_path\([^[:alnum:]_.-]\|\$\)#$kernel/source\1#g" "$kernel/build/Makefile"
	ln -sfn ../source "$kernel/build/source"
	find "$kernel/build" \( -name '*.o' -o -name '*.a' -o -name '*.ko' -o -name '.*.cmd' -o -name '*.order' \) \
		-not -path '*/scripts/*' -delete
	rm -f "$kernel"/build/vmlinux "$kernel"/build/.tmp_vmlinux* "$kernel"/build/arch/arm64/boot/Image
}

# lacking CONFIG: lists the options of CONFIG that the kernel has not got, and whether its
# source knows them.
lacking() {
	local option unmet
	find "$tree_path" -name 'Kconfig*' -type f -exec sed -nE 's/^[[:space:]]*(menu)?config[[:space:]]+([A-Za-z0-9_]+).*/CONFIG_\2/p' {} + |
		sort -u >"$kernel/known"
	unmet=$(grep '^CONFIG_' "$1" | grep -vxFf "$kernel/build/.config" | sed 's/=.*//' | sort -u) || true # none
	for option in $unmet; do
		if grep -qx "$option" "$kernel/known"; then echo "$option stays off"; else echo "$option is unknown"; fi
	done >"$kernel/left-out"
	rm "$kernel/known"
}

# say_left_out: those options, and what goes without each.
say_left_out() {
	local option state what
	while read -r option state; do
		what=$(awk -v "option=$option" '$1 == option { sub(/^[^ ]* /, ""); print }' tests/kernel/tree-options.txt)
		echo "-- $option $state here: ${what:-no test needs it}"
	done <"$kernel/left-out"
}

# must_be_testable: there are options without which nothing can be tested.
must_be_testable() {
	local missing
	missing=$(say_left_out | sed -n 's/^-- \(.*\) here: ! \(.*\)/\1, and without it \2/p' | head -n 1)
	[ -z "$missing" ] || fail "$tree_path cannot be tested: $missing"
}

# missing_half CHECKER PREFIX PLACE: the first function that this compiler calls for a
# checker and that the tree has not. There a macro puts sizes behind the names.
missing_half() {
	local call
	grep -q "^CONFIG_$1=y" "$kernel/build/.config" || return 0
	for call in $("${cross}readelf" -sW "$kernel"/build/lib/{vsprintf,cmdline}.o |
		awk -v "prefix=^$2" '$7 == "UND" && $8 ~ prefix { print $8 }' | sort -u); do
		grep -rqF "${call%%[0-9]*}" "$tree_path/$3" || {
			echo "$call"
			return
		}
	done
}

# fit_checkers: what compilers put into the kernel for a checker has another half in the
# kernel, which an old one has for old compilers only: such a checker is left out.
fit_checkers() {
	local checker found
	[ "$level" = debug ] || return 0
	tree_make lib/vsprintf.o lib/cmdline.o || return 1
	for checker in KASAN UBSAN KCOV; do
		case $checker in
		KASAN) found=$(missing_half KASAN __asan_ mm/kasan) ;;
		UBSAN) found=$(missing_half UBSAN __ubsan_ lib/ubsan.c) ;;
		KCOV) found=$(missing_half KCOV __sanitizer_cov_ kernel/kcov.c) ;;
		esac
		[ -n "$found" ] || continue
		sed -i "/^\(# \)\?CONFIG_${checker}[_= ]/d" "$kernel/config"
		echo "# CONFIG_$checker is not set" >>"$kernel/config"
		echo "CONFIG_$checker has no $found, which this compiler calls," >>"$kernel/unfit"
	done
	[ ! -e "$kernel/unfit" ] || configure "$kernel/config"
}

# build_configured: everything that a kernel folder holds but its configuration and keys.
build_configured() {
	compile && tree_make INSTALL_MOD_PATH="$kernel" modules_install &&
		echo "HOSTCFLAGS=$host_flags KCFLAGS=$target_flags" >"$kernel/flags"
}

# is_current: whether the kernel of the cache has the options and the compiler of today.
is_current() { tree_key | cmp -s - "$kernel/key"; }

# is_built STATE: whether it also is the source of today.
is_built() {
	printf '%s\n%s\n' "$tree_path" "$1" | cmp -s - "$kernel/tree" && is_current
}

# building COMMAND: a step, whose output goes to the kernel's log.
building() {
	"$@" >>"$kernel/build.log" 2>&1 || {
		tail -n 20 "$kernel/build.log" >&2
		fail "the kernel does not build; see $kernel/build.log"
	}
}

# build_tree: the kernel in the cache.
build_tree() {
	local state
	host_flags='' target_flags=''
	state=$(tree_state)
	! is_built "$state" || return 0
	rm -rf "$kernel"
	mkdir -p "$kernel/boot" "$kernel/build"
	tree_config >"$kernel/config"
	echo "== $name: building the kernel from $tree_path"
	building configure "$kernel/config"
	building find_flags
	building fit_checkers
	lacking "$kernel/config"
	[ ! -e "$kernel/unfit" ] || cat "$kernel/unfit" >>"$kernel/left-out"
	must_be_testable
	building build_configured
	[ "$(tree_state)" = "$state" ] || fail "the build wrote into $tree_path"
	cp "$kernel/build/arch/arm64/boot/Image" "$kernel/boot/vmlinuz-$tree_version"
	cp "$kernel/build/.config" "$kernel/boot/config-$tree_version"
	keep_headers
	printf '%s\n%s\n' "$tree_path" "$state" >"$kernel/tree"
	tree_key >"$kernel/key"
}

# The runs that this kernel can have, one a line.
tree_runs() {
	echo test
	if kernel_has CONFIG_MTD_MTDRAM && kernel_has CONFIG_I2C_STUB; then echo stock; fi
	[ "$level" = debug ] || return 0
	if kernel_has CONFIG_DEBUG_KMEMLEAK; then echo leaks; fi
	# One call's failures can be planned from 4.13 on.
	if kernel_has CONFIG_FAILSLAB && ! is_older_than 4.13; then echo failures; fi
}

# test_tree: says what this kernel lacks, builds the modules for it and does its runs.
test_tree() {
	local runs
	say_left_out
	mapfile -t runs < <(tree_runs)
	scripts/test-kernel.sh arm64 "$series" "${runs[@]}"
}

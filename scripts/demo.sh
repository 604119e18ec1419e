#!/bin/bash
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Shows the system's main job on the demo board, step by step, in a scratch folder.
# Each step checks that it did what its sentence says; the first that did not ends
# the demo with status 1.
#
#   demo.sh MACCTL
set -uo pipefail

macctl=$(realpath "$1")
source_dir=$(realpath "$(dirname "$0")/..")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "$source_dir/boards/demo.xml" "$scratch/board.xml"
cd "$scratch" || exit 1
cat >fw_env.config <<CONFIG
$scratch/uboot-env.bin 0x0     0x4000
$scratch/uboot-env.bin 0x10000 0x4000
CONFIG

if [ -t 1 ]; then
	bold=$(printf '\033[1m') plain=$(printf '\033[0m')
else
	bold='' plain=''
fi

number=0
step() {
	number=$((number + 1))
	printf '\n%s%d. %s%s\n' "$bold" "$number" "$*" "$plain"
}

fail() {
	printf '\nThe demo failed in step %d: %s\n' "$number" "$*" >&2
	exit 1
}

# run ARGUMENT...: shows and runs macctl; $out and $status hold what it gave.
run() {
	printf '   $ macctl --board board.xml %s\n' "$*"
	out=$("$macctl" --board board.xml "$@" 2>err)
	status=$?
	[ -z "$out" ] || printf '%s\n' "$out" | sed 's/^/     /'
	[ ! -s err ] || sed 's/^/     /' err
}

expect_ok() { [ "$status" -eq 0 ] || fail "macctl ended with status $status"; }
expect_out() { [ "$out" = "$1" ] || fail "expected \"$1\", found \"$out\""; }

# bytes FILE OFFSET COUNT: the bytes as digits.
bytes() { od -An -tx1 -v -j "$(($2))" -N "$3" "$1" | tr -d ' \n'; }
show_bytes() {
	printf '     %-14s at 0x%05x: %s\n' "$1" "$2" "$(bytes "$1" "$2" "$3" | sed 's/../& /g; s/ $//')"
}

# damage FILE OFFSET: overwrites two bytes, with the very command that is shown.
damage() {
	local command="printf '\\125\\252' | dd of=$1 bs=1 seek=$(($2)) conv=notrunc status=none"
	printf '   $ %s\n' "$command"
	bash -c "$command" || fail "dd could not write $1"
}

printf 'mac_mng on the demo board: one NOR flash, four EEPROMs, a boot environment.\n'
printf 'Every block of addresses is kept twice; scratch folder %s\n' "$scratch"

step "Manufacturing programs blocks of addresses, one for each storage driver."
for type in 0 1 2 3 4 5 64; do
	run set block -t "$type" "00:11:22:33:$(printf %02x "$type"):fe" 8
	expect_ok
done

step "They are all there, and both copies of each."
run status
expect_ok
[ "$(grep -c ' good  *good$' <<<"$out")" -eq 7 ] || fail "not all seven blocks are good"

step "Every block reads back: base address and count."
for type in 0 1 2 3 4 5 64; do
	run get addr -t "$type"
	expect_out "00:11:22:33:$(printf %02x "$type"):fe"
	run get num -t "$type"
	expect_out 8
done

step "A list shows the block's addresses; they carry into the next byte."
run list -t 0 -n 4
expect_out "00:11:22:33:00:fe
00:11:22:33:00:ff
00:11:22:33:01:00
00:11:22:33:01:01"

step "A further instance is refused before it is mounted, works while it is, and is gone after."
run get addr -i 3 -t 0
[ "$status" -eq 3 ] || fail "the unmounted instance answered"
run mount -i 3
expect_ok
run set block -i 3 -t 0 02:00:5e:10:00:01 4
expect_ok
run get addr -i 3 -t 0
expect_out 02:00:5e:10:00:01
run unmount -i 3
expect_ok
run get addr -i 3 -t 0
[ "$status" -eq 3 ] || fail "the unmounted instance answered"

step "The main copy is damaged on its flash. Looking says so; the next read repairs it."
good=$(bytes manuinfo.bin 0x4c0 16)
show_bytes manuinfo.bin 0x4c0 16
damage manuinfo.bin 0x4ca
damaged=$(bytes manuinfo.bin 0x4c0 16)
[ "$damaged" != "$good" ] || fail "dd changed nothing"
show_bytes manuinfo.bin 0x4c0 16
run check -i 0xffffffff -t 0
[ "$status" -eq 4 ] || fail "the damage was not seen"
[ "$(bytes manuinfo.bin 0x4c0 16)" = "$damaged" ] || fail "looking wrote to the medium"
run get addr -t 0
expect_out 00:11:22:33:00:fe
show_bytes manuinfo.bin 0x4c0 16
[ "$(bytes manuinfo.bin 0x4c0 16)" = "$good" ] || fail "the main copy was not repaired"
[ "$(bytes manuinfo.bin 0x104c0 16)" = "$good" ] || fail "the spare copy changed"

step "Both copies are damaged; that is reported, and nothing is invented or written."
damage manuinfo.bin 0x4ca
damage manuinfo.bin 0x104ca
cp manuinfo.bin before.bin
run get addr -t 0
[ "$status" -eq 5 ] || fail "the damaged block was handed out"
[ -z "$out" ] || fail "an address was printed"
grep -q 'MAC_CHECK_MISMATCH (0x811601a7)' err || fail "the check mismatch was not reported"
cmp -s manuinfo.bin before.bin || fail "a damaged copy was written over"

step "Programming the block again mends both copies."
run set block -t 0 00:11:22:33:00:fe 8
expect_ok
[ "$(bytes manuinfo.bin 0x4c0 16)" = "$good" ] || fail "the main copy is not good"
[ "$(bytes manuinfo.bin 0x104c0 16)" = "$good" ] || fail "the spare copy is not good"
show_bytes manuinfo.bin 0x4c0 16
show_bytes manuinfo.bin 0x104c0 16

step "The board file is checked for what goes wrong in the field, and drawn."
run board check
expect_ok
run board map --svg map.svg
grep -q 'type 0 main 0x4c0' map.svg || fail "the picture lacks the flash block"

step "The boot loader's own tool reads the block that is kept in its environment."
printf '   $ fw_printenv -c fw_env.config\n'
env=$(fw_printenv -c fw_env.config) || fail "fw_printenv cannot read the environment"
printf '%s\n' "$env" | sed 's/^/     /'
grep -qx 'ethaddr_pool=00:11:22:33:02:fe' <<<"$env" || fail "ethaddr_pool is wrong"
grep -qx 'ethaddr_pool_num=00000008' <<<"$env" || fail "ethaddr_pool_num is wrong"

step "The listing shows where the blocks of the default instance are configured."
run show cfg
expect_ok
grep -q '^Main offset           : 0x4c0$' <<<"$out" || fail "the listing lacks the flash block"

printf '\nAll %d steps did what they say.\n' "$number"

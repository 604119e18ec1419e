#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# In the guest: the same macctl commands over a board file and over the device, both
# on blank media. Standard output, macctl's own messages and the exit status have to
# be the same to the byte.
#
#   same_words.sh BOARD
mkdir -p /tmp/board /tmp/links
cp /boards/* /tmp/board/

# say ARGUMENT...: runs macctl on the target at hand and prints what it gives.
say() {
	echo "\$ macctl $*"
	# shellcheck disable=SC2086 # no words: the default device
	macctl $target "$@" 2>/tmp/messages
	echo "status $?"
	grep '^macctl: ' /tmp/messages
}

# damage: two bytes of the main copy of type 0.
damage() {
	printf '\000\000' | dd of="$flash" bs=1 seek=1226 count=2 conv=notrunc 2>/dev/null
}

everyday() {
	say get addr -t 0
	for type in 0 1 2 3 4 5 64; do
		say set block -t "$type" "00:11:22:33:$(printf %02d "$type"):fe" 8 --yes
		say get addr -t "$type"
		say get num -t "$type"
		say list -t "$type"
		say list -n 3 -t "$type"
		say list -n 9 -t "$type"
		say set addr -t "$type" 02-AA-BB-CC-DD-00
		say set addr -t "$type" "02-AA-BB-CC-$(printf %02d "$type")-00" --yes
		say get addr -t "$type"
	done
	for type in 0 1 2 3 4; do
		say set num -t "$type" 2 --yes
		say get list -t "$type"
	done
	say set num -t 0 65535 --yes
	say set addr -t 0 ff:ff:ff:ff:ff:ff --yes
	say set block -t 0 00:00:00:00:00:00 4 --yes
	say set block -t 0 02:00:00:00:00:99 4 --dry-run
	say get addr -t 9
	say set addr -t 9 02:00:00:00:00:01
	say set block -t 9 02:00:00:00:00:01 1
	say list -t 0 --format csv
	say list -t 0 --format json
	say list -t 0 --format link --interfaces lan0,lan1
	say list -t 0 --format link --interfaces lan0 --directory /tmp/links
}

instances() {
	say mount
	say get addr -i 3 -t 0
	say mount -i 3
	say mount -i 3
	say set block -i 3 -t 0 02:00:5e:10:00:01 4
	say get addr -i 3 -t 0
	say unmount -i 3
	say unmount -i 3
}

care() {
	say status
	say check
	say -j status
	damage
	say check -t 0
	say -j check -t 0
	say repair --dry-run
	say repair
	say repair
	damage
	say -j repair -t 0
	say check -t 70
	say export
	say export /tmp/blocks.json
	say import /tmp/blocks.json
	sed -i 's/02:aa:bb:cc:03:00/02:aa:bb:cc:03:10/' /tmp/blocks.json
	say import /tmp/blocks.json
	say import /tmp/blocks.json --dry-run
	say import /tmp/blocks.json --yes
	say get addr -t 3
	sed -i 's/"count": 2/"count": 2000/' /tmp/blocks.json
	say import /tmp/blocks.json --yes
}

listings() {
	say show cfg
	say show types
	say -j show cfg
	say diag devlist
	say diag drvlist
	say -j get addr -t 0
	say -j get addr -t 9
	say frobnicate
	say -j get
	echo "log lines of type 9"
	# shellcheck disable=SC2086
	macctl $target log 2>/dev/null | grep 'type 9' | tail -n 2
}

everything() {
	everyday
	instances
	care
	listings
}

target="--board /tmp/board/$1.xml"
case $1 in demo) flash=/tmp/board/manuinfo.bin ;; *) flash=/tmp/board/flash.bin ;; esac
everything >/tmp/on-board
target='' flash=/dev/mtd0
everything >/tmp/on-device

lines=$(wc -l </tmp/on-board)
# Both in the same way wrong would be no proof: every exit status has to be there.
for status in 0 1 2 3 4 6 7; do
	if ! grep -q "^status $status\$" /tmp/on-board; then
		echo "# no command ended with $status on the board file"
		sed 's/^/# /' /tmp/on-board | head -n 20
		exit 1
	fi
done
cmp /tmp/on-board /tmp/on-device && echo "# $lines lines are the same" && exit 0
diff /tmp/on-board /tmp/on-device | sed "s/^/# /" | head -n 20
exit 1

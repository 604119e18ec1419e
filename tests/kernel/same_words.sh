#!/bin/sh
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# In the guest: the same macctl commands over a board file and over the device, both
# on blank media. Standard output, macctl's own messages and the exit status have to
# be the same to the byte.
#
#   same_words.sh BOARD
cp /boards/* /tmp/

commands() {
	say() {
		echo "\$ $*"
		macctl "$@" 2>/tmp/messages
		echo "status $?"
		grep '^macctl: ' /tmp/messages
	}
	say "$@" get addr -t 0
	for type in 0 1 2 3 4 5 64; do
		say "$@" set block -t "$type" "00:11:22:33:$(printf %02d "$type"):fe" 8
		say "$@" get addr -t "$type"
		say "$@" get num -t "$type"
		say "$@" get list -t "$type"
		say "$@" get list -n 3 -t "$type"
		say "$@" get list -n 9 -t "$type"
		say "$@" set addr -t "$type" 02-AA-BB-CC-DD-00
		say "$@" get addr -t "$type"
	done
	for type in 0 1 2 3 4; do
		say "$@" set num -t "$type" 2
		say "$@" get list -t "$type"
	done
	say "$@" set num -t 0 65535
	say "$@" set addr -t 0 ff:ff:ff:ff:ff:ff
	say "$@" set block -t 0 00:00:00:00:00:00 4
	say "$@" get addr -t 9
	say "$@" set addr -t 9 02:00:00:00:00:01
	say "$@" set block -t 9 02:00:00:00:00:01 1
	say "$@" init
	say "$@" get addr -i 3 -t 0
	say "$@" init -i 3
	say "$@" init -i 3
	say "$@" set block -i 3 -t 0 02:00:5e:10:00:01 4
	say "$@" get addr -i 3 -t 0
	say "$@" deinit -i 3
	say "$@" deinit -i 3
	say "$@" show cfg
	say "$@" show types
	say "$@" diag devlist
	say "$@" diag drvlist
	echo "log lines of type 9"
	macctl "$@" log 2>/dev/null | grep 'type 9' | tail -n 4
}

commands --board "/tmp/$1.xml" | sed 's/--board [^ ]*/TARGET/' >/tmp/on-board
commands | sed 's/^\$ /$ TARGET /' >/tmp/on-device
lines=$(wc -l </tmp/on-board)
# Both in the same way wrong would be no proof.
if [ "$lines" -lt 250 ] || ! grep -q '^status 0' /tmp/on-board || ! grep -q '^status 2' /tmp/on-board; then
	sed 's/^/# /' /tmp/on-board | head -n 20
	exit 1
fi
cmp /tmp/on-board /tmp/on-device && echo "# $lines lines are the same" && exit 0
diff /tmp/on-board /tmp/on-device | sed "s/^/# /" | head -n 20
exit 1

#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""A guest writes blocks to CFI flash without pause while its machine is killed.

    power_cuts.py ROUNDS FLASH-IMAGE RESULT QEMU-COMMAND...

The command ends with the kernel's arguments. After each start every block has to read
as an old or a new value: the last that the guest said it wrote, or the one under way.
"""
import pathlib
import random
import re
import select
import subprocess
import sys
import time

FLASH_BYTES = 64 << 20
START_SECONDS = 120
TYPES = 3


class Guest:
    def __init__(self, command, image, first):
        drive = f"if=pflash,index=1,format=raw,file={image}"
        self.process = subprocess.Popen(
            [*command[:-1], f"{command[-1]} mac_first={first}", "-drive", drive],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.rest = b""
        self.pending = []  # whole lines that nobody has asked for yet
        self.console = ""

    def lines(self, seconds, until=None):
        """Lines of the console until one is `until`, or the time is up."""
        end = time.monotonic() + seconds
        while True:
            while self.pending:
                text = self.pending.pop(0)
                yield text
                if text == until:
                    return
            left = end - time.monotonic()
            if left <= 0 or not select.select([self.process.stdout], [], [], left)[0]:
                return
            chunk = self.process.stdout.read1(4096)
            if not chunk:
                return
            self.console += chunk.decode(errors="replace")
            *whole, self.rest = (self.rest + chunk).split(b"\n")
            self.pending += [line.decode(errors="replace").strip() for line in whole]

    def kill(self):
        self.process.kill()
        return self.lines(5)


class Session:
    """What may be on the media after a session of writing first, first + 1, ..."""

    def __init__(self, old, first):
        self.old, self.first, self.wrote = old, first, None

    def problem(self, kind, number):
        if self.wrote is None:  # one round under way, or its last line lost
            good = number in (self.old[kind], self.first, self.first + 1)
        else:
            good = self.wrote <= number <= self.wrote + 2
        return "" if good else (f"type {kind}: block {number}, expected {self.old[kind]} or what "
                                f"follows {self.wrote or self.first - 1}")


def blank(image):
    """Flash whose first MiB and second, where the partitions are, are erased."""
    with open(image, "wb") as flash:
        flash.truncate(FLASH_BYTES)
        flash.write(b"\xff" * (2 << 20))


def power_on(command, image, session, number):
    """One session of a guest; the blocks that it found, its own writes, what went wrong."""
    guest = Guest(command, image, session.first)
    found, bad, ready = {}, [], False
    for text in guest.lines(START_SECONDS, "ready"):
        ready = ready or text == "ready"
        if block := re.fullmatch(r"type (\d+): block (\d+)", text):
            found[int(block[1])] = int(block[2])
        elif text.startswith("type ") and number > 0:  # the first start finds nothing
            bad.append(text)
    if not ready:
        bad.append("the guest did not start")
    # The first time long enough for an old value to be there.
    pause = 2 if number == 0 else random.random() * 0.5
    for text in [*guest.lines(pause), *guest.kill()]:
        if wrote := re.fullmatch(r"wrote (\d+)", text):
            session.wrote = int(wrote[1])
        elif text.startswith("type "):
            bad.append(text)
    return found, bad, guest.console


def main():
    rounds, image, result, command = int(sys.argv[1]), sys.argv[2], sys.argv[3], sys.argv[4:]
    seed = random.randrange(2**32)
    random.seed(seed)
    print(f"seed {seed}")
    blank(image)
    failures = writes = 0
    before, first = None, 1
    blocks = dict.fromkeys(range(TYPES), 0)
    for number in range(rounds + 1):
        session = Session(blocks, first)
        found, bad, console = power_on(command, image, session, number)
        if before is not None:
            bad += filter(None, (before.problem(*item) for item in found.items()))
            bad += [f"{len(found)} blocks were read"] if len(found) != TYPES else []
        elif session.wrote is None:
            sys.exit(f"nothing was written\n{console[-3000:]}")
        if bad:
            failures += 1
            print(f"not ok round {number}: {'; '.join(bad)}\n{console[-3000:]}")
        session.old = {**blocks, **found}
        top = session.first + 1 if session.wrote is None else session.wrote + 2
        blocks = session.old if session.wrote is None else dict.fromkeys(range(TYPES), session.wrote)
        first = top + 1
        writes += 0 if session.wrote is None else session.wrote - session.first + 1
        before = session
    print(f"{rounds} cuts in {writes} rounds of writing, {failures} of them not survived")
    pathlib.Path(result).write_text(f"{rounds - failures} {failures}\n")
    sys.exit(failures != 0)


main()

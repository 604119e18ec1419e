#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""macctl killed while it writes, over and over, two processes at once.

    soak.py MACCTL ROUNDS

Each round starts two writers on one board and kills one of them (SIGKILL) at a random
moment. After each, every block has to read as one that somebody wrote, base and count
together, and a look at both copies finds nothing that the next access does not mend.
"""
import json
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).parent.parent
TYPES = ["0", "1", "2", "3", "5"]


def main():
    macctl, rounds = str(pathlib.Path(sys.argv[1]).resolve()), int(sys.argv[2])
    seed = random.randrange(2**32)
    random.seed(seed)
    print(f"seed {seed}")
    with tempfile.TemporaryDirectory() as folder:
        shutil.copy(ROOT / "boards" / "demo.xml", folder)

        def start(*arguments):
            return subprocess.Popen([macctl, "-b", "demo.xml", *arguments], cwd=folder,
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        def ask(*arguments):
            done = subprocess.run([macctl, "-j", "-b", "demo.xml", *arguments], cwd=folder,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
            return json.loads(done.stdout)

        def write(kind, number):
            # The count follows from the base, so that halves of two blocks are seen. A
            # Kolbe record has as many addresses as the board says.
            count = "8" if kind == "5" else str(1 + number % 16)
            return start("set", "block", "-t", kind, f"02:00:00:00:{int(kind):02x}:{number:02x}",
                         count, "--yes")

        for kind in TYPES:
            write(kind, 0).wait()
        killed = mended = 0
        for number in range(rounds):
            first, second = random.choice(TYPES), random.choice(TYPES)
            victim, other = write(first, number % 256), write(second, (number + 7) % 256)
            time.sleep(random.random() * 0.008)
            if victim.poll() is None:
                victim.send_signal(signal.SIGKILL)
                killed += 1
            victim.wait()
            if other.wait() != 0:
                sys.exit(f"round {number}: the writer that nobody killed ended with {other.returncode}")
            if ask("check", "-t", first, "-i", "0xffffffff")["exit"] not in (0, 4):
                sys.exit(f"round {number}: type {first} has no good copy")
            base = ask("get", "addr", "-t", first)["result"]["base"]
            count = ask("get", "num", "-t", first)["result"]["count"]
            last = int(base[-2:], 16)
            if not base.startswith(f"02:00:00:00:{int(first):02x}:") or (
                    first not in ("2", "5") and count != 1 + last % 16):
                sys.exit(f"round {number}: type {first} reads {base} count {count}")
            after = ask("check", "-t", first, "-i", "0xffffffff")
            mended += after["exit"] == 0
            if after["exit"] != 0 and first != "5":
                sys.exit(f"round {number}: type {first} is not mended by a read")
        print(f"{rounds} rounds, {killed} killed while they ran")
    subprocess.run([ROOT / "scripts" / "evidence.py", "varies", "kills of `macctl` while it writes",
                    str(killed)], check=True)


main()

#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""The steps of the demo that README.md shows are what the demo prints; its own walk goes
through, and its house has every room.

    readme.py MACCTL              fails when README.md shows something else
    readme.py MACCTL --write      brings the steps up to date, for a person to read
"""
import difflib
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).parent.parent
README = ROOT / "README.md"
# A step: its number and sentence, then lines that are indented further.
STEP = r"^{0}(\d+)\. .*(?:\n{0} .*)*"


def section(text, title):
    return re.search(rf"^## {title}\n(.*?)^## ", text, re.M | re.S)


def walk(text, macctl):
    """The commands of "Try it yourself", in a folder of their own in the place of /tmp."""
    lines = re.findall(r"^    (m .*?)(?: +#.*)?$", section(text, "Try it yourself")[1], re.M)
    if not lines:
        sys.exit("README.md has no walk")
    with tempfile.TemporaryDirectory() as folder:
        board = pathlib.Path(folder) / "board.xml"
        board.write_bytes((ROOT / "boards" / "demo.xml").read_bytes())
        for line in lines:
            words = line.replace("/tmp/", f"{folder}/").split()[1:]
            done = subprocess.run([macctl, "--board", board, *words], stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, text=True, check=False)
            if done.returncode != 0:
                sys.exit(f"README.md: \"{line}\" ends with {done.returncode}:\n{done.stdout}")


def house(text):
    rooms = {entry.name for entry in os.scandir(ROOT) if entry.is_dir()}
    rooms = {room for room in rooms if not room.startswith(".")} - {"build", "LICENSES"}
    shown = set(re.findall(r"^    (\w+)/ ", section(text, "The house")[1], re.M))
    if shown != rooms:
        sys.exit(f"README.md, \"The house\": {sorted(shown ^ rooms)} are not on both sides")


def main():
    demo = subprocess.run([ROOT / "scripts" / "demo.sh", sys.argv[1]], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    if demo.returncode != 0:
        sys.exit(f"the demo failed:\n{demo.stdout}")
    steps = {step[1]: step[0] for step in re.finditer(STEP.format(""), demo.stdout, re.M)}
    text = README.read_text()
    walk(text, sys.argv[1])
    house(text)
    excerpt = section(text, "What the demo shows")
    shown = re.findall(STEP.format(" {4}"), excerpt[1], re.M) if excerpt else []
    if not shown:
        sys.exit("README.md shows no step of the demo")

    def printed(step):
        number = step[1]
        return re.sub("^", "    ", steps.get(number, f"{number}. (no such step)"), flags=re.M)

    happened = (text[:excerpt.start(1)] + re.sub(STEP.format(" {4}"), printed, excerpt[1], flags=re.M) +
                text[excerpt.end(1):])
    if sys.argv[2:] == ["--write"]:
        README.write_text(happened)
    elif happened != text:
        sys.stdout.writelines(difflib.unified_diff(
            text.splitlines(True), happened.splitlines(True), "README.md", "what the demo prints"))
        sys.exit(1)


main()

#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""The steps of the demo that README.md shows are what the demo prints.

    readme.py MACCTL              fails when README.md shows something else
    readme.py MACCTL --write      brings the steps up to date, for a person to read
"""
import difflib
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).parent.parent
README = ROOT / "README.md"
# A step: its number and sentence, then lines that are indented further.
STEP = r"^{0}(\d+)\. .*(?:\n{0} .*)*"


def main():
    demo = subprocess.run([ROOT / "scripts" / "demo.sh", sys.argv[1]], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    if demo.returncode != 0:
        sys.exit(f"the demo failed:\n{demo.stdout}")
    steps = {step[1]: step[0] for step in re.finditer(STEP.format(""), demo.stdout, re.M)}
    text = README.read_text()
    excerpt = re.search(r"^## What the demo shows\n(.*?)^## ", text, re.M | re.S)
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

#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""The numbers of docs/reliability.md: each comes from the run that it is about.

    evidence.py same ROW NUMBER     one that is the same in every run: another is a failure
    evidence.py varies ROW NUMBER   one that depends on the machine and the time: is shown

With MAC_WRITE_EVIDENCE set, either writes the number into its row.
"""
import os
import pathlib
import re
import sys

PAGE = pathlib.Path(__file__).resolve().parent.parent / "docs" / "reliability.md"


def main():
    kind, row, number = sys.argv[1:]
    text = PAGE.read_text(encoding="utf-8")
    found = re.findall(rf"^\| {re.escape(row)} \| (\d+) \|$", text, re.M)
    if kind not in ("same", "varies") or not number.isdigit() or len(found) != 1:
        sys.exit(f"evidence: {kind} \"{row}\" {number}: no such row of {PAGE}, or no number")
    if os.environ.get("MAC_WRITE_EVIDENCE"):
        PAGE.write_text(text.replace(f"| {row} | {found[0]} |", f"| {row} | {number} |"),
                        encoding="utf-8")
    elif kind == "same" and number != found[0]:
        sys.exit(f"evidence: {row}: {number}; docs/reliability.md has {found[0]}")
    else:
        print(f"{row}: {number}")


main()

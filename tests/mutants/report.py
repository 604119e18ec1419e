# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""The table of a run, and what it says about single faults."""
import os
import re

from fault import ROOMS

PAGE = "docs/reliability.md"
BEGIN = "<!-- planted faults: made by scripts/planted-faults.sh -->"
END = "<!-- end of planted faults -->"

# "planted apart" says how many of the faults were; each fault is in one of the others.
COLUMNS = ("faults", "planted apart", "killed", "refused by the compiler", "listed as equal",
           "time-outs", "surviving")


def tally(results, equal):
    """The rows of the rooms that were run."""
    rows = {}
    for fault, outcome in results:
        row = rows.setdefault(fault.room, dict.fromkeys(COLUMNS, 0))
        row["faults"] += 1
        row["planted apart"] += bool(fault.apart)
        row[column_of(outcome, equal.has(fault))] += 1
    return rows


def column_of(outcome, listed):
    if listed:
        return "listed as equal"
    if outcome.verdict == "compiler":
        return "refused by the compiler"
    if outcome.killed:
        return "killed"
    return "time-outs" if outcome.verdict == "timeout" else "surviving"


def table(rows):
    """The rows in the order of the rooms, and their sum."""
    rows = {room: rows[room] for room in ROOMS.values() if room in rows}
    total = {column: sum(row[column] for row in rows.values()) for column in COLUMNS}
    lines = [f"| room | {' | '.join(COLUMNS)} |", "|---" * (len(COLUMNS) + 1) + "|"]
    for room, row in [*rows.items(), ("all", total)]:
        lines.append(f"| {room} | {' | '.join(str(row[column]) for column in COLUMNS)} |")
    return "\n".join(lines) + "\n"


def _rows_of(text):
    rows = {}
    for room, numbers in re.findall(r"^\| (\w+) \| ([\d |]+) \|$", text, re.MULTILINE):
        numbers = numbers.split(" | ")
        if room in ROOMS.values() and len(numbers) == len(COLUMNS):
            rows[room] = dict(zip(COLUMNS, map(int, numbers)))
    return rows


def page_with(root, rows):
    """The page as it is, and with these rows in its table; those of other rooms stay."""
    with open(os.path.join(root, PAGE), encoding="utf-8") as stream:
        page = stream.read()
    if BEGIN not in page or END not in page:
        raise ValueError(f"{PAGE} has no place for the table of planted faults")
    head, rest = page.split(BEGIN, 1)
    old, tail = rest.split(END, 1)
    made = table({**_rows_of(old), **rows})
    return page, f"{head}{BEGIN}\n\n{made}\n{END}{tail}"


def write_survivors(folder, results):
    """One file a room: what nobody noticed, as entries of the list of equal faults that lack
    their reason."""
    for room in {fault.room for fault, _ in results}:
        entries = {}
        for fault, outcome in results:
            if fault.room == room and not outcome.killed:
                entries.setdefault(fault.key[:4], []).append((fault, outcome))
        with open(os.path.join(folder, f"survivors-{room}.txt"), "w", encoding="utf-8",
                  errors="replace") as stream:
            stream.write("\n".join(map(_entry, entries.values())))


def _entry(unnoticed):
    lines = [f"# {fault.file}:{fault.line} {fault.number}: {outcome.verdict}"
             f"{', planted apart' if fault.apart else ''}" for fault, outcome in unnoticed]
    names = ("file", "function", "operator", "statement")
    lines += [f"{name}: {value}" for name, value in zip(names, unnoticed[0][0].key)]
    lines += sorted({f"change: {fault.change}" for fault, _ in unnoticed})
    return "\n".join(lines) + "\n"

#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Benchmarks: exact counts against those on record, and the report.

    report.py check PROGRAMS MACCTL KERNEL   fails on a count that rose by more than 3 %
    report.py write PROGRAMS MACCTL KERNEL   docs/benchmarks.md, its plots and results.json,
                                             and the record

PROGRAMS is the folder with bench_counts, bench_memory and bench_times, KERNEL the one that
scripts/bench-kernel.sh leaves.
"""
import json
import os
import pathlib
import platform
import subprocess
import sys

import kernel
import measure
import plot
import stack

ROOT = pathlib.Path(__file__).parent.parent
RECORD = ROOT / "bench" / "record.json"
PAGE = ROOT / "docs" / "benchmarks.md"
PLOTS = ROOT / "docs" / "benchmarks"
RISE = 1.03
STACK_LIMIT = 2048
# A hundred times the entries may cost so many times the instructions.
GROWTH_LIMIT = 120
INSTANCES = (1, 2, 4, 16, 64, 256, 1024)
# What is aimed at: the workload, the limit, and in what.
TARGETS = [
    ("get base address, 1 mounted", 4000, "instructions"),
    ("get base address, 16 mounted", 8000, "instructions"),
    ("log line, filtered", 30, "ns"),
    ("log line, kept", 300, "ns"),
    ("address to text", 12, "ns"),
    ("text to address", 20, "ns"),
]


def all_counts(programs, macctl, guest, peers):
    workloads = measure.workload_counts(programs / "bench_counts")
    counts = {name: round(row["instructions"], 1) for name, row in workloads.items()}
    readers = ("macctl", "fw_printenv") if peers else ("macctl",)
    counts.update(measure.process_counts(macctl, readers))
    counts.update(measure.start_counts(programs, macctl))
    counts.update(measure.board_counts(macctl))
    counts.update({f"memory: {name}": size
                   for name, size in measure.memory(programs / "bench_memory").items()})
    counts.update(kernel.counts(guest))
    return workloads, counts


def ours(name):
    """Not what it is compared with."""
    return (not name.startswith(("ISA-L", "memcpy", "naive", "kernel: empty", "kernel: raw"))
            and not name.endswith(("fw_printenv", "an empty program")))


def complaint(name, count, record):
    """What is wrong with a count, or nothing."""
    if name not in record:
        return "not on record"
    if count > record[name] * RISE:
        return f"{count:.0f}, {record[name]:.0f} on record"
    if name.startswith("stack: ") and count >= STACK_LIMIT:
        return f"{count} bytes of stack"
    return None


def growth(counts):
    """How many times a large board costs what a small one does, by the command."""
    small, large = measure.BOARD_ENTRIES
    return {command: counts[f"board: {command}, {large} entries"] /
                     counts[f"board: {command}, {small} entries"]
            for command in measure.BOARD_COMMANDS}


def check(programs, macctl, guest):
    record = json.loads(RECORD.read_text())["counts"]
    _, counts = all_counts(programs, macctl, guest, peers=False)
    bad = good = 0
    for command, times in growth(counts).items():
        linear = times <= GROWTH_LIMIT
        if not linear:
            print(f"not ok  {command} of a large board: {times:.0f} times a small one")
        bad += not linear
        good += linear
    for name in filter(ours, counts):
        wrong = complaint(name, counts[name], record)
        if wrong:
            print(f"not ok  {name}: {wrong}")
        bad += wrong is not None
        good += wrong is None
    # What is no longer measured is not compared either.
    for name in filter(ours, record):
        if name not in counts:
            print(f"not ok  {name}: on record, and was not measured")
            bad += 1
    print(f"== bench-check: {good} passed, {bad} failed")
    results = ROOT / "build" / "results"
    results.mkdir(parents=True, exist_ok=True)
    (results / "bench-check").write_text(f"{good} {bad}\n")
    sys.exit(bad != 0)


def number(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}"


def spread(times):
    return f"{number(times[0])} ({number(times[1])}–{number(times[2])})"


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows]) + "\n"


def targets(counts, times):
    rows = []
    for name, limit, unit in TARGETS:
        found = counts[name] if unit == "instructions" else times[name][0]
        rows.append([name, f"at most {limit} {unit}", f"{number(found)} {unit}",
                     "yes" if found <= limit else "**no**"])
    share = times["memcpy of 65534 addresses"][0] / times["list of 65534"][0]
    rows.append(["list of 65534 addresses", "at least 25 % of memcpy", f"{share:.0%}",
                 "yes" if share >= 0.25 else "**no**"])
    rows += crc16_targets(times)
    for what in ("built", "checked"):
        name = f"router record of 65534, {what}"
        beyond = (counts[name] - counts["crc16 IBM-3740 of 393264"]) / 393220
        rows.append([name, "at most 3 instructions a byte beyond the CRC", f"{max(beyond, 0):.2f}",
                     "yes" if beyond <= 3 else "**no**"])
    for case in ("one copy", "two copies"):
        label = f"{case}, 64 KiB, {measure.USUAL_VARIABLES} variables"
        own, peer = counts[f"{label}: macctl"], counts[f"{label}: fw_printenv"]
        rows.append([f"whole process, environment of 64 KiB in {case}",
                     "fewer instructions than fw_printenv",
                     f"{own / 1e6:.2f} M against {peer / 1e6:.2f} M",
                     "yes" if own < peer else "**no**"])
    small, large = measure.BOARD_ENTRIES
    for command, factor in growth(counts).items():
        rows.append([f"`macctl {command}` of a board of {large} entries",
                     f"at most {GROWTH_LIMIT} times the instructions of {small}",
                     f"{factor:.0f} times", "yes" if factor <= GROWTH_LIMIT else "**no**"])
    rows += kernel_targets(counts)
    return table(["what", "target", "found", "met"], rows)


def crc16_targets(times):
    """Of the slowest of all variants."""
    def slowest(length):
        return max(row[0] for name, row in times.items()
                   if name.startswith("crc16 ") and name.endswith(f" of {length}"))
    speed = 4096 / slowest(4096)
    return [["CRC-16 of 14 bytes, slowest variant", "at most 10 ns", f"{number(slowest(14))} ns",
             "yes" if slowest(14) <= 10 else "**no**"],
            ["CRC-16 of 4 KiB, slowest variant", "at least 1.8 GB/s", f"{speed:.1f} GB/s",
             "yes" if speed >= 1.8 else "**no**"]]


def kernel_targets(counts):
    raw = 2 * counts["kernel: raw read of 16 bytes, flash"]
    adds = counts["kernel: get address, flash"] - counts["kernel: empty ioctl"] - raw
    deepest = max(count for name, count in counts.items() if name.startswith("stack: "))
    return [["what the modules add to a get in a kernel", "less than two raw reads",
             f"{adds} instructions against {raw}", "yes" if adds < raw else "**no**"],
            ["deepest stack", f"below {STACK_LIMIT} bytes", f"{deepest} bytes",
             "yes" if deepest < STACK_LIMIT else "**no**"]]


def prefixed(counts, prefix):
    return {name.removeprefix(prefix): count for name, count in counts.items()
            if name.startswith(prefix)}


def kernel_table(counts):
    rows = prefixed(counts, "kernel: ")
    empty = rows["empty ioctl"]
    return table(["in the guest", "instructions", "of an empty ioctl"],
                 [[name, f"{count:,}", number(count / empty)] for name, count in rows.items()])


def size_table(counts):
    kinds = list(kernel.SIZES)
    rows = prefixed(counts, "size: ")
    return table(["module", *kinds],
                 [[module, *(f"{rows[f'{module} {kind}']:,}" for kind in kinds)]
                  for module in ("mac_mng.ko", "mac_platform.ko")])


def stack_table(guest):
    return table(["way in", "bytes", "its deepest functions"],
                 [[name, str(size), " > ".join(f"`{short(function)}`" for function in chain[-4:])]
                  for name, (size, chain) in stack.deepest_stacks(guest / "modules").items()])


def short(function):
    return function.split("<")[0]


def workload_table(workloads, times):
    return table(["work", "instructions", "a byte", "ns (lowest–highest)"],
                 [[name, number(row["instructions"]),
                   f"{row['instructions'] / row['bytes']:.2f}" if row["bytes"] else "",
                   spread(times[name])] for name, row in workloads.items()])


def process_table(counts):
    cases = [name[:-len(": macctl")] for name in counts if name.endswith(": macctl")]
    rows = []
    for case in cases:
        own, peer = counts[f"{case}: macctl"], counts[f"{case}: fw_printenv"]
        rows.append([case, f"{own:,}", f"{peer:,}", f"{own / peer:.2g}"])
    return table(["one address of an environment", "macctl", "fw_printenv", "ratio"], rows)


def traffic_table():
    """Healthy blocks, from the table that the tests hold exactly."""
    wanted = {"drv_mac_get_addr": "read", "drv_mac_set_addr": "change of the address",
              "drv_mac_set_addr_num, the same": "set to what is there"}
    rows = []
    for line in (ROOT / "tests/data/medium-traffic.txt").read_text().splitlines():
        left, right = line.split(": ", 1)
        driver, state, operation = left.split(", ", 2)
        if state == "healthy" and operation in wanted:
            rows.append([driver, wanted[operation], *right.split(", ", 1)[1].split("; ")])
    return table(["driver", "operation", "calls of the services", "on the media"], rows)


def write_results(machine, counts, times, moved, guest):
    """Everything that the page shows, for other programs."""
    nanoseconds = {name: dict(zip(("median", "lowest", "highest"), row))
                   for name, row in times.items()}
    chains = {name: chain for name, (_, chain) in stack.deepest_stacks(guest / "modules").items()}
    results = {"machine": machine, "counts": counts, "nanoseconds": nanoseconds,
               "environment bytes": moved, "deepest calls": chains}
    (PLOTS / "results.json").write_text(json.dumps(results, indent=1) + "\n")


def write_plots(counts):
    PLOTS.mkdir(exist_ok=True)
    (PLOTS / "instances.svg").write_text(plot.growth(
        "Reading the base address of one block", "instances mounted", "instructions",
        {"get": [(n, counts[f"get base address, {n} mounted"]) for n in INSTANCES]}))
    (PLOTS / "variables.svg").write_text(plot.growth(
        "One address of a 512 KiB environment, whole process", "variables", "instructions",
        {program: [(n, counts[f"one copy, 512 KiB, {n} variables: {program}"])
                   for n in measure.GROWTH] for program in ("macctl", "fw_printenv")}))


def write_page(machine, workloads, counts, times, moved, guest):
    def listed(head, prefix):
        return table(head, [[name, f"{count:,}"] for name, count in prefixed(counts, prefix).items()])

    parts = {"machine": machine,
             "targets": targets(counts, times),
             "traffic": traffic_table(),
             "moved": table(["command", "bytes read", "bytes written"],
                            [[name, str(row["read"]), str(row["write"])]
                             for name, row in moved.items()]),
             "processes": process_table(counts),
             "starts": listed(["start", "instructions"], "start: "),
             "boards": listed(["all of a board", "instructions"], "board: "),
             "kernel": kernel_table(counts),
             "kernel_version": kernel.version(guest),
             "sizes": size_table(counts),
             "stacks": stack_table(guest),
             "memory": listed(["what", "bytes"], "memory: "),
             "workloads": workload_table(workloads, times)}
    page = (ROOT / "bench" / "page.md").read_text()
    for name, text in parts.items():
        page = page.replace("{" + name + "}", text.rstrip("\n"))
    PAGE.write_text(page)


def write(programs, macctl, guest):
    workloads, counts = all_counts(programs, macctl, guest, peers=True)
    times = measure.workload_times(programs / "bench_times")
    moved = measure.environment_traffic(macctl)
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], cwd=ROOT, capture_output=True,
                            text=True, check=True).stdout.strip()
    machine = f"{platform.machine()}, {os.cpu_count()} processors, commit {commit}"
    RECORD.write_text(json.dumps({"counts": counts}, indent=1) + "\n")
    write_plots(counts)
    write_results(machine, counts, times, moved, guest)
    write_page(machine, workloads, counts, times, moved, guest)


def main():
    mode, *places = sys.argv[1:]
    programs, macctl, guest = (pathlib.Path(place).resolve() for place in places)
    {"check": check, "write": write}[mode](programs, str(macctl), guest)


main()

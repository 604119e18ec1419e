#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Checks the direction of #include lines between the rooms of the house.

control -> service -> core -> {config, storage} -> base -> platform declarations.
Only platform/linux and the test modules see kernel headers; only platform/host, tools, tests and bench
see the C and C++ libraries beyond what a freestanding compiler brings. Every file
carries its licence.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
DECLARATIONS = "platform declarations"
PUBLIC = "include"

# What each room may include, its own headers aside.
ALLOWED = {
    PUBLIC: set(),
    DECLARATIONS: {PUBLIC},
    "base": {DECLARATIONS, PUBLIC},
    "config": {"base", DECLARATIONS, PUBLIC},
    "storage": {"base", DECLARATIONS, PUBLIC},
    "core": {"config", "storage", "base", DECLARATIONS, PUBLIC},
    "service": {"core", "config", "storage", "base", DECLARATIONS, PUBLIC},
    "control": {"service", "core", "config", "storage", "base", DECLARATIONS, PUBLIC},
    "platform/common": {DECLARATIONS, PUBLIC},
    "platform/host": {"platform/common", "control", "config", "base", DECLARATIONS, PUBLIC},
}
# Only the loader reaches into the system: it starts it and stops it.
LOADER = "platform/host/loader.cc"
SYSTEM_ROOMS_OF_LOADER = {"control", "config", "base"}

# Where C code in a kernel gets its integer types from the kernel.
KERNEL_TYPES = {"include/mac_mng/mac_types.h", "platform/types.h"}

# What the kernel offers programs, and the C library has no header of its own for.
PROGRAM_INTERFACES = {"linux/filter.h", "linux/seccomp.h"}

FREESTANDING = {"stddef.h", "stdint.h", "stdarg.h"}
HOSTED = {"platform/host", "tools", "tests", "bench"}
SOURCE = re.compile(r"\.(h|hh|c|cc)$")
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')


def room_of(path):
    parts = path.split("/")
    if parts[0] == "platform":
        return "/".join(parts[:2]) if len(parts) > 2 else DECLARATIONS
    if parts[0] in ("include", "mac_mng"):
        return PUBLIC
    return parts[0]


def check_file(path, problems):
    room = room_of(path)
    text = (ROOT / path).read_text(encoding="utf-8")
    if "SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause" not in text.split("\n", 1)[0]:
        problems.append(f"{path}:1: the first line names no licence")
    for number, line in enumerate(text.split("\n"), 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        quote, name = match.groups()
        where = f"{path}:{number}"
        if quote == "<":
            if path in KERNEL_TYPES and name == "linux/types.h":
                continue
            if path.startswith("tests/kernel/"):
                continue  # modules and a guest program of their own
            if room == "tests" and name in PROGRAM_INTERFACES:
                continue
            if name.startswith(("linux/", "asm/")) and room != "platform/linux":
                problems.append(f"{where}: only platform/linux sees kernel headers")
            elif room not in HOSTED and room != "platform/linux" and name not in FREESTANDING:
                problems.append(f"{where}: {room} may not see <{name}>")
            continue
        target = room_of(name)
        if room in ALLOWED and target != room and target not in ALLOWED[room]:
            problems.append(f"{where}: {room} may not include {target} ({name})")
        if (room == "platform/host" and target in SYSTEM_ROOMS_OF_LOADER and path != LOADER):
            problems.append(f"{where}: only {LOADER} reaches into the system ({name})")


def main():
    problems = []
    count = 0
    for folder in ("include", "base", "config", "storage", "core", "service", "control",
                   "platform", "tools", "tests", "bench"):
        for path in sorted((ROOT / folder).rglob("*")):
            if SOURCE.search(path.name):
                count += 1
                check_file(str(path.relative_to(ROOT)), problems)
    print("\n".join(problems) if problems else f"includes: {count} files in order")
    return 1 if problems or count == 0 else 0


sys.exit(main())

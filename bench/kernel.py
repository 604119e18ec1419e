# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""What the modules cost in a kernel: instructions, bytes of the object, stack."""
import re
import subprocess

import stack

SIZES = {"text": (".text", ".init.text", ".exit.text"), "rodata": (".rodata", "__ksymtab"),
         "data": (".data",), "bss": (".bss",)}


def instructions(build):
    """Of one call each, from the guest's lines."""
    lines = (build / "bench.guest").read_text()
    return {name: int(count) for name, count in re.findall(r"^bench (.*): (\d+)$", lines, re.M)}


def version(build):
    """Of the kernel that the modules were built for."""
    magic = subprocess.run(["/sbin/modinfo", "-F", "vermagic", build / "modules" / "mac_mng.ko"],
                           capture_output=True, text=True, check=True)
    return magic.stdout.split()[0]


def sizes(module):
    """Bytes of each kind of section."""
    done = subprocess.run(["aarch64-linux-gnu-size", "-A", "-d", module], capture_output=True,
                          text=True, check=True)
    result = dict.fromkeys(SIZES, 0)
    for section, size in re.findall(r"^(\S+) +(\d+) +\d+$", done.stdout, re.M):
        for kind, prefixes in SIZES.items():
            if section.startswith(prefixes):
                result[kind] += int(size)
    return result


def counts(build):
    """Everything that is compared with the record, by name."""
    result = {f"kernel: {name}": count for name, count in instructions(build).items()}
    for module in ("mac_mng", "mac_platform"):
        for kind, size in sizes(build / "modules" / f"{module}.ko").items():
            result[f"size: {module}.ko {kind}"] = size
    for name, (size, _) in stack.deepest_stacks(build / "modules").items():
        result[f"stack: {name}"] = size
    return result

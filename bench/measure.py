# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Measurements: instructions by callgrind, times by Google Benchmark, bytes by strace."""
import binascii
import json
import pathlib
import re
import statistics
import struct
import subprocess
import tempfile
import zlib

COPY_BYTES = 64 << 10
GROWTH_BYTES = 512 << 10
USUAL_VARIABLES = 122
GROWTH = (122, 500, 1000, 2000, 4000, 16000)
# The C library has a memcpy for each processor: counts have to be those of any machine.
# Nothing else of the caller's: a program starts by walking its environment.
PLAIN = {"GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX2,-AVX512VL,-AVX512F,-ERMS,-FSRM,-BMI2",
         "PATH": "/usr/bin:/bin"}
ADDRESS = "02:00:00:00:00:01"
MAC_TYPES = (*range(6), *range(64, 80))
RECORD_BYTES = 16
BOARD_ENTRIES = (1000, 100000)
BOARD_COMMANDS = ("status", "board check", "board map")


def callgrind(command, folder):
    """What callgrind counted, by the label of each dump; "" is the whole run."""
    out = pathlib.Path(folder) / "callgrind.out"
    done = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", *command],
                          cwd=folder, env=PLAIN, capture_output=True, text=True,
                          check=True)
    counts = {"": int(re.search(r"Collected : (\d+)", done.stderr)[1])}
    # In the order in which they were made.
    dumps = folder.glob("callgrind.out.*")
    for dump in sorted(dumps, key=lambda path: int(path.suffix[1:])):
        text = dump.read_text()
        label = re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.M)
        if label:
            counts[label[1]] = int(re.search(r"^(?:totals|summary): (\d+)", text, re.M)[1])
        dump.unlink()
    return counts


def workload_counts(program):
    """Instructions of one run of each workload, and its bytes."""
    with tempfile.TemporaryDirectory() as folder:
        counts = callgrind([program], pathlib.Path(folder))
    result = {}
    for label, total in counts.items():
        if label:
            name, iterations, moved = label.split("|")
            result[name] = {"instructions": total / int(iterations), "bytes": int(moved)}
    return result


def workload_times(program, repetitions=5):
    """Nanoseconds of processor time: median, lowest and highest of the repetitions."""
    done = subprocess.run([program, "--benchmark_format=json", "--benchmark_min_time=0.05",
                           f"--benchmark_repetitions={repetitions}"],
                          capture_output=True, text=True, check=True)
    runs = {}
    for run in json.loads(done.stdout)["benchmarks"]:
        if run["run_type"] == "iteration":
            runs.setdefault(run["run_name"], []).append(run["cpu_time"])
    return {name: (statistics.median(times), min(times), max(times)) for name, times in runs.items()}


def memory(program):
    """Bytes of the two heaps, by what takes them."""
    done = subprocess.run([program], capture_output=True, text=True, check=True)
    return {name: int(size) for name, size in re.findall(r"^(.*): (\d+)$", done.stdout, re.M)}


def environment(folder, size, variables, redundant):
    """A boot environment with our address, its board file and the boot tools' file."""
    texts = [b"var%05d=%s" % (i, b"x" * 20) for i in range(variables - 2)]
    texts += [b"ethaddr=" + ADDRESS.encode(), b"ethaddr_num=00000004"]
    flags = b"\1" if redundant else b""
    data = (b"\0".join(texts) + b"\0\0").ljust(size - 4 - len(flags), b"\0")
    copy = struct.pack("<I", zlib.crc32(data)) + flags + data
    (folder / "env.bin").write_bytes(copy * (2 if redundant else 1))
    lines = [f"{folder}/env.bin {i * size:#x} {size:#x}\n" for i in range(2 if redundant else 1)]
    (folder / "fw.config").write_text("".join(lines))
    two = ' redundant="1"' if redundant else ""
    (folder / "b.xml").write_text(
        f'<board><platform><env image="env.bin" size="{size:#x}"{two}/></platform><mac_mng>'
        '<mac_storage_main><e id="0" drv_name="drv_mac_env" chip_id="0" '
        'channel="0" mac_num="16" storage_name="ethaddr"/>'
        "</mac_storage_main></mac_mng></board>")


def readers(macctl):
    return {"macctl": [macctl, "-b", "b.xml", "get", "addr", "-t", "0"],
            "fw_printenv": ["fw_printenv", "-c", "fw.config", "-n", "ethaddr"]}


def moved_bytes(command, folder):
    """Bytes read from and written to the image, as the kernel was asked for."""
    done = subprocess.run(["strace", "-f", "-y", "-e", "trace=read,pread64,write,pwrite64", *command],
                          cwd=folder, capture_output=True, text=True, check=True)
    totals = {"read": 0, "write": 0}
    for kind, path, count in re.findall(r"p?(read|write)(?:64)?\(\d+<([^>]*)>.* = (\d+)$",
                                        done.stderr, re.M):
        if path.endswith("env.bin"):
            totals[kind] += int(count)
    return totals


def cases():
    """What a process reads: words for it, bytes of a copy, variables, two copies or one."""
    for redundant in (False, True):
        copies = "two copies" if redundant else "one copy"
        yield f"{copies}, 64 KiB, 122 variables", COPY_BYTES, USUAL_VARIABLES, redundant
    for redundant in (False, True):
        copies = "two copies" if redundant else "one copy"
        for variables in GROWTH:
            yield f"{copies}, 512 KiB, {variables} variables", GROWTH_BYTES, variables, redundant


def process_counts(macctl, programs=("macctl", "fw_printenv")):
    """Instructions of whole processes that print one address, by what they read."""
    result = {}
    for what, size, variables, redundant in cases():
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            environment(folder, size, variables, redundant)
            for program in programs:
                command = readers(macctl)[program]
                first = subprocess.run(command, cwd=folder, capture_output=True, text=True, check=True)
                if first.stdout.strip() != ADDRESS:
                    raise SystemExit(f"{program} prints {first.stdout!r}")
                for _ in range(12):  # the log that is carried along has its full length then
                    if program == "macctl":
                        subprocess.run(command, cwd=folder, stdout=subprocess.DEVNULL, check=True)
                result[f"{what}: {program}"] = callgrind(command, folder)[""]
    return result


def start_counts(programs, macctl):
    """Instructions of starting: of nothing at all, of macctl, and of its smallest command."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        environment(folder, 64, 2, False)
        commands = {"an empty program": [programs / "bench_empty"],
                    "macctl --version": [macctl, "--version"],
                    "macctl, an address of an environment of 64 bytes": readers(macctl)["macctl"]}
        return {f"start: {what}": callgrind(command, folder)[""]
                for what, command in commands.items()}


def qolt(number):
    """A record of the one address of that number."""
    record = b"QOLT" + struct.pack(">I", 1) + (0x020000000000 + number).to_bytes(6, "big")
    return record + struct.pack(">H", binascii.crc_hqx(record, 0xffff))


def storage_node(name, blocks, start):
    """The entries of an instance's blocks, from an offset on."""
    entries = "".join(f'<e id="{mac_type}" drv_name="drv_mac_flash" chip_id="0" '
                      f'channel="{start + RECORD_BYTES * number:#x}" mac_num="16"/>\n'
                      for mac_type, number in zip(MAC_TYPES, blocks))
    return f"<{name}>\n{entries}</{name}>\n"


def large_board(folder, entries):
    """Programmed blocks in instances of all types, their main and spare copies in two halves of
    one flash; both files are as long as the entries are many."""
    blocks = entries // 2
    half = -(-blocks * RECORD_BYTES // 4096) * 4096
    records = b"".join(map(qolt, range(blocks))).ljust(half, b"\xff")
    (folder / "flash.bin").write_bytes(records * 2)
    instances = []
    for first in range(0, blocks, len(MAC_TYPES)):
        own = range(first, min(first + len(MAC_TYPES), blocks))
        instances.append(f'<instance id="{first}"><mac_mng>\n'
                         + storage_node("mac_storage_main", own, 0)
                         + storage_node("mac_storage_spare", own, half)
                         + "</mac_mng></instance>\n")
    (folder / "b.xml").write_text(
        f'<board><platform><flash chip="0" image="flash.bin" mtd="flash" size="{2 * half:#x}" '
        f'erase="4096"/></platform>\n{"".join(instances)}</board>\n')


def board_counts(macctl):
    """Instructions of whole processes that look at all of a board, by its entries."""
    result = {}
    for entries in BOARD_ENTRIES:
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            large_board(folder, entries)
            for command in BOARD_COMMANDS:
                counts = callgrind([macctl, "-b", "b.xml", *command.split()], folder)
                result[f"board: {command}, {entries} entries"] = counts[""]
    return result


def environment_traffic(macctl):
    """Bytes that a read and a change of one address move."""
    result = {}
    for redundant in (False, True):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            environment(folder, COPY_BYTES, USUAL_VARIABLES, redundant)
            copies = "two copies" if redundant else "one copy"
            commands = dict(readers(macctl))
            commands["macctl set addr"] = [macctl, "-b", "b.xml", "set", "addr", "-t", "0",
                                           "02:00:00:00:00:02", "--yes"]
            commands["fw_setenv"] = ["fw_setenv", "-c", "fw.config", "ethaddr", "02:00:00:00:00:03"]
            for program, command in commands.items():
                result[f"{program}, {copies} of 64 KiB"] = moved_bytes(command, folder)
    return result

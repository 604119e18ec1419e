#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Runs docs/tutorial.md: every command of its console blocks, in order, in one shell and
a scratch folder, and compares what they print.

    tutorial.py MACCTL              fails when the tutorial is not what happens
    tutorial.py MACCTL --write      brings its output up to date, for a person to read
"""
import difflib
import os
import pathlib
import re
import subprocess
import sys
import tempfile

TUTORIAL = pathlib.Path(__file__).parent.parent / "docs" / "tutorial.md"
MARK = "----- end of command -----"


class Shell:
    """One bash, so that variables and files last from block to block."""

    def __init__(self, macctl, folder):
        path = pathlib.Path(folder) / ".bin"
        path.mkdir()
        (path / "macctl").symlink_to(pathlib.Path(macctl).resolve())
        environment = dict(os.environ, PATH=f"{path}:/usr/sbin:{os.environ['PATH']}", LC_ALL="C.UTF-8")
        self.process = subprocess.Popen(
            ["bash", "--norc"], cwd=folder, env=environment, text=True,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def run(self, command):
        self.process.stdin.write(f"{{ {command}\n}} </dev/null\n_status=$?; echo; echo '{MARK}'; (exit $_status)\n")
        self.process.stdin.flush()
        lines = []
        for line in self.process.stdout:
            if line.rstrip("\n") == MARK:
                break
            lines.append(line.rstrip("\n"))
        while lines and not lines[-1]:
            lines.pop()
        return lines


def commands_of(block):
    """The commands of a console block; a here-document belongs to its command."""
    lines = iter(block.splitlines())
    for line in lines:
        if not line.startswith("$ "):
            continue
        command = line[2:]
        heredoc = re.search(r"<<'?(\w+)'?", command)
        while heredoc:
            line = next(lines)
            command += "\n" + line
            if line == heredoc.group(1):
                break
        yield command


def run_tutorial(text, macctl):
    with tempfile.TemporaryDirectory() as folder:
        shell = Shell(macctl, folder)

        def replay(match):
            out = []
            for command in commands_of(match.group(1)):
                out.append("$ " + command)
                out.extend(shell.run(command))
            return "```console\n" + "\n".join(out) + "\n```"

        return re.sub(r"```console\n(.*?)\n```", replay, text, flags=re.S)


def main():
    text = TUTORIAL.read_text()
    happened = run_tutorial(text, sys.argv[1])
    if sys.argv[2:] == ["--write"]:
        TUTORIAL.write_text(happened)
    elif happened != text:
        sys.stdout.writelines(difflib.unified_diff(
            text.splitlines(True), happened.splitlines(True), "docs/tutorial.md", "what happens"))
        sys.exit(1)


main()

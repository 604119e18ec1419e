# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""The copy of the tree with all faults in it, and the test program made from it."""
import os
import re
import shlex
import shutil
import subprocess

from rewrite import faults_at, rewritten

# A header that is compiled first keeps no time, so that ccache knows it again.
CONFIGURE = ["-G", "Ninja", "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_BUILD_TYPE=None",
             "-DCMAKE_CXX_FLAGS=-w -Xclang -fno-pch-timestamp", "-DMAC_SANITIZE=ON",
             "-DMAC_PLANTED=ON"]
CCACHE = {"CMAKE_CXX_COMPILER_LAUNCHER": "ccache", "CCACHE_NOHASHDIR": "1",
          "CCACHE_SLOPPINESS": "pch_defines,time_macros,include_file_mtime,include_file_ctime"}
TARGET = "planted_tests"
_ERROR = re.compile(r"^(?P<file>[^\s:]+):(?P<line>\d+):(?P<column>\d+): (?:fatal )?error: ")


class BuildFailed(Exception):
    pass


def _write(path, text):
    """Only what differs, so that only that is built again."""
    data = text.encode("latin-1")
    if os.path.exists(path):
        with open(path, "rb") as stream:
            if stream.read() == data:
                return
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as stream:
        stream.write(data)


class Build:
    def __init__(self, plan, work, jobs):
        self.plan = plan
        self.jobs = jobs
        self.tree = os.path.join(work, "tree")
        self.folder = os.path.join(work, "build")
        self.program = os.path.join(self.folder, "tests", "mutants", TARGET)

    # -- the tree -----------------------------------------------------------------------

    def _tracked(self):
        listed = subprocess.run(["git", "ls-files", "-z", "-co", "--exclude-standard"],
                                cwd=self.plan.root, stdout=subprocess.PIPE, check=True).stdout
        return {name for name in listed.decode().split("\0")
                if name and os.path.isfile(os.path.join(self.plan.root, name))}

    def _stale(self, tracked):
        for folder, _, names in os.walk(self.tree):
            for name in names:
                path = os.path.join(folder, name)
                if os.path.relpath(path, self.tree) not in tracked:
                    os.remove(path)

    def text_of(self, file, planted=None):
        return rewritten(self.plan.read(file), self.plan.files.get(file, []),
                         self.plan.edits.get(file, {}), planted)

    def write(self):
        tracked = self._tracked()
        self._stale(tracked)
        for file in tracked:
            text = self.text_of(file) if file in self.plan.files or file in self.plan.edits \
                else self.plan.read(file)
            _write(os.path.join(self.tree, file), text)
            shutil.copymode(os.path.join(self.plan.root, file), os.path.join(self.tree, file))

    # -- faults that cannot be chosen at start --------------------------------------------

    def _set_apart(self, messages):
        """Faults that a compiler's messages are about; the first of each line."""
        numbers = {fault.number: fault for fault in self.plan.faults}
        found = 0
        seen = set()
        for line in messages.splitlines():
            match = _ERROR.match(line)
            if not match:
                continue
            file = os.path.relpath(os.path.join(self.tree, match["file"]), self.tree)
            place = file, match["line"]
            if place in seen or file not in self.plan.files:
                continue
            seen.add(place)
            text = self.text_of(file).split("\n")[int(match["line"]) - 1]
            for number in faults_at(text, int(match["column"])):
                if not numbers[number].apart:
                    numbers[number].apart = "does not compile with the others"
                    found += 1
                    break
        return found

    # -- the program ----------------------------------------------------------------------

    def make(self):
        """Builds the program; sets apart what the compiler does not take, until it takes the
        rest."""
        log = os.path.join(os.path.dirname(self.folder), "build.log")
        while True:
            with open(log, "w", encoding="utf-8") as stream:
                done = self._configured() or self._run(
                    ["cmake", "-S", self.tree, "-B", self.folder, *CONFIGURE], stream)
                done = done and self._run(["ninja", "-C", self.folder, "-k", "0",
                                           f"-j{self.jobs}", TARGET], stream)
            if done:
                return
            with open(log, encoding="utf-8", errors="replace") as stream:
                messages = stream.read().replace(self.tree + "/", "")
            if not self._set_apart(messages):
                raise BuildFailed(messages[-6000:])
            self.write()

    def _configured(self):
        return os.path.exists(os.path.join(self.folder, "build.ninja"))

    def _run(self, command, stream):
        own = {**CCACHE, "CCACHE_BASEDIR": self.plan.root} if shutil.which("ccache") else {}
        return subprocess.run(command, stdout=stream, stderr=subprocess.STDOUT, check=False,
                              env={**os.environ, **own}).returncode == 0

    def link_command(self):
        """What links the program, as words, in the folder of the build."""
        commands = subprocess.run(["ninja", "-C", self.folder, "-t", "commands", TARGET],
                                  stdout=subprocess.PIPE, text=True, check=True).stdout
        words = shlex.split(commands.strip().split("\n")[-1])
        return [word for word in words if word not in (":", "&&")]

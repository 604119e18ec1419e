# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""All faults of the system, with their numbers."""
import concurrent.futures
import glob
import hashlib
import os
import pickle
import re

from collect import Where
from operators import Walk
import syntax
from fault import ROOMS

# Each file has its own numbers, so that a change in one leaves the others' alone.
NUMBERS_PER_FILE = 1000

# The parts that decide which faults there are.
DECIDE = ("collect", "constants", "declarations", "expressions", "fault", "operators",
          "statements", "syntax", "wording")


def sources(root):
    with open(os.path.join(root, "sources.mk"), encoding="ascii") as stream:
        return re.findall(r"[a-z0-9_/]+\.cc", stream.read())


class Plan:
    def __init__(self, root, overlay, jobs=2):
        self.root = root
        self.texts = {}
        self.sources = sources(root)
        faults, edits = self._kept(overlay, jobs)
        self.edits = {}
        for (file, begin, end), shape in edits.items():
            self.edits.setdefault(file, {})[begin, end] = shape
        self.files = {}
        for fault in faults:
            self.files.setdefault(fault.file, []).append(fault)
        self.number()

    def _kept(self, overlay, jobs):
        """The faults and counters, from the last time when nothing has changed since."""
        digest = hashlib.sha256()
        for path in sorted([*self._all_files(), *glob.glob("include/*/*.h", root_dir=self.root),
                            *glob.glob("platform/*.h", root_dir=self.root),
                            *(f"tests/mutants/{name}.py" for name in DECIDE)]):
            digest.update(f"{path}\0{self.read(path)}\0".encode("latin-1"))
        kept = os.path.join(overlay, digest.hexdigest()[:24] + ".faults")
        if os.path.exists(kept):
            with open(kept, "rb") as stream:
                return pickle.load(stream)
        walk = self._walked(overlay, jobs)
        found = list(walk.faults.values()), walk.edits
        with open(kept, "wb") as stream:
            pickle.dump(found, stream)
        return found

    def _walked(self, overlay, jobs):
        walk = Walk(self.read)
        with concurrent.futures.ProcessPoolExecutor(jobs) as pool:
            trees = pool.map(syntax.tree_of, [self.root] * len(self.sources), self.sources,
                             [overlay] * len(self.sources))
            for tree in trees:
                walk.learn(tree)
                walk.walk(tree, Where())
        return walk

    def number(self):
        files = sorted(file for file in self._all_files())
        for index, file in enumerate(files, 1):
            faults = self.files.get(file, [])
            faults.sort(key=lambda fault: (fault.begin, fault.end, fault.operator, fault.variant))
            if len(faults) >= NUMBERS_PER_FILE:
                raise ValueError(f"{file}: too many faults for their numbers")
            for number, fault in enumerate(faults, 1):
                fault.number = index * NUMBERS_PER_FILE + number

    def _all_files(self):
        for room in ROOMS:
            for folder, _, names in os.walk(os.path.join(self.root, room)):
                for name in names:
                    if name.endswith((".h", ".cc")):
                        yield os.path.relpath(os.path.join(folder, name), self.root)

    @property
    def faults(self):
        return [fault for file in sorted(self.files) for fault in self.files[file]]

    def read(self, file):
        """A file's text, a character for each byte."""
        if file not in self.texts:
            with open(os.path.join(self.root, file), encoding="latin-1", newline="") as stream:
                self.texts[file] = stream.read()
        return self.texts[file]

# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""The lists kept beside the faults: those that change nothing, and the recorded base."""
import collections
import hashlib
import os
import re

from fault import room_of

EQUAL = "tests/mutants/equal.txt"
BASE = "tests/mutants/base.txt"


class Malformed(Exception):
    pass


def _plain(part):
    """Blanks in a row count as one, and none at the ends."""
    return re.sub(r"\s+", " ", part).strip()


class Equal:
    """Faults that nothing can observe, each with its reason.

    An entry is a paragraph of lines "file:", "function:", "operator:", "statement:", one
    or more "change:", and "reason:", which may go on in indented lines. A "#" begins a
    comment line.
    """

    _FIELDS = ("file", "function", "operator", "statement", "change", "reason")

    def __init__(self, root):
        self.reasons = {}
        self.used = set()
        path = os.path.join(root, EQUAL)
        if os.path.exists(path):
            with open(path, encoding="utf-8") as stream:
                lines = [line for line in stream.read().split("\n") if not line.startswith("#")]
            for paragraph in re.split(r"\n\s*\n", "\n".join(lines).strip("\n")):
                if paragraph.strip():
                    self._entry(paragraph)

    def _entry(self, paragraph):
        fields = collections.defaultdict(list)
        name = None
        for line in paragraph.split("\n"):
            if line.startswith(" ") and name:
                fields[name][-1] += " " + line.strip()
                continue
            name, colon, value = line.partition(":")
            if not colon or name not in self._FIELDS:
                raise Malformed(f"{EQUAL}: {line!r} is no field of an entry")
            fields[name].append(value.strip())
        missing = [name for name in self._FIELDS if not fields[name]]
        if missing:
            raise Malformed(f"{EQUAL}: an entry lacks {', '.join(missing)}:\n{paragraph}")
        for change in fields["change"]:
            key = tuple(map(_plain, (*(fields[name][0] for name in self._FIELDS[:4]), change)))
            if key in self.reasons:
                raise Malformed(f"{EQUAL}: twice: {' | '.join(key)}")
            self.reasons[key] = fields["reason"][0]

    def has(self, fault):
        key = tuple(map(_plain, fault.key))
        if key not in self.reasons:
            return False
        self.used.add(key)
        return True

    def unused(self):
        return [key for key in self.reasons if key not in self.used]


def _hash(text):
    return hashlib.sha256(text.encode("latin-1")).hexdigest()[:10]


class Base:
    """What the last full run recorded: the faults of each function, and the survivors.

    Lines "function FILE NAME HASH" and "survivor FILE | FUNCTION | OPERATOR | STATEMENT |
    CHANGE".
    """

    def __init__(self, root):
        self.path = os.path.join(root, BASE)
        self.functions = {}
        self.survivors = set()
        if not os.path.exists(self.path):
            return
        with open(self.path, encoding="latin-1") as stream:
            for line in stream.read().split("\n"):
                kind, _, rest = line.partition(" ")
                if kind == "function":
                    file, name, value = rest.split(" ")
                    self.functions[file, name] = value
                elif kind == "survivor":
                    self.survivors.add(rest)

    @staticmethod
    def hashes(faults):
        texts = collections.defaultdict(list)
        for fault in faults:
            texts[fault.file, fault.function.replace(" ", "")].append("\n".join(fault.key))
        return {name: _hash("\n".join(keys)) for name, keys in texts.items()}

    @staticmethod
    def line(fault):
        return " | ".join(fault.key)

    def has(self, fault):
        return self.line(fault) in self.survivors

    def changed(self, faults):
        """The faults of functions that are not as they were."""
        now = self.hashes(faults)
        names = {name for name, value in now.items() if self.functions.get(name) != value}
        return [fault for fault in faults
                if (fault.file, fault.function.replace(" ", "")) in names]

    def write(self, faults, survivors):
        """Records a run of these faults; what is recorded of other rooms stays."""
        rooms = {fault.room for fault in faults}
        kept = {name: value for name, value in self.functions.items()
                if room_of(name[0]) not in rooms}
        known = {line for line in self.survivors if room_of(line) not in rooms}
        lines = ["# Made by scripts/planted-faults.sh --write: the functions and the surviving",
                 "# faults of the last full run of each room, which a sample is held against."]
        lines += [f"function {file} {name} {value}"
                  for (file, name), value in sorted({**kept, **self.hashes(faults)}.items())]
        lines += [f"survivor {line}"
                  for line in sorted(known | {self.line(each) for each in survivors})]
        with open(self.path, "w", encoding="latin-1") as stream:
            stream.write("\n".join(lines) + "\n")

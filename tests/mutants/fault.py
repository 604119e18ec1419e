# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""What a planted fault is, and the rooms that faults are planted in."""
import dataclasses
import re

# Every header and source below these folders belongs to that room of the table.
ROOMS = {
    "base/": "base",
    "core/": "core",
    "config/": "config",
    "storage/": "storage",
    "service/": "service",
    "control/": "control",
}


def room_of(path):
    for folder, room in ROOMS.items():
        if path and path.startswith(folder):
            return room
    return None


def flat(text):
    """One line: comments and line ends taken out."""
    text = re.sub(r'("(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)*\')|//[^\n]*|/\*.*?\*/',
                  lambda match: match.group(1) or "", text, flags=re.DOTALL)
    return re.sub(r"\s*\n\s*", " ", text).strip()


@dataclasses.dataclass
class Piece:
    """A stretch of the file that a fault changes."""
    begin: int
    end: int
    now: str  # what stands there with the fault
    # How it is written so that the fault can be chosen: @on, @now and @in (what was
    # there, with other faults in it) are filled in.
    shape: str


@dataclasses.dataclass
class Fault:
    file: str
    begin: int
    end: int
    line: int
    function: str
    operator: str
    variant: str  # what tells two faults of one operator at one place apart
    statement: str
    was: str
    now: str
    pieces: list
    evaluated: bool = False  # in a function that the compiler may evaluate
    apart: str = ""  # why it cannot be chosen at start
    number: int = 0

    @property
    def room(self):
        return room_of(self.file)

    @property
    def key(self):
        """What stays the same when other lines of the file change."""
        return self.file, self.function, self.operator, self.statement, self.change

    @property
    def change(self):
        return f"{self.was} => {self.now}"

    @property
    def place(self):
        return self.file, self.begin, self.end, self.operator, self.variant

    def __str__(self):
        return (f"{self.file}:{self.line} {self.function} {self.operator}, "
                f"{self.was} -> {self.now}")

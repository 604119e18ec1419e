# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Changed texts: string literals as they stand in a source."""
import re

_CONVERSION = re.compile(r"%[-+ 0#]*\d*(?:\.\d+)?(?:hh|h|ll|l|z)?[diuxXscp%]")
_ESCAPE = re.compile(r"\\(?:x[0-9a-fA-F]+|[0-7]{1,3}|.)")


def changed(literal):
    """A literal with one letter in the other case; None without a letter."""
    taken = set()
    for pattern in (_CONVERSION, _ESCAPE):
        for match in pattern.finditer(literal):
            taken.update(range(*match.span()))
    inside = False
    for at, character in enumerate(literal):
        if character == '"' and at not in taken:
            inside = not inside
        elif inside and at not in taken and character.isascii() and character.isalpha():
            return literal[:at] + character.swapcase() + literal[at + 1:]
    return None


def conversions(literal):
    """The literal with each %d made a %u, and the other way round."""
    for match in _CONVERSION.finditer(literal):
        last = literal[match.end() - 1]
        if last in "du":
            yield literal[:match.end() - 1] + ("u" if last == "d" else "d") + literal[match.end():]

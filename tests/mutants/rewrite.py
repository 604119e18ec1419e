# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Sources with all faults in them, each chosen by its number when the program starts."""
import re

from fault import flat

# What is written around the rest where several stand at one place.
_OUTERMOST = {"delete": 3, "": 2, "negate": 1, "guard": 1, "part": 1, "return": 1}


class Crossing(Exception):
    """Two places that overlap, and neither lies in the other."""


class _Span:
    def __init__(self, begin, end):
        self.begin = begin
        self.end = end
        self.wraps = []  # (order, shape, now, on)
        self.inner = []


def _fill(shape, on, now, inner):
    parts = {"@on": on, "@now": now, "@in": inner}
    return re.sub("@on|@now|@in", lambda match: parts[match.group()], shape)


def _on(fault):
    return f"planted::{'on_at_run' if fault.evaluated else 'on'}({fault.number})"


def _spans(text, faults, edits, planted):
    spans = {}

    def span(begin, end):
        return spans.setdefault((begin, end), _Span(begin, end))

    for (begin, end), shape in edits.items():
        span(begin, end).wraps.append((_OUTERMOST[""], 0, shape, "", ""))
    for fault in faults:
        if fault.apart:
            continue
        for piece in fault.pieces:
            order = _OUTERMOST.get(fault.operator, 0), fault.number
            span(piece.begin, piece.end).wraps.append(
                (*order, piece.shape, flat(piece.now), _on(fault)))
    for piece in planted.pieces if planted else []:
        # All that stands there is replaced.
        span(piece.begin, piece.end).wraps = [(0, 0, "@now", flat(piece.now), "")]
    root = _Span(0, len(text))
    stack = [root]
    for (begin, end), each in sorted(spans.items(), key=lambda item: (item[0][0], -item[0][1])):
        while begin >= stack[-1].end:
            stack.pop()
        if end > stack[-1].end:
            raise Crossing(f"{text[begin:end]!r} reaches out of "
                           f"{text[stack[-1].begin:stack[-1].end]!r}")
        stack[-1].inner.append(each)
        stack.append(each)
    return root


def _written(text, span):
    out, at = [], span.begin
    for inner in span.inner:
        out.append(text[at:inner.begin])
        out.append(_written(text, inner))
        at = inner.end
    out.append(text[at:span.end])
    result = "".join(out)
    for _, _, shape, now, on in sorted(span.wraps):
        result = _fill(shape, on, now, result)
    return result


def rewritten(text, faults, edits, planted=None):
    """`text` with the faults that can be chosen; `planted`: with this one in any case."""
    return _written(text, _spans(text, faults, edits, planted))


_NUMBER = re.compile(r"on(?:_at_run)?\((\d+)\)")


def faults_at(line, column):
    """Numbers of the faults that a compiler's message may be about, the likeliest first."""
    before, after = [], []
    for match in _NUMBER.finditer(line):
        (before if match.start() < column else after).append(int(match.group(1)))
    return before[::-1] + after

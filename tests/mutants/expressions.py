# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Faults of expressions: parts, relations, operations, casts, calls and their arguments."""
import re

from collect import CHOOSE, Collector
from fault import Piece
from syntax import INTEGERS, NARROWER, WIDTHS, children, stripped, type_of
import wording

ORDER = {  # relation: the one moved by one, and the bound moved the other way
    "<": ("<=", "-"), "<=": ("<", "+"), ">": (">=", "+"), ">=": (">", "-"),
}
EQUALITY = {"==": "!=", "!=": "=="}
ARITHMETIC = {"+": "-", "-": "+", "*": "+", "/": "*", "%": "/", "&": "|", "|": "&", "^": "|",
              "<<": ">>", ">>": "<<"}
LEVELS = {"mac_log_error": "mac_log_notice", "mac_log_notice": "mac_log_error",
          "mac_log_dump": "mac_log_notice"}


class Expressions(Collector):
    def on_ImplicitCastExpr(self, node, where):
        if node.get("castKind") == "NullToPointer":
            return
        cast = where.cast
        if not cast and node.get("castKind") == "IntegralCast":
            cast = type_of(node)
        for child in children(node):
            self.walk(child, where.at(cast=cast))

    on_ExprWithCleanups = Collector.transparent
    on_MaterializeTemporaryExpr = Collector.transparent
    on_CXXBindTemporaryExpr = Collector.transparent
    on_ParenExpr = Collector.transparent

    def on_ConstantExpr(self, node, where):
        for child in children(node):
            self.walk(child, where.at(constant=True))

    def on_ConditionalOperator(self, node, where):
        condition, first, second = children(node)
        self.condition(condition, where.at(plain=False))
        for branch in (first, second):
            self.walk(branch, where.at(whole=False))

    def on_BinaryOperator(self, node, where):
        opcode = node.get("opcode")
        left, right = children(node)
        inner = where.inner()
        if opcode in ("&&", "||"):
            for side in (left, right):
                self.part(side, opcode, inner)
            return
        if opcode in ORDER:
            self.relation(node, left, right, where)
            self.walk(left, inner.at(plain=self.is_constant(left)))
            self.walk(right, inner.at(plain=self.is_constant(right)))
            return
        if opcode in EQUALITY and not where.whole:
            self.replace_operator(node, left, right, where, "relation", EQUALITY[opcode])
        if opcode in ARITHMETIC:
            self.replace_operator(node, left, right, where, "arithmetic", ARITHMETIC[opcode])
        self.walk(left, inner)
        self.walk(right, inner)

    def part(self, node, opcode, where):
        """A part of a condition dropped; parts of parts of the same kind are its own."""
        bare = node
        while bare.get("kind") in ("ExprWithCleanups", "ImplicitCastExpr"):
            bare = children(bare)[0]
        if bare.get("kind") == "BinaryOperator" and bare.get("opcode") == opcode:
            for side in children(bare):
                self.part(side, opcode, where)
            return
        if opcode == "&&":
            self.plant(where, node, "part", "", "true", "(@on || (@in))")
        else:
            self.plant(where, node, "part", "", "false", "(!@on && (@in))")
        self.walk(node, where)

    def between(self, left, right, replacement):
        text = self.read(left["F"])
        return text[left["B"]:left["E"]], replacement, text[right["B"]:right["E"]]

    def relation(self, node, left, right, where):
        opcode = node["opcode"]
        moved, sign = ORDER[opcode]
        self.replace_operator(node, left, right, where, "relation", moved)
        if self.ours(node):
            left_text, _, right_text = self.between(left, right, opcode)
            self.plant(where, node, "relation", "bound",
                       f"{left_text} {opcode} {right_text} {sign} 1", CHOOSE)

    def replace_operator(self, node, left, right, where, operator, opcode):
        if not self.ours(node) or "F" not in left or left["F"] != right["F"]:
            return
        left_text, _, right_text = self.between(left, right, opcode)
        self.plant(where, node, operator, opcode, f"{left_text} {opcode} {right_text}", CHOOSE)

    def on_CompoundAssignOperator(self, node, where):
        left, right = children(node)
        opcode = node["opcode"][:-1]
        if opcode in ARITHMETIC:
            self.replace_operator(node, left, right, where, "arithmetic",
                                  ARITHMETIC[opcode] + "=")
        self.walk(left, where.inner())
        self.walk(right, where.inner())

    def on_UnaryOperator(self, node, where):
        opcode = node.get("opcode")
        child = children(node)[0]
        if opcode in ("-", "~") and self.ours(node):
            self.plant(where, node, "arithmetic", "unary", self.text(child), CHOOSE)
        self.walk(child, where.inner())

    def on_CXXStaticCastExpr(self, node, where):
        self.cast(node, where)

    def cast(self, node, where):
        if self.ours(node) and not where.constant and type_of(node) in INTEGERS:
            text = self.text(node)
            word = re.match(r"(?:static_cast<)?(\w+)[>{]", text)
            if word and word.group(1) in NARROWER:
                now = NARROWER[word.group(1)]
                # Of a value that fits all the same it is the operation around it that changes.
                kept = WIDTHS.get(self.cast_from(node), 64) <= WIDTHS.get(now, 0)
                self.plant(where.at(constant=kept), node, "type", "",
                           text.replace(word.group(1), now, 1),
                           f"planted::narrow<{now}>(@on, @in)")
        inner = where.inner()
        for child in children(node):
            self.walk(child, inner.at(cast=type_of(node) if type_of(node) in INTEGERS else ""))

    def cast_from(self, node):
        node = children(node)[-1]
        while stripped(node).get("kind") == "InitListExpr" and len(children(stripped(node))) == 1:
            node = children(stripped(node))[0]
        return type_of(stripped(node))

    on_CXXFunctionalCastExpr = cast
    on_CStyleCastExpr = cast

    # -- calls --------------------------------------------------------------------------

    def call(self, node, where):
        parts = children(node)
        if not parts:
            return
        name = self.called(parts[0])
        if name in LEVELS and self.ours(node):
            text = self.text(node)
            self.plant(where, node, "level", "", text.replace(name, LEVELS[name], 1),
                       "(@on ? (@now) : (@in))")
        self.swap_in_call(node, parts[1:], where)
        self.walk(parts[0], where.inner())
        for argument in parts[1:]:
            self.argument(argument, where.inner(), name)

    def called(self, node):
        node = stripped(node)
        if node.get("kind") == "DeclRefExpr":
            return node["referencedDecl"].get("name", "")
        return node.get("name", "")

    def argument(self, node, where, called):
        literal = stripped(node)
        if literal.get("kind") == "StringLiteral" and self.ours(literal):
            for number, text in enumerate(wording.conversions(self.text(literal))):
                self.plant(where, literal, "conversion", str(number), text, "(@on ? @now : @in)")
        self.walk(node, where)

    def pairs(self, nodes):
        """Neighbours of one type, others between them left out."""
        last = {}
        for node in nodes:
            if not self.ours(node):
                continue
            kind = type_of(node)
            if "dependent" in kind or "lambda" in kind or not kind or \
                    stripped(node).get("kind") in ("InitListExpr", "LambdaExpr"):
                continue
            if kind in last and self.text(last[kind]) != self.text(node):
                yield last[kind], node
            last[kind] = node

    def swap_in_call(self, node, arguments, where):
        if not self.ours(node):
            return
        text = self.read(node["F"])
        for first, second in self.pairs(arguments):
            if not node["B"] <= first["B"] < second["B"] < node["E"]:
                continue
            now = (text[node["B"]:first["B"]] + self.text(second) +
                   text[first["E"]:second["B"]] + self.text(first) +
                   text[second["E"]:node["E"]])
            self.plant(where, node, "swap", f"{first['B']}", now, CHOOSE)

    def construct(self, node, where):
        self.swap_each(children(node), where)
        self.each(node, where)

    def on_CXXConstructExpr(self, node, where):
        if len(children(node)) == 1:
            self.transparent(node, where)
        else:
            self.construct(node, where)

    def on_CXXTemporaryObjectExpr(self, node, where):
        self.construct(node, where)

    def on_InitListExpr(self, node, where):
        if not where.constant:
            self.swap_each(children(node), where)
        self.each(node, where)

    def swap_each(self, nodes, where):
        """Where there is no call to be written twice: one after the other."""
        for first, second in self.pairs(nodes):
            self.plant_pieces(where, first["F"], "swap", f"{first['B']}", [
                Piece(first["B"], first["E"], self.text(second), CHOOSE),
                Piece(second["B"], second["E"], self.text(first), CHOOSE)])

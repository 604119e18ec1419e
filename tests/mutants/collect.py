# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""What the operators are made from: where a node stands, and how a fault is noted."""
import dataclasses

from fault import Fault, Piece, flat, room_of
from syntax import children, stripped

# A fault that is another expression.
CHOOSE = "(@on ? (@now) : (@in))"

# Declarations of other files that may have ours inside.
OPEN = ("NamespaceDecl", "LinkageSpecDecl", "TranslationUnitDecl")

@dataclasses.dataclass(frozen=True)
class Where:
    """What surrounds a node."""
    function: str = ""
    record: str = ""
    returns: str = ""
    evaluated: bool = False  # by the compiler too: a constexpr function
    constant: bool = False   # only by the compiler: planted apart
    statement: str = ""
    cast: str = ""           # the type that the value is converted to
    whole: bool = False      # the node is all of a condition or of a returned value
    plain: bool = False      # no other constant here: another operator does it
    kept: bool = False       # an expression that is not deleted: its guard is removed

    def at(self, **changes):
        return dataclasses.replace(self, **changes)

    def inner(self):
        return self.at(cast="", whole=False, plain=False, kept=False)


class Collector:
    """Collects the faults, and the places of loops and function bodies."""

    def __init__(self, read):
        self.read = read      # text of a file
        self.faults = {}      # by place
        self.edits = {}       # (file, begin, end): shape, for counters
        self.declared = {}    # declarations by clang's id

    def learn(self, node):
        if "id" in node and node.get("kind", "").endswith("Decl"):
            self.declared[node["id"]] = node
        for each in children(node):
            self.learn(each)

    def text(self, node):
        return self.read(node["F"])[node["B"]:node["E"]]

    def ours(self, node):
        return room_of(node.get("F")) is not None and node["E"] > node["B"]

    def value(self, node):
        """The number of a literal or an enumerator, else None."""
        node = stripped(node)
        if node.get("kind") in ("IntegerLiteral", "CharacterLiteral"):
            return int(node["value"])
        if node.get("kind") == "CXXBoolLiteralExpr":
            return int(node["value"])
        if node.get("kind") == "DeclRefExpr":
            target = self.declared.get(node["referencedDecl"]["id"], {})
            if target.get("kind") == "EnumConstantDecl" and children(target):
                value = children(target)[0].get("value")
                return int(value) if value is not None else None
        return None

    def plant(self, where, node, operator, variant, now, shape):
        if self.ours(node):
            self.plant_pieces(where, node["F"], operator, variant,
                              [Piece(node["B"], node["E"], now, shape)])

    def plant_pieces(self, where, file, operator, variant, pieces, was=None):
        """`was`: where the pieces do not show what is changed."""
        text = self.read(file)
        begin, end = pieces[0].begin, pieces[-1].end
        now, at = "", begin
        for piece in pieces:
            now += text[at:piece.begin] + piece.now
            at = piece.end
        fault = Fault(file=file, begin=begin, end=end, line=text.count("\n", 0, begin) + 1,
                      function=where.function or where.record, operator=operator,
                      variant=variant, statement=where.statement or flat(text[begin:end]),
                      was=was or flat(text[begin:end]), now=flat(now), pieces=pieces,
                      evaluated=where.evaluated, apart="constant" if where.constant else "")
        self.faults.setdefault(fault.place, fault)

    def edit(self, node, where, shape, evaluated_shape):
        if self.ours(node) and not where.constant:
            self.edits[node["F"], node["B"], node["E"]] = (
                evaluated_shape if where.evaluated else shape)

    def walk(self, node, where):
        """One operator or more for each kind of node: "on_" and clang's name of the kind."""
        kind = node.get("kind", "")
        file = node.get("F")
        if file is not None and not room_of(file) and kind.endswith("Decl") and kind not in OPEN:
            return
        getattr(self, "on_" + kind, self.each)(node, where)

    def each(self, node, where):
        inner = where.inner()
        for child in children(node):
            self.walk(child, inner)

    def transparent(self, node, where):
        for child in children(node):
            self.walk(child, where)

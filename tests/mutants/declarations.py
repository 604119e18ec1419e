# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Faults of declarations: types, tables, static assertions, scoped holders."""
import re

from collect import Collector
from fault import Piece, flat
from syntax import FUNCTIONS, INTEGERS, NARROWER, children, type_of


class Declarations(Collector):
    def on_ClassTemplateDecl(self, node, where):
        # Instantiations first: they know the types.
        for child in reversed(children(node)):
            self.walk(child, where)

    on_FunctionTemplateDecl = on_ClassTemplateDecl

    def on_CXXRecordDecl(self, node, where):
        if node.get("isImplicit") or "name" not in node:
            return
        self.record(node, where)

    def record(self, node, where):
        for child in children(node):
            self.walk(child, where.at(record=node["name"], function=""))

    on_ClassTemplateSpecializationDecl = record

    def function(self, node, where):
        if node.get("isImplicit") or node.get("explicitlyDefaulted"):
            return
        body = [each for each in children(node) if each.get("kind") == "CompoundStmt"]
        if not body:
            return
        record = where.record or self.declared.get(node.get("parentDeclContextId"), {}).get("name")
        name = f"{record}::{node['name']}" if record else node.get("name", "")
        inner = where.at(function=name, returns=self.returns(node),
                         evaluated=node.get("constexpr", False))
        for each in children(node):
            if each.get("kind") == "CXXCtorInitializer":
                self.each(each, inner)
        self.body(body[0], inner)

    def returns(self, node):
        name = node.get("type", {}).get("qualType", "")
        name = name.split("->")[1] if "->" in name else name.split("(")[0]
        return name.strip().removeprefix("const ")

    def body(self, node, where):
        if self.ours(node):
            start = {"F": node["F"], "B": node["B"], "E": node["B"] + 1}
            self.edit(start, where, "@in planted::enter();", "@in planted::enter_at_run();")
        self.statements(node, where)

    def on_LambdaExpr(self, node, where):
        for child in children(node):
            if child.get("kind") != "CXXRecordDecl":
                continue
            for method in children(child):
                if method.get("kind") in FUNCTIONS and method.get("name") == "operator()":
                    for part in children(method):
                        if part.get("kind") == "CompoundStmt":
                            self.body(part, where.inner().at(
                                returns=self.returns(method), evaluated=False))

    def on_VarDecl(self, node, where):
        top = not where.function
        constant = where.constant or node.get("constexpr", False) or top or \
            node.get("storageClass") == "static"
        inner = where.inner().at(constant=constant)
        if top:
            inner = inner.at(function=(where.record + "::" if where.record else "") + node["name"])
        if constant or top:
            inner = inner.at(statement="")
        self.holder(node, where)
        if not constant and not where.statement.startswith("for "):
            self.declared_type(node, where)
        for child in children(node):
            if child.get("kind") == "CXXConstructExpr":
                self.construct(child, inner)
            else:
                self.walk(child, inner)

    def on_FieldDecl(self, node, where):
        if not self.ours(node):
            return
        inner = where.inner().at(function=f"{where.record}::{node.get('name', '')}",
                                 evaluated=True, statement=flat(self.text(node)))
        self.declared_type(node, inner)
        for child in children(node):
            self.walk(child, inner)

    def declared_type(self, node, where):
        """A narrower type, and an array with one element less."""
        if not self.ours(node):
            return
        where = where.at(constant=True)
        text = self.text(node)
        word = re.match(r"(?:const )?(\w+) \w", text)
        if word and word.group(1) in NARROWER and type_of(node) in INTEGERS:
            begin = node["B"] + word.start(1)
            now = NARROWER[word.group(1)]
            self.plant_pieces(where, node["F"], "type", "",
                              [Piece(begin, begin + len(word.group(1)), now, "")])
        bound = re.search(rf"\b{node['name']}\[([^\[\]]+)\]", text) if "name" in node else None
        if bound and "*" not in type_of(node):
            begin = node["B"] + bound.start(1)
            self.plant_pieces(where, node["F"], "type", "bound",
                              [Piece(begin, begin + len(bound.group(1)),
                                     f"({bound.group(1)}) - 1", "")])

    def on_EnumDecl(self, node, where):
        pass

    def on_StaticAssertDecl(self, node, where):
        if not self.ours(node):
            return
        inner = where.inner().at(constant=True, statement=flat(self.text(node)),
                                 function=where.function or "static_assert")
        condition = children(node)[0]
        self.plant(inner, condition, "negate", "", f"!({self.text(condition)})", "")
        self.walk(condition, inner.at(whole=True))

    def holder(self, node, where):
        """A holder that is only there for its scope: removed."""
        if not self.ours(node) or where.constant or node.get("isUsed") or \
                node.get("isReferenced") or node.get("init") != "call" or \
                type_of(node) in INTEGERS or "*" in type_of(node):
            return
        text = self.text(node)
        name = node["name"]
        at = node["loc"].get("offset")
        if at is None:
            return
        kind = text[:at - node["B"]].strip().removeprefix("const ").strip()
        rest = text[at - node["B"] + len(name):].strip()
        if rest and not (rest.startswith("(") and rest.endswith(")")):
            return
        arguments_at = node["B"] + text.index("(", at - node["B"]) + 1 if rest else node["E"]
        separator = ", " if rest else ")"
        shape = f"const planted::Maybe<{kind}> {name}(@on{separator}"
        self.plant_pieces(where, node["F"], "delete", "",
                          [Piece(node["B"], arguments_at, "", shape)], was=flat(text))

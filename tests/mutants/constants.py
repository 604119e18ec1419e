# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Faults of constants: numbers, sizes, flags and texts."""
from collect import CHOOSE, Collector
from syntax import INTEGERS, stripped, type_of
import wording


class Constants(Collector):
    def is_constant(self, node):
        node = stripped(node)
        return node.get("kind") in ("IntegerLiteral", "CharacterLiteral",
                                    "UnaryExprOrTypeTraitExpr", "SubstNonTypeTemplateParmExpr") or \
            self.named_constant(node)

    def named_constant(self, node):
        if node.get("kind") != "DeclRefExpr":
            return False
        reference = node["referencedDecl"]
        if reference["kind"] in ("EnumConstantDecl", "NonTypeTemplateParmDecl"):
            return True
        target = self.declared.get(reference["id"], {})
        return bool(target.get("constexpr")) and type_of(target) in INTEGERS

    def constant(self, node, where, variant, now):
        kind = where.cast or type_of(node)
        if kind in INTEGERS or kind == "bool":
            shape = f"static_cast<{kind}>(@on ? (@now) : (@in))"
        elif where.cast or not self.ours(node):
            shape = CHOOSE
        else:
            original = self.text(node)
            shape = f"(@on ? static_cast<decltype({original})>(@now) : (@in))"
        self.plant(where, node, "constant", variant, now, shape)

    def on_IntegerLiteral(self, node, where):
        if where.plain or not self.ours(node):
            return
        text = self.text(node)
        self.constant(node, where, "+", f"{text} + 1")
        if int(node["value"]) > 0:
            self.constant(node, where, "-", f"{text} - 1")

    def on_CharacterLiteral(self, node, where):
        if not where.plain and self.ours(node):
            self.constant(node, where, "+", f"{self.text(node)} + 1")

    def on_CXXBoolLiteralExpr(self, node, where):
        if not where.plain and self.ours(node):
            self.constant(node, where, "not", "false" if node["value"] else "true")

    def on_DeclRefExpr(self, node, where):
        if where.plain or not self.ours(node) or not self.named_constant(node):
            return
        text = self.text(node)
        kind = type_of(node)
        if kind in INTEGERS or kind.startswith("enum ") or "status" in kind:
            self.constant(node, where, "+", f"{text} + 1")
        else:
            self.constant(node, where, "+", f"static_cast<unsigned long>({text}) + 1")

    def on_SubstNonTypeTemplateParmExpr(self, node, where):
        if not where.plain and self.ours(node):
            self.constant(node, where, "+", f"{self.text(node)} + 1")

    def on_UnaryExprOrTypeTraitExpr(self, node, where):
        if where.plain or not self.ours(node):
            return
        self.constant(node, where, "+", f"{self.text(node)} + 1")
        self.constant(node, where, "-", f"{self.text(node)} - 1")

    def on_StringLiteral(self, node, where):
        if not self.ours(node):
            return
        now = wording.changed(self.text(node))
        if now is not None:
            self.plant(where, node, "constant", "text", now, "(@on ? @now : @in)")

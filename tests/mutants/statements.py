# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Faults of statements: left out, guards that never hold, other values returned."""
from collect import Collector
from fault import Piece, flat
from syntax import ALIASES, INTEGERS, children, stripped, type_of

CONTROL = {"IfStmt", "ForStmt", "WhileStmt", "DoStmt", "CXXForRangeStmt", "CompoundStmt",
           "DeclStmt", "ReturnStmt", "SwitchStmt", "CaseStmt", "DefaultStmt", "BreakStmt",
           "ContinueStmt", "NullStmt", "AttributedStmt"}


class Statements(Collector):
    def statements(self, node, where):
        for child in children(node):
            self.statement(child, where)

    def statement(self, node, where):
        if not node or "kind" not in node or not self.ours(node):
            return
        kind = node["kind"]
        if kind == "CompoundStmt":
            self.statements(node, where)
            return
        where = where.at(statement=self.head(node))
        if kind in CONTROL:
            getattr(self, "on_" + kind)(node, where)
            return
        if not where.kept:
            self.plant(where, node, "delete", "", "(void)0",
                       "(@on ? (void)0 : (void)(@in))")
        self.walk(node, where.inner())

    def head(self, node):
        """A statement's text, without those inside it."""
        parts = [each for each in children(node) if each.get("kind") in CONTROL or
                 node["kind"] in ("ForStmt", "WhileStmt", "CXXForRangeStmt")]
        end = node["E"]
        if node["kind"] == "IfStmt":
            at = 1 + bool(node.get("hasInit")) + bool(node.get("hasVar"))
            end = children(node)[at]["B"]
        elif node["kind"] in ("ForStmt", "WhileStmt", "CXXForRangeStmt") and parts:
            end = children(node)[-1]["B"]
        return flat(self.read(node["F"])[node["B"]:end])

    def on_DeclStmt(self, node, where):
        for child in children(node):
            self.walk(child, where)

    def on_NullStmt(self, node, where):
        pass

    def on_AttributedStmt(self, node, where):
        self.statement(children(node)[-1], where)

    def condition(self, node, where):
        self.plant(where, node, "negate", "", f"!({self.text(node)})",
                   "(@on != static_cast<bool>(@in))")
        self.walk(node, where.at(whole=True))

    def on_IfStmt(self, node, where):
        parts = children(node)
        at = bool(node.get("hasInit")) + bool(node.get("hasVar"))
        for part in parts[:at]:
            self.statement(part, where)
        condition, then = parts[at], parts[at + 1]
        if node.get("isConstexpr"):
            self.condition(condition, where.at(constant=True))
        else:
            self.condition(condition, where)
        simple = False
        if not node.get("hasElse") and not node.get("isConstexpr"):
            self.plant(where, condition, "guard", "", "false", "((@in) && !@on)")
            simple = then.get("kind") not in CONTROL or (
                then.get("kind") == "CompoundStmt" and len(children(then)) == 1 and
                children(then)[0].get("kind") not in CONTROL)
        self.statement(then, where.at(kept=simple))
        for part in parts[at + 2:]:
            self.statement(part, where.at(kept=False))

    def loop_condition(self, node, where):
        if node and self.ours(node):
            self.condition(node, where)
            self.edit(node, where, "((@in) && planted::more())",
                      "((@in) && planted::more_at_run())")

    def on_WhileStmt(self, node, where):
        where = where.at(kept=False)
        parts = children(node)
        if node.get("hasVar"):
            self.statement(parts[0], where)
        self.loop_condition(parts[-2], where)
        self.statement(parts[-1], where)

    def on_DoStmt(self, node, where):
        where = where.at(kept=False)
        self.statement(children(node)[0], where)
        self.loop_condition(children(node)[1], where)

    def on_ForStmt(self, node, where):
        where = where.at(kept=False)
        start, _, condition, step, body = children(node)
        head = where.statement
        if start:
            self.walk(start, where.at(statement=head))
        self.loop_condition(condition, where)
        self.step(step, where)
        self.statement(body, where)

    def step(self, node, where):
        if not node:
            return
        if node.get("kind") == "BinaryOperator" and node.get("opcode") == ",":
            for child in children(node):
                self.step(child, where)
            return
        self.plant(where, node, "delete", "", "(void)0", "(@on ? (void)0 : (void)(@in))")
        self.walk(node, where.inner())

    def on_CXXForRangeStmt(self, node, where):
        where = where.at(kept=False)
        self.statement(children(node)[-1], where)

    def on_SwitchStmt(self, node, where):
        where = where.at(kept=False)
        self.walk(children(node)[0], where)
        for child in children(node)[1:]:
            self.statement(child, where)

    def on_CaseStmt(self, node, where):
        for child in children(node)[1:]:
            self.statement(child, where)

    def on_DefaultStmt(self, node, where):
        for child in children(node):
            self.statement(child, where)

    def on_BreakStmt(self, node, where):
        text = self.read(node["F"])
        semicolon = text.find(";", node["E"])
        if where.kept or text[node["E"]:semicolon].strip():
            return
        # One that is all of a guard's body goes with the guard.
        before = text[:node["B"]].rstrip()
        if before.endswith(")") or before.endswith("else"):
            return
        self.plant_pieces(where, node["F"], "delete", "",
                          [Piece(node["B"], semicolon + 1, ";", "{ if (!@on) @in }")])

    on_ContinueStmt = on_BreakStmt

    def on_ReturnStmt(self, node, where):
        if not children(node):
            return
        value = children(node)[0]
        self.returned(value, where)
        self.walk(value, where.at(whole=True, plain=True))

    def returned(self, node, where):
        returns = where.returns
        bare = stripped(node)
        if bare.get("kind") == "ConditionalOperator":
            for branch in children(bare)[1:]:
                self.returned(branch, where)
            return
        if bare.get("kind") in ("CXXNullPtrLiteralExpr", "InitListExpr") or "&" in returns:
            return
        if returns == "bool":
            self.plant(where, node, "return", "not", f"!({self.text(node)})",
                       "(@on != static_cast<bool>(@in))")
            return
        if returns.endswith("*"):
            self.plant(where, node, "return", "null", "nullptr", "planted::zero_when(@on, @in)")
            return
        if not self.is_number(returns, node):
            return
        value = self.value(node)
        if value != 0:
            self.plant(where, node, "return", "zero", "0", "planted::zero_when(@on, @in)")
        self.plant(where, node, "return", "other", f"{self.text(node)} + 1",
                   "planted::other_when(@on, @in)")

    def is_number(self, name, node):
        if name in ALIASES or name in INTEGERS:
            return True
        kind = type_of(stripped(node))
        return kind in INTEGERS or self.value(node) is not None or \
            stripped(node).get("kind") == "DeclRefExpr" and \
            stripped(node)["referencedDecl"]["kind"] == "EnumConstantDecl"

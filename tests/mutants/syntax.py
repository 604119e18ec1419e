# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""The syntax trees of the system's sources, as clang gives them.

A node is clang's own object with three more members: "F", the file below the root of the
tree, "B" and "E", where its text begins and ends there. A node that comes from a macro
stands where the macro is used; one that comes from a macro's argument, at the argument.
"""
import json
import os
import subprocess
import sys

# Log lines are macros; as functions they are calls like others.
LOG_HEADER = """#include "base/vocabulary.h"
#include "platform/log.h"
void mac_log_error(const char* format, ...);
void mac_log_notice(const char* format, ...);
void mac_log_dump(const char* format, ...);
"""

DIALECT = ["-std=c++20", "-ffreestanding", "-fno-exceptions", "-fno-rtti"]

sys.setrecursionlimit(20000)


class _Places:
    """Clang names a file only where it changes, in the order of its output."""

    def __init__(self, root):
        self.root = root
        self.file = None

    def _one(self, place):
        if "file" in place:
            self.file = os.path.relpath(place["file"], self.root)
        if "offset" not in place:
            return None
        return self.file, place["offset"], place["offset"] + place.get("tokLen", 0)

    def resolve(self, place):
        if "expansionLoc" not in place:
            return self._one(place)
        spelled = self._one(place["spellingLoc"])
        expanded = self._one(place["expansionLoc"])
        return spelled if place["expansionLoc"].get("isMacroArgExpansion") else expanded

    def mark(self, value):
        if isinstance(value, list):
            for each in value:
                self.mark(each)
            return
        if not isinstance(value, dict):
            return
        for key, inner in value.items():
            if key == "loc":
                self.resolve(inner)
            elif key == "range":
                begin = self.resolve(inner["begin"])
                end = self.resolve(inner["end"])
                if begin and end and begin[0] == end[0]:
                    value_range = begin[0], begin[1], end[2]
                else:
                    value_range = None, 0, 0
            else:
                self.mark(inner)
        if "range" in value:
            value["F"], value["B"], value["E"] = value_range


def tree_of(root, source, overlay):
    """The tree of one source file; `overlay` is a folder for the log header."""
    header = os.path.join(overlay, "base", "log.h")
    if not os.path.exists(header):
        os.makedirs(os.path.dirname(header), exist_ok=True)
        with open(header, "w", encoding="ascii") as stream:
            stream.write(LOG_HEADER)
    command = ["clang++", *DIALECT, "-w", "-I", overlay, "-I", root,
               "-I", os.path.join(root, "include"), "-fsyntax-only", "-Xclang",
               "-ast-dump=json", os.path.join(root, source)]
    result = subprocess.run(command, stdout=subprocess.PIPE, check=True)
    tree = json.loads(result.stdout)
    _Places(root).mark(tree)
    return tree


def children(node):
    """The inner nodes; an absent one of a statement is an empty object."""
    return node.get("inner", [])


def type_of(node):
    """The type without aliases and outer qualifiers."""
    kind = node.get("type", {})
    name = kind.get("desugaredQualType", kind.get("qualType", ""))
    if "*" in name or "&" in name:
        return name[:-5].rstrip() if name.endswith("*const") else name
    return " ".join(word for word in name.split() if word not in ("const", "volatile"))


FUNCTIONS = ("FunctionDecl", "CXXMethodDecl", "CXXConstructorDecl", "CXXDestructorDecl",
             "CXXConversionDecl")
CALLS = ("CallExpr", "CXXMemberCallExpr")

INTEGERS = {"unsigned int", "int", "unsigned char", "char", "signed char", "unsigned short", "short",
            "unsigned long", "long", "unsigned long long", "long long"}
ALIASES = {"u8", "u16", "u32", "u64", "s32", "s64", "size_t", "bool", "uintptr_t"}
NARROWER = {"u64": "u32", "u32": "u16", "u16": "u8", "s64": "s32", "s32": "short", "size_t": "u32"}
WIDTHS = {"unsigned char": 8, "char": 8, "signed char": 8, "bool": 8, "unsigned short": 16,
          "short": 16, "unsigned int": 32, "int": 32, "u8": 8, "u16": 16, "u32": 32, "s32": 32}


def stripped(node):
    """Without what stands in no text: implicit casts, temporaries, parentheses."""
    while node.get("kind") in ("ImplicitCastExpr", "ExprWithCleanups", "MaterializeTemporaryExpr",
                               "CXXBindTemporaryExpr", "ParenExpr", "ConstantExpr",
                               "FullExpr") and children(node):
        node = children(node)[0]
    return node

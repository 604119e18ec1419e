# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""The faults of a syntax tree: every operator at every place where it applies."""
from constants import Constants
from declarations import Declarations
from expressions import Expressions
from statements import Statements
from syntax import CALLS, FUNCTIONS


class Walk(Declarations, Statements, Expressions, Constants):
    """Goes through trees and collects the faults, and the places of loops and bodies."""


for _kind in FUNCTIONS:
    setattr(Walk, "on_" + _kind, Walk.function)
for _kind in CALLS:
    setattr(Walk, "on_" + _kind, Walk.call)

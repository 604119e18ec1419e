#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Plants faults in the system, one after the other, and sees whether the tests notice.

  run.py full [--write] [ROOM ...]
                              all faults, or those of these rooms; holds their rows of the
                              table in docs/reliability.md against the run, or writes them
                              and the base
  run.py sample SEED SECONDS  the faults of functions that differ from the base, then as many
                              others as there is time for
  run.py again [ROOM ...]     those that nobody noticed in the run before
  run.py only TEXT            those in whose description the text stands, and what each test
                              that fails says

Options: --jobs N, --root FOLDER (this tree), --work FOLDER (build/planted), --tests REGEX:
with these tests alone, for a first look; nothing is written and no table is compared.
"""
import argparse
import os
import random
import sys
import time

from build import BuildFailed
from fault import ROOMS
from lists import Base, Malformed
import report
from runner import Unsound
from session import Session

# A sample tries faults for at least as long.
LEAST_SECONDS = 60

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def full(session, options):
    rooms = options.rooms or list(ROOMS.values())
    faults = [fault for fault in session.plan.faults if fault.room in rooms]
    # What takes long comes last, and what is known by then is kept.
    results = session.outcomes([fault for fault in faults if not fault.apart])
    session.keep(results)
    results += session.outcomes([fault for fault in faults if fault.apart])
    session.keep(results)
    rows = report.tally(results, session.equal)
    print(report.table(rows))
    if options.write and not options.tests:
        surviving = [fault for fault, outcome in results if
                     report.column_of(outcome, session.equal.has(fault)) == "surviving"]
        session.base.write(faults, surviving)
        session.base = Base(session.root)
    problems = session.complaints(results)
    timeouts = sum(row["time-outs"] for row in rows.values())
    if timeouts * 100 > len(results):
        problems.append(f"{timeouts} time-outs are more than 1 in 100")
    if options.tests:
        return results, problems
    page, wanted = report.page_with(session.root, rows)
    if options.write:
        with open(os.path.join(session.root, report.PAGE), "w", encoding="utf-8") as stream:
            stream.write(wanted)
    elif page != wanted:
        problems.append(f"the table in {report.PAGE} is not that of this run")
    return results, problems


def sample(session, options):
    faults = [fault for fault in session.plan.faults if not session.equal.has(fault)]
    # On a slow machine building alone may take that long.
    session.until = max(session.started + options.seconds, time.monotonic() + LEAST_SECONDS)
    # The base has the listed ones in a function's sum, too.
    changed = [fault for fault in session.base.changed(session.plan.faults)
               if not session.equal.has(fault)]
    numbers = {fault.number for fault in changed}
    others = [fault for fault in faults if fault.number not in numbers and not fault.apart]
    random.Random(options.seed).shuffle(others)
    results = session.outcomes(changed)
    session.say(f"{len(results)} of {len(changed)} faults of changed functions")
    results += session.outcomes(others)
    session.say(f"{len(results)} in all, seed {options.seed}")
    problems = session.complaints(results)
    if not results:
        problems.append(f"no fault was tried in {options.seconds:.0f} s")
    return results, problems


def again(session, options):
    rooms = options.rooms or list(ROOMS.values())
    noticed = set().union(*(session.noticed_before(room) for room in rooms))
    faults = [fault for fault in session.plan.faults if fault.room in rooms and
              fault.key not in noticed and not session.equal.has(fault)]
    results = session.outcomes(faults)
    report.write_survivors(session.work, results)
    return results, session.complaints(results)


def only(session, options):
    faults = [fault for fault in session.plan.faults if options.text in f"{fault.number} {fault}"]
    results = session.outcomes(faults)
    for fault, outcome in results:
        print(f"{outcome.verdict:10} {fault.number} {fault}\n        {outcome.test} {outcome.detail}")
    return results, []


def parsed():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--root", default=ROOT)
    parser.add_argument("--work", default="build/planted")
    parser.add_argument("--tests", default="", metavar="REGEX")
    modes = parser.add_subparsers(required=True)
    mode = modes.add_parser("full")
    mode.add_argument("--write", action="store_true")
    mode.add_argument("rooms", nargs="*", metavar="ROOM")
    mode.set_defaults(run=full)
    mode = modes.add_parser("sample")
    mode.add_argument("seed")
    mode.add_argument("seconds", type=float)
    mode.set_defaults(run=sample)
    mode = modes.add_parser("again")
    mode.add_argument("rooms", nargs="*", metavar="ROOM")
    mode.set_defaults(run=again)
    mode = modes.add_parser("only")
    mode.add_argument("text")
    mode.set_defaults(run=only)
    options = parser.parse_args()
    for room in getattr(options, "rooms", []):
        if room not in ROOMS.values():
            parser.error(f"{room} is no room: {', '.join(ROOMS.values())}")
    return options


def main():
    options = parsed()
    try:
        session = Session(options.root, os.path.join(options.root, options.work), options.jobs,
                          options.tests)
        results, problems = options.run(session, options)
    except (BuildFailed, Malformed, Unsound) as problem:
        print(f"planted faults: {problem}", file=sys.stderr)
        return 2
    for problem in problems:
        print(f"not ok  {problem}")
    session.say("done")
    passed = sum(report.column_of(outcome, session.equal.has(fault)) != "surviving"
                 for fault, outcome in results)
    print(f"{passed} passed, {len(problems)} failed")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())

# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""One run: the program with all faults, its tests, and what becomes of each fault."""
import glob
import hashlib
import json
import os
import pickle
import shutil
import time

from apart import Apart
from build import Build
from lists import Base, Equal
from plan import Plan
import report
from runner import Outcome, each, recorded, tried


class Session:
    def __init__(self, root, work, jobs, wanted=""):
        """`wanted`: an expression for the names of the tests; empty: all."""
        self.root = root
        self.work = work
        self.jobs = jobs
        self.scratch = os.path.join(work, "scratch")
        shutil.rmtree(self.scratch, ignore_errors=True)
        os.makedirs(self.scratch)
        self.started = time.monotonic()
        self.until = None
        self.equal = Equal(root)
        self.base = Base(root)
        self.plan = Plan(root, os.path.join(work, "overlay"), jobs)
        self.say(f"{len(self.plan.faults)} faults")
        self._build()
        self._record(wanted)
        self.results = {}

    def _build(self):
        self.build = Build(self.plan, self.work, self.jobs)
        self.build.write()
        self.build.make()
        self.say("built")

    def _record(self, wanted):
        faults = self.plan.faults
        last = max(fault.number for fault in faults)
        # What the same program was found to do stays true.
        with open(self.build.program, "rb") as stream:
            name = hashlib.sha256(stream.read() + wanted.encode()).hexdigest()[:24] + ".tests"
        kept = os.path.join(self.work, name)
        if os.path.exists(kept):
            with open(kept, "rb") as stream:
                self.tests = pickle.load(stream)
        else:
            self.tests = recorded(self.build.program, self.scratch, self.jobs, last, wanted)
            self._keep_only(kept)
        self.say(f"{len(self.tests)} tests in {sum(test.seconds for test in self.tests):.1f} s")
        self.reaching = {}
        for test in self.tests:
            for number in test.reaches:
                self.reaching.setdefault(number, []).append(test)
        # A function that only the compiler evaluates is built with its fault.
        for fault in faults:
            if fault.evaluated and not fault.apart and fault.number not in self.reaching:
                fault.apart = "only the compiler evaluates it"

    def _keep_only(self, path):
        for other in glob.glob(os.path.join(self.work, "*.tests")):
            os.remove(other)
        with open(path, "wb") as stream:
            pickle.dump(self.tests, stream)

    def say(self, text):
        print(f"planted faults: {text} ({time.monotonic() - self.started:.0f} s)", flush=True)

    def late(self):
        return self.until is not None and time.monotonic() > self.until

    def outcomes(self, faults):
        """Tries the faults; those there is no time for have no outcome."""
        done = [0]

        def keep(fault, outcome):
            self.results[fault.number] = outcome
            done[0] += 1
            if done[0] % 500 == 0:
                self.say(f"{done[0]} of {len(faults)}")

        def chosen(server, fault):
            if not self.late():
                tests = self.reaching.get(fault.number)
                keep(fault, tried(server, fault.number, tests) if tests else Outcome("unreached"))

        self._each([fault for fault in faults if not fault.apart], chosen)
        apart = [fault for fault in faults if fault.apart]
        if apart and not self.late():
            builder = Apart(self.plan, self.build, self.tests, self.scratch)

            def built(_, fault):
                if not self.late():
                    keep(fault, builder.outcome(fault))

            self._each(apart, built)
        return [(fault, self.results[fault.number]) for fault in faults
                if fault.number in self.results]

    def _each(self, faults, work):
        each(self.build.program, self.scratch, self.jobs, faults, work)

    # -- what a run leaves --------------------------------------------------------------

    def _kept(self, room):
        return os.path.join(self.work, f"results-{room}.json")

    def keep(self, results):
        """For `again`, and for whoever writes tests."""
        report.write_survivors(self.work, [(fault, outcome) for fault, outcome in results
                                           if not self.equal.has(fault)])
        for room in {fault.room for fault, _ in results}:
            rows = [[*fault.key, outcome.verdict, outcome.test, outcome.detail]
                    for fault, outcome in results if fault.room == room]
            with open(self._kept(room), "w", encoding="utf-8") as stream:
                json.dump(rows, stream, indent=0)

    def noticed_before(self, room):
        """Keys of the faults that the last run of the room saw killed."""
        if not os.path.exists(self._kept(room)):
            return set()
        with open(self._kept(room), encoding="utf-8") as stream:
            rows = json.load(stream)
        # Two statements of one text may differ in this.
        unnoticed = {tuple(row[:5]) for row in rows if not Outcome(row[5]).killed}
        return {tuple(row[:5]) for row in rows} - unnoticed

    def complaints(self, results):
        """What is wrong with the lists and with the tests."""
        problems = []
        for fault, outcome in results:
            column = report.column_of(outcome, self.equal.has(fault))
            text = f"{outcome.verdict}: {fault}\n        in: {fault.statement}"
            if column == "listed as equal" and outcome.killed:
                problems.append(f"listed as equal, but {outcome.test or 'the compiler'} "
                                f"notices it: {fault}")
            elif column == "surviving" and self.base.has(fault):
                print(f"known   {text}")
            elif column == "surviving":
                problems.append(text)
        return problems + self._unmatched()

    def _unmatched(self):
        for fault in self.plan.faults:
            self.equal.has(fault)
        return [f"listed as equal, but there is no such fault: {' | '.join(key)}"
                for key in self.equal.unused()]

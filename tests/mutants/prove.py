#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""The planted faults prove themselves: on a tree of one source (proof/) each thing that can
become of a fault is seen, and everything that has to fail a run does."""
import glob
import json
import os
import re
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
TREE = os.path.join(os.path.dirname(os.path.dirname(HERE)), "build", "planted-proof")
WORK = os.path.join(TREE, "build", "planted")
EQUAL = "tests/mutants/equal.txt"
BASE = "tests/mutants/base.txt"
PAGE = "docs/reliability.md"

BEFORE = """<!-- planted faults: made by scripts/planted-faults.sh -->
<!-- end of planted faults -->
"""


def read(name):
    with open(os.path.join(TREE, name), encoding="utf-8") as stream:
        return stream.read()


def write(name, text):
    path = os.path.join(TREE, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    if not os.path.exists(path) or read(name) != text:
        with open(path, "w", encoding="utf-8") as stream:
            stream.write(text)


def lay_out():
    """The tree; what was built in it the last time may be used again."""
    for path in glob.glob(os.path.join(HERE, "*.*")):
        name = os.path.join("tests/mutants", os.path.basename(path))
        with open(path, encoding="utf-8") as stream:
            write(name, stream.read())
    for name, at in (("CMakeLists.txt", "."), ("sample.cc", "core"), ("sample_test.cc", "core")):
        with open(os.path.join(HERE, "proof", name), encoding="utf-8") as stream:
            write(os.path.normpath(os.path.join(at, name)), stream.read())
    write("sources.mk", "core/sample.cc\n")
    write(".gitignore", "/build/\n")
    write(PAGE, BEFORE)
    for name in (EQUAL, BASE):
        if os.path.exists(os.path.join(TREE, name)):
            os.remove(os.path.join(TREE, name))
    subprocess.run(["git", "init", "-q", TREE], check=True)


class Proof:
    def __init__(self):
        self.passed = 0
        self.failed = 0
        self.status = None
        self.said = ""

    def run(self, *arguments):
        done = subprocess.run([sys.executable, os.path.join(HERE, "run.py"), "--root", TREE,
                               *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, check=False)
        self.status, self.said = done.returncode, done.stdout

    def sees(self, good, text):
        self.passed += bool(good)
        self.failed += not good
        print(f"{'ok     ' if good else 'not ok '} {text}")
        if not good:
            print(f"        status {self.status}, and it said:\n{self.said}")

    def says(self, status, pattern, text):
        found = re.search(pattern, self.said, re.MULTILINE)
        self.sees(self.status == status and found, text)

    # -- what becomes of a fault ----------------------------------------------------------

    def outcomes(self):
        with open(os.path.join(WORK, "results-core.json"), encoding="utf-8") as stream:
            rows = json.load(stream)
        found = {}
        for _, function, operator, _, _, verdict, test, _ in rows:
            found.setdefault((function, operator), set()).add((verdict, test))
        for key, wanted, text in (
                (("asserted", "return"), ("failed", "Sample.Asserted"),
                 "killed by a failed expectation, of the test that reaches it"),
                (("first_of", "guard"), ("sanitizer", "Sample.FirstOf"),
                 "killed by a sanitizer's report"),
                (("checked", "negate"), ("checker", "Sample.Checked"),
                 "killed by the platform that ends the process"),
                (("ending", "delete"), ("timeout", "Sample.Ending"),
                 "a loop without an end is a time-out"),
                (("kTable", "constant"), ("failed", "Sample.OfTable"),
                 "a table is planted apart, and killed"),
                (("static_assert", "negate"), ("compiler", ""), "refused by the compiler"),
                (("reached", "return"), ("survived", ""), "reached, and nobody notices"),
                (("never_reached", "return"), ("unreached", ""), "no test reaches it")):
            self.sees(wanted in found.get(key, ()), text)

    # -- what fails a run ---------------------------------------------------------------

    def survivors(self):
        self.says(1, r"^not ok  survived: core/sample\.cc:\d+ reached return, ",
                  "fails: a fault that nobody notices")
        self.says(1, r"^not ok  unreached: core/sample\.cc:\d+ never_reached return, ",
                  "fails: a fault that no test reaches")
        self.says(1, r"^not ok  \d+ time-outs are more than 1 in 100$", "fails: many time-outs")
        row = re.search(r"^\| core \| (.*) \|$", self.said, re.MULTILINE)
        numbers = list(map(int, row.group(1).split(" | "))) if row else [0]
        self.sees(len(numbers) == 7 and numbers[0] == sum(numbers[2:]) and numbers[5] > 0,
                  "the table counts each fault once, time-outs by themselves")

    def listed(self):
        """With all survivors on the list it passes, and each wrong entry fails."""
        with open(os.path.join(WORK, "survivors-core.txt"), encoding="utf-8") as stream:
            entries = [entry + "\nreason: nobody looks\n"
                       for entry in stream.read().strip().split("\n\n")]
        write(EQUAL, "\n".join(entries))
        self.run("full", "--write")
        self.says(0, r"^\d+ passed, 0 failed$", "passes: all that survives is on the list")
        write(EQUAL, "\n".join(entries).replace("function: never_reached", "function: gone"))
        self.run("sample", "proof", "100")
        self.says(1, r"^not ok  listed as equal, but there is no such fault: core/sample\.cc \| gone",
                  "fails: an entry that matches nothing")
        killed = "\nfile: core/sample.cc\nfunction: asserted\noperator: return\n" \
                 "statement: return -value\nchange: -value => 0\nreason: wrong\n"
        write(EQUAL, "\n".join(entries) + killed)
        write(PAGE, read(PAGE).replace("| core | ", "| core | 1"))
        self.run("full")
        self.says(1, r"^not ok  listed as equal, but Sample\.Asserted notices it: ",
                  "fails: an entry that a test notices")
        self.says(1, r"^not ok  the table in docs/reliability\.md is not that of this run$",
                  "fails: another table than that of the run")
        return entries

    def based(self, entries):
        """A survivor that the base has too is reported, and does not fail a sample."""
        write(EQUAL, "\n".join(entry for entry in entries if "function: reached" not in entry))
        self.run("sample", "proof", "100")
        self.says(1, r"^not ok  survived: core/sample\.cc:\d+ reached return, ",
                  "fails: a survivor that the base has not")
        self.run("full", "--write")
        self.run("sample", "proof", "100")
        self.says(0, r"^known   survived: core/sample\.cc:\d+ reached return, ",
                  "passes: a survivor that the base has too is only reported")
        write(BASE, re.sub(r"(?m)^(function core/sample.cc ending) .*$", r"\1 0", read(BASE)))
        self.run("sample", "proof", "100")
        self.says(0, r"\b(\d+) of \1 faults of changed functions",
                  "a function that differs from the base is tried in whole")


def main():
    lay_out()
    proof = Proof()
    proof.run("full")
    proof.outcomes()
    proof.survivors()
    proof.based(proof.listed())
    print(f"{proof.passed} passed, {proof.failed} failed")
    return 1 if proof.failed else 0


if __name__ == "__main__":
    sys.exit(main())

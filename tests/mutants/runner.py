# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Runs tests with faults: which tests reach which, and which notice."""
import dataclasses
import os
import queue
import re
import shutil
import subprocess
import tempfile
import threading

KILLS = ("failed", "sanitizer", "checker")

# What a test may use beyond what it uses without a fault.
ROUNDS_MORE = 20000
CALLS_MORE = 200000
SECONDS_MORE = 10

ENVIRONMENT = {
    "ASAN_OPTIONS": "exitcode=63:detect_leaks=0:detect_stack_use_after_return=1:"
                    "handle_abort=0:symbolize=0:allocator_may_return_null=1",
    "UBSAN_OPTIONS": "exitcode=63:symbolize=0",
    # The same cases in every run; a hundred instead of a thousand of each property.
    "RC_PARAMS": "seed=1 max_success=100 noshrink=1",
}


@dataclasses.dataclass
class Test:
    number: int
    name: str
    seconds: float = 0.0
    rounds: int = 0
    calls: int = 0
    reaches: frozenset = frozenset()

    def limits(self):
        return (f"{self.number}:{self.rounds * 4 + ROUNDS_MORE}:{self.calls * 4 + CALLS_MORE}:"
                f"{int(self.seconds * 10) + SECONDS_MORE}")


@dataclasses.dataclass
class Outcome:
    verdict: str  # a kind of kill, timeout, survived, unreached
    test: str = ""
    detail: str = ""

    @property
    def killed(self):
        return self.verdict in KILLS or self.verdict == "compiler"


class Server:
    """One running test program."""

    def __init__(self, program, scratch):
        self.scratch = tempfile.mkdtemp(dir=scratch)
        self.process = subprocess.Popen(
            [program, "--serve", self.scratch], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            text=True, errors="replace", env={**os.environ, **ENVIRONMENT})
        count = int(self._line().split()[1])
        self.names = [self._line() for _ in range(count)]

    def _line(self):
        line = self.process.stdout.readline()
        if not line:
            raise RuntimeError("the test program ended")
        return line.rstrip("\n")

    def ask(self, job):
        self.process.stdin.write(job + "\n")
        self.process.stdin.flush()
        return self._line()

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        shutil.rmtree(self.scratch, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def each(program, scratch, jobs, items, work):
    """work(server, item) for every item, `jobs` at a time; the order is that of the items."""
    waiting = queue.Queue()
    for item in items:
        waiting.put(item)
    problems = []

    def worker():
        try:
            with Server(program, scratch) as server:
                while not problems:
                    work(server, waiting.get_nowait())
        except queue.Empty:
            pass
        except Exception as problem:  # of this thread: told to the one that waits
            problems.append(problem)

    threads = [threading.Thread(target=worker) for _ in range(jobs)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if problems:
        raise problems[0]


class Unsound(Exception):
    """Tests that fail as the sources are say nothing about faults."""


def recorded(program, scratch, jobs, last, wanted):
    """The tests whose names match `wanted`, as they run without a fault."""
    with Server(program, scratch) as server:
        tests = [Test(number, name) for number, name in enumerate(server.names)
                 if re.search(wanted, name)]
    failing = []

    def record(server, test):
        answer = server.ask(f"record {test.number} {last}").split()
        if answer[0] != "passed":
            failing.append(f"{test.name} fails without a fault: {' '.join(answer)}")
            return
        test.seconds = int(answer[1]) / 1e6
        test.rounds, test.calls = int(answer[2]), int(answer[3])
        test.reaches = frozenset(map(int, answer[4:]))

    each(program, scratch, jobs, tests, record)
    if failing:
        raise Unsound("\n".join(failing))
    return tests


def tried(server, number, tests):
    """What becomes of a fault in these tests, the fastest first."""
    ordered = sorted(tests, key=lambda test: test.seconds)
    timeout = None
    while ordered:
        answer = server.ask(f"run {number} " + " ".join(test.limits() for test in ordered))
        verdict, test, detail = (answer.split(" ", 2) + [""])[:3]
        if verdict == "passed":
            break
        at = next(index for index, each in enumerate(ordered) if each.number == int(test))
        outcome = Outcome(verdict, ordered[at].name, detail)
        if verdict != "timeout":
            return outcome
        # Another test may notice it and end.
        timeout = timeout or outcome
        ordered = ordered[at + 1:at + 4]
    return timeout or Outcome("survived")

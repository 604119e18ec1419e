# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Faults that cannot be chosen when the program starts: each is built into its objects,
and the program is linked again."""
import json
import os
import shlex
import shutil
import subprocess
import tempfile

from build import TARGET
from runner import Outcome, Server, tried

LAYOUTS = "tests/unit/layout_test.cc"


class Apart:
    def __init__(self, plan, build, tests, scratch):
        self.plan = plan
        self.build = build
        self.scratch = scratch
        self.link = build.link_command()
        with open(os.path.join(build.folder, "compile_commands.json"), encoding="utf-8") as stream:
            commands = json.load(stream)
        self.commands = {}
        for command in commands:
            file = os.path.relpath(command["file"], build.tree)
            if file in plan.sources:
                words = shlex.split(command["command"])
                if os.path.basename(words[0]) == "ccache":
                    del words[0]
                self.commands[file] = (command["directory"], words)
        self.includes = {source: self._included(source) for source in plan.sources}
        self.tests_of = {}
        files = {fault.number: fault.file for fault in plan.faults}
        for test in tests:
            for file in {files[number] for number in test.reaches if number in files}:
                self.tests_of.setdefault(file, []).append(test)

    def _included(self, source):
        directory, command = self.commands[source]
        command = self._without_output(command)
        made = subprocess.run([*command, "-MM"], cwd=directory, stdout=subprocess.PIPE, text=True,
                              check=True).stdout
        words = made.replace("\\\n", " ").split()[1:]
        return {os.path.relpath(os.path.join(directory, word), self.build.tree) for word in words}

    @staticmethod
    def _without_output(command):
        at = command.index("-o")
        return [word for word in command[:at] + command[at + 2:] if word != "-c"]

    def _objects(self, fault, folder):
        """Compiles all objects that the fault's file is part of; None when one does not."""
        planted = os.path.join(folder, fault.file)
        os.makedirs(os.path.dirname(planted))
        with open(planted, "w", encoding="latin-1", newline="") as stream:
            stream.write(self.build.text_of(fault.file, fault))
        objects = []
        for source in self.plan.sources:
            if fault.file != source and fault.file not in self.includes[source]:
                continue
            directory, command = self.commands[source]
            made = os.path.join(folder, f"{len(objects)}.o")
            words = self._without_output(command)
            original = os.path.join(self.build.tree, source)
            words = [planted if word == original and source == fault.file else word
                     for word in words]
            words[1:1] = ["-I", folder]
            if subprocess.run([*words, "-c", "-o", made], cwd=directory, check=False,
                              stderr=subprocess.DEVNULL).returncode != 0:
                return None
            objects.append(made)
        return objects

    def _laid_out(self, fault, folder):
        """Whether the test of the records' layouts, which only has to compile, takes it."""
        if fault.file in self.plan.sources or \
                not os.path.exists(os.path.join(self.build.tree, LAYOUTS)):
            return True
        command = ["clang++", "-std=c++20", "-w", "-fsyntax-only", "-include",
                   "tests/mutants/planted.h", "-I", folder, "-I", ".", "-I", "include", LAYOUTS]
        return subprocess.run(command, cwd=self.build.tree, stderr=subprocess.DEVNULL,
                              check=False).returncode == 0

    def _link(self, objects, program):
        words = list(self.link)
        words[words.index("-o") + 1] = program
        # In the place of the library's members: what is defined is not looked for there.
        words[1:1] = objects
        subprocess.run(words, cwd=self.build.folder, check=True)

    def _tests(self, fault):
        files = {fault.file}
        if fault.file not in self.plan.sources:
            files |= {source for source in self.plan.sources
                      if fault.file in self.includes[source]}
        return list({test.number: test for file in files
                     for test in self.tests_of.get(file, [])}.values())

    def outcome(self, fault):
        folder = tempfile.mkdtemp(dir=self.scratch)
        try:
            objects = self._objects(fault, folder)
            if objects is None:
                return Outcome("compiler")
            if not self._laid_out(fault, folder):
                return Outcome("failed", LAYOUTS)
            program = os.path.join(folder, TARGET)
            self._link(objects, program)
            tests = self._tests(fault)
            if not tests:
                return Outcome("unreached")
            with Server(program, folder) as server:
                return tried(server, 0, tests)
        finally:
            shutil.rmtree(folder, ignore_errors=True)

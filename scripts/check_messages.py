#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Holds docs/messages.md against the sources: every text that the system and the platform
log has its row there, with its level, and every row is a text that somebody logs.

A text is the format of a call of the log (CALLS below), with its literals joined. Where the
format is a constant or a parameter, all that it can stand for in its file are meant; a format
that cannot be followed to its literals is a fault of its own.

    check_messages.py           checks this tree
    check_messages.py --prove   plants one fault of each kind in a copy of the sources and of
                                the page, and fails unless each is found
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = "docs/messages.md"
ROOMS = ["base", "config", "storage", "core", "service", "control", "platform"]
HEADER = "| level | text | meaning | what to do |"

# Calls that log, which argument is the format, and what the level is: a name, or the
# argument that has it.
KERNEL_LEVELS = {"emerg": "emerg", "alert": "alert", "crit": "crit", "err": "err",
                 "warn": "warning", "warning": "warning", "notice": "notice", "info": "info",
                 "debug": "debug", "dbg": "debug"}
KERNEL_CALL = rf"(?:pr|dev)_(?:{'|'.join(KERNEL_LEVELS)})(?:_ratelimited|_once)?"
CALLS = re.compile(rf"\b(mac_log_\w+|drv_log_record|printk|violation|{KERNEL_CALL})\s*\(")

STRING = r'"(?:\\.|[^"\\\n])*"'
STRINGS = rf"{STRING}(?:\s*{STRING})*"
COMMENT = re.compile(rf"//[^\n]*|/\*.*?\*/|{STRING}|'(?:\\.|[^'\\\n])'", re.S)
TOKEN = re.compile(rf"{STRING}|'(?:\\.|[^'\\\n])'|[()\[\]{{}},]")
NAME = re.compile(r"(?:\w+::)*(\w+)")
ROW = re.compile(r"\| ([a-z]+(?:, [a-z]+)*) \| `([^`]+)` \| \S.* \| \S.* \|")


class Fault(Exception):
    pass


class Source:
    """One file: its text without comments, every character at its place."""

    def __init__(self, path, text):
        self.path = path
        self.text = COMMENT.sub(self.blanked, text)

    @staticmethod
    def blanked(match):
        found = match[0]
        return found if found[0] in "\"'" else re.sub(r"[^\n]", " ", found)

    def place(self, at):
        return f"{self.path}:{self.text.count(chr(10), 0, at) + 1}"

    def arguments(self, at):
        """The arguments behind the bracket at `at`, each with its place, and the end."""
        found, begin, depth = [], at + 1, 0
        for token in TOKEN.finditer(self.text, at):
            if token[0] in "([{":
                depth += 1
            elif token[0] in ")]}":
                depth -= 1
            if depth == 0 or (depth == 1 and token[0] == ","):
                raw = self.text[begin:token.start()]
                found.append((raw.strip(), begin + len(raw) - len(raw.lstrip())))
                begin = token.end()
            if depth == 0:
                return found, token.end()
        raise Fault(f"{self.place(at)}: a bracket is not closed")

    def is_declaration(self, at):
        """Whether the name at `at` is declared or defined there, and not called."""
        before = re.search(r"(\w+)\s*[*&]?\s*$", self.text[max(0, at - 40):at])
        return before is not None and before[1] not in {"return", "else", "do"}


def text_of(source, literals, at):
    """What literals say, as the page shows it: bytes above 0x7f escaped, no line end."""
    text = "".join(literal[1:-1] for literal in re.findall(STRING, literals))
    text = text.removesuffix("\\n").replace('\\"', '"')
    if re.search(r"\\(?!x[89a-f][0-9a-f])", text):
        raise Fault(f"{source.place(at)}: the page cannot show \"{text}\"")
    return text


def constants(source, name):
    for match in re.finditer(rf"\b{name}\[\]\s*=\s*({STRINGS});", source.text):
        yield text_of(source, match[1], match.start(1)), match.start(1)


def passed_on(source, name, at):
    """The arguments of all calls of the function around `at` in the place of a parameter."""
    for match in reversed(list(re.finditer(r"\b(\w+)\s*\(", source.text[:at]))):
        parameters, end = source.arguments(match.end() - 1)
        body = re.match(r"\s*(?:const\s*)?\{", source.text[end:end + 80])
        if not body or match[1] in {"if", "for", "while", "switch"}:
            continue
        for index, (parameter, _) in enumerate(parameters):
            if re.search(rf"\b{name}(?:\)\[\w+\])?$", parameter):
                return calls_of(source, match[1], index)
        break
    return []


def calls_of(source, function, index):
    for match in re.finditer(rf"\b{function}\s*\(", source.text):
        if not source.is_declaration(match.start()):
            yield source.arguments(match.end() - 1)[0][index]


def texts_of(source, argument, at):
    """All texts that a format argument stands for, each with its place."""
    if re.fullmatch(STRINGS, argument):
        return [(text_of(source, argument, at), at)]
    found = []
    name = NAME.fullmatch(argument)
    if name:
        found = list(constants(source, name[1]))
        for passed, place in [] if found else passed_on(source, name[1], at):
            found += texts_of(source, passed, place)
    if not found:
        raise Fault(f"{source.place(at)}: no text can be found for the format {argument}")
    return found


def texts_of_call(source, call, arguments):
    """(level, text, place) of one call of the log."""
    if call == "printk":
        for match in re.finditer(rf"\bKERN_(\w+)\s+({STRINGS})", arguments[0][0]):
            at = arguments[0][1] + match.start(2)
            yield match[1].lower(), text_of(source, match[2], at), at
        return
    if call == "drv_log_record":
        level, index = arguments[1][0].removeprefix("PLATFORM_LOG_").lower(), 3
    elif call == "violation":
        level, index = "abort", 0
    elif call.startswith("mac_log_"):
        level, index = call.removeprefix("mac_log_"), 0
    else:
        level, index = KERNEL_LEVELS[call.split("_")[1]], int(call.startswith("dev_"))
    for text, at in texts_of(source, *arguments[index]):
        yield level, text, at


def logged_by(source):
    if source.path == "base/log.h":
        return  # the macros themselves
    for match in CALLS.finditer(source.text):
        if source.is_declaration(match.start()):
            continue
        arguments, _ = source.arguments(match.end() - 1)
        yield from texts_of_call(source, match[1], arguments)


def read_sources(files):
    """Text -> level -> the first place that logs it so; and the faults."""
    logged, faults = {}, []
    for path, content in files.items():
        if path == PAGE:
            continue
        source = Source(path, content)
        try:
            for level, text, at in logged_by(source):
                logged.setdefault(text, {}).setdefault(level, source.place(at))
        except Fault as fault:
            faults.append(str(fault))
    return logged, faults


def read_page(page):
    """Text -> its levels and its place; and the faults of the tables."""
    rows, faults, in_table = {}, [], False
    for number, line in enumerate(page.split("\n"), 1):
        if not line.startswith("|") or line == HEADER:
            in_table = line == HEADER
            continue
        if not in_table or re.fullmatch(r"[|-]+", line):
            continue
        row = ROW.fullmatch(line)
        if not row:
            faults.append(f"{PAGE}:{number}: not level, text, meaning and what to do: {line}")
        elif row[2] in rows:
            faults.append(f"{PAGE}:{number}: stands twice: \"{row[2]}\"")
        else:
            rows[row[2]] = (set(row[1].split(", ")), f"{PAGE}:{number}")
    return rows, faults


def problems_of(files):
    logged, problems = read_sources(files)
    rows, faults = read_page(files[PAGE])
    problems += faults
    for text, levels in logged.items():
        for level, place in levels.items():
            if text not in rows:
                problems.append(f"{place}: {PAGE} lacks this {level}: \"{text}\"")
            elif level not in rows[text][0]:
                problems.append(f"{place}: a line of level {level}, but not at {rows[text][1]}: "
                                f"\"{text}\"")
    for text, (levels, place) in rows.items():
        if text not in logged:
            problems.append(f"{place}: no source logs \"{text}\"")
        elif levels - set(logged[text]):
            wrong = ", ".join(sorted(levels - set(logged[text])))
            problems.append(f"{place}: no source logs this with level {wrong}: \"{text}\"")
    return problems


def read_files():
    files = {PAGE: (ROOT / PAGE).read_text(encoding="utf-8")}
    for room in ROOMS:
        for path in sorted((ROOT / room).rglob("*")):
            if path.suffix in {".h", ".c", ".cc"}:
                files[str(path.relative_to(ROOT))] = path.read_text(encoding="utf-8")
    return files


# A file, what is replaced in it (nothing: the end of the file), by what, and what has to be
# said about it.
READ_ONLY_ROW = r"\| err \| `%s is read-only: nothing is written` .*\n"
PLANTED = [
    ("core/mac_data.cc", None, 'void f() { mac_log_error("planted %d", 1); }',
     r'core/mac_data\.cc:\d+: .* lacks this error: "planted %d"'),
    ("platform/linux/services/flash.c", None,
     'void f(void) { dev_warn(services_device(), "planted %u "\n"here\\n", 1); }',
     r'flash\.c:\d+: .* lacks this warning: "planted %u here"'),
    ("storage/media/mac_chip.cc", None,
     "u32 f() { return noted(\"planted 0x%x\", 1, 1, 1, 1, 1); }",
     r'mac_chip\.cc:\d+: .* lacks this notice: "planted 0x%x"'),
    ("control/mac_module.cc", None, "void f() { mac_log_error(g_texts[1], 1); }",
     r"mac_module\.cc:\d+: no text can be found for the format g_texts\[1\]"),
    ("core/mac_area.cc", r"mac area name fail", "mac area name failed",
     r'mac_area\.cc:\d+: .* lacks this error: "mac area config\\xa3\\xbamac area name failed'),
    ("core/mac_data_io.cc", r'data_set uninstall"', 'data_set missing"',
     r'messages\.md:\d+: no source logs ".* data_set uninstall"'),
    ("service/mac_func.cc", r'mac_log_error(\("mac build name done)', r"mac_log_notice\1",
     r'mac_func\.cc:\d+: a line of level notice, but not at .*: "mac build name done fail"'),
    (PAGE, READ_ONLY_ROW, "", r'flash\.c:\d+: .* lacks this err: "%s is read-only: '),
    (PAGE, r"\| err (\| `%s is read-only)", r"| info \1",
     r'messages\.md:\d+: no source logs this with level info: "%s is read-only: '),
    (PAGE, r"`%s is read-only:", r"`%s is read only:",
     r'messages\.md:\d+: no source logs "%s is read only: '),
    (PAGE, f"({READ_ONLY_ROW})", r"\1\1", r'messages\.md:\d+: stands twice: "%s is read-only: '),
    (PAGE, f"({READ_ONLY_ROW})", r"| err | `planted` |  | nothing |\n\1",
     r"messages\.md:\d+: not level, text, meaning and what to do: "),
]


def prove(files):
    for path, old, new, wanted in PLANTED:
        text = files[path]
        changed = f"{text}\n{new}\n" if old is None else re.sub(old, new, text, count=1)
        found = problems_of({**files, path: changed})
        if changed == text or not any(re.search(wanted, problem) for problem in found):
            print(f"messages: {new or 'a removed row'} in {path} was not found", file=sys.stderr)
            return 1
    print(f"messages: {len(PLANTED)} planted faults found")
    return 0


def main():
    files = read_files()
    problems = problems_of(files)
    rows, _ = read_page(files[PAGE])
    if problems or not rows:
        print("\n".join(problems) or f"{PAGE} has no rows")
        return 1
    print(f"messages: {len(rows)} texts in order")
    return prove(files) if sys.argv[1:] == ["--prove"] else 0


sys.exit(main())

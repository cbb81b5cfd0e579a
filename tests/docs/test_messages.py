#!/usr/bin/env python3
"""Every text that the program can print is explained in the manual, by its exact wording."""

import os
import re
import subprocess
import unittest
from pathlib import Path

SOURCES = Path(os.environ["ZTMAKE_TEST_SOURCES"])
MANUALS = Path(os.environ["ZTMAKE_TEST_BUILD"]) / "docs"

LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')

# Texts with a blank in them that are no messages.
OTHERS = {
    "%1: %2",                                      # the path before a message
    r"[%s] %s\n",                                  # the program's name before a message
    " [Installer]", r"tr._translation_base_dir = \"", "Application terminated unexpectedly.",
    "(in %1) ", " ...",                            # parts of the echo
    "0 EOF",                                       # the range of a lock, as the system writes it
    "<!DOCTYPE TSREPORT>", ") ", r"tt=%s name=\"%s\" text=\"%s\"",
}

# What is said between the entries.
REMARKS = {
    "These texts are in the program, but no project file makes it show them.",
    "The others say what is wrong in a file of the first generation, but only "
    "This is not a ZeltaManager project file. is shown.",
}


def literals():
    """The string literals of the program that have a blank in them."""
    found = set()
    for file in (SOURCES / "src").rglob("*"):
        if file.suffix not in (".cpp", ".h") or file.parent.name == "companion":
            continue
        text = re.sub(r'R"lua\(.*?\)lua"', "", file.read_text(), flags=re.DOTALL)
        text = re.sub(r"//.*$", "", text, flags=re.MULTILINE)
        found |= {literal for literal in LITERAL.findall(text) if " " in literal}
    return found


def companion_messages():
    """The messages of the companion program; its findings are documented by their names."""
    found = set()
    for file in (SOURCES / "src/companion").glob("*.cpp"):
        text = re.sub(r'"\s*\n\s*u?"', "", file.read_text())  # what is written in pieces
        found |= set(re.findall(r'(?:printMessage|fail)\([^;]*?u"([^"]+)"', text))
        found |= set(re.findall(r'mistake = u"([^"]+)"', text))
        for body in re.findall(r"^QString mistakeIn.*?^}", text, re.MULTILINE | re.DOTALL):
            found |= set(re.findall(r'return u"([^"]+)"', body))
    # Those before a message of the readers, which has an entry in the other manual.
    return found - {"%1: %2", " "}


def formatted(name):
    """A man page wide enough for a message to stay in one line, without a terminal's markup."""
    result = subprocess.run(
        ["man", "-l", MANUALS / name], check=True, capture_output=True, text=True,
        env={"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "MANWIDTH": "1000",
             "MAN_KEEP_FORMATTING": ""})
    return re.sub(r".\x08|\x1b\[[0-9;]*m", "", result.stdout)


def wording(literal):
    """A regular expression for a message: what is filled in is a word in capitals."""
    text = literal.replace(r"\"", '"').replace("%s]", "ztmake]").removeprefix(r"\n")
    if text.startswith("Usage: "):
        text = text.replace("%s", "ztmake")
    text = text.removesuffix(r"\n").split(r":\n")[0]  # a second line has a message of its own
    if text == "Cannot remove %s":
        return re.escape(text)  # printed as it is
    if text.endswith(" ") or text.endswith(": "):
        text += "%1"
    pieces = re.split(r"%\d|%[su]", text)
    return "[A-Z]+".join(re.escape(piece) for piece in pieces)


class Messages(unittest.TestCase):
    """The section DIAGNOSTICS"""

    @classmethod
    def setUpClass(cls):
        cls.text = formatted("ztmake.1")
        section = cls.text.split("\n   The command line\n")[1].split("\n   Behind the scenes\n")
        hidden = section[1].split("\nSECURITY\n")[0]
        cls.lines = [line for line in (section[0] + "\n" + hidden).splitlines() if line.strip()]
        cls.entries = [line.strip() for line in cls.lines
                       if re.match(r"       \S", line) and line.strip() not in REMARKS]

    def test_every_message_has_an_entry(self):
        messages = literals() - OTHERS
        self.assertGreater(len(messages), 40)
        for message in sorted(messages):
            with self.subTest(message):
                self.assertTrue(any(re.fullmatch(rf"(FILE: )?{wording(message)}:?", entry)
                                    for entry in self.entries), wording(message))

    def test_exceptions_are_in_the_program(self):
        self.assertEqual(OTHERS - literals(), set())

    def test_every_entry_is_explained(self):
        for entry, explanation in zip(self.lines, [*self.lines[1:], ""]):
            if entry.startswith("   ") and entry.strip() in self.entries:
                with self.subTest(entry):
                    self.assertRegex(explanation, r"^ {14}\S.{10}")

    def test_all_options_are_explained(self):
        source = (SOURCES / "src/app/options.cpp").read_text()
        options = self.text.split("\nOPTIONS\n")[1].split("\nWHAT IS")[0]
        heads = set(re.findall(r"-[-\w?]+", " ".join(
            line for line in options.splitlines() if re.match(r"       -", line))))
        names = re.findall(r'\{"(\w+)", no_argument, nullptr, (\'.\')?', source)
        self.assertEqual(heads, {f"--{name}" for name, _ in names}
                         | {f"-{code[1]}" for _, code in names if code})


class CompanionMessages(unittest.TestCase):
    """ztproject.1"""

    @classmethod
    def setUpClass(cls):
        cls.text = formatted("ztproject.1")

    def test_every_message_has_an_entry(self):
        section = self.text.split("\nDIAGNOSTICS\n")[1].split("\nEXAMPLES\n")[0]
        entries = re.findall(r"^ {7}(\S.*)$", section, re.MULTILINE)
        messages = companion_messages()
        self.assertGreater(len(messages), 12)
        for message in messages:
            with self.subTest(message):
                self.assertTrue(any(re.fullmatch(wording(message), entry) for entry in entries))
        for entry in entries[2:]:  # behind the introduction
            with self.subTest(entry):
                self.assertTrue(any(re.fullmatch(wording(message), entry) for message in messages))

    def test_all_options_are_explained(self):
        source = (SOURCES / "src/companion/commandline.cpp").read_text()
        commands = self.text.split("\nCOMMANDS\n")[1].split("\nCHECKS\n")[0]
        heads = re.findall(r"^ {7}(--\w+)", commands, re.MULTILINE)
        self.assertEqual(set(heads),
                         {f"--{name}" for name in re.findall(r'add(?:Flag|Option)\("(\w+)"', source)})


class Checks(unittest.TestCase):
    """The names of the checks."""

    def test_all_are_documented_and_tested(self):
        names = set()
        for file in (SOURCES / "src/companion").glob("*check*.cpp"):
            text = file.read_text()
            names |= set(re.findall(r'(?<![\wu])"([a-z]+(?:-[a-z]+)*)"(?!_)', text))
            names |= set(re.findall(r'\.check = u"([\w-]+)"', text))
        manual = (SOURCES / "docs/ztproject.1.md").read_text()
        documented = set(re.findall(r"^`\[([\w-]+)\]`", manual, re.MULTILINE))
        self.assertGreater(len(names), 20)
        self.assertEqual(names, documented)
        tests = "".join(file.read_text()
                        for file in (SOURCES / "tests/companion").glob("test_check*.py"))
        for name in names:
            self.assertIn(f'"{name}"', tests)


if __name__ == "__main__":
    unittest.main()

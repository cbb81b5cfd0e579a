#!/usr/bin/env python3
"""The man page is well-formed, and has the program's version."""

import os
import re
import subprocess
import unittest
from pathlib import Path

SOURCES = Path(os.environ["ZTMAKE_TEST_SOURCES"])
MANUALS = Path(os.environ["ZTMAKE_TEST_BUILD"]) / "docs"
VERSION = os.environ["ZTMAKE_TEST_VERSION"]


def man(*options, name="ztmake.1", width=80):
    """A formatted page and what man has to say about it."""
    return subprocess.run(["man", *options, "-l", MANUALS / name], capture_output=True, text=True,
                          env={"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8",
                               "MANWIDTH": str(width)})


class Manual(unittest.TestCase):
    """ztmake.1 and ztproject.1"""

    def test_there_are_no_warnings(self):
        for name in "ztmake.1", "ztproject.1":
            result = man("--warnings=w,all", "-Tutf8", name=name)
            self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_sections_of_the_companion(self):
        sections = re.findall(r"^[A-Z][A-Z ]+$", man(name="ztproject.1").stdout, re.MULTILINE)
        self.assertEqual(sections, [
            "NAME", "SYNOPSIS", "DESCRIPTION", "COMMANDS", "CHECKS", "FILES", "ENVIRONMENT",
            "EXIT STATUS", "DIAGNOSTICS", "EXAMPLES", "SEE ALSO"])

    def test_sections_are_the_usual_ones_in_their_order(self):
        sections = re.findall(r"^[A-Z][A-Z ]+$", man().stdout, re.MULTILINE)
        self.assertEqual(sections, [
            "NAME", "SYNOPSIS", "DESCRIPTION", "TRAPS", "THE WORKING DIRECTORY", "OPTIONS",
            "WHAT IS BUILT AGAIN", "FILES", "ENVIRONMENT", "EXIT STATUS", "DIAGNOSTICS", "SECURITY",
            "BUGS", "EXAMPLES", "SEE ALSO"])

    def test_traps_are_the_warnings_of_the_companion(self):
        checks = (SOURCES / "docs/ztproject.1.md").read_text().split("\n# CHECKS\n")[1]
        warnings = checks.split("\nThese are errors")[0]
        traps = (SOURCES / "docs/ztmake.1.md").read_text().split("\n# TRAPS\n")[1]
        self.assertEqual(set(re.findall(r"`\[([\w-]+)\]`", traps.split("\n# ")[0])),
                         set(re.findall(r"^`\[([\w-]+)\]`", warnings, re.MULTILINE)))

    def test_version_is_the_one_of_the_build(self):
        self.assertRegex(man().stdout.rstrip().splitlines()[-1],
                         rf"^ztmake {re.escape(VERSION)} +ZTMAKE\(1\)$")
        changes = (SOURCES / "CHANGELOG.md").read_text()
        self.assertEqual(re.search(r"^## (\S+), \d{4}-\d\d-\d\d$", changes, re.MULTILINE)[1], VERSION)

    def test_dashes_can_be_copied_and_searched(self):
        self.assertIn("xmllint --noout --schema /usr/share/xml/ztmake", man(width=200).stdout)
        self.assertNotRegex(man(width=200).stdout, "[‐−–]")


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""Runs every command of the cookbook, and compares what it prints."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

SDK = Path(os.environ["ZTMAKE_TEST_SDK"])
SOURCES = Path(os.environ["ZTMAKE_TEST_SOURCES"])

BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)

# What a failing command prints; a grep that counts nothing is one, too.
FAILURE = re.compile(r"exited with status|fails to validate|Cannot find|: error: |\A0\n\Z")

# The state of the shell that goes from one command to the next.
WRAPPER = """\
trap 'cd_="$PWD"; {{ declare -px; printf "cd %q\\n" "$cd_"; }} > {state}' EXIT
source {state}
{command}"""


def recipes():
    """The recipes by their titles."""
    text = (SOURCES / "docs/cookbook.md").read_text(encoding="utf-8")
    parts = re.split(r"^## (.*)$", text, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


def commands(block):
    """The commands of a console block, each with what it prints."""
    found = []
    for line in block.splitlines():
        if line.startswith("$ "):
            found.append([line[2:], ""])
        elif line == ">" or line.startswith("> "):
            found[-1][0] += "\n" + line[2:]
        else:
            found[-1][1] += line + "\n"
    return found


def pattern(output):
    """A regular expression for an output in which an ellipsis stands for anything."""
    lines = []
    for line in output.splitlines(keepends=True):
        if line == "…\n":
            lines.append("(?:.*\n)*")
        else:
            lines.append("[^\n]*".join(re.escape(piece) for piece in line.split("…")))
    return re.compile("".join(lines))


class Cookbook(unittest.TestCase):
    """docs/cookbook.md"""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        store = tempfile.TemporaryDirectory(prefix="ztmaketest")
        cls.addClassCleanup(store.cleanup)
        cls.store = Path(store.name)
        generated = shutil.ignore_patterns("obj", "firmware", "mtd16.*")
        for project in "thermostat", "hello-2009":
            shutil.copytree(SOURCES / "examples" / project, cls.store / project, ignore=generated)
        subprocess.run([SDK / "bin/ztmake", "-q"], cwd=cls.store / "thermostat", check=True,
                       stdin=subprocess.DEVNULL, capture_output=True,
                       env={"PATH": os.environ["PATH"], "ZELTASDK": str(SDK.parent)})

    def start(self):
        """Copies what a recipe begins with."""
        temporary = tempfile.TemporaryDirectory(prefix="ztmaketest")
        self.addCleanup(temporary.cleanup)
        self.top = Path(temporary.name)
        shutil.copytree(self.store, self.top / "projects")
        (self.top / "home").mkdir()
        (self.top / "state").write_text(f"cd {self.top}/projects/thermostat\n")
        self.environment = {
            "PATH": f"{SDK}/bin:{os.environ['PATH']}", "LC_ALL": "C.UTF-8",
            "HOME": str(self.top / "home"), "ZELTASDK": str(SDK.parent),
            "PYTHONDONTWRITEBYTECODE": "1", "SCHEMAS": str(SOURCES / "schema"),
            "RECIPES": str(SOURCES / "docs/ci")}

    def run_shell(self, command):
        """Runs a command where the last one has left off."""
        script = WRAPPER.format(state=self.top / "state", command=command)
        return subprocess.run(["bash", "-c", script], env=self.environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True)

    def check(self, command, output):
        """Runs a command, which must print what the text says."""
        result = self.run_shell(command)
        if not pattern(output).fullmatch(result.stdout):
            self.assertEqual(result.stdout, output, command)
        # A command fails when the text shows that it does, and only then.
        fails = FAILURE.search(output) is not None and "||" not in command
        self.assertEqual(result.returncode != 0, fails, f"{command}: {result.returncode}")

    def run_recipe(self, text):
        """Runs the blocks of a recipe in their order."""
        self.start()
        count = 0
        for kind, block in BLOCK.findall(text):
            self.assertIn(kind, ("console", "diff"), "a block that no test looks at")
            if kind == "diff":
                (self.top / "patch").write_text(block)
                result = self.run_shell(f"patch --fuzz=0 -p0 < {self.top}/patch")
                self.assertEqual(result.returncode, 0, result.stdout)
                continue
            for command, output in commands(block):
                self.check(command, output)
                count += 1
        self.assertGreater(count, 0)

    def test_recipes(self):
        self.assertGreater(len(recipes()), 10)
        for title, text in recipes().items():
            with self.subTest(title):
                self.run_recipe(text)


if __name__ == "__main__":
    unittest.main()

"""What the tests of the completions share: a directory to complete in, and the options."""

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

SOURCES = Path(os.environ["ZTMAKE_TEST_SOURCES"])


def options():
    """All options of the program, as its source has them."""
    text = (SOURCES / "src/app/options.cpp").read_text()
    long_options = re.findall(r'\{"(\w+)", no_argument, nullptr, (\'.\'|\w+)\}', text)
    found = {f"--{name}" for name, _ in long_options}
    return found | {f"-{code[1]}" for _, code in long_options if code.startswith("'")}


def program_of(line):
    """The program whose command line it is."""
    return line.split(" ")[0]


def companion_options():
    """The options of each command of the companion program, as its source has them."""
    text = (SOURCES / "src/companion/commandline.cpp").read_text()
    return {command.lower(): {f"--{name}" for name in re.findall(r'add(?:Flag|Option)\("(\w+)"', body)}
            for command, body in re.findall(r"^int run(\w+)\(.*?\n{(.*?)^}", text,
                                            re.MULTILINE | re.DOTALL) if "line.read" in body}


class Completion:
    """The tests that hold for every shell; complete() gives what a shell offers for a line."""

    other_files = []  # offered where there is no project file

    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="ztmaketest")
        self.addCleanup(temporary.cleanup)
        self.dir = Path(temporary.name) / "work"
        self.home = Path(temporary.name) / "home"
        self.home.mkdir()
        for file in ("box.ztp", "my box.ztp", "old.ZTP", "readme.txt", "box.ztn", "ztp",
                     "sub/deep.ztp", "sub/notes.txt"):
            path = self.dir / file
            path.parent.mkdir(parents=True, exist_ok=True)
            path.touch()

    def run_shell(self, *command):
        """Runs a shell, which must not complain, in the directory; gives what it printed."""
        result = subprocess.run(
            command, cwd=self.dir, stdin=subprocess.DEVNULL, capture_output=True, text=True,
            timeout=600, env={"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "TERM": "dumb",
                             "HOME": str(self.home), "XDG_CONFIG_HOME": str(self.home),
                             "XDG_DATA_HOME": str(self.home)})
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)
        return result.stdout

    def test_all_options_are_offered(self):
        self.assertGreater(len(options()), 12)
        self.assertEqual(set(self.complete("ztmake -")), options())

    def test_long_options_are_completed(self):
        self.assertEqual(self.complete("ztmake --cleano"), [])
        self.assertEqual(sorted(self.complete("ztmake --cle")),
                         ["--cleanfirmwarefolder", "--clearobsolete"])
        self.assertEqual(self.complete("ztmake --all --rep"), ["--report"])

    def test_project_files_and_directories_are_offered(self):
        self.assertEqual(sorted(self.complete("ztmake ")),
                         ["box.ztp", "my box.ztp", "old.ZTP", "sub/"])
        self.assertEqual(self.complete("ztmake -v --all my"), ["my box.ztp"])

    def test_project_file_in_a_directory_is_offered(self):
        self.assertEqual(self.complete("ztmake sub/"), ["sub/deep.ztp"])
        self.assertEqual(self.complete("ztmake -q sub/n"), self.other_files)


    def test_commands_of_the_companion_are_offered(self):
        self.assertEqual(set(self.complete("ztproject ")) - {"--help", "--version"},
                         set(companion_options()))

    def test_options_of_the_companion_are_offered(self):
        self.assertEqual(sum(len(names) for names in companion_options().values()), 10)
        for command, names in companion_options().items():
            with self.subTest(command):
                self.assertEqual(set(self.complete(f"ztproject {command} --")), names | {"--help"})

    def test_arguments_of_the_companion_are_offered(self):
        self.assertEqual(sorted(self.complete("ztproject check ")),
                         ["box.ztp", "my box.ztp", "old.ZTP", "sub/"])
        self.assertEqual(self.complete("ztproject why --all sub/"), ["sub/deep.ztp"])
        self.assertEqual(self.complete("ztproject init "), [])
        self.assertEqual(sorted(self.complete("ztproject check --format ")), ["json", "text"])


class ShellTest(Completion, unittest.TestCase):
    """Base of a shell's test case."""

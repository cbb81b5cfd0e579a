#!/usr/bin/env python3
"""docs/editors.md: the settings are right, and find what the tools say."""

import json
import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(os.environ["ZTMAKE_TEST_SOURCES"]) / "tests/examples"))
from world import SDK, ProjectWorld  # noqa: E402

SOURCES = Path(os.environ["ZTMAKE_TEST_SOURCES"])
TEXT = (SOURCES / "docs/editors.md").read_text(encoding="utf-8")
MODULE = "root/usr/lib/lua/thermostat/control/schedule.lua"


def blocks(kind):
    return re.findall(rf"^```{kind}\n(.*?)^```$", TEXT, re.MULTILINE | re.DOTALL)


class Editors(ProjectWorld):
    """A mistake in the sample project, as an editor finds it."""

    project = "thermostat"

    def task(self, label):
        """The matchers of a task, and what the task prints."""
        tasks = next(json.loads(block) for block in blocks("json") if '"tasks"' in block)["tasks"]
        task = next(task for task in tasks if task["label"] == label)
        matchers = task["problemMatcher"]
        matchers = matchers if isinstance(matchers, list) else [matchers]
        program, *arguments = task["command"].split()
        result = self.run_command(SDK / "bin" / program, *arguments)
        return [matcher["pattern"] for matcher in matchers], result.stderr + result.stdout

    def problems(self, patterns, output):
        """What the matchers find."""
        found = []
        for line in output.splitlines():
            for pattern in patterns:
                match = re.search(pattern["regexp"], line)
                if match:
                    found.append({key: match[number] for key, number in pattern.items()
                                  if key != "regexp"})
                    break
        return found

    def test_all_settings_are_json(self):
        self.assertEqual(len([json.loads(block) for block in blocks("json")]), 3)

    def test_syntax_error_is_found_by_the_build_task(self):
        self.write(MODULE, self.read(MODULE) + "local limit = = 1\n")
        problems = self.problems(*self.task("build"))
        self.assertEqual([(problem["file"], problem["line"]) for problem in problems],
                         [(MODULE, "24")])

    def test_error_that_names_an_object_is_found(self):
        patterns, _ = self.task("build")
        for line in ("obj/root/usr/bin/box.lui:7: '=' expected near 'x'",
                     "ztluac: obj/root/usr/bin/box.lui:7: '=' expected near 'x'"):
            self.assertEqual(self.problems(patterns, line),
                             [{"file": "obj/root/usr/bin/box.lui", "line": "7",
                               "message": "'=' expected near 'x'"}])

    def test_good_build_has_no_problems(self):
        self.assertEqual(self.problems(*self.task("build")), [])

    def break_project_file(self):
        text = self.read("thermostat.ztp")
        self.write("thermostat.ztp", text.replace(" Version=", " Verison="))
        return next(str(number) for number, line in enumerate(text.splitlines(), 1)
                    if " Version=" in line)

    def test_finding_is_found_by_the_check_task(self):
        line = self.break_project_file()
        problem, = self.problems(*self.task("check"))
        self.assertEqual((problem["file"], problem["line"], problem["severity"]),
                         ("thermostat.ztp", line, "warning"))

    @unittest.skipUnless(shutil.which("vim"), "vim is not there")
    def test_finding_gets_into_the_list_of_vim(self):
        line = self.break_project_file()
        block, = blocks("vim")
        self.write("settings.vim", block)
        subprocess.run(
            ["vim", "-u", "NONE", "-es", "-c", "source settings.vim", "-c", "edit thermostat.ztp",
             "-c", "source settings.vim", "-c", "silent make", "-c",
             "call writefile(map(getqflist(), 'bufname(v:val.bufnr) . \":\" . v:val.lnum . \":\" . "
             "v:val.type'), 'found')", "-c", "qall!"],
            cwd=self.dir, env={**self.environment(), "PATH": f"{SDK}/bin:{os.environ['PATH']}",
                               "TERM": "dumb"}, stdin=subprocess.DEVNULL, capture_output=True,
            timeout=600, check=False)
        self.assertEqual(self.read("found").splitlines(),
                         [f"thermostat.ztp:{line}:w", f"thermostat.ztp:{line}:n"])

    def test_text_that_is_no_literal_is_found_where_the_scan_runs(self):
        text = self.read(MODULE).replace("\nreturn schedule", "\nlocal text = tr(name)\nreturn schedule")
        self.write(MODULE, text)
        problems = self.problems(*self.task("build"))
        self.assertEqual([(problem["file"], problem["line"]) for problem in problems],
                         [("../" + MODULE, "23")])
        self.assertTrue((self.dir / "translations" / problems[0]["file"]).exists())


if __name__ == "__main__":
    unittest.main()

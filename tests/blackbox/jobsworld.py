"""The world of tests of several tools at a time."""

import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

TOOLS = ("ztlpp", "ztluac", "ztmkmtd", "ztlupdate", "lrelease", "ztmkromfs", "ztlink")
SECONDS_TO_GIVE_UP = 300

# Writes every output that an option names, and what a test adds.
TOOL = """#!/bin/sh
tool=${0##*/}
output=
previous=
for argument; do
    case $previous in -o|--out|--output|-qm) output=$argument;; esac
    previous=$argument
done
%s
[ -z "$output" ] || echo "$tool" >"$output"
"""

# Comes back when the calls for both names have come this far.
MEETING = """case $output in %s) : >met.%s; while ! [ -e met.%s ]; do sleep 0.01; done;; esac
"""


def meeting(first, second):
    """Two tools that end only when they run at the same time."""
    return MEETING % (f"*{first}*", "1", "2") + MEETING % (f"*{second}*", "2", "1")


class JobsWorld(unittest.TestCase):
    program = None

    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="ztmake-jobs-")
        self.addCleanup(shutil.rmtree, self.root)
        os.makedirs(self.path("sdk/bin"))
        os.makedirs(self.path("sdk/kernel"))
        os.makedirs(self.path("p/firmware"))
        shutil.copy(self.program, self.path("sdk/bin/ztmake"))
        self.tools()

    def path(self, name):
        return os.path.join(self.root, name)

    def write(self, name, text=""):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)

    def tools(self, **additions):
        for tool in TOOLS:
            name = self.path(f"sdk/bin/{tool}")
            with open(name, "w", encoding="utf-8") as file:
                file.write(TOOL % additions.get(tool, ""))
            os.chmod(name, 0o755)

    def project(self, merges, more="", targets="A"):
        self.write("p/box.ztp", '<ZeltaProject xmlns="http://zelta.example/Zelta/Project/2009/42">'
                   '<Project Name="Box" SDK="../sdk">'
                   + "".join(f'<Target Model="{target}"/>' for target in targets)
                   + f"<Filesystem>{merges}</Filesystem>{more}</Project></ZeltaProject>")

    def tree(self, *names):
        for name in names:
            self.write(f"p/root/{name}.lua")
        self.project('<Merge Type="Directory"><Source>root</Source></Merge>')

    def start(self, jobs="2", arguments=("-q",), **options):
        environment = {"PATH": "/usr/bin:/bin", "HOME": self.root, "LC_ALL": "C.UTF-8",
                       "TERM": "xterm", "ZTMAKE_JOBS": jobs, "ZTMAKE_SYNC": "0",
                       "GCOV_ERROR_FILE": "/dev/null",
                       "ZTMAKE_MUTANT": os.environ.get("ZTMAKE_MUTANT", "")}  # scripts/mutate
        environment.update(options.pop("environment", {}))
        options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        return subprocess.Popen([self.path("sdk/bin/ztmake"), *arguments, "box.ztp"],
                                cwd=self.path("p"), env=environment, stdin=subprocess.DEVNULL,
                                start_new_session=True, **options)

    def run_build(self, *arguments, **options):
        process = self.start(*arguments, **options)
        out, err = process.communicate(timeout=SECONDS_TO_GIVE_UP)
        return process.returncode, out, err

    def appears(self, *names):
        end = time.monotonic() + SECONDS_TO_GIVE_UP
        while not all(os.path.exists(self.path(name)) for name in names):
            self.assertLess(time.monotonic(), end, f"none of {names}")
            time.sleep(0.01)


def main():
    """Runs the tests of a script, whose first argument is the program."""
    JobsWorld.program = sys.argv.pop(1)
    unittest.main()

#!/usr/bin/env python3
"""Builds with several tools at a time do what builds with one tool at a time do, byte for byte.

  jobs.py --program ZTMAKE --tool HONESTTOOL [--rounds N] [--seed N]

Each round changes a random project, copies it, and builds it with one tool at a time and its copy
with several. The files, the calls as a set, the exit status and all that is printed must be the
same. In a part of the rounds one step fails: then the messages must be the same up to the failed
step and at the end, nothing may be called but what would have been called or was running beside
it, and the next build, of both, must make up for it.
"""

import os
import shutil
import subprocess
import sys

from convergence import SECONDS_TO_GIVE_UP, Failure, World, run_rounds
from randomproject import files, read, write

COUNTS = ("2", "2", "3", "8", "64", "auto")


class JobsWorld(World):
    """A project and its copy."""

    def write_project(self):
        """The project of the other tests, with more targets, folders and single files."""
        super().write_project()
        path = os.path.join(self.live, "box.ztp")
        text = read(path).decode()
        singles = "".join(f'<Merge Type="File"><Source>single{number}.lua</Source>'
                          f'<Destination>usr</Destination></Merge>'
                          for number in range(self.random.randint(0, 4)))
        text = text.replace("</Filesystem>", singles + "</Filesystem>")
        text = text.replace("<Filesystem>", self.random.choice(
            ("<Filesystem>", "<Filesystem>", '<Filesystem Verbose="0">')))
        if self.random.random() < 0.3:
            text = text.replace('<Target Model="A"/>', '<Target Model="A"/>' * 2)
        # Names that differ in their case share their outputs.
        shared = os.path.join(self.live, "root/shared")
        for name in ("one.lua", "one.LUA"):
            if self.random.random() < 0.2:
                write(os.path.join(shared, name), f"edit {self.edits}\n")
        for number in range(4):
            name = os.path.join(self.live, f"single{number}.lua")
            if not os.path.exists(name) or self.random.random() < 0.2:
                write(name, f"single {self.edits}\n")
        write(path, text)

    def round(self):
        for _ in range(self.random.randint(1, 4)):
            self.change()
        outputs = [name for name in files(self.live)
                   if name.startswith("obj/root") and name.endswith((".lui", ".luo"))]
        failing = self.random.choice(outputs) if outputs and self.random.random() < 0.3 else ""
        arguments = self.random.choice((("-q",), (), (), ("-v",), ("-A",)))
        if failing and self.random.random() < 0.5:
            arguments = ("-A",)
        copy = self.path("copy")
        shutil.rmtree(copy, ignore_errors=True)
        subprocess.run(["cp", "-a", self.live, copy], check=True)
        count = self.random.choice(COUNTS)
        together = self.random.random() < 0.5
        talk = str(self.random.random())
        self.log.append(f"build {' '.join(arguments)} with {count}, failing: {failing}")
        one = self.build(self.live, "1", arguments, together, talk, failing)
        several = self.build(copy, count, arguments, together, talk, failing)
        if failing and one[0] != 0:
            self.compare_failures(one, several)
            one = self.build(self.live, "1", arguments, together, talk)
            several = self.build(copy, count, arguments, together, talk)
            if one[0] != several[0]:
                raise Failure(f"after a failure: {one[:2]} and {several[:2]}")
        else:
            self.compare(one, several)
        self.compare_files(copy)

    def build(self, directory, count, arguments, together, talk, failing=""):
        """Status, what is printed, and the calls in their order."""
        self.write_plan([])
        log = os.path.join(self.plan, "log")
        if os.path.exists(log):
            os.remove(log)
        process = subprocess.run(
            [self.path("sdk/bin/ztmake"), *arguments, "box.ztp"], cwd=directory,
            env={**self.environment(), "ZTMAKE_JOBS": count, "ZTTEST_TALK": talk,
                 "ZTTEST_FAILING": failing},
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT if together else subprocess.PIPE, check=False,
            timeout=SECONDS_TO_GIVE_UP)
        calls = read(log).split(b"\n")[:-1] if os.path.exists(log) else []
        return process.returncode, (process.stdout, process.stderr), calls

    def compare(self, one, several):
        if one[:2] != several[:2]:
            raise Failure(f"one: {one[:2]}\nseveral: {several[:2]}\nlast messages: "
                          f"{[self.last_message(build[1]) for build in (one, several)]}")
        if sorted(one[2]) != sorted(several[2]):
            raise Failure(f"calls of one: {one[2]}\nof several: {several[2]}")

    def compare_failures(self, one, several):
        """The order of the failed build with one tool at a time comes first."""
        if several[0] != one[0]:
            raise Failure(f"status {several[0]} after a failure")
        last = [self.last_message(build[1]) for build in (one, several)]
        if last[0] != last[1]:
            raise Failure(f"one ends with {last[0]}, several with {last[1]}")
        missing = set(one[2][-1:]) - set(several[2])
        if missing:
            raise Failure(f"the failed step was not run: {missing}")

    @staticmethod
    def last_message(streams):
        text = next(stream for stream in reversed(streams) if stream is not None)
        return text[text.rfind(b"[ztmake] "):]

    def compare_files(self, copy):
        names = files(self.live)
        if names != files(copy):
            raise Failure(f"files differ: {sorted(set(names) ^ set(files(copy)))}")
        for name in names:
            if read(os.path.join(self.live, name)) != read(os.path.join(copy, name)):
                raise Failure(f"{name} differs")


if __name__ == "__main__":
    sys.exit(run_rounds(JobsWorld, __doc__))

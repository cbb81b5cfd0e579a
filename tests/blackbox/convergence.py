#!/usr/bin/env python3
"""After any interruption at any moment a plain build gives byte for byte what a build from nothing
gives: tried with random small projects.

  convergence.py --program ZTMAKE --tool HONESTTOOL [--faults LIBRARY] [--rounds N] [--seed N]

Each round edits, touches and deletes at random, runs builds that are interrupted at random (a signal
to the program, to the process group, to the tool alone, SIGKILL to all; tools that die of it, catch
it, ignore it or clean up; files edited while a tool runs; a tool that fails; with the library of
tst_faults also SIGKILL to the program at any of its system calls), and then runs one plain build.
Its object directory, firmware and MTD16 outputs must be those of a build from nothing in a copy of
the sources. Outputs of sources that have been deleted are never cleaned and may remain; nothing else
may.

Time stamps cannot tell an edit from the write of an output before it in the same tick of the file
system's clock. So no edit begins before that clock has passed the millisecond of everything written
so far: here see distinct_time(), in the tools see honesttool.cpp.

Some of the builds run several tools at a time. In these a tool edits nothing but its own input.

When a round fails, it prints the seed with which this round's project fails again, and keeps the
directory.
"""

import argparse
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from randomproject import GENERATED, RandomProject, files, read, write

TOOLS = ("ztlpp", "ztluac", "ztmkmtd", "ztlupdate", "lrelease", "ztmkromfs", "ztlink")
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
ROUNDS_A_PROJECT = 10
SECONDS_TO_GIVE_UP = 600


class Failure(Exception):
    """What did not converge."""


class World(RandomProject):
    """A project that lives for some rounds."""

    def __init__(self, options, seed):
        super().__init__(random.Random(seed), tempfile.mkdtemp(prefix="ztmake-convergence-"))
        self.options = options
        self.plan = self.path("plan")
        self.duration = 0.05
        self.calls = 20
        self.system_calls = 100
        self.ever = set()
        self.jobs = ""
        for directory in ("plan", "sdk/bin", "home", "path"):
            os.makedirs(self.path(directory))
        try:
            os.link(options.program, self.path("sdk/bin/ztmake"))
        except OSError:  # another device
            shutil.copy(options.program, self.path("sdk/bin/ztmake"))
        for tool in TOOLS:
            shutil.copy(options.tool, self.path("sdk/bin/" + tool))
        shutil.copy(options.tool, self.path("path/svnversion"))
        for kernel in ("A", "B"):
            write(self.path(f"sdk/kernel/{kernel}-kernel.bin"), f"kernel {kernel}\n")
        write(self.path("sdk/kernel/install.romfs"), "installer\n")
        write(self.path("sdk/kernel/base.romfs"), "base\n")

    def environment(self, extra=()):
        return {"PATH": self.path("path") + ":/usr/bin:/bin", "LC_ALL": "C.UTF-8",
                "HOME": self.path("home"), "ZTTEST_PLAN": self.plan,
                "GCOV_ERROR_FILE": "/dev/null",
                "ZTMAKE_JOBS": self.jobs,
                "ZTMAKE_MUTANT": os.environ.get("ZTMAKE_MUTANT", ""),  # scripts/mutate
                "ZTMAKE_SYNC": "0",  # the disk is powerloss.py's subject
                **dict(extra)}

    def write_plan(self, lines):
        write(os.path.join(self.plan, "plan"), "".join(line + "\n" for line in lines))
        calls = os.path.join(self.plan, "calls")
        if os.path.exists(calls):
            os.remove(calls)

    def calls_made(self):
        calls = os.path.join(self.plan, "calls")
        return os.stat(calls).st_size if os.path.exists(calls) else 0

    def start(self, directory, arguments=("-q",), extra=()):
        # In a session of its own: signals to the group reach the program and its tools alone.
        # All of them inherit a pipe, which ends with the last one, orphans included.
        end, inherited = os.pipe()
        process = subprocess.Popen([self.path("sdk/bin/ztmake"), *arguments, "box.ztp"],
                                   cwd=directory, env=self.environment(extra),
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, start_new_session=True,
                                   pass_fds=(inherited,))
        os.close(inherited)
        process.last_one = end
        return process

    def finish(self, process):
        try:
            output, _ = process.communicate(timeout=SECONDS_TO_GIVE_UP)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            raise Failure("a build does not end") from None
        finally:
            os.read(process.last_one, 1)
            os.close(process.last_one)
        if -process.returncode in (signal.SIGSEGV, signal.SIGABRT, signal.SIGBUS, signal.SIGILL,
                                   signal.SIGPIPE):
            raise Failure(f"a build crashed: {process.returncode}\n{output.decode()}")
        return process.returncode, output.decode(errors="replace")

    def random_plan(self):
        """What happens to the tools of one build."""
        lines = []
        for _ in range(self.random.choice((1, 1, 2))):
            call = self.random.randint(1, self.calls)
            moment = self.random.choice(("start", "half", "half", "end"))
            number = int(self.random.choice(SIGNALS))
            kind = self.random.choice(("signal", "signal", "signal", "kill", "kill", "self", "fail",
                                       "edit", "edit", "edit"))
            if kind == "signal":
                answer = self.random.choice(("", "", "catch", "ignore", "clean"))
                if answer:
                    lines.append(f"{call} start {answer}")
                target = self.random.choice(("parent", "group"))
                lines.append(f"{call} {moment} {target} {number}")
                if self.random.random() < 0.2:
                    lines.append(f"{call} {moment} parent {int(self.random.choice(SIGNALS))}")
            elif kind == "kill":
                target = self.random.choice(("group", "group", "parent"))
                lines.append(f"{call} {moment} {target} {int(signal.SIGKILL)}")
            elif kind == "self":
                lines.append(f"{call} {moment} self "
                             f"{self.random.choice((number, int(signal.SIGKILL)))}")
            elif kind == "fail":
                lines.append(f"{call} {moment} fail")
            else:
                self.edits += 1
                what = self.random.choice(("input", "input", "project", "any"))
                if self.jobs not in ("", "1"):
                    # No tool can wait for the clock to pass what another one is writing.
                    what = "input"
                name = self.random.choice([source for source in self.sources()
                                           if not source.endswith((".new", ".ztp"))])
                if what == "project":
                    lines.append(f"{call} {moment} flip {os.path.join(self.live, 'box.ztp')}")
                else:
                    path = "-" if what == "input" else os.path.join(self.live, name)
                    lines.append(f"{call} {moment} edit {path} edit {self.edits}")
        return lines

    def interrupted_build(self):
        arguments = self.random.choice((("-q",), ("-q",), ("-q",), ("-q", "-A")))
        extra = {}
        way = self.random.choice(("plan", "plan", "plan", "moment") +
                                 (("call", "call") if self.options.faults else ()))
        plan = self.random_plan() if way == "plan" else []
        if way == "call":
            count = self.random.randint(1, self.system_calls)
            extra = {"LD_PRELOAD": self.options.faults, "ZTTEST_FAULT": f"any KILL {count}"}
            plan = [f"SIGKILL at call {count}"]
        self.write_plan([] if extra else plan)
        began = time.monotonic()
        process = self.start(self.live, arguments, extra)
        if way == "moment":
            time.sleep(self.random.uniform(0, 1.2 * self.duration))
            number = self.random.choice(SIGNALS + (signal.SIGKILL,))
            target = "group" if number == signal.SIGKILL else \
                self.random.choice(("group", "program"))
            plan = [f"signal {int(number)} to the {target} at a random moment"]
            try:
                (os.killpg if target == "group" else os.kill)(process.pid, number)
            except ProcessLookupError:
                pass
        status, output = self.finish(process)
        self.duration = max(0.9 * self.duration, time.monotonic() - began)
        self.log.append(f"build {' '.join(arguments)}: {plan} -> {status}: {output.strip()}")
        self.tear()

    def tear(self):
        """At times the note that a killed build has left is torn as well."""
        marker = os.path.join(self.live, "obj/.unfinished")
        if not os.path.exists(marker) or self.random.random() < 0.7:
            return
        size = self.random.randint(0, os.stat(marker).st_size)
        if self.random.random() < 0.5:
            os.truncate(marker, size)
            self.log.append(f"note cut to {size} bytes")
        else:
            write(marker, b"\0" * size, "wb")
            self.log.append(f"note became {size} zeros")

    def build_plainly(self, directory):
        self.write_plan([])
        status, output = self.finish(self.start(directory))
        if (status, output) != (0, ""):
            raise Failure(f"a plain build in {directory} gave {status}: {output}")
        self.calls = max(self.calls_made(), self.calls // 2)

    def outputs_of(self, directory):
        return {name: read(os.path.join(directory, name)) for name in files(directory)
                if name.startswith(("obj/", "firmware/")) or name in GENERATED}

    def may_remain(self, name):
        """Whether the file is an output of a source that is, or was, there."""
        base, extension = os.path.splitext(name)
        return extension in (".lui", ".luo", ".lua") and base in self.ever

    def round(self):
        self.jobs = self.random.choice(("", "1", "2", "4"))
        for _ in range(self.random.randint(1, 2)):
            for _ in range(self.random.randint(0, 3)):
                self.change()
            self.note_sources()
            self.interrupted_build()
        self.note_sources()
        self.check_convergence()

    def build_afresh(self):
        """A build from nothing in a copy of the sources."""
        fresh = self.path("fresh")
        shutil.rmtree(fresh, ignore_errors=True)
        for name in self.sources():
            if not name.endswith(".new"):
                write(os.path.join(fresh, name), read(os.path.join(self.live, name)), "wb")
        self.build_plainly(fresh)
        return fresh

    def check_convergence(self):
        """One plain build is as good as one from nothing."""
        fresh = self.build_afresh()
        self.build_plainly(self.live)
        expected, actual = self.outputs_of(fresh), self.outputs_of(self.live)
        for name, content in expected.items():
            if actual.get(name) != content:
                raise Failure(f"{name} is {'stale' if name in actual else 'missing'}")
        for name in actual:
            if name not in expected and not self.may_remain(name):
                raise Failure(f"{name} is too much")

    def note_sources(self):
        for name in self.sources() + list(GENERATED):
            directory, _, rest = name.partition("/")
            for tree in ("obj/root", "obj/root01"):
                if directory in ("root", "more"):
                    self.ever.add(os.path.join(tree, os.path.splitext(rest)[0]))

    def remove(self):
        shutil.rmtree(self.root)


def run_rounds(kind, description, add_options=lambda parser: None):
    """Rounds in worlds of the given kind; the status to exit with."""
    parser = argparse.ArgumentParser(description=description,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", required=True)
    parser.add_argument("--tool", required=True)
    parser.add_argument("--faults", default="")
    parser.add_argument("--rounds", type=int, default=100)
    parser.add_argument("--seed", type=int, default=None)
    add_options(parser)
    options = parser.parse_args()
    first = options.seed if options.seed is not None else random.SystemRandom().randrange(1 << 30)
    done = 0
    for seed in range(first, first + options.rounds):
        if done >= options.rounds:
            break
        world = kind(options, seed)
        try:
            for _ in range(min(ROUNDS_A_PROJECT, options.rounds - done)):
                world.log.append("-- round")
                world.round()
                done += 1
        except Failure as failure:
            print("\n".join(world.log))
            print(f"FAILED after {done} rounds: {failure}\nseed {seed}, kept in {world.root}")
            return 1
        world.remove()
    print(f"{done} rounds, seeds from {first}")
    return 0


if __name__ == "__main__":
    sys.exit(run_rounds(World, __doc__))

#!/usr/bin/env python3
"""After any interruption at any moment a plain build gives byte for byte what a build from nothing
gives: tried with random small projects.

  convergence.py --program ZTMAKE --tool HONESTTOOL [--faults LIBRARY] [--rounds N] [--seed N]

Each round edits, touches and deletes at random, runs builds that are interrupted at random (a signal
to the program, to the process group, to the tool alone, SIGKILL to all; tools that die of it, catch
it, ignore it or clean up; files edited while a tool runs; a tool that fails; with the library of
tst_faults also SIGKILL to the program at any of its system calls), and then runs one plain build.
Its object directory, firmware and MTD16 outputs must be those of a build from nothing in a copy of
the sources. Outputs of sources that have been deleted are never cleaned and may remain, as may the
response file of a killed program; nothing else may.

Time stamps cannot tell an edit from the write of an output before it in the same tick of the file
system's clock. So no edit begins before that clock has passed the millisecond of everything written
so far: here see distinct_time(), in the tools see honesttool.cpp.

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

TOOLS = ("ztlpp", "ztluac", "ztmkmtd", "ztlupdate", "lrelease", "ztmkromfs", "ztlink")
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
GENERATED = ("include/mtd16.lh", "root/usr/lib/lua/mtd16.lua")
ROUNDS_A_PROJECT = 10
SECONDS_TO_GIVE_UP = 120


class Failure(Exception):
    """What did not converge."""


def read(path):
    with open(path, "rb") as file:
        return file.read()


def write(path, text, mode="w"):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, mode) as file:
        file.write(text)


def files(directory):
    """The paths of all files below, relative to the directory."""
    return sorted(os.path.relpath(os.path.join(folder, name), directory)
                  for folder, _, names in os.walk(directory) for name in names)


class World:
    """A project that lives for some rounds."""

    def __init__(self, options, seed):
        self.random = random.Random(seed)
        self.options = options
        self.root = tempfile.mkdtemp(prefix="ztmake-convergence-")
        self.live = os.path.join(self.root, "live")
        self.plan = os.path.join(self.root, "plan")
        self.log = []
        self.edits = 0
        self.duration = 0.05
        self.calls = 20
        self.system_calls = 100
        self.ever = set()
        for directory in (self.live, self.plan, self.path("sdk/bin"), self.path("home"),
                          self.path("path")):
            os.makedirs(directory)
        os.link(options.program, self.path("sdk/bin/ztmake")) if self.same_device() else \
            shutil.copy(options.program, self.path("sdk/bin/ztmake"))
        for tool in TOOLS:
            shutil.copy(options.tool, self.path("sdk/bin/" + tool))
        shutil.copy(options.tool, self.path("path/svnversion"))
        for kernel in ("A", "B"):
            write(self.path(f"sdk/kernel/{kernel}-kernel.bin"), f"kernel {kernel}\n")
        write(self.path("sdk/kernel/install.romfs"), "installer\n")
        write(self.path("sdk/kernel/base.romfs"), "base\n")
        self.make_project()

    def same_device(self):
        return os.stat(self.options.program).st_dev == os.stat(self.root).st_dev

    def path(self, name):
        return os.path.join(self.root, name)

    def make_project(self):
        chance = self.random.random
        self.mtd16 = chance() < 0.5
        self.languages = self.random.sample(("de", "fr", "it"), self.random.randint(1, 2)) \
            if chance() < 0.5 else []
        self.svnversion = chance() < 0.3
        self.write_project()
        for tree in ("root", "more"): # stay when all their sources are gone
            write(os.path.join(self.live, tree, "text.txt"), f"text in {tree}\n")
        for _ in range(self.random.randint(1, 6)):
            self.write_source()
        if self.mtd16:
            write(os.path.join(self.live, "box.mtdef"), "definitions\n")
        for language in self.languages:
            write(os.path.join(self.live, f"translations/{language}.ts"), f"texts {language}\n")

    def write_project(self):
        """A new state of the project file: options and targets show in the bytes."""
        self.edits += 1
        flag = lambda: self.random.choice("01")
        targets = "".join(f'<Target Model="{name}"/>'
                          for name in self.random.sample("AB", self.random.randint(1, 2)))
        languages = "".join(f'<Language>{name}</Language>' for name in self.languages)
        # The stages are copied out when neither is enabled.
        compiler, preprocessor = self.random.choice(("11", "11", "11", "10", "01", "00"))
        write(os.path.join(self.live, "box.ztp"), f"""<?xml version="1.0" encoding="UTF-8"?>
<ZeltaProject xmlns="http://zelta.example/Zelta/Project/2009/42">
<Project Name="Box" SDK="../sdk" Version="{self.edits}" Svnversion="{int(self.svnversion)}"
 BuildInstaller="{flag()}">
{targets}
<Startup File="/main.lua"/>
{'<MTD16 Enabled="1"/>' if self.mtd16 else ''}
{f'<Translation Enabled="1">{languages}</Translation>' if self.languages else ''}
<Filesystem><Merge Type="Directory"><Source>root</Source></Merge>
<Merge Type="Directory"><Source>more</Source><Destination>more</Destination></Merge></Filesystem>
<Process><Preprocess Type="Ztlpp" Enabled="{preprocessor}" RemoveComments="{flag()}"
 SimplifyWhitespace="{flag()}"/><Compile Type="Lua" Enabled="{compiler}" Strip="{flag()}"/></Process>
</Project>
</ZeltaProject>
""")

    def write_source(self):
        name = self.random.choice(("root/", "root/sub/", "more/", "root/sub/deep/")) \
            + self.random.choice("abcdef") + ".lua"
        self.edits += 1
        text = f"edit {self.edits}\n" + "x" * self.random.choice((0, 10, 20_000))
        write(os.path.join(self.live, name), text)
        return name

    def sources(self):
        return [name for name in files(self.live)
                if not name.startswith(("obj/", "firmware/")) and name not in GENERATED]

    def distinct_time(self):
        """Returns when the file system's clock has passed the present millisecond."""
        now = time.time_ns() // 1_000_000
        probe = self.path("probe")
        while True:
            write(probe, "x")
            if os.stat(probe).st_mtime_ns // 1_000_000 > now:
                return

    def change(self):
        """One thing that a user does between two builds."""
        self.distinct_time()
        outputs = [name for name in files(self.live) if name.startswith(("obj/", "firmware/"))
                   and not name.startswith("obj/.")]
        sources = [name for name in self.sources() if name.endswith(".lua")]
        kind = self.random.choice(("write", "write", "write", "append", "append", "touch", "delete",
                                   "output", "outputs", "tree", "project", "touch project",
                                   "definitions", "texts", "generated"))
        done = kind
        if kind == "write":
            done += " " + self.write_source()
        elif kind in ("append", "touch", "delete") and sources:
            name = self.random.choice(sources)
            done += " " + name
            path = os.path.join(self.live, name)
            if kind == "append":
                self.edits += 1
                write(path, f"edit {self.edits}\n", "a")
            elif kind == "touch":
                os.utime(path)
            elif len(sources) > 1:
                os.remove(path)
        elif kind in ("output", "outputs") and outputs:
            for name in self.random.sample(outputs, 1 if kind == "output"
                                           else self.random.randint(1, len(outputs))):
                done += " " + name
                os.remove(os.path.join(self.live, name))
        elif kind == "tree" and self.random.random() < 0.3:
            shutil.rmtree(os.path.join(self.live, "obj"), ignore_errors=True)
        elif kind == "project":
            self.write_project()
        elif kind == "touch project":
            os.utime(os.path.join(self.live, "box.ztp"))
        elif kind == "definitions" and self.mtd16:
            self.edits += 1
            write(os.path.join(self.live, "box.mtdef"), f"edit {self.edits}\n", "a")
        elif kind == "texts" and self.languages:
            self.edits += 1
            name = self.random.choice(self.languages)
            write(os.path.join(self.live, f"translations/{name}.ts"), f"edit {self.edits}\n", "a")
        elif kind == "generated" and self.mtd16:
            name = os.path.join(self.live, self.random.choice(GENERATED))
            if os.path.exists(name):
                os.remove(name)
        self.log.append(done)

    def environment(self, extra=()):
        return {"PATH": self.path("path") + ":/usr/bin:/bin", "LC_ALL": "C.UTF-8",
                "HOME": self.path("home"), "ZTTEST_PLAN": self.plan,
                "GCOV_ERROR_FILE": "/dev/null", **dict(extra)}

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
        # The pipe ends with the last of them, orphans included.
        return subprocess.Popen([self.path("sdk/bin/ztmake"), *arguments, "box.ztp"], cwd=directory,
                                env=self.environment(extra), stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                start_new_session=True)

    def finish(self, process):
        try:
            output, _ = process.communicate(timeout=SECONDS_TO_GIVE_UP)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            raise Failure("a build does not end") from None
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
        return name.startswith("obj/args.") or extension in (".lui", ".luo", ".lua") and base in \
            self.ever

    def round(self):
        for _ in range(self.random.randint(1, 2)):
            for _ in range(self.random.randint(0, 3)):
                self.change()
            self.note_sources()
            self.interrupted_build()
        self.note_sources()
        fresh = self.path("fresh")
        shutil.rmtree(fresh, ignore_errors=True)
        for name in self.sources():
            if not name.endswith(".new"):
                write(os.path.join(fresh, name), read(os.path.join(self.live, name)), "wb")
        self.build_plainly(fresh)
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


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", required=True)
    parser.add_argument("--tool", required=True)
    parser.add_argument("--faults", default="")
    parser.add_argument("--rounds", type=int, default=100)
    parser.add_argument("--seed", type=int, default=None)
    options = parser.parse_args()
    first = options.seed if options.seed is not None else random.SystemRandom().randrange(1 << 30)
    done = 0
    for seed in range(first, first + options.rounds):
        if done >= options.rounds:
            break
        world = World(options, seed)
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
    sys.exit(main())

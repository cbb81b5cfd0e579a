#!/usr/bin/env python3
"""Two operations on one project at once leave nothing behind but what a build from nothing gives.

  overlap.py --program ZTMAKE --tool HONESTTOOL [--faults LIBRARY] [--rounds N] [--seed N]

The projects, the edits and the comparison are those of convergence.py, and some of its interrupted
builds come in between. Otherwise each round starts two builds, or a build and --clearobsolete or
--cleanfirmwarefolder, at a random distance; in a part of the rounds one of them is killed, alone or
with its tools, or interrupted. What a killed program leaves running goes on, and may write later, also
into an object directory that is removed meanwhile and made again by the next build.

Builds that nothing has disturbed end with status 0, and together they have left the right firmware;
so has one that has waited for another, whatever has become of that. The line that says so comes at
most once.
"""

import os
import shutil
import signal
import sys
import time

from convergence import Failure, World, run_rounds
from randomproject import read

WAITING = "[ztmake] Waiting for another build\n"


class OverlapWorld(World):
    """A project with two operations at once."""

    def interrupted_build(self):
        kind = self.random.random()
        if kind < 0.2:
            super().interrupted_build()
        elif kind < 0.4:
            self.remove_objects_of_killed_build()
        else:
            self.overlap()

    def arguments(self):
        others = [("-q", "--cleanfirmwarefolder")]
        if self.languages:
            others.append(("-q", "--clearobsolete"))
        return self.random.choice([("-q",)] * 4 + [("-q", "-A")] + others)

    def overlap(self):
        operations = [("-q",), self.arguments()]
        self.random.shuffle(operations)
        way = self.random.choice(("nothing", "nothing", "moment", "moment", "plan"))
        plan = self.random_plan() if way == "plan" else []
        self.write_plan(plan)
        processes = [self.start(self.live, operations[0])]
        time.sleep(self.random.uniform(0, 1.2 * self.duration))
        processes.append(self.start(self.live, operations[1]))
        victim = None
        if way == "moment":
            time.sleep(self.random.uniform(0, 1.5 * self.duration))
            victim = self.random.randrange(2)
            plan = [f"{self.disturb(processes[victim])} to number {victim}"]
        ends = [self.finish(process) for process in processes]
        for arguments, end in zip(operations, ends):
            self.log.append(f"build {' '.join(arguments)}, overlapping: {plan} -> {end}")
        if way == "plan":
            self.tear()
            return
        self.check_ends(operations, ends, victim)

    def remove_objects_of_killed_build(self):
        self.write_plan([])
        killed = self.start(self.live)
        time.sleep(self.random.uniform(0, 1.2 * self.duration))
        try:
            os.kill(killed.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        objects = os.path.join(self.live, "obj")
        while os.path.exists(objects):  # what it has left running makes new files
            shutil.rmtree(objects, ignore_errors=True)
        self.log.append("build -q: killed, and its object directory removed")
        ends = [self.finish(process) for process in (self.start(self.live), killed)]
        self.check_ends([("-q",), ("-q",)], ends, 1)
        self.check_firmware()

    def disturb(self, process):
        """SIGKILL to the program alone, SIGKILL to its tools as well, or SIGINT."""
        number, send = self.random.choice(((signal.SIGKILL, os.kill), (signal.SIGKILL, os.killpg),
                                           (signal.SIGINT, os.killpg), (signal.SIGINT, os.kill)))
        try:
            send(process.pid, number)
        except ProcessLookupError:
            pass
        return f"{send.__name__} {int(number)}"

    def check_ends(self, operations, ends, victim):
        for number, (status, output) in enumerate(ends):
            if output.count(WAITING) > 1:
                raise Failure("waiting was said more than once")
            if number != victim and (status, output.replace(WAITING, "")) != (0, ""):
                raise Failure(f"an undisturbed operation gave {status}: {output}")
        if any("--cleanfirmwarefolder" in arguments for arguments in operations):
            return
        survivor = 0 if victim is None else 1 - victim
        if "--clearobsolete" in operations[survivor]:
            return
        if victim is None or WAITING in ends[survivor][1]:
            self.check_firmware()

    def check_firmware(self):
        """The firmware is right before anything else is built."""
        fresh = self.build_afresh()
        wrong = [name for name, content in self.outputs_of(fresh).items()
                 if name.startswith("firmware/") and
                 (not os.path.exists(os.path.join(self.live, name)) or
                  read(os.path.join(self.live, name)) != content)]
        if wrong:
            raise Failure(f"after status 0: {wrong[0]} is wrong or missing")


if __name__ == "__main__":
    sys.exit(run_rounds(OverlapWorld, __doc__))

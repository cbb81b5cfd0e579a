#!/usr/bin/env python3
"""After the power has failed at any moment, a plain build gives what a build from nothing gives.

  powerloss.py --program ZTMAKE --tool HONESTTOOL --recorder LIBRARY [--points N] [--every]
               [--rounds N] [--seed N]

The projects, the edits and the comparison are those of convergence.py. Each round records a build or
two, some of them interrupted: what ztmake and its tools write, rename, remove and sync, in their
order (recordwrites.cpp). From that it makes what a disk may hold at a moment (see Disk), begins
another boot there, and builds: at N random moments and at the end, or (--every) at each moment.
A build with nothing to do must write no note and sync nothing, and one with ZTMAKE_SYNC=0 must sync
nothing, either.
"""

import os
import shutil
import sys

from convergence import Failure, World, run_rounds
from randomproject import read, write

POINTS = 6


class File:
    """A file, as programs see it and as the disk has it."""

    def __init__(self):
        self.content = b""  # as programs see it
        self.safe = None    # what the disk has for certain, unless it was cut to nothing since
        self.time = self.kept_time = 0

    def on_disk(self, choose):
        """One of the contents that the disk may have."""
        if self.safe == self.content:
            return self.content
        if self.safe is not None:
            return choose((self.safe, self.content))
        size = len(self.content)
        return choose((b"", b"\0" * size, self.content[:size // 2], self.content))


class Disk:
    """What a disk may hold after the first `now` operations of a record, when its journal got as far
    as the first `kept` ones: changes of names, sizes and times reach it in their order, and a sync
    takes all before it along; what is in a file reaches it at any time, unless it is synced."""

    def __init__(self, before, operations, now, kept):
        self.files = {}  # by their names, as programs see them
        self.kept = {}   # as the journal has them
        self.folders = {name for name, content, _ in before if content is None}
        for name, content, time in before:
            if content is not None:
                file = File()
                file.content = file.safe = content
                file.time = file.kept_time = time
                self.files[name] = self.kept[name] = file
        for number, operation in enumerate(operations[:now]):
            self.apply(*operation, number < kept)

    def apply(self, operation, name, time, value, is_kept):
        file = self.files.get(name)
        if operation == "open":
            if file is None:
                file = self.files[name] = File()
                if is_kept:
                    self.kept[name] = file
            if value == b"t":
                file.content = b""
                if is_kept:
                    file.safe = None
        elif operation == "data":
            file.content = value
        elif operation == "rename":
            self.move(self.files, name, value)
            if is_kept:
                self.move(self.kept, name, value)
        elif operation == "unlink":
            del self.files[name]
            if is_kept:
                del self.kept[name]
        elif operation == "mkdir" and is_kept:
            self.folders.add(name)
        elif operation == "sync" and file is not None:
            file.safe = file.content
        elif operation == "syncfs":
            for each in self.files.values():
                each.safe = each.content
        if operation in ("open", "data", "times"):
            file.time = time
            if is_kept:
                file.kept_time = time

    @staticmethod
    def move(names, name, to):
        names[to] = names.pop(name)

    def write_to(self, directory, choose):
        shutil.rmtree(directory, ignore_errors=True)
        for name in self.folders:
            os.makedirs(os.path.join(directory, name), exist_ok=True)
        for name, file in self.kept.items():
            path = os.path.join(directory, name)
            write(path, file.on_disk(choose), "wb")
            os.utime(path, ns=(file.kept_time, file.kept_time))


def read_record(path, root):
    """The operations of a record, with paths below the root."""
    data = read(path) if os.path.exists(path) else b""
    fields = []
    while data:
        length, _, data = data.partition(b":")
        fields.append(data[:int(length)])
        data = data[int(length) + 1:]
    relative = lambda name: os.path.relpath(os.path.normpath(os.fsdecode(name)), root)
    for operation, name, time, value in zip(*[iter(fields)] * 4):
        operation = operation.decode()
        yield (operation, relative(name), int(time),
               relative(value) if operation == "rename" else value)


class PowerLossWorld(World):
    """A project whose builds are recorded."""

    def __init__(self, options, seed):
        super().__init__(options, seed)
        self.record = self.path("record")
        self.expected = {} # what builds from nothing gave, by their sources
        for number in (1, 2):
            write(self.path(f"boot{number}"), f"boot-{number}\n")

    def environment(self, extra=()):
        # An interrupted build may have its own library: that of the faults is not used here.
        return super().environment({"ZTMAKE_SYNC": "1", "LD_PRELOAD": self.options.recorder,
                                    "ZTTEST_BOOT_ID": self.path("boot1"), **dict(extra)})

    def snapshot(self):
        for folder, folders, names in os.walk(self.live):
            for name in folders:
                yield os.path.relpath(os.path.join(folder, name), self.live), None, 0
            for name in names:
                path = os.path.join(folder, name)
                yield (os.path.relpath(path, self.live), read(path), os.stat(path).st_mtime_ns)

    def recorded_build(self, plan, arguments=None, extra=()):
        self.write_plan(plan)
        arguments = arguments or self.random.choice((("-q",), ("-q",), ("-q", "-A")))
        process = self.start(self.live, arguments, {"ZTTEST_RECORD": self.record, **dict(extra),
                                                    "ZTTEST_RECORD_ROOT": self.live})
        end = self.finish(process)
        self.log.append(f"recorded build: {plan} -> {end}")
        if not plan and end != (0, ""):
            raise Failure(f"an undisturbed build gave {end}")

    def round(self):
        for _ in range(self.random.randint(1, 3)):
            self.change()
        before = list(self.snapshot())
        if self.random.random() < 0.4:
            plan = self.random_plan()
            if not any(" edit " in line or " flip " in line for line in plan): # not recorded
                self.recorded_build(plan)
        self.recorded_build([])
        operations = self.take_record()
        if not any(operation[0] == "data" for operation in operations):
            raise Failure("nothing was recorded")
        self.check_record(Disk(before, operations, len(operations), len(operations)))
        for now, kept in self.moments(operations):
            for is_random in (False, True):
                self.lose_power(before, operations, now, kept, is_random)
        self.check_syncs()

    def take_record(self):
        operations = list(read_record(self.record, self.live))
        if os.path.exists(self.record):
            os.remove(self.record)
        return operations

    def check_syncs(self):
        self.recorded_build([], ("-q",))
        for operation, name, _, _ in self.take_record():
            # Two trees take turns at changing the catalogues.
            is_idle = not self.languages
            if is_idle and (operation in ("sync", "syncfs") or ".unfinished" in name):
                raise Failure(f"a build with nothing to do: {operation} {name}")
        self.recorded_build([], ("-q", "-A"), {"ZTMAKE_SYNC": "0"})
        if any(operation[0] in ("sync", "syncfs") for operation in self.take_record()):
            raise Failure("a build with ZTMAKE_SYNC=0 has synced")

    def check_record(self, disk):
        """The recorder has seen all that was done."""
        recorded = sorted((name, file.content, file.time) for name, file in disk.files.items())
        real = sorted(entry for entry in self.snapshot() if entry[1] is not None)
        for one, other in zip(recorded + [None], real + [None]):
            if one != other:
                raise Failure(f"recorded as {str(one)[:200]}\nin truth {str(other)[:200]}")

    def moments(self, operations):
        """How far the programs have come, and how far the journal."""
        end = len(operations)
        synced = [0]
        for number, operation in enumerate(operations, 1):
            synced.append(number if operation[0] in ("sync", "syncfs") else synced[-1])
        if self.options.every:
            chosen = range(end + 1)
        else:
            chosen = [self.random.randint(0, end) for _ in range(self.options.points)] + [end]
        for now in chosen:
            yield now, now
            yield now, synced[now]
            yield now, self.random.randint(synced[now], now)

    def lose_power(self, before, operations, now, kept, is_random):
        after = self.path("after")
        choose = self.random.choice if is_random else lambda contents: contents[0]
        Disk(before, operations, now, kept).write_to(after, choose)
        live, self.live = self.live, after
        try:
            sources = tuple((name, read(os.path.join(after, name))) for name in self.sources())
            if sources not in self.expected:
                self.expected[sources] = self.outputs_of(self.build_afresh())
            self.write_plan([])
            end = self.finish(self.start(after, extra={"ZTTEST_BOOT_ID": self.path("boot2")}))
            if end != (0, ""):
                raise Failure(f"the build gave {end}")
            self.compare(self.expected[sources], self.outputs_of(after))
        except Failure as failure:
            self.log += [f"{number}: {operation[0]} {operation[1]}"
                         for number, operation in enumerate(operations, 1)]
            raise Failure(f"power lost after {now} operations, journal as far as {kept}: "
                          f"{failure}") from None
        finally:
            self.live = live

    @staticmethod
    def compare(expected, actual):
        for name, content in expected.items():
            if actual.get(name) != content:
                raise Failure(f"{name} is {'wrong' if name in actual else 'missing'}")


def add_options(parser):
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--points", type=int, default=POINTS)
    parser.add_argument("--every", action="store_true")


if __name__ == "__main__":
    sys.exit(run_rounds(PowerLossWorld, __doc__, add_options))

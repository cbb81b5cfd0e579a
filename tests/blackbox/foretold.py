#!/usr/bin/env python3
"""What `ztproject why` tells is what the next build does: tried with random small projects.

  foretold.py --program ZTMAKE --tool HONESTTOOL --companion ZTPROJECT [--rounds N] [--seed N]

The projects, the edits and the interrupted builds are those of convergence.py. After them `ztproject
why --commands` is asked, which must leave every file and directory as it was; then a build runs. Its
tool calls must be those foretold, in their order, and so must be the outputs that it writes. Only
whether a scan for texts changes a translation source nobody knows before: a catalogue that is made
"only if" it does must be made just then.
"""

import os
import re
import subprocess
import sys

from convergence import Failure, World, run_rounds
from randomproject import GENERATED, files

REPORT = "obj/translations/report.xml"
MAYBE = re.compile(r"^(\S+): only if ztlupdate changes (\S+)$", re.MULTILINE)
OUTPUT = re.compile(r"^(\S+/\S+): (?!only if)", re.MULTILINE)


class ForetoldWorld(World):
    """A project whose next build is foretold."""

    def __init__(self, options, seed):
        super().__init__(options, seed)
        # Where the file system puts a new folder among the others cannot be foretold.
        for name in GENERATED:
            os.makedirs(os.path.join(self.live, os.path.dirname(name)), exist_ok=True)

    def state(self):
        """All that changes when something is written, created, renamed or removed."""
        found = {}
        program = self.path("sdk/bin/ztmake")  # other tests may have links to it
        for folder, directories, names in os.walk(self.root):
            for name in [".", *directories, *names]:
                path = os.path.join(folder, name)
                if not path.startswith((self.plan, program)):
                    status = os.lstat(path)
                    found[path] = (status.st_ino, status.st_mode, status.st_size,
                                   status.st_mtime_ns, status.st_ctime_ns)
        return found

    def written(self):
        """When each output was written."""
        return {name: os.stat(os.path.join(self.live, name)).st_mtime_ns
                for name in files(self.live)
                if name.startswith(("obj/", "firmware/")) or name in GENERATED}

    def ask(self):
        before = self.state()
        result = subprocess.run(
            [self.options.companion, "why", "--commands", "box.ztp"], cwd=self.live,
            env=self.environment(), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True)
        if result.returncode != 0:
            raise Failure(f"why gave {result.returncode}: {result.stdout}")
        if self.state() != before:
            raise Failure(f"why has changed {set(self.state().items()) ^ set(before.items())}")
        self.log.append(f"why:\n{result.stdout}")
        return result.stdout

    def check_convergence(self):
        self.write_plan([])
        answer = self.ask()
        before = self.written()
        texts = {source: self.time(source) for _, source in MAYBE.findall(answer)}
        self.distinct_time()
        status, output = self.finish(self.start(self.live, ()))
        self.log.append(f"build:\n{output}")
        if status != 0:
            raise Failure(f"a build gave {status}")
        changed = {catalogue for catalogue, source in MAYBE.findall(answer)
                   if self.time(source) != texts[source]}
        self.compare_calls(answer, output, changed)
        self.compare_outputs(answer, before, changed)

    def time(self, name):
        path = os.path.join(self.live, name)
        return os.stat(path).st_mtime_ns if os.path.exists(path) else None

    @staticmethod
    def compare_calls(answer, output, changed):
        # The steps of an installer are not echoed; what they write is compared.
        foretold = [call for call in re.findall(r"^\$ (.*)$", answer, re.MULTILINE)
                    if "installer.romfs" not in call]
        calls = re.findall(r"^\[ztmake\] (\(in .*|\w+ .*)$", output, re.MULTILINE)
        extra = [call for call in calls if call.startswith("lrelease ") and call not in foretold]
        if {call.split(" -qm ")[1] for call in extra} != changed:
            raise Failure(f"catalogues made: {extra}; texts changed: {changed}")
        if [call for call in calls if call not in extra] != foretold:
            raise Failure(f"foretold\n{foretold}\ncalled\n{calls}")

    def compare_outputs(self, answer, before, changed):
        made = {name for name, time in self.written().items() if before.get(name) != time}
        foretold = set(OUTPUT.findall(answer)) | changed
        # The image of the root makes place for the one of the installers, made or not.
        if made - {REPORT} != foretold - {"obj/root.romfs"}:
            raise Failure(f"foretold {foretold - made}, made {made - foretold}")


if __name__ == "__main__":
    sys.exit(run_rounds(ForetoldWorld, __doc__, lambda parser: parser.add_argument(
        "--companion", required=True)))

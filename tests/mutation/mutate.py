"""Applies the source edits of the tables beside this file, one at a time, to a scratch copy of the
tree, and tells which of them the tests notice. See scripts/mutate and docs/testing.md."""

import argparse
import concurrent.futures
import os
import pathlib
import queue
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
SUITES = ["unit", "blackbox"]  # in the order in which they are asked
SECONDS_A_TEST = 120


class Mutant:
    def __init__(self, place, file):
        self.place = place  # table:line
        self.file = file
        self.old = []
        self.new = []
        self.reason = []  # why the tests cannot notice it

    def fault(self, source):
        """What is wrong with the row itself, empty when nothing is."""
        if not self.old or not self.new or self.old == self.new:
            return "needs an old and a new text that differ"
        count = source.count("\n".join(self.old))
        return "" if count == 1 else f"the old text stands {count} times in {self.file}"

    def name(self, source):
        line = source.count("\n", 0, source.index("\n".join(self.old))) + 1
        return f"{self.file}:{line} ({self.place})"

    def mutated(self, source):
        return source.replace("\n".join(self.old), "\n".join(self.new))


def read_table(path):
    mutants = []
    file = None
    block = None
    for number, line in enumerate(path.read_text().split("\n"), 1):
        mark, text = line[:1], line[2:]
        if line.startswith("file "):
            file, block = line[5:], None
        elif mark in ("-", "+", "="):
            if block is None:
                block = Mutant(f"{path.name}:{number}", file)
                mutants.append(block)
            {"-": block.old, "+": block.new, "=": block.reason}[mark].append(text)
        elif line == "":
            block = None
        elif mark != "#":
            sys.exit(f"{path.name}:{number}: a line begins with \"file \", -, +, = or #")
    return mutants


class Tree:
    """A copy of the tree and its build, used by one worker."""

    def __init__(self, directory):
        self.source = directory / "source"
        self.build = directory / "build"
        files = subprocess.run(["git", "ls-files", "-coz", "--exclude-standard"], cwd=ROOT,
                               check=True, capture_output=True, text=True).stdout.split("\0")
        for file in filter(None, files):
            if (ROOT / file).is_file():
                (self.source / file).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / file, self.source / file)
        self.environment = dict(os.environ, CCACHE_BASEDIR=str(directory), CCACHE_NOHASHDIR="1")
        options = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=-O0 -g0",
                   f"-DZTMAKE_TEST_SUITES={';'.join(SUITES)}"]
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        if shutil.which("ld.lld"):
            options.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
        self.run(["cmake", "-G", "Ninja", "-S", str(self.source), "-B", str(self.build), *options])
        self.failed_test()

    def run(self, command):
        result = subprocess.run(command, env=self.environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                errors="replace")
        return result.returncode, result.stdout

    def failed_test(self, likely=()):
        """Builds and runs the likely tests, then suite by suite, to the first failure: the test's
        name, None when all pass, "build" when the mutant is no program."""
        for suite in SUITES:
            tests = [test for test in likely if test.startswith(suite)]
            if tests:
                failure = self.failed_in(tests, f"^({'|'.join(tests)})$", "-R")
                if failure is not None:
                    return failure
        for suite in SUITES:
            failure = self.failed_in([f"tests/{suite}/all"], f"^{suite}$", "-L")
            if failure is not None:
                return failure
        return None

    def failed_in(self, targets, tests, selection):
        code, _ = self.run(["ninja", "-C", str(self.build), "-j1", *targets])
        if code != 0:
            return "build"
        _, output = self.run(["ctest", "--test-dir", str(self.build), selection, tests,
                              "--stop-on-failure", "--timeout", str(SECONDS_A_TEST)])
        if "100% tests passed" in output:
            return None
        failures = output.partition("The following tests FAILED:")[2].split()
        return failures[2] if len(failures) > 2 else "ctest"

    def judge(self, mutant, likely):
        target = self.source / mutant.file
        original = target.read_text()
        target.write_text(mutant.mutated(original))
        try:
            return self.failed_test(likely)
        finally:
            target.write_text(original)


class LikelyTests:
    """The tests that are asked first: the unit test that is named after a file, and the tests that
    noticed the edits of the file before."""

    def __init__(self):
        self.found = {}

    def of(self, file):
        stem = pathlib.Path(file).stem
        namesake = ROOT / "tests/unit" / pathlib.Path(file).parent.name / f"tst_{stem}.cpp"
        return ([f"unit_tst_{stem}"] if namesake.exists() else []) + self.found.get(file, [])[:3]

    def note(self, file, test):
        if test not in ("build", "ctest", *self.of(file)[:1]):
            tests = self.found.setdefault(file, [])
            self.found[file] = [test] + [other for other in tests if other != test]


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutate")
    parser.add_argument("filter", nargs="*", help="only rows whose place or file contains this")
    parser.add_argument("--check", action="store_true", help="only check the tables")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="trees used at a time")
    arguments = parser.parse_args()

    mutants = [mutant for table in sorted(pathlib.Path(__file__).parent.glob("*.txt"))
               for mutant in read_table(table)]
    if arguments.filter:
        mutants = [mutant for mutant in mutants
                   if any(text in f"{mutant.file} {mutant.place}" for text in arguments.filter)]
    sources = {mutant.file: (ROOT / mutant.file).read_text() for mutant in mutants}
    faults = [f"{mutant.place}: {fault}" for mutant in mutants
              if (fault := mutant.fault(sources[mutant.file]))]
    if faults:
        sys.exit("\n".join(faults))
    names = {mutant: mutant.name(sources[mutant.file]) for mutant in mutants}
    print(f"{len(mutants)} mutants in {len({mutant.file for mutant in mutants})} files", flush=True)
    if arguments.check:
        return

    outcomes = {}
    likely = LikelyTests()
    with tempfile.TemporaryDirectory(prefix="mutants-") as scratch:
        trees = queue.Queue()

        def make_tree(number):
            tree = Tree(pathlib.Path(scratch) / str(number))
            failure = tree.failed_test()
            if failure is not None:
                sys.exit(f"the unchanged tree fails: {failure}")
            trees.put(tree)

        def judge(mutant):
            tree = trees.get()
            try:
                outcomes[mutant] = tree.judge(mutant, likely.of(mutant.file))
                if outcomes[mutant] is not None:
                    likely.note(mutant.file, outcomes[mutant])
            finally:
                trees.put(tree)
            outcome = outcomes[mutant]
            print(f"{'SURVIVED' if outcome is None else 'killed  '} {names[mutant]}"
                  f"{'' if outcome is None else ' by ' + outcome}", flush=True)

        with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
            for _ in pool.map(make_tree, range(arguments.jobs)):
                pass
            for _ in pool.map(judge, mutants):
                pass

    survivors = [mutant for mutant in mutants if outcomes[mutant] is None]
    wrong = [(mutant, "survived") for mutant in survivors if not mutant.reason]
    wrong += [(mutant, "is explained, but was killed by " + outcomes[mutant])
              for mutant in mutants if mutant.reason and outcomes[mutant] is not None]
    wrong += [(mutant, "does not compile") for mutant in mutants if outcomes[mutant] == "build"]
    print(f"{len(mutants) - len(survivors)} killed, {len(survivors)} survived, "
          f"{sum(bool(mutant.reason) for mutant in survivors)} of them explained")
    for mutant, what in wrong:
        print(f"{names[mutant]} {what}:\n-" + "\n-".join(mutant.old) + "\n+"
              + "\n+".join(mutant.new))
    sys.exit(1 if wrong else 0)


main()

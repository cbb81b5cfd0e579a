"""Applies edits to the sources, one at a time, in scratch copies of the tree, and tells which of
them the tests notice. See scripts/mutate and docs/testing.md."""

import argparse
import concurrent.futures
import os
import pathlib
import queue
import shutil
import subprocess
import sys
import tempfile

import operators

ROOT = pathlib.Path(__file__).resolve().parents[2]
SUITES = ["unit", "blackbox"]  # in the order in which they are asked
SECONDS_A_TEST = 120


class Survivors:
    """The edits that no test can notice, each with its reason, in survivors.txt: the file, the
    function, the old text and the new one, a reason, and an empty line."""

    def __init__(self, path):
        self.reasons = {}
        for block in path.read_text().split("\n\n"):
            lines = [line for line in block.splitlines() if not line.startswith("#")]
            if lines:
                file, function, old, new, *reason = lines
                self.reasons[file, function, old, new] = " ".join(reason)

    def reason(self, edit):
        return self.reasons.get(edit.key(), "")

    def table(self):
        """The table of docs/testing.md."""
        rows = ["| Where | Edit | Reason |", "|---|---|---|"]
        for (file, function, old, new), reason in self.reasons.items():
            change = f"`{old}` becomes `{new}`" if new else f"`{old}` left out"
            rows.append(f"| `{function}()`, {file} | {change} | {reason} |".replace("||", "\\|\\|"))
        return "\n".join(rows)


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

    def judge(self, edit, likely):
        target = self.source / edit.file
        original = target.read_bytes()
        target.write_bytes(original[:edit.begin] + edit.new.encode() + original[edit.end:])
        try:
            return self.failed_test(likely)
        finally:
            target.write_bytes(original)


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
    parser.add_argument("filter", nargs="*", help="only edits whose place contains this")
    parser.add_argument("--list", action="store_true", help="only name the edits")
    parser.add_argument("--table", action="store_true",
                        help="only print the survivors as a table for docs/testing.md")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="trees used at a time")
    arguments = parser.parse_args()

    survivors = Survivors(pathlib.Path(__file__).with_name("survivors.txt"))
    if arguments.table:
        print(survivors.table())
        return
    edits = list(operators.find_edits(ROOT, ROOT / "build/dev"))
    unknown = set(survivors.reasons) - {edit.key() for edit in edits}
    if unknown:
        sys.exit("survivors.txt names edits that are no longer there:\n"
                 + "\n".join(" | ".join(key) for key in sorted(unknown)))
    if arguments.filter:
        edits = [edit for edit in edits
                 if any(text in str(edit) for text in arguments.filter)]
    print(f"{len(edits)} edits in {len({edit.file for edit in edits})} files", flush=True)
    if arguments.list:
        print("\n".join(map(str, edits)))
        return

    outcomes = judge_all(edits, arguments.jobs)
    built = [edit for edit in edits if outcomes[edit] != "build"]
    alive = [edit for edit in built if outcomes[edit] is None]
    wrong = [f"survived: {edit}" for edit in alive if not survivors.reason(edit)]
    wrong += [f"is explained, but was noticed by {outcomes[edit]}: {edit}"
              for edit in built if survivors.reason(edit) and outcomes[edit] is not None]
    print(f"{len(edits) - len(built)} do not compile, {len(built) - len(alive)} were noticed, "
          f"{len(alive)} survived, {sum(bool(survivors.reason(edit)) for edit in alive)} of them "
          "explained")
    print("\n".join(wrong))
    sys.exit(1 if wrong else 0)


def judge_all(edits, jobs):
    """What noticed each edit: a test, "build", or None."""
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

        def judge(edit):
            tree = trees.get()
            try:
                outcomes[edit] = tree.judge(edit, likely.of(edit.file))
                if outcomes[edit] is not None:
                    likely.note(edit.file, outcomes[edit])
            finally:
                trees.put(tree)
            outcome = outcomes[edit]
            print(f"{'SURVIVED' if outcome is None else 'noticed '} {edit}"
                  f"{'' if outcome is None else ' by ' + outcome}", flush=True)

        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            for _ in pool.map(make_tree, range(jobs)):
                pass
            for _ in pool.map(judge, edits):
                pass
    return outcomes


main()

"""Builds all edits of the sources into one copy of the tree, switches them on one at a time, and
tells which of them the tests notice. See scripts/mutate and docs/testing.md."""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

import operators
from asked import FUNCTION_OPTIONS, Test, digest, look_at_all, run, test_methods

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRATCH = ROOT / "build/mutants"
SUITES = ["unit", "blackbox", "fuzz", "companion"]


class Survivors:
    """The edits that no test can notice, in survivors.txt: a reason, the edits that it holds for
    (as they are printed, but without the number of their line), and an empty line."""

    def __init__(self, path):
        self.reasons = {}
        for block in path.read_text().split("\n\n"):
            lines = [line for line in block.splitlines() if not line.startswith("#")]
            self.reasons |= {edit: lines[0] for edit in lines[1:]}

    def reason(self, edit):
        return self.reasons.get(edit.key(), "")

    def table(self):
        """The table of docs/testing.md."""
        files = collections.defaultdict(collections.Counter)
        for edit, reason in self.reasons.items():
            files[reason][edit.split(" ")[0].removeprefix("src/")] += 1
        rows = ["| Reason | Edits | Where, below src |", "|---|---|---|"]
        rows += [f"| {reason} | {counts.total()} | {', '.join(counts)} |"
                 for reason, counts in files.items()]
        return "\n".join(rows)


class Tree:
    """A copy of the tree with all edits in it, and its build."""

    def __init__(self):
        self.source = SCRATCH / "source"
        self.build = SCRATCH / "build"
        self.invalid = SCRATCH / "invalid"  # the keys of edits that do not compile
        files = subprocess.run(["git", "ls-files", "-coz", "--exclude-standard"], cwd=ROOT,
                               check=True, capture_output=True, text=True).stdout.split("\0")
        edited = operators.edited_files(ROOT)
        for file in filter(None, files):
            has_edits = file in edited and (self.source / file).exists()
            if (ROOT / file).is_file() and not has_edits:
                write(self.source / file, (ROOT / file).read_bytes(), ROOT / file)
        options = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=-O0 -g0",
                   "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
                   f"-DZTMAKE_TEST_SUITES={';'.join(SUITES)}"]
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        run(["cmake", "-G", "Ninja", "-S", self.source, "-B", self.build, *options])
        entries = json.loads((self.build / "compile_commands.json").read_text())
        self.commands = {entry["file"].replace(str(self.source), str(ROOT)): entry["command"]
                         for entry in entries}

    def apply(self, edits):
        """Writes the sources with edits in them, and returns those that compile. The edits are a
        dictionary by their numbers."""
        known = set(self.invalid.read_text().split("\n")) if self.invalid.exists() else set()
        compiling = {number: edit for number, edit in edits.items()
                     if edit.key() not in known}
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            groups = pool.map(lambda file: self.apply_to(
                file, {n: edit for n, edit in compiling.items() if edit.file == file}),
                operators.edited_files(ROOT))
            valid = {number: edit for group in groups for number, edit in group.items()}
        bad = {edit.key() for number, edit in edits.items() if number not in valid}
        self.invalid.write_text("\n".join(sorted(known | bad)))
        return valid

    def apply_to(self, file, edits):
        path = self.source / file
        original = (ROOT / file).read_bytes()
        if not edits:
            write(path, original)
            return edits
        include = f'#include "{ROOT / "tests/mutation/mutant.h"}"\n'
        words = [word for word in shlex.split(self.commands[str(ROOT / file)])
                 if not word.startswith("-W") and word not in ("-c", "ccache")]
        words = words[:words.index("-o")]
        draft = SCRATCH / "drafts" / file
        while True:
            text = include + operators.guarded(original, list(edits.items()))
            if path.exists() and path.read_bytes() == text.encode():
                return edits  # an earlier run has seen it compile
            write(draft, text.encode())
            check = subprocess.run([*words, "-w", "-fsyntax-only", "-fmax-errors=0", str(draft)],
                                   cwd=self.build, capture_output=True, text=True,
                                   env={**os.environ, "LC_ALL": "C"})
            if check.returncode == 0:
                write(path, text.encode())
                return edits
            lines = text.split("\n")
            wrong = set()
            for line, column in re.findall(rf"^{re.escape(str(draft))}:(\d+):(\d+):.*error",
                                           check.stderr, re.MULTILINE):
                wrong |= culprits(lines[int(line) - 1], int(column) - 1)
            if not wrong & set(edits):  # somewhere near, then
                for line in re.findall(rf"^{re.escape(str(draft))}:(\d+):", check.stderr,
                                       re.MULTILINE):
                    wrong |= {int(n) for n in re.findall(r"mutant\((\d+)\)", lines[int(line) - 1])}
            if not wrong & set(edits):
                sys.exit(f"{file} does not compile:\n{check.stderr}")
            edits = {number: edit for number, edit in edits.items() if number not in wrong}

    def tests(self, jobs):
        """Builds all tests."""
        run(["ninja", f"-j{jobs}", "-C", self.build, "ztproject", "sample_sdk",
             *(f"tests/{suite}/all" for suite in SUITES)])
        listing = json.loads(run(["ctest", "--test-dir", self.build, "--show-only=json-v1"]))
        for test in listing["tests"]:
            command = test["command"]
            properties = {entry["name"]: entry["value"] for entry in test["properties"]}
            words = properties.get("ENVIRONMENT", [])
            environment = dict(word.split("=", 1) for word in words)
            program = pathlib.Path(command[0])
            if len(command) == 1:  # a Qt Test program
                for line in run([program, "-functions"]).splitlines():
                    function = line.removesuffix("()")
                    yield Test(f"{test['name']} {function}", program,
                               [str(program), *FUNCTION_OPTIONS, function], environment)
            else:
                code = next(path for path in map(pathlib.Path, command)
                            if path.is_relative_to(self.build) or path.is_relative_to(self.source))
                for method in test_methods(code):
                    yield Test(f"{test['name']} {method}".rstrip(), code,
                               [*command, *filter(None, [method])], environment)


def culprits(line, column):
    """The innermost edit around a place, told by the parentheses of its guard."""
    for match in reversed(list(re.finditer(r"mutant\((\d+)\)", line))):
        begin, end, depth = match.start(), len(line), 0
        for at in range(match.end(), len(line)):
            depth += {"(": 1, ")": -1}.get(line[at], 0)
            if depth < 0:
                end = at
                break
        if begin - 40 <= column <= end:
            return {int(match[1])}
    return set()


def write(path, content, like=None):
    """Leaves a file alone that is as it should be: its time would make the build begin anew."""
    if not path.exists() or path.read_bytes() != content:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
    if like is not None:
        path.chmod(like.stat().st_mode)


class Outcomes:
    """What was found out, in build/mutants/outcomes, so that a later run need not ask again: for
    each edit in a source as it is now the test that noticed it, or those that did not."""

    def __init__(self):
        self.path = SCRATCH / "outcomes"
        lines = self.path.read_text().splitlines() if self.path.exists() else []
        self.known = dict(map(json.loads, lines))

    @staticmethod
    def key(number, edit):
        """Comments may change, so neither they nor the line count."""
        source = re.sub(r"\s*//.*|\s+", "", (ROOT / edit.file).read_text())
        content = hashlib.sha1(source.encode()).hexdigest()
        return f"{content} {number % 1000} {edit.old} becomes {edit.new}"

    def of(self, number, edit):
        return self.known.get(self.key(number, edit), {"noticed": None, "survived": []})

    def add(self, number, edit, noticed, survived):
        outcome = self.key(number, edit), {"noticed": noticed, "survived": survived}
        with open(self.path, "a") as file:
            file.write(json.dumps(outcome) + "\n")


def judge_all(edits, tests, outcomes, jobs, seconds):
    """What noticed each edit: a test's name, or None."""
    found = collections.defaultdict(set)  # the tests that noticed edits of a file or function

    def cost(edit, test):
        """The less, the likelier a test is to notice the edit in the time that it takes: those
        that reach few edits are, that are named after the source, or noticed others in it."""
        cost = test.seconds * len(test.reached)
        if test.name in found[edit.file, edit.function]:
            return cost / 30
        is_near = test.name in found[edit.file] or pathlib.Path(edit.file).stem in test.name
        return cost / 5 if is_near else cost

    def noticed(edit, name):
        found[edit.file].add(name)
        found[edit.file, edit.function].add(name)
        return edit, name

    def judge(item):
        number, edit = item
        before = outcomes.of(number, edit)
        if before["noticed"]:
            return edit, before["noticed"]
        reaching = [test for test in tests if number in test.reached]
        survived = [test.identity for test in reaching if test.identity in before["survived"]]
        left = seconds
        for test in sorted(reaching, key=lambda test: cost(edit, test)):
            if test.identity in survived or test.seconds > left:
                continue
            left -= test.seconds
            if test.notices(number):
                print(f"noticed  {edit} by {test.name}", flush=True)
                outcomes.add(number, edit, test.name, [])
                return noticed(edit, test.name)
            survived.append(test.identity)
        print(f"SURVIVED {edit} in {len(survived)} of {len(reaching)} tests", flush=True)
        outcomes.add(number, edit, None, survived)
        return edit, None

    for number, edit in edits.items():
        if before := outcomes.of(number, edit)["noticed"]:
            noticed(edit, before)
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        return list(pool.map(judge, edits.items()))


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutate")
    parser.add_argument("filter", nargs="*", help="only edits whose place contains this")
    parser.add_argument("--list", action="store_true", help="only name the edits")
    parser.add_argument("--table", action="store_true",
                        help="only print the survivors as a table for docs/testing.md")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="tests run at a time")
    parser.add_argument("--seconds", type=float, default=60,
                        help="how long the tests asked about one edit may take together, with no "
                             "edit on; those that take longest are left out")
    arguments = parser.parse_args()

    survivors = Survivors(pathlib.Path(__file__).with_name("survivors.txt"))
    if arguments.table:
        print(survivors.table())
        return
    tree = Tree()
    every = operators.find_edits(ROOT, tree.commands, SCRATCH / "found")
    unknown = set(survivors.reasons) - {edit.key() for edit in every.values()}
    if unknown:
        sys.exit("survivors.txt names edits that are no longer there:\n"
                 + "\n".join(sorted(unknown)))
    if arguments.list:
        print("\n".join(map(str, every.values())))
        return

    compiling = tree.apply(every)  # all of them, so that one build serves every choice
    chosen = {number: edit for number, edit in every.items() if not arguments.filter
              or any(text in str(edit) for text in arguments.filter)}
    edits = {number: edit for number, edit in chosen.items() if number in compiling}
    print(f"{len(chosen)} of {len(every)} edits, {len(chosen) - len(edits)} of them do not compile",
          flush=True)
    tests = list(tree.tests(arguments.jobs))
    usable = look_at_all(tests, digest(tree.build / "src/ztmake"), SCRATCH, arguments.jobs,
                         arguments.seconds)
    outcomes = judge_all(edits, usable, Outcomes(), arguments.jobs, arguments.seconds)

    alive = [edit for edit, test in outcomes if test is None]
    wrong = [f"survived: {edit}" for edit in alive if not survivors.reason(edit)]
    keys = {edit.key() for edit in alive}
    wrong += [f"is explained, but was noticed by {test}: {edit}" for edit, test in outcomes
              if survivors.reason(edit) and edit.key() not in keys]
    print(f"{len(outcomes) - len(alive)} were noticed, {len(alive)} survived, "
          f"{sum(bool(survivors.reason(edit)) for edit in alive)} of them explained")
    print("\n".join(wrong))
    sys.exit(1 if wrong else 0)


main()

"""Builds all edits of the sources into one copy of the tree, switches them on one at a time, and
tells which of them the tests notice. See scripts/mutate and docs/testing.md."""

import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time

import operators

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRATCH = ROOT / "build/mutants"
SUITES = ["unit", "blackbox"]  # in the order in which they are asked
MARKS = 65536


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


class Test:
    """A test program, with the edits that it comes by and the seconds that it takes."""

    def __init__(self, name, program, environment):
        self.name = name
        self.program = program
        self.environment = environment
        self.reached = set()
        self.seconds = 0

    def passes(self, mutant, seconds):
        """Runs the test where it can signal and leave behind what it likes."""
        with tempfile.TemporaryDirectory(prefix="mutant-", ignore_cleanup_errors=True) as directory:
            os.chmod(directory, 0o755)
            environment = {**os.environ, **self.environment, "ZTMAKE_MUTANT": str(mutant),
                           "TMPDIR": directory, "HOME": directory}
            command = ["unshare", "--pid", "--fork", "--kill-child", "--mount-proc",
                       str(self.program)]
            try:
                return subprocess.run(command, env=environment, cwd=directory, timeout=seconds,
                                      stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL).returncode == 0
            except subprocess.TimeoutExpired:
                return False

    def look(self):
        """Runs the test with no edit on, and notes which it comes by."""
        with tempfile.NamedTemporaryFile(prefix="marks-") as marks:
            marks.truncate(MARKS)
            os.chmod(marks.name, 0o666)
            start = time.monotonic()
            ok = self.passes(marks.name, 1800)
            self.seconds = time.monotonic() - start
            self.reached = {number for number, mark in enumerate(marks.read(MARKS)) if mark}
        return ok

    def notices(self, number):
        return not self.passes(number, 20 + 5 * self.seconds)


class Tree:
    """A copy of the tree with all edits in it, and its build."""

    def __init__(self):
        self.source = SCRATCH / "source"
        self.build = SCRATCH / "build"
        self.invalid = SCRATCH / "invalid"  # the keys of edits that do not compile
        files = subprocess.run(["git", "ls-files", "-coz", "--exclude-standard"], cwd=ROOT,
                               check=True, capture_output=True, text=True).stdout.split("\0")
        for file in filter(None, files):
            is_edited = operators.is_edited(file) and (self.source / file).exists()
            if (ROOT / file).is_file() and not is_edited:
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
                     if json.dumps(edit.key()) not in known}
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            groups = pool.map(lambda file: self.apply_to(
                file, {n: edit for n, edit in compiling.items() if edit.file == file}),
                operators.edited_files(ROOT))
            valid = {number: edit for group in groups for number, edit in group.items()}
        bad = {json.dumps(edit.key()) for number, edit in edits.items() if number not in valid}
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

    def tests(self):
        """Builds all tests."""
        run(["ninja", "-C", self.build, *(f"tests/{suite}/all" for suite in SUITES)])
        listing = json.loads(run(["ctest", "--test-dir", self.build, "--show-only=json-v1"]))
        for test in listing["tests"]:
            program = pathlib.Path(test["command"][0])
            properties = {entry["name"]: entry["value"] for entry in test["properties"]}
            if program.is_relative_to(self.build):
                words = properties.get("ENVIRONMENT", [])
                yield Test(test["name"], program, dict(word.split("=", 1) for word in words))


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


def run(command):
    result = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        sys.exit(f"{command[0]} failed:\n{result.stdout}")
    return result.stdout


def judge_all(edits, tests, jobs):
    """What noticed each edit: a test's name, or None."""
    found = collections.defaultdict(list)  # by file, the tests that noticed edits of it, last first

    def likeliness(edit, test):
        noticed = found[edit.file]
        namesake = test.name == f"unit_tst_{pathlib.Path(edit.file).stem}"
        return (not namesake, noticed.index(test) if test in noticed[:3] else 3, test.seconds)

    def judge(item):
        number, edit = item
        reaching = [test for test in tests if number in test.reached]
        for test in sorted(reaching, key=lambda test: likeliness(edit, test)):
            if test.notices(number):
                found[edit.file] = [test] + [other for other in found[edit.file] if other != test]
                print(f"noticed  {edit} by {test.name}", flush=True)
                return edit, test.name
        print(f"SURVIVED {edit} in {len(reaching)} tests", flush=True)
        return edit, None

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        return dict(pool.map(judge, edits.items()))


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutate")
    parser.add_argument("filter", nargs="*", help="only edits whose place contains this")
    parser.add_argument("--list", action="store_true", help="only name the edits")
    parser.add_argument("--table", action="store_true",
                        help="only print the survivors as a table for docs/testing.md")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="tests run at a time")
    arguments = parser.parse_args()

    survivors = Survivors(pathlib.Path(__file__).with_name("survivors.txt"))
    if arguments.table:
        print(survivors.table())
        return
    tree = Tree()
    every = list(operators.find_edits(ROOT, tree.commands))
    unknown = set(survivors.reasons) - {edit.key() for edit in every}
    if unknown:
        sys.exit("survivors.txt names edits that are no longer there:\n"
                 + "\n".join(" | ".join(key) for key in sorted(unknown)))
    if arguments.list:
        print("\n".join(map(str, every)))
        return

    chosen = {number: edit for number, edit in enumerate(every) if not arguments.filter
              or any(text in str(edit) for text in arguments.filter)}
    edits = tree.apply(chosen)
    print(f"{len(chosen)} of {len(every)} edits, {len(chosen) - len(edits)} of them do not compile",
          flush=True)
    tests = list(tree.tests())
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        failed = [test.name for test, ok in zip(tests, pool.map(Test.look, tests)) if not ok]
    if failed:
        print(f"left out, as they fail with no edit on: {' '.join(failed)}", flush=True)
    outcomes = judge_all(edits, [test for test in tests if test.name not in failed],
                         arguments.jobs)

    alive = [edit for edit, test in outcomes.items() if test is None]
    wrong = [f"survived: {edit}" for edit in alive if not survivors.reason(edit)]
    wrong += [f"is explained, but was noticed by {test}: {edit}"
              for edit, test in outcomes.items() if survivors.reason(edit) and test is not None]
    print(f"{len(outcomes) - len(alive)} were noticed, {len(alive)} survived, "
          f"{sum(bool(survivors.reason(edit)) for edit in alive)} of them explained")
    print("\n".join(wrong))
    sys.exit(1 if wrong else 0)


main()

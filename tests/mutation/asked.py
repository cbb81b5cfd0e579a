"""The tests that scripts/mutate asks: functions of test programs, rows of their tables, and
scripts."""

import ast
import concurrent.futures
import functools
import hashlib
import os
import pathlib
import pickle
import subprocess
import sys
import tempfile
import time

MARKS = 131072
FUNCTION_OPTIONS = ["-nocrashhandler"]  # of a Qt Test program that runs one function


class Test:
    """A function of a test program, one row of its table, or a script, with the edits that it
    reaches and the seconds that it takes."""

    def __init__(self, name, code, command, environment):
        self.name = name
        self.command = command
        self.environment = environment
        self.reached = set()
        self.seconds = 0
        # What an edit has survived need not be asked again before the test is another one.
        self.identity = f"{name} {digest(code)}"

    def rows(self):
        """A test for each row of the function's table."""
        program, *options, function = self.command
        if options != FUNCTION_OPTIONS:
            return []
        lines = run([program, "-datatags"]).splitlines()
        return [Test(f"{self.name}:{row}", pathlib.Path(program),
                     [program, *options, f"{function}:{row}"], self.environment)
                for row in (line.partition(f" {function} ")[2] for line in lines) if row]

    def passes(self, mutant, seconds):
        """Runs the test where it can signal and leave behind what it likes: in a session, a process
        namespace and a directory of its own."""
        directory = tempfile.mkdtemp(prefix="mutant-")
        os.chmod(directory, 0o755)
        environment = {**os.environ, **self.environment, "ZTMAKE_MUTANT": str(mutant),
                       "TMPDIR": directory, "HOME": directory}
        # A background job of a script ignores some signals. The first process of a namespace, here
        # the shell, is not ended by signals of its own.
        command = ["setpriv", "--pdeathsig", "KILL", "env", "--default-signal", "unshare", "--pid",
                   "--fork", "--kill-child", "--mount-proc", "sh", "-c", '"$@"; exit $?', "sh",
                   *self.command]
        try:
            return subprocess.run(command, env=environment, cwd=directory, timeout=seconds,
                                  start_new_session=True, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
                                  ).returncode == 0
        except subprocess.TimeoutExpired:
            return False
        finally:  # some trees are deeper than Python can follow
            subprocess.run(["rm", "-rf", directory], stderr=subprocess.DEVNULL)

    def look(self, seconds):
        """Runs the test with no edit on, and notes which it reaches. None: it took too long."""
        with tempfile.NamedTemporaryFile(prefix="marks-") as marks:
            marks.truncate(MARKS)
            os.chmod(marks.name, 0o666)
            start = time.monotonic()
            ok = self.passes(marks.name, seconds)
            self.seconds = time.monotonic() - start
            self.reached = {number for number, mark in enumerate(marks.read(MARKS)) if mark}
        return None if self.seconds >= seconds else ok

    def notices(self, number):
        return not self.passes(number, 15 + 5 * self.seconds)


def test_methods(script):
    """The methods of a test that uses unittest; "", that is all of it, for another one."""
    if not script.name.startswith("test_"):
        return [""]
    classes = [node for node in ast.parse(script.read_text()).body if isinstance(node, ast.ClassDef)]
    return [f"{node.name}.{function.name}" for node in classes for function in node.body
            if isinstance(function, ast.FunctionDef) and function.name.startswith("test_")]


def look_at_all(tests, build, scratch, jobs, seconds):
    """Returns the tests that can be asked. What they reach is kept for the next run of the same
    build."""
    path = scratch / "looks"
    looks = pickle.loads(path.read_bytes()) if path.exists() else {}

    def look(test):
        key = test.identity, build
        if key not in looks or (looks[key][0] is None and looks[key][2] < seconds):
            ok = test.look(seconds)
            looks[key] = ok, test.reached, test.seconds
        ok, test.reached, test.seconds = looks[key]
        return ok

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        results = list(pool.map(look, tests))
        rows = [row for test, ok in zip(tests, results) if ok is None for row in test.rows()]
        tests, results = tests + rows, results + list(pool.map(look, rows))
    path.write_bytes(pickle.dumps({(test.identity, build): looks[test.identity, build]
                                   for test in tests}))
    for result, reason in ((False, "they fail with no edit on"), (None, "they take too long")):
        names = [test.name for test, ok in zip(tests, results) if ok is result]
        if names:
            print(f"left out, as {reason}: {', '.join(names)}", flush=True)
    return [test for test, ok in zip(tests, results) if ok]


@functools.cache
def digest(path):
    return hashlib.sha1(path.read_bytes()).hexdigest()


def run(command):
    result = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        sys.exit(f"{command[0]} failed:\n{result.stdout}")
    return result.stdout

"""What the tests of the samples share: a temporary world, and the tools run in it."""

import hashlib
import json
import os
import shutil
import struct
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as xml
from pathlib import Path

SDK = Path(os.environ["ZTMAKE_TEST_SDK"])
PROJECTS = Path(os.environ["ZTMAKE_TEST_PROJECTS"])
LCONVERT = shutil.which("lconvert", path="/usr/lib/qt6/bin:" + os.environ["PATH"])

# Times are set: sources are old, what a first build made is younger, a change is younger still.
SOURCE_TIME, BUILD_TIME, CHANGE_TIME = 1_500_000_000, 1_500_000_100, 1_500_000_200


class World(unittest.TestCase):
    """A test in a directory of its own."""

    def setUp(self):
        self.assertTrue((SDK / "bin/ztmake").exists(), f"there is no sample SDK in {SDK}")
        temporary = tempfile.TemporaryDirectory(prefix="ztmaketest")
        self.addCleanup(temporary.cleanup)
        self.home = Path(temporary.name) / "home"
        self.dir = Path(temporary.name) / "project"
        self.home.mkdir()
        self.dir.mkdir()

    def environment(self):
        """The variables that the tools see: nothing of the user's settings."""
        return {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "HOME": str(self.home),
                "XDG_CONFIG_HOME": str(self.home), "PYTHONDONTWRITEBYTECODE": "1",
                "GCOV_ERROR_FILE": "/dev/null", "ZELTASDK": str(SDK.parent),
                "ZTMAKE_MUTANT": os.environ.get("ZTMAKE_MUTANT", "")}  # scripts/mutate

    def run_command(self, *command, cwd=None):
        """Runs any command in the test's directory."""
        return subprocess.run([str(part) for part in command], cwd=cwd or self.dir,
                              env=self.environment(), stdin=subprocess.DEVNULL,
                              capture_output=True, text=True)

    def tool(self, name, *arguments, cwd=None):
        """Runs a tool that must succeed without a complaint, and gives what it printed."""
        result = self.run_command(SDK / "bin" / name, *arguments, cwd=cwd)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def failing_tool(self, name, *arguments):
        """Runs a tool that must fail, and gives its complaint."""
        before = self.files()
        result = self.run_command(SDK / "bin" / name, *arguments)
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertEqual(self.files(), before, "a failed tool left something behind")
        return result.stderr

    def write(self, path, text):
        """Writes a file of the test's world."""
        file = self.dir / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(text.encode() if isinstance(text, str) else text)
        return file

    def read(self, path):
        """Reads a text file of the test's world."""
        return (self.dir / path).read_bytes().decode()

    def files(self, directory="."):
        """The paths of all files and links below a directory."""
        top = self.dir / directory
        return sorted(str(path.relative_to(top)) for path in top.rglob("*")
                      if path.is_symlink() or path.is_file())

    def catalogue(self, file):
        """The translations in a .qm file by context and text."""
        self.assertIsNotNone(LCONVERT, "lconvert is missing")
        result = self.run_command(LCONVERT, "-if", "qm", "-i", file, "-of", "ts")
        self.assertEqual(result.returncode, 0, result.stderr)
        root = xml.fromstring(result.stdout)
        return {(context.findtext("name"), message.findtext("source")):
                message.findtext("translation")
                for context in root.iter("context") for message in context.iter("message")}



class ProjectWorld(World):
    """A test with a copy of a sample project."""

    project = None
    first_build = None

    def setUp(self):
        super().setUp()
        generated = shutil.ignore_patterns("obj", "firmware", "mtd16.*")
        shutil.copytree(PROJECTS / self.project, self.dir, symlinks=True, ignore=generated,
                        dirs_exist_ok=True)
        self.set_times(SOURCE_TIME)

    def set_times(self, time):
        """Sets the time of every file."""
        for path in self.files():
            os.utime(self.dir / path, (time, time), follow_symlinks=False)

    def age_outputs(self):
        """Makes everything look as if it was built a while after the sources were written."""
        for path in self.files():
            if (self.dir / path).stat().st_mtime > BUILD_TIME:
                os.utime(self.dir / path, (BUILD_TIME, BUILD_TIME))

    def change(self, path):
        """Makes a file look as if it was changed after the last build."""
        os.utime(self.dir / path, (CHANGE_TIME, CHANGE_TIME))

    def make(self, *options):
        """Runs the program; gives the echoed calls, each as a list of words."""
        result = self.run_command(SDK / "bin/ztmake", *options)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.printed = result.stdout
        calls = []
        for line in result.stderr.splitlines():
            self.assertTrue(line.startswith("[ztmake] "), line)
            calls.append(line.removeprefix("[ztmake] (in translations) ")
                         .removeprefix("[ztmake] ").split(" "))
        return calls

    def build(self):
        """A first build. It is done once for all tests of a class, and copied; gives its calls."""
        cls = type(self)
        if cls.first_build is None:
            calls = self.make()
            store = tempfile.TemporaryDirectory(prefix="ztmaketest")
            cls.addClassCleanup(store.cleanup)
            shutil.copytree(self.dir, store.name, symlinks=True, dirs_exist_ok=True)
            cls.first_build = store.name, calls
        store, calls = cls.first_build
        shutil.copytree(store, self.dir, symlinks=True, dirs_exist_ok=True)
        return calls

    def unpack(self, firmware, directory):
        """Unpacks the image of a firmware file; gives the paths in it."""
        self.tool("ztinspect", "--extract", directory, firmware)
        return self.files(directory)

    def check_container(self, file, model, name, version, key=None):
        """Takes a firmware file apart by hand and checks all of it; gives the image."""
        content = (self.dir / file).read_bytes()
        self.assertEqual(content[:8], b"ZTFIRMW1")
        size, = struct.unpack(">I", content[8:12])
        manifest = json.loads(content[12 : 12 + size])
        rest = content[12 + size :]
        kernel = rest[: manifest["kernel"]["size"]]
        image = rest[len(kernel) : len(kernel) + manifest["data"]["size"]]
        mac = rest[len(kernel) + len(image) :]
        self.assertEqual(kernel, (SDK / f"kernel/{model}-kernel.bin").read_bytes())
        self.assertEqual(image[:8], b"-rom1fs-")
        self.assertEqual(manifest, {
            "model": model, "name": name, "version": version, "authenticated": key is not None,
            "kernel": {"size": len(kernel), "sha256": hashlib.sha256(kernel).hexdigest()},
            "data": {"size": len(image), "sha256": hashlib.sha256(image).hexdigest()}})
        self.assertEqual(len(mac), 0 if key is None else 32)
        return image

    def check_loads(self, file):
        """Checks that lua5.1 can load a source or byte code."""
        result = self.run_command("lua5.1", "-e", f"assert(loadfile([[{file}]]))")
        self.assertEqual((result.returncode, result.stderr), (0, ""))

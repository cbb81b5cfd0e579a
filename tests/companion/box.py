"""What the tests of the companion program share: a small project, made by itself."""

import os
import shutil
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(os.environ["ZTMAKE_TEST_SOURCES"]) / "tests/examples"))
from world import SDK, SOURCE_TIME, World  # noqa: E402

SOURCES = Path(os.environ["ZTMAKE_TEST_SOURCES"])
PROGRAM = SDK / "bin/ztproject"
MAIN = "root/usr/bin/box.lua"


class BoxWorld(World):
    """A test in the directory of a fresh project "box", with one language and a key."""

    made = None

    def setUp(self):
        super().setUp()
        if BoxWorld.made is None:
            BoxWorld.made = tempfile.TemporaryDirectory(prefix="ztmaketest")
            result = self.run_command(PROGRAM, "init", "box", "--language", "de", "--key",
                                      cwd=BoxWorld.made.name)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
        shutil.copytree(Path(BoxWorld.made.name) / "box", self.dir, dirs_exist_ok=True)

    def edit(self, old, new, file="box.ztp"):
        """Replaces a text, which must be there, in a file."""
        text = self.read(file)
        self.assertIn(old, text)
        self.write(file, text.replace(old, new))

    def make(self, *options, cwd=None, project=()):
        """Builds; gives the exit status."""
        result = self.run_command(SDK / "bin/ztmake", "-q", *options, *project, cwd=cwd)
        self.printed = result.stdout + result.stderr
        return result.returncode

    def ask(self, *arguments, cwd=None):
        """Runs the companion program."""
        return self.run_command(PROGRAM, *arguments, cwd=cwd)

    def time(self, path, seconds):
        """Sets the time of a file, in seconds from that of the project file."""
        moment = (self.dir / "box.ztp").stat().st_mtime + seconds
        os.utime(self.dir / path, (moment, moment))

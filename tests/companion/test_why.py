#!/usr/bin/env python3
"""ztproject why: the reasons, in words. That they are right is tested with random projects."""

import os
import shutil
import subprocess
import unittest

from box import PROGRAM, SOURCE_TIME, BoxWorld

MAIN = "root/usr/bin/box"
MODULE = "root/usr/lib/lua/box/greeting"
ALWAYS = ["ztlupdate: always", "obj/version.txt: always", "obj/autoexec.lua: always",
          "obj/root.romfs: always", "firmware/ZT100-box-0.1-firmware.ztf: always"]
PERHAPS = "obj/translations/de.qm: only if ztlupdate changes translations/de.ts"


class Why(BoxWorld):
    """What is told about one project."""

    def setUp(self):
        super().setUp()
        os.utime(self.dir / "box.ztp", (SOURCE_TIME, SOURCE_TIME))
        for path in self.files():
            self.time(path, 0)

    def why(self, *options, status=0, complaint=""):
        """The lines, without those that every build has."""
        result = self.ask("why", *options)
        self.assertEqual((result.returncode, result.stderr), (status, complaint))
        lines = result.stdout.splitlines()
        if not complaint:
            self.assertIn("obj/version.txt: always", lines)
        return [line for line in lines if line not in ALWAYS]

    def test_first_build(self):
        lines = self.why()
        self.assertEqual(sorted(lines), sorted(
            [f"obj/{name}.{kind}: missing" for name in (MAIN, MODULE) for kind in ("lui", "luo")]
            + ["obj/translations/de.qm: missing"]))

    def test_nothing_to_do(self):
        self.make()
        self.assertEqual(self.why(), [PERHAPS])

    def test_reasons(self):
        self.make()
        for path in self.files("obj"):
            self.time(f"obj/{path}", 10)
        self.time(f"{MAIN}.lua", 13)
        (self.dir / f"obj/{MODULE}.luo").unlink()
        self.time("translations/de.ts", 10 + 3 * 60)
        self.assertEqual(set(self.why()), {
            f"obj/{MAIN}.lui: older than {MAIN}.lua by 3 s",
            f"obj/{MAIN}.luo: made from obj/{MAIN}.lui, which is made first",
            f"obj/{MODULE}.luo: missing",
            "obj/translations/de.qm: older than translations/de.ts by 3 min"})

    def test_short_and_long_times(self):
        self.make()
        output = self.dir / f"obj/{MAIN}.lui"
        second = 10 ** 9
        for age, text in ((1, "1 ns"), (999, "999 ns"), (1500, "1.5 µs"), (999_999, "1 ms"),
                          (999_999_999, "1 s"), (90 * second, "90 s"), (160 * second, "3 min"),
                          (119 * 60 * second, "119 min"), (47 * 3600 * second, "47 h"),
                          (72 * 3600 * second, "3 days")):
            with self.subTest(text):
                time = output.stat().st_mtime_ns
                os.utime(self.dir / f"{MAIN}.lua", ns=(time + age, time + age))
                self.assertIn(f"obj/{MAIN}.lui: older than {MAIN}.lua by {text}", self.why())

    def test_control_characters(self):
        self.write("root/a\x1b[31m.lua", "print(1)\n")
        self.assertIn("obj/root/a\ufffd[31m.lui: missing", self.why())

    def test_tool_that_runs_several_times(self):
        self.write("more/m.lua", "print(1)\n")
        self.edit("<Merge Type", '<Merge Type="Directory"><Source>more</Source></Merge>\n'
                  "<Merge Type")
        lines = self.ask("why").stdout.splitlines()
        self.assertEqual(lines.count("ztlupdate: always"), 1)
        lines = self.ask("why", "--commands").stdout.splitlines()
        self.assertEqual(lines.count("ztlupdate: always"), 2)

    def test_project_file(self):
        self.make()
        for path in self.files("obj"):
            self.time(f"obj/{path}", -1)
        for path in self.files("root") :
            self.time(f"root/{path}", -10)
        self.assertIn(f"obj/{MODULE}.lui: older than the project file", self.why())

    def test_all(self):
        self.make()
        lines = self.why("--all")
        self.assertIn(f"obj/{MODULE}.luo: --all", lines)
        self.assertIn("obj/translations/de.qm: --all", lines)

    def test_commands(self):
        lines = self.why("--commands")
        call = f"$ ztluac -s -o obj/{MAIN}.luo -- obj/{MAIN}.lui"
        self.assertEqual(lines[lines.index(call) + 1], f"obj/{MAIN}.luo: missing")

    def test_interrupted_build_of_everything(self):
        self.make()
        compiler = self.home / "sdk-1.0/bin/ztluac"
        shutil.copytree(os.path.dirname(os.path.dirname(PROGRAM)), self.home / "sdk-1.0",
                        symlinks=True)
        compiler.unlink()
        compiler.write_text("#!/bin/sh\nkill -9 $PPID\n")
        compiler.chmod(0o755)
        subprocess.run([self.home / "sdk-1.0/bin/ztmake", "-q", "--all"], cwd=self.dir,
                       env=self.environment(), check=False)
        texts = " ".join(self.why())
        self.assertIn("left over by an interrupted --all", texts)
        self.assertIn(".luo: missing", texts) # its compiler was killed with the build

    def test_lost_power(self):
        self.make()
        self.write("obj/.unfinished", "torn")
        self.assertIn(f"obj/{MODULE}.luo: everything is made again after a power failure", self.why())

    def test_build_that_would_stop(self):
        self.edit("</Project>", '<MTD16 Enabled="true"/></Project>')
        self.assertEqual(self.why(status=1, complaint="[ztproject] The build would stop here: "
                                  'MTD16 input file "box.mtdef" not found.\n'), [])

    def test_no_project(self):
        (self.dir / "box.ztp").unlink()
        self.why(status=1, complaint="[ztproject] Cannot find a unique profile in current "
                 "directory.\n")
        self.why("x.ztp", status=1, complaint="[ztproject] x.ztp: No such file or directory\n")

    def test_nothing_is_written_where_nothing_can_be(self):
        # Whatever it would write, and wherever: the system says no.
        trace = self.home / "trace"
        self.run_command("strace", "-f", "-e", "trace=file,desc", "-o", trace, PROGRAM, "why")
        if not trace.exists():
            self.skipTest("strace is not there")
        forbidden = ("mkdir(", "unlink(", "rename(", "O_WRONLY", "O_CREAT", "utimensat(", "flock(",
                     "truncate", "fchmod", "linkat(")
        for line in trace.read_text(errors="replace").splitlines():
            if "/dev/null" not in line and ".gcda" not in line:  # the counts of scripts/coverage
                self.assertFalse(any(word in line for word in forbidden), line)


class Usage(BoxWorld):
    """The command line."""

    def test_help(self):
        result = self.ask("--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        for command in "check", "why", "init", "size":
            self.assertIn(f"  {command} ", result.stdout)
            text = self.ask(command, "--help")
            self.assertEqual(text.returncode, 0)
            self.assertTrue(text.stdout.startswith(f"Usage: ztproject [options] {command} "))

    def test_mistakes(self):
        self.assertEqual(self.ask().returncode, 1)
        self.assertIn("Usage: ztproject", self.ask("what").stderr)
        self.assertEqual(self.ask("why", "--what").stderr,
                         "[ztproject] Unknown option 'what'.\n")
        self.assertEqual(self.ask("why", "a", "b").stderr,
                         "[ztproject] Only one name is expected: a b\n")

    def test_full_disk(self):
        self.make()
        for arguments in (["check", "--format=json"], ["why"], ["size"], ["init", "new"],
                          ["--help"], ["--version"]):
            with self.subTest(arguments), open("/dev/full", "w") as full:
                result = subprocess.run([PROGRAM, *arguments], cwd=self.dir, stdout=full,
                                        env=self.environment(), stderr=subprocess.PIPE, text=True)
                self.assertEqual((result.returncode, result.stderr),
                                 (1, "[ztproject] Cannot write to standard output.\n"))

    def test_version(self):
        self.assertEqual(self.ask("--version").stdout,
                         f"ztproject {os.environ['ZTMAKE_TEST_VERSION']}\n")


if __name__ == "__main__":
    unittest.main()

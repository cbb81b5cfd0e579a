#!/usr/bin/env python3
"""ztproject check --compare: outputs that are not what their sources give, whatever the times say."""

import json
import os
import shutil
import signal
import subprocess
import time
import unittest

from box import MAIN, SDK, BoxWorld
from checkworld import LINE, MODULE, CheckWorld

INCLUDES = "".join(f"<Include>include{i or ''}</Include>" for i in range(9))
CATALOGUE = """<TS version="2.1" language="de" sourcelanguage="en"><context>
<name>box/greeting</name><message><source>Hello from box</source><translation>Hallo</translation>
</message></context></TS>
"""


class Compared(CheckWorld):
    """A project with everything that is made of sources, built, with outputs that look young."""

    def setUp(self):
        super().setUp()
        self.temporary = self.home / "tmp"
        self.temporary.mkdir()
        environment = {**self.environment(), "TMPDIR": str(self.temporary)}
        self.environment = lambda: environment
        # So many that the arguments travel in a file.
        self.use_all_inputs(CATALOGUE, INCLUDES)
        for i in range(1, 9):
            (self.dir / f"include{i}").mkdir()
        for path in self.files():
            self.time(path, -100)
        BoxWorld.make(self)
        self.make_young()

    def make_young(self):
        """Gives all outputs a time that no source is younger than."""
        made = ["include/mtd16.lh", "root/usr/lib/lua/mtd16.lua"]
        objects = [f"obj/{path}" for path in self.files("obj")]
        for number, path in enumerate(made + sorted(objects, key=lambda path: path[-1:])):
            self.time(path, 100 + number)

    def compared(self, *arguments, **settings):
        """What check --compare finds; it leaves nothing behind."""
        before = self.state()
        found = self.findings("--compare", *arguments, **settings)
        self.assertEqual(self.state(), before)
        self.assertEqual(list(self.temporary.iterdir()), [])
        return found

    def state(self):
        """Everything in the project, with its times and contents."""
        return {str(path): (path.stat().st_mtime_ns, path.is_file() and path.read_bytes())
                for path in self.dir.rglob("*")}

    def expect_difference(self, source, *outputs):
        """What a plain check and a build do not notice."""
        self.assertEqual(self.findings(), [])
        found = self.compared()
        self.assertEqual([(one["check"], one["kind"], one["file"], one["text"]) for one in found],
                         [("compare", "warning", source, f"{output} is not what {source} gives")
                          for output in outputs])
        self.assertEqual(self.make(), 0)
        self.make_young()
        self.assertEqual(len(self.compared()), len(outputs), "the build has noticed")
        self.assertEqual(BoxWorld.make(self, "--all"), 0)
        self.assertEqual(self.compared(), [])

    def sdk_with(self, tool, script):
        """Another SDK, with another program in place of a tool; its ztproject is to be asked."""
        sdk = self.home / "sdk/sdk-1.0"
        shutil.copytree(SDK, sdk, symlinks=True)
        (sdk / "bin" / tool).unlink()
        (sdk / "bin" / tool).write_text(f"#!/bin/sh\n{script}\n")
        (sdk / "bin" / tool).chmod(0o755)
        environment = {**self.environment(), "ZELTASDK": str(sdk.parent)}
        self.environment = lambda: environment
        return sdk / "bin/ztproject"

    def found_by(self, program, *options):
        result = self.run_command(program, "check", "--compare", *options)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(list(self.temporary.iterdir()), [])
        return [(found["check"], found["kind"], found["file"], found["text"])
                for found in LINE.finditer(result.stdout)]

    def test_nothing_differs(self):
        self.assertEqual(self.compared(), [])
        shutil.rmtree(self.dir / "obj")
        self.assertEqual(self.compared(), []) # a build makes everything

    def test_objects_restored_over_an_edited_source(self):
        self.edit("LIMIT,", "1 + LIMIT,", MAIN)
        self.time(MAIN, -100)
        self.make_young()
        self.expect_difference(MAIN, "obj/root/usr/bin/box.lui")

    def test_byte_code_restored_over_an_edited_source(self):
        old = (self.dir / "obj/root/usr/lib/lua/box/greeting.luo").read_bytes()
        self.edit("Hello", "Goodbye", MODULE)
        BoxWorld.make(self, "--all")
        self.write("obj/root/usr/lib/lua/box/greeting.luo", old)
        self.make_young()
        self.expect_difference(MODULE, "obj/root/usr/lib/lua/box/greeting.luo")

    def test_objects_restored_over_an_edited_header(self):
        self.edit("1", "2", "include/a.lh")
        self.time("include/a.lh", -100)
        self.make_young()
        self.expect_difference(MAIN, "obj/root/usr/bin/box.lui")

    def test_module_restored_over_edited_definitions(self):
        self.edit("u8", "u16", "box.mtdef")
        self.time("box.mtdef", -100)
        self.make_young()
        self.expect_difference("box.mtdef", "root/usr/lib/lua/mtd16.lua")

    def test_catalogue_restored_over_edited_translations(self):
        self.edit("Hallo", "Guten Tag", "translations/de.ts")
        self.time("translations/de.ts", -100)
        self.make_young()
        self.expect_difference("translations/de.ts", "obj/translations/de.qm")

    def test_objects_restored_over_an_edited_project_file(self):
        old = (self.dir / "box.ztp").stat().st_mtime_ns
        self.edit('Strip="true"', 'Strip="false"')
        os.utime(self.dir / "box.ztp", ns=(old, old))
        self.make_young()
        self.assertEqual({found["text"].partition(" is ")[0] for found in self.compared()},
                         {f"obj/root/{path}" for path in self.files("obj/root")
                          if path.endswith(".luo")})

    def test_copies_restored_over_edited_sources(self):
        self.edit("<Preprocess ", '<Preprocess Enabled="false" ')
        self.edit("<Compile ", '<Compile Enabled="false" ')
        self.write(MAIN, "print(1)\n")
        BoxWorld.make(self, "--all")
        self.edit("1", "2", MAIN)
        self.time(MAIN, -100)
        self.make_young()
        self.expect_difference(MAIN, "obj/root/usr/bin/box.lua")

    def test_other_sdk(self):
        program = self.sdk_with("ztluac", f'{SDK}/bin/ztluac "$@" && echo x >>"$3"\necho made')
        self.assertEqual(
            sorted(self.found_by(program)),
            sorted(("compare", "warning", source, f"obj/{source[:-1]}o is not what {source} gives")
                   for source in (f"root/{path}" for path in self.files("root"))))
        # A program of a package lies beside no tools.
        (self.home / "bin").mkdir()
        shutil.copy(program, self.home / "bin")
        self.assertEqual(len(self.found_by(self.home / "bin/ztproject")), 3)
        # What tools print is not mixed up with what is found.
        result = self.run_command(program, "check", "--compare", "--format=json")
        self.assertEqual(len(json.loads(result.stdout)), 3)

    def test_no_tools_at_all(self):
        program = self.sdk_with("ztluac", "")
        (self.home / "bin").mkdir()
        shutil.copy(program, self.home / "bin")
        shutil.rmtree(program.parent)
        result = self.run_command(self.home / "bin/ztproject", "check", "--compare")
        self.assertEqual(result.returncode, 1)
        self.assertIn("There are no tools beside this program, and none in", result.stdout)

    def test_tool_that_fails(self):
        program = self.sdk_with("lrelease", "echo bad file >&2\necho more >&2\nexit 3")
        said = ("compare", "warning", "translations/de.ts",
                "lrelease cannot make obj/translations/de.qm again: ")
        self.assertEqual(self.found_by(program), [(*said[:3], said[3] + "bad file")])
        (program.parent / "lrelease").write_text("#!/bin/sh\nexit 3\n")
        self.assertEqual(self.found_by(program),
                         [(*said[:3], said[3] + "Command exited with status 3")])

    def test_doubts_are_settled(self):
        time.sleep(0.02)
        (self.dir / "include/a.lh").chmod(0o600)
        BoxWorld.make(self, "--all")
        time.sleep(0.02)
        (self.dir / "include/a.lh").chmod(0o644)
        self.assertEqual([found["check"] for found in self.findings()], ["replaced-source"])
        self.assertEqual(self.compared(), [])

    def test_header_that_only_looks_newer(self):
        self.time("include/a.lh", 1000)
        self.assertEqual([found["check"] for found in self.findings()], ["header"])
        self.assertEqual(self.compared(), [])
        # Nobody knows what is in one that the build makes anew, long after all the others.
        for path in self.files():
            old = (self.dir / path).stat().st_mtime - 10000
            os.utime(self.dir / path, (old, old))
        self.time("box.mtdef", 2000)
        found = self.compared()
        self.assertEqual([one["check"] for one in found], ["header"])
        self.assertIn("include/mtd16.lh is newer", found[0]["text"])

    def test_pipe_as_source(self):
        for path in "translations/de.ts", "box.mtdef":
            (self.dir / path).unlink()
            os.mkfifo(self.dir / path)
            self.time(path, -100)
        self.assertEqual({(found["check"], found["file"], found["text"])
                          for found in self.compared()}, {
            ("translation", "box.ztp", "translations/de.ts is not a regular file"),
            ("compare", "translations/de.ts", "translations/de.ts is not a regular file"),
            ("compare", "box.mtdef", "box.mtdef is not a regular file")})

    def test_no_temporary_directory(self):
        self.temporary.rmdir()
        self.temporary.write_text("")
        result = self.ask("check", "--compare")
        self.assertEqual(result.returncode, 1)
        self.assertIn("Cannot make a temporary directory", result.stdout)

    def test_interruption(self):
        for number in signal.SIGINT, signal.SIGTERM:
            with self.subTest(number):
                shutil.rmtree(self.home / "sdk", ignore_errors=True)
                program = self.sdk_with("ztluac", f": >{self.home}/begun\nexec sleep 100000")
                process = subprocess.Popen([program, "check", "--compare"], cwd=self.dir,
                                           env=self.environment(), stdout=subprocess.PIPE)
                while not (self.home / "begun").exists():
                    self.assertIsNone(process.poll())
                    time.sleep(0.01)
                self.assertNotEqual(list(self.temporary.iterdir()), [])
                process.send_signal(number)
                self.assertEqual(process.communicate()[0], b"")
                self.assertEqual(process.returncode, -number)
                self.assertEqual(list(self.temporary.iterdir()), [])
                (self.home / "begun").unlink()


if __name__ == "__main__":
    unittest.main()

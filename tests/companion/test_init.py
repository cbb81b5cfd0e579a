#!/usr/bin/env python3
"""ztproject init: what it makes builds at once, runs, and is found good."""

import os
import shutil
import unittest

from box import PROGRAM, SDK, World


NAMES = ("A name holds only the letters A to Z and a to z, digits, _ and -, and does not begin with _ "
         "or -")


class Init(World):
    """New projects."""

    def start(self, *arguments, program=PROGRAM):
        """Starts a project; gives what is said on standard error."""
        before = self.files()
        result = self.run_command(program, "init", *arguments)
        self.assertEqual(result.returncode, 1 if result.stderr else 0)
        made = sorted(set(self.files()) - set(before))
        self.assertEqual(sorted(result.stdout.splitlines()), made)
        return result.stderr

    def build(self, name):
        """Checks, builds and runs a project; gives what the device prints."""
        directory = self.dir / name
        check = self.run_command(PROGRAM, "check", "--strict", cwd=directory)
        self.assertEqual((check.returncode, check.stdout), (0, ""))
        make = self.run_command(SDK / "bin/ztmake", "-q", cwd=directory)
        self.assertEqual(make.returncode, 0, make.stderr)
        firmware = sorted((directory / "firmware").iterdir())
        self.firmware = [file.name for file in firmware]
        self.inspected = self.tool("ztinspect", firmware[0])
        result = self.run_command(SDK / "bin/ztrun", firmware[0])
        self.assertEqual(result.returncode, 0, result.stderr)
        return result.stdout

    def test_plain_project(self):
        self.assertEqual(self.start("box"), "")
        self.assertIn("Hello from box\n", self.build("box"))
        self.assertEqual(self.firmware, ["ZT100-box-0.1-firmware.ztf"])
        self.assertIn("authenticated  no", self.inspected)

    def test_project_with_everything(self):
        self.assertEqual(self.start("deep/a-box_2", "--model", "ZT200", "--model", "ZT100",
                                    "--language", "de", "--language", "pt_BR", "--key"), "")
        self.assertIn("Hello from a-box_2\n", self.build("deep/a-box_2"))
        self.assertEqual(len(self.firmware), 2)
        self.assertIn("authenticated  yes", self.inspected)
        self.assertIn("/usr/lib/translations/pt_BR.qm", self.inspected)
        key = self.dir / "deep/a-box_2/keys/firmware.key"
        self.assertEqual(key.stat().st_mode & 0o777, 0o600)
        self.assertRegex(key.read_text(), r"\A[0-9a-f]{64}\n\Z")

    def test_keys_differ(self):
        self.start("a", "--key")
        self.start("b", "--key")
        self.assertNotEqual(self.read("a/keys/firmware.key"), self.read("b/keys/firmware.key"))

    def test_project_file_names_its_schema(self):
        self.start("box")
        self.assertIn("zelta-project-2009-42.xsd", self.read("box/box.ztp"))

    def test_git_ignores_what_builds_make(self):
        self.start("box", "--key", "--language", "de")
        self.build("box")
        for folder in "include", "root/usr/lib/lua":
            self.write(f"box/{folder}/mtd16.l{'h' if folder == 'include' else 'ua'}", "x")
        self.run_command("git", "init", "-q", cwd=self.dir / "box")
        result = self.run_command("git", "status", "--porcelain", "--untracked-files=all",
                                  cwd=self.dir / "box")
        self.assertEqual(sorted(line[3:] for line in result.stdout.splitlines()),
                         [".gitignore", "box.ztp", "root/usr/bin/box.lua",
                          "root/usr/lib/lua/box/greeting.lua", "translations/de.ts"])

    def test_nothing_is_written_over(self):
        for file in "box/box.ztp", "box/root/usr/bin/box.lua", "box/.gitignore":
            with self.subTest(file):
                self.write(file, "mine")
                self.assertEqual(self.start("box"),
                                 f"[ztproject] {file} already exists; nothing was written.\n")
                self.assertEqual(self.files(), [file])
                (self.dir / file).unlink()
        os.symlink("nowhere", self.dir / "box/box.ztp")
        self.assertIn("already exists", self.start("box"))

    def test_file_in_place_of_a_directory(self):
        for file in "box/root/usr/lib", "box/translations", "box":
            with self.subTest(file):
                self.write(file, "mine")
                self.assertEqual(self.start("box", "--language", "de"),
                                 f"[ztproject] {file} already exists; nothing was written.\n")
                self.assertEqual(self.files(), [file])
                (self.dir / file).unlink()
                shutil.rmtree(self.dir / "box", ignore_errors=True)

    def test_repeated_options(self):
        self.assertEqual(self.start("box", "--language", "de", "--language", "de",
                                    "--model", "ZT100", "--model", "ZT100"), "")
        self.build("box")
        self.assertEqual(len(self.firmware), 1)

    def test_project_beside_other_files(self):
        self.write("box/notes.txt", "mine")
        self.assertEqual(self.start("box"), "")

    def test_folder_that_cannot_be_written(self):
        self.write("file", "x")
        self.assertEqual(self.start("file/box"),
                         "[ztproject] Error writing file/box/box.ztp: Not a directory\n")

    def test_mistakes(self):
        for arguments, text in (
                ((), "Name the project: ztproject init NAME"),
                (("my.box",), f"{NAMES}: my.box"),
                (("_",), f"{NAMES}: _"),
                (("-",), f"{NAMES}: -"),
                (("box\n",), f"{NAMES}: box\\n"),
                (("box", "--language", "de\n"),
                 "A language has a name like de or de_AT: de\\n"),
                (("box", "--language", "../x"), "A language has a name like de or de_AT: ../x"),
                (("box", "--model", "X1"), "The SDK has no kernel for X1, only for ZT100, ZT200."),
                (("box", "--sdk", "7"),
                 "Cannot find SDK directory. Name one with --sdk, or set ZELTASDK.")):
            with self.subTest(text):
                self.assertEqual(self.start(*arguments), f"[ztproject] {text}\n")

    def test_name_in_a_directory(self):
        self.assertEqual(self.start("some.where/box"), "")
        self.build("some.where/box")

    def test_sdk_without_kernels(self):
        (self.dir / "empty").mkdir()
        self.assertEqual(self.start("box", "--sdk", str(self.dir / "empty")),
                         f"[ztproject] The SDK {self.dir}/empty has no kernel.\n")

    def sdk_of(self, *arguments, program=PROGRAM):
        """The attribute SDK of a new project."""
        shutil.rmtree(self.dir / "box", ignore_errors=True)
        self.assertEqual(self.start("box", *arguments, program=program), "")
        line = next(line for line in self.read("box/box.ztp").splitlines() if "<Project" in line)
        return line.split('SDK="')[1].split('"')[0] if "SDK" in line else None

    def test_sdk_at_hand(self):
        self.assertEqual(self.sdk_of(), "1.0")
        self.assertEqual(self.sdk_of("--sdk", str(SDK)), str(SDK))
        (self.dir / "sdks").symlink_to(SDK.parent)
        self.assertEqual(self.sdk_of("--sdk", "sdks/sdk-1.0"), f"{self.dir}/sdks/sdk-1.0")
        alone = self.home / "ztproject"
        shutil.copy(PROGRAM, alone)
        self.assertEqual(self.sdk_of(program=alone), "1.0")
        repository = self.home / "ZeltaSDK"
        for version in "sdk-2.9", "sdk-2.10":
            (repository / version / "kernel").mkdir(parents=True)
            (repository / version / "kernel/M-kernel.bin").write_text("x")
        tree = self.home / "tree"
        (tree / "src/sdk/kernel").mkdir(parents=True)
        (tree / "src/sdk/kernel/M-kernel.bin").write_text("x")
        environment = {**self.environment(), "ZELTASDK": str(repository), "ZELTADIR": str(tree)}
        self.environment = lambda: environment
        self.assertEqual(self.sdk_of(program=alone), "2.10")
        self.assertEqual(self.sdk_of(), str(SDK), "the SDK of the program is in no repository")
        shutil.rmtree(repository)
        self.assertIsNone(self.sdk_of(program=alone))


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""ztproject check: what it says to projects of which a build fails, and to firmware in danger."""

import os
import shutil
import unittest

from box import SDK, SOURCES
from checkworld import LINE, MERGE, CheckWorld


class Stopped(CheckWorld):
    """One mistake each, made in a good project, with which no build gets to its end."""

    def expect_stop(self, *arguments, **settings):
        """An error, and a build that fails."""
        self.expect(*arguments, kind="error", **settings)
        self.assertNotEqual(self.make(), 0)

    # Sources

    def test_source_without_a_path(self):
        self.merge("")
        self.expect_stop("source", "The Source is empty", "<Source>")

    def test_merge_without_a_source(self):
        self.edit(MERGE, f'<Merge Type="Directory"/>\n{MERGE}')
        found = {finding["check"] for finding in self.findings()}
        self.assertEqual(found, {"schema", "source"})
        self.assertNotEqual(self.make(), 0)

    def test_archive_that_is_a_directory(self):
        (self.dir / "more").mkdir()
        self.merge("more", kind="Archive")
        self.expect_stop("source", "more is not a romfs image", "<Source>more")

    def test_archive_of_another_kind(self):
        self.write("more.zip", "PK")
        self.merge("more.zip", kind="Archive")
        self.expect_stop("source", "more.zip is not a romfs image", "<Source>more")

    def test_pipe_in_a_merge(self):
        os.mkfifo(self.dir / "root/pipe")
        self.expect_stop("source", "neither file, directory nor link: root/pipe$", "<Merge")

    @unittest.skipIf(os.geteuid() == 0, "root reads everything")
    def test_files_that_must_not_be_read(self):
        file = self.write("root/a.txt", "x")
        for path in file, self.dir / "root/usr/lib", self.dir / "root":
            with self.subTest(path):
                mode = path.stat().st_mode
                path.chmod(0)
                self.addCleanup(path.chmod, mode)
                found = [finding for finding in self.findings() if finding["check"] == "source"]
                self.assertIn("cannot be read", found[0]["text"])
                self.assertNotEqual(self.make(), 0)
                path.chmod(mode)
        (self.dir / "keys/firmware.key").chmod(0)
        self.expect_stop("key", "keys/firmware.key cannot be read", "KeyFile=")

    def test_source_in_an_sdk_that_does_not_have_it(self):
        self.merge("$SDK/more")
        self.expect_stop("source", f"There is no {SDK}/more", "<Source>")
        self.assertIn("Take an SDK that has it", self.ask("check").stdout)

    def test_source_merged_by_itself_without_compilation(self):
        self.write("one/a.lua", "print(1)\n")
        self.merge("one/a.lua", "/opt/a.lua", "File")
        self.edit("</Merge>\n<Merge", '<Process><Preprocess Type="Ztlpp" Enabled="false"/>'
                  '<Compile Type="Lua" Enabled="false"/></Process></Merge>\n<Merge')
        self.expect_stop("lone-copy", "one/a.lua is neither preprocessed nor compiled", "<Merge")
        why = self.ask("why")
        self.assertEqual((why.returncode, why.stderr),
                         (1, "[ztproject] The build would stop at the image: one/a.lua cannot be "
                             "copied by itself.\n"))
        self.time("one/a.lua", 1000) # then the build stops before
        self.assertNotEqual(self.make(), 0)
        self.assertIn("Cannot delete obj/root", self.printed)
        why = self.ask("why")
        self.assertEqual((why.returncode, why.stderr),
                         (1, "[ztproject] The build would stop here: Cannot delete obj/root\n"))
        self.assertEqual([finding["check"] for finding in self.findings()], ["lone-copy"])

    def test_source_merged_by_itself_in_the_first_generation(self):
        project = self.home / "hello"
        shutil.copytree(SOURCES / "examples/hello-2009", project)
        text = (project / "hello.ztp").read_text()
        (project / "hello.ztp").write_text(text.replace(' CompileLua="true"', "")
                                           .replace("data/greeting.txt", "scripts/bye.lua"))
        self.expect("lone-copy", "scripts/bye.lua", "<Merge", "error", "hello.ztp", cwd=project)
        self.assertNotEqual(self.make(cwd=project), 0)

    # Other inputs

    def test_key_that_is_a_directory(self):
        self.edit("keys/firmware.key", "keys")
        self.expect_stop("key", "The key file keys is a directory", "KeyFile=")

    def test_name_with_a_line_break(self):
        self.write("root/a\nb.lua", "print(1)\n")
        self.expect_stop("build", r"Argument with a line break: a\\nb.lua", "<Project")

    def test_tool_that_is_not_there(self):
        sdk = self.home / "ZeltaSDK/sdk-1.0"
        shutil.copytree(SDK, sdk, symlinks=True)
        environment = {**self.environment(), "ZELTASDK": str(sdk.parent)}
        self.environment = lambda: environment
        program = sdk / "bin/ztproject"
        (sdk / "bin/ztmkmtd").unlink() # which this project does not need
        result = self.run_command(program, "check")
        self.assertEqual((result.returncode, result.stdout), (0, ""))
        (sdk / "bin/lrelease").unlink()
        (sdk / "bin/ztlink").chmod(0o644)
        result = self.run_command(program, "check")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(
            [(found["check"], found["text"]) for found in LINE.finditer(result.stdout)],
            [("tool", f"There is no program {sdk}/bin/{name}, which a build needs")
             for name in ("lrelease", "ztlink")])
        # A program of a package lies beside no tools.
        (self.home / "bin").mkdir()
        shutil.copy(program, self.home / "bin")
        self.assertEqual(self.run_command(self.home / "bin/ztproject", "check").stdout,
                         result.stdout)
        self.said = result.stdout.splitlines()[:1]
        self.status = self.run_command(sdk / "bin/ztmake", "-q").returncode
        self.assertNotEqual(self.status, 0)

    def test_empty_key(self):
        self.write("keys/firmware.key", "")
        self.expect_stop("key", "The key file keys/firmware.key is empty", "KeyFile=")

    def test_translations_that_are_no_xml(self):
        self.write("translations/de.ts", "<TS>\n<context")
        self.expect_stop("translation", "translations/de.ts:2:", "<Language>de")

    def test_language_without_a_name(self):
        shutil.rmtree(self.dir / "translations")
        self.edit("<Language>de<", "<Language><")
        self.expect_stop("translation", "The Language is empty", "<Language>")

    def test_language_that_is_a_path(self):
        self.write("translations/a/b.ts", self.read("translations/de.ts"))
        (self.dir / "translations/de.ts").unlink()
        self.edit("<Language>de<", "<Language>a/b<")
        self.expect_stop("translation", "A language has a name like de", "<Language>a/b")

    def test_language_beside_the_others(self):
        self.edit("<Language>de<", "<Language>../de<")
        shutil.move(self.dir / "translations/de.ts", self.dir)
        self.assertEqual(self.findings(), [])
        self.assertEqual(self.make(), 0)

    def test_file_in_place_of_the_output_directory(self):
        self.write("firmware", "x")
        self.expect_stop("output", "^firmware is in the way", "<Project")

    # Cures

    def cure_of(self, *arguments):
        """What check tells to do about the first finding."""
        return self.ask("check", *arguments).stdout.splitlines()[1].split(": note: ")[1]

    def test_cures_for_the_project_file(self):
        self.assertEqual(self.cure_of("none.ztp"),
                         "Name the project file, or start ztproject where it is.")
        self.write("other.ztp", "<svg/>\n")
        begin = ('Begin it with <ZeltaProject xmlns="http://zelta.example/Zelta/Project/2009/42">, '
                 "as ztproject init does.")
        self.assertEqual(self.cure_of("other.ztp"), begin)
        self.edit("Project/2009/42", "Project/2010")
        self.assertEqual(self.cure_of("box.ztp"), begin)

    def test_cures_for_the_sdk(self):
        self.edit(' SDK="1.0"', "")
        self.assertIn("SDK=\"2.1\", or let the environment variable ZELTADIR", self.cure_of())
        self.edit("<Project ", '<Project SDK="/nowhere" ')
        self.assertNotIn("correct SDK, or", self.cure_of())
        self.edit("/nowhere", "9.9")
        self.assertIn("in the environment variable ZELTASDK", self.cure_of())


class OtherFirmware(CheckWorld):
    """Builds that remove what others have made."""

    def test_project_without_a_name(self):
        project = self.home / "hello"
        shutil.copytree(SOURCES / "examples/hello-2009", project)
        text = (project / "hello.ztp").read_text()
        (project / "hello.ztp").write_text(text.replace('Name="Hello" ', ""))
        (project / "firmware").mkdir()
        other = project / "firmware/ZT100-other-1.0-firmware.ztf"
        other.write_text("x")
        self.expect("name", "removes the firmware of all projects from firmware$", "<Project",
                    "warning", "hello.ztp", cwd=project)
        self.assertEqual(self.make(cwd=project), 0)
        self.assertFalse(other.exists())

    def test_names_that_begin_alike(self):
        self.write("release.ztp", self.read("box.ztp").replace('"box"', '"box-release"').replace(
            "<Project ", '<Project ObjectDirectory="obj-release" '))
        super().make(project=["release.ztp"])
        self.expect("shared-firmware", "removes the firmware of release.ztp, because -box is in its "
                    "name: firmware/ZT100-box-release-0.1-firmware.ztf", "Name=", "warning", "box.ztp",
                    "box.ztp")
        # Not the other way round.
        self.assertEqual(self.findings("release.ztp"), [])
        self.assertEqual(self.make(project=["box.ztp"]), 0)
        self.assertEqual(self.files("firmware"), ["ZT100-box-0.1-firmware.ztf"])

    def test_names_that_end_alike(self):
        self.write("release.ztp", self.read("box.ztp").replace('"box"', '"my-box"').replace(
            "<Project ", '<Project ObjectDirectory="obj-release" '))
        super().make(project=["release.ztp"])
        self.expect("shared-firmware", "removes the firmware of release.ztp, because -box is in its "
                    "name: firmware/ZT100-my-box-0.1-firmware.ztf", "Name=", "warning", "box.ztp",
                    "box.ztp")
        self.assertIn("that has no -box in it", self.ask("check", "box.ztp").stdout)
        self.assertEqual(self.make(project=["box.ztp"]), 0)
        self.assertEqual(self.files("firmware"), ["ZT100-box-0.1-firmware.ztf"])

    def test_name_in_the_version_of_another(self):
        self.write("release.ztp", self.read("box.ztp").replace('"box"', '"other"').replace(
            '"0.1"', '"1-box2"').replace("<Project ", '<Project ObjectDirectory="obj-release" '))
        self.expect("shared-firmware", "because -box is in its name: "
                    "firmware/ZT100-other-1-box2-firmware.ztf", "Name=", "warning", "box.ztp",
                    "box.ztp")
        super().make(project=["release.ztp"])
        self.assertEqual(self.make(project=["box.ztp"]), 0)
        self.assertEqual(self.files("firmware"), ["ZT100-box-0.1-firmware.ztf"])

    def test_one_name_and_two_output_directories(self):
        self.write("release.ztp", self.read("box.ztp").replace(
            "<Project ", '<Project ObjectDirectory="obj-release" OutputDirectory="out" '))
        self.assertEqual(self.findings("box.ztp"), [])

    def test_name_without_a_letter(self):
        self.edit('Name="box"', 'Name="???"')
        self.expect("name", "no name that file names can hold", 'Name="?')
        self.assertEqual(self.make(), 0)


if __name__ == "__main__":
    unittest.main()

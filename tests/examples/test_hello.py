#!/usr/bin/env python3
"""The sample project of the first schema, built by the real program."""

import shutil
import unittest

from world import SDK, ProjectWorld

FIRMWARE = "firmware/ZT100-Hello-1.0#1-firmware.ztf"


class Hello(ProjectWorld):
    """What a build leaves behind."""

    project = "hello-2009"

    def setUp(self):
        super().setUp()
        self.run_all(["svnadmin", "create", self.home / "repository"],
                     ["svn", "import", "-q", "-m", "Hello", ".", self.url()],
                     ["svn", "checkout", "-q", "--force", self.url(), "."])

    def url(self):
        """The repository's address."""
        return (self.home / "repository").as_uri()

    def run_all(self, *commands):
        """Runs commands that must succeed."""
        for command in commands:
            result = self.run_command(*command)
            self.assertEqual(result.returncode, 0, result.stderr)

    def test_sources_are_compiled_without_the_preprocessor(self):
        calls = self.make()
        self.assertEqual(sorted(call[-1] for call in calls if call[0] == "ztluac"),
                         ["root/etc/autoexec.lua", "root/usr/bin/hello.lua"])
        self.assertEqual([call[0] for call in calls], ["ztluac", "ztluac", "ztmkromfs", "ztlink"])
        self.assertEqual(self.files("firmware"), [FIRMWARE.removeprefix("firmware/")])

    def test_image_holds_exactly_what_the_project_merges(self):
        self.make()
        self.assertEqual(self.unpack(FIRMWARE, "image"), [
            "dev/@console,c,5,1", "etc/autoexec.lua", "etc/greeting", "etc/hostname", "etc/issue",
            "etc/motd", "etc/version", "usr/bin/hello.lua", "usr/lib/lua/log.lua",
            "usr/share/scripts/bye.lua"])
        for path in ("etc/autoexec.lua", "usr/bin/hello.lua"):
            self.assertEqual((self.dir / "image" / path).read_bytes()[:4], b"\x1bLua", path)
            self.check_loads(self.dir / "image" / path)
        self.assertEqual(self.read("image/usr/share/scripts/bye.lua"), self.read("scripts/bye.lua"))
        self.assertEqual(self.read("image/etc/greeting"), self.read("data/greeting.txt"))

    def test_firmware_file_describes_itself(self):
        self.make()
        self.check_container(FIRMWARE, "ZT100", "Hello", "1.0#1")

    def test_firmware_runs(self):
        self.make()
        self.assertEqual(self.tool("ztrun", FIRMWARE),
                         "Hello from the first schema, version 1.0#1\nGoodbye\n")

    def test_second_build_only_packs_and_links(self):
        self.make()
        self.age_outputs()
        before = (self.dir / FIRMWARE).read_bytes()
        self.assertEqual([call[0] for call in self.make()], ["ztmkromfs", "ztlink"])
        self.assertEqual((self.dir / FIRMWARE).read_bytes(), before)

    def test_changed_working_copy_is_marked_in_the_version(self):
        self.write("data/greeting.txt", "Changed\n")
        self.make()
        self.assertEqual(self.files("firmware"), ["ZT100-Hello-1.0#1M-firmware.ztf"])

    def test_outside_of_a_working_copy_the_revision_is_unknown(self):
        shutil.rmtree(self.dir / ".svn")
        self.assertEqual(self.make()[0], ["Warning:", "Unversioned", "directory."])
        self.assertEqual(self.files("firmware"), ["ZT100-Hello-1.0-firmware.ztf"])
        self.check_container("firmware/ZT100-Hello-1.0-firmware.ztf", "ZT100", "Hello", "1.0#?")

    def test_sdk_that_is_not_there_is_reported(self):
        environment = self.environment()
        self.environment = lambda: {**environment, "ZELTASDK": str(self.home)}
        result = self.run_command(SDK / "bin/ztmake")
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (1, "", "[ztmake] Cannot find SDK directory.\n"))
        self.assertFalse((self.dir / "obj").exists())


if __name__ == "__main__":
    unittest.main()

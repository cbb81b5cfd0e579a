#!/usr/bin/env python3
"""Failures as a newcomer meets them: what is printed, in which order, and where it is explained."""

import os
import pty
import re
import resource
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(os.environ["ZTMAKE_TEST_SOURCES"]) / "tests/examples"))
from world import SDK, ProjectWorld  # noqa: E402

MANUAL = Path(os.environ["ZTMAKE_TEST_BUILD"]) / "docs/ztmake.1"
SCHEMA = Path(os.environ["ZTMAKE_TEST_SOURCES"]) / "schema/zelta-project-2009-42.xsd"
MODULE = "root/usr/lib/lua/thermostat/control/schedule.lua"


def manual():
    """The text of the man page, in lines wide enough to search in."""
    result = subprocess.run(["man", "-l", MANUAL], check=True, capture_output=True, text=True,
                            env={"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8",
                                 "MANWIDTH": "1000"})
    return result.stdout


class Failures(ProjectWorld):
    """One mistake each, made in the sample project."""

    project = "thermostat"

    def setUp(self):
        super().setUp()
        self.program = [SDK / "bin/ztmake"]

    def edit(self, old, new, file="thermostat.ztp"):
        """Replaces a text in a file."""
        text = self.read(file)
        self.assertIn(old, text)
        self.write(file, text.replace(old, new))

    def fail_with(self, lines, searched, *options, **settings):
        """Builds in vain. The last lines of the output, tools' and own, must be those; what a user
        would search for must stand in the manual."""
        result = subprocess.run(
            [*self.program, *options], cwd=self.dir, env=self.environment(),
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            text=True, **settings)
        self.assertEqual(result.returncode, 1, result.stdout)
        # A tool names the temporary file beside the one that it is to write.
        printed = re.sub(r"/\.(\S+)\.\d+:", r"/\1:", result.stdout)
        self.assertEqual(printed.splitlines()[-len(lines):], lines)
        self.assertIn(searched, manual())

    def test_no_project_file(self):
        (self.dir / "thermostat.ztp").unlink()
        text = "Cannot find a unique profile in current directory."
        self.fail_with([f"[ztmake] {text}"], text)

    def test_two_project_files(self):
        (self.dir / "thermostat.ztp").rename(self.dir / "one.ztp")
        self.write("two.ztp", self.read("one.ztp"))
        text = "Cannot find a unique profile in current directory."
        self.fail_with([f"[ztmake] {text}"], text)

    def test_project_file_that_is_not_there(self):
        text = "This is not a ZeltaManager project file."
        self.fail_with([f"[ztmake] none.ztp: {text}"], text, "none.ztp")

    def test_typo_in_the_value_of_an_attribute(self):
        self.edit('Interactive="true"', 'Interactive="on"')
        self.fail_with(["[ztmake] thermostat.ztp: Error reading thermostat.ztp, Line 9, Column 66:",
                        '  (<Startup>) Expected "Interactive" to be a boolean attribute, '
                        'but got "on"'],
                       "to be a boolean attribute, but got")

    def test_typo_in_the_name_of_an_attribute(self):
        # It is ignored, as the manual says; the schema finds it.
        self.edit("<Startup File=", "<Startup Fiel=")
        self.make()
        self.assertFalse((self.dir / "obj/autoexec.lua").exists())
        result = self.run_command("xmllint", "--noout", "--schema", SCHEMA, "thermostat.ztp")
        self.assertIn("The attribute 'Fiel' is not allowed.", result.stderr)
        self.assertIn("A misspelt attribute is ignored without a word", manual())

    def test_typo_in_the_xml(self):
        self.edit('<Target Model="ZT100"', '<Target Model="ZT100')
        place = "Error reading thermostat.ztp, Line 13, Column 46:"
        self.fail_with([f"[ztmake] thermostat.ztp: {place}", "  (Invalid) Element expected."],
                       "(Invalid) Element expected.")

    def test_no_sdk(self):
        self.edit('SDK="1.0"', 'SDK="9.9"')
        self.fail_with(["[ztmake] Cannot find SDK directory."], "Cannot find SDK directory.")

    def test_sdk_of_another_machine(self):
        self.edit('SDK="1.0"', 'SDK="/nowhere/sdk"')
        self.fail_with(["[ztmake] SDK /nowhere/sdk does not exist."],
                       "SDK DIRECTORY does not exist.")

    def test_tool_that_is_missing(self):
        alone = self.home / "ztmake"
        shutil.copy(SDK / "bin/ztmake", alone)
        self.program = [alone]
        self.fail_with(["[ztmake] ztmkmtd --header include/mtd16.lh --lua "
                        "root/usr/lib/lua/mtd16.lua thermostat.mtdef",
                        f"[ztmake] Command failed to run: {self.home}/ztmkmtd"],
                       "Command failed to run: PROGRAM")

    def break_module(self):
        """Makes a syntax error in a nested module; gives the last lines of a build."""
        self.write(MODULE, self.read(MODULE) + "local limit = = 1\n")
        objects = f"obj/{MODULE.removesuffix('.lua')}"
        return [f"[ztmake] ztluac -s -o {objects}.luo -- {objects}.lui",
                f"{MODULE}:24: '<eof>' expected near 'local'",
                "[ztmake] Command exited with status 1"]

    def test_syntax_error_in_a_log_file(self):
        lines = self.break_module()
        with open(self.dir / "log", "wb") as log:
            result = subprocess.run(self.program, cwd=self.dir, env=self.environment(),
                                    stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(self.read("log").splitlines()[-3:], lines)
        self.assertFalse((self.dir / "obj" / MODULE).with_suffix(".luo").exists())

    def test_syntax_error_in_a_terminal(self):
        lines = self.break_module()
        terminal, inside = pty.openpty()
        process = subprocess.Popen(self.program, cwd=self.dir, env=self.environment(),
                                   stdin=inside, stdout=inside, stderr=inside)
        os.close(inside)
        printed = b""
        try:
            while chunk := os.read(terminal, 4096):
                printed += chunk
        except OSError:
            pass  # the other end is closed
        os.close(terminal)
        self.assertEqual(process.wait(), 1)
        self.assertEqual(printed.decode().splitlines()[-3:], lines)

    def test_full_disk(self):
        # A limit on the size of files stops writes at the same place, with another reason.
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0))
        self.edit('<MTD16 Enabled="true"/>', "")  # its tool would come first
        self.fail_with(["[ztmake] Error writing obj/.unfinished: File too large"],
                       "Error writing FILE: REASON", preexec_fn=limit)

    def test_read_only_firmware_folder(self):
        (self.dir / "firmware").mkdir(mode=0o555)
        self.addCleanup((self.dir / "firmware").chmod, 0o755)
        if os.geteuid() == 0:  # who may write everywhere, unless that right is given up
            self.program = ["setpriv", "--inh-caps=-all", "--bounding-set=-dac_override", "--",
                            *self.program]
        self.fail_with(["ztlink: firmware/ZT100-Thermostat-1.4.2-firmware.ztf: Permission denied",
                        "[ztmake] Command exited with status 1"],
                       "Command exited with status STATUS")

    def test_missing_key_file_shows_at_the_link(self):
        (self.dir / "keys/firmware.key").unlink()
        self.fail_with(["ztlink: keys/firmware.key: No such file or directory",
                        "[ztmake] Command exited with status 1"],
                       "A missing key file, kernel or source is noticed only now.")

    def test_clear_obsolete_without_translations(self):
        shutil.rmtree(self.dir / "translations")
        self.fail_with([f"[ztmake] Command failed to run: {SDK}/bin/ztlupdate"],
                       "there is no directory translations, in which the tool is to run",
                       "--clearobsolete")

    def test_start_in_another_directory(self):
        self.program = ["env", "-C", self.home, *self.program]
        self.fail_with(["[ztmake] MTD16 input file \"none.mtdef\" not found."],
                       'MTD16 input file "FILE" not found.', self.other_project())

    def other_project(self):
        """A project that names its definition file, which is seen from the working directory."""
        self.edit('<MTD16 Enabled="true"/>',
                  '<MTD16 Enabled="true"><Source>none.mtdef</Source></MTD16>')
        return self.dir / "thermostat.ztp"


if __name__ == "__main__":
    unittest.main()

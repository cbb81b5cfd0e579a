"""What the tests of installation and packages share: the files, and a build with them."""

import os
import sys
from pathlib import Path

SOURCES = Path(os.environ["ZTMAKE_TEST_SOURCES"])
BUILD = Path(os.environ["ZTMAKE_TEST_BUILD"])
VERSION = os.environ["ZTMAKE_TEST_VERSION"]
CMAKE = os.environ["ZTMAKE_TEST_CMAKE"]
CPACK = os.environ["ZTMAKE_TEST_CPACK"]

sys.path.insert(0, str(SOURCES / "tests/examples"))
from world import SDK, ProjectWorld  # noqa: E402

FILES = [
    "bin/ztmake",
    "share/bash-completion/completions/ztmake",
    "share/doc/ztmake/CHANGELOG.md",
    "share/doc/ztmake/README.md",
    "share/doc/ztmake/ci/Containerfile",
    "share/doc/ztmake/ci/build-firmware",
    "share/doc/ztmake/cookbook.md",
    "share/doc/ztmake/project-file.md",
    "share/fish/vendor_completions.d/ztmake.fish",
    "share/man/man1/ztmake.1",
    "share/xml/ztmake/zelta-project-2009-42.xsd",
    "share/xml/ztmake/zelta-project-2009.xsd",
    "share/zsh/site-functions/_ztmake",
]
FIRMWARE = ["ZT100-Thermostat-1.4.2-firmware.ztf", "ZT200-Thermostat-1.4.2-firmware.ztf",
            "ZT200-Thermostat-1.4.2-install.ztf"]


class InstalledTest(ProjectWorld):
    """A test with a sample project and an empty prefix."""

    project = "thermostat"

    def setUp(self):
        super().setUp()
        self.prefix = self.home / "prefix"

    def run_well(self, *command, **settings):
        """Runs a command that must succeed; gives what it printed on standard output."""
        result = self.run_command(*command, **settings)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        return result.stdout

    def link_tools(self, directory):
        """Puts the tools of the SDK beside an installed program, as its packages would."""
        for tool in (SDK / "bin").iterdir():
            if tool.name != "ztmake":
                (directory / tool.name).symlink_to(tool)

    def check_build(self, program):
        """Builds the sample with an installed program."""
        self.run_well(program, "-q")
        self.assertEqual(self.files("firmware"), FIRMWARE)
        self.assertIn("/usr/bin/thermostat.lua",
                      self.tool("ztinspect", f"firmware/{FIRMWARE[0]}"))

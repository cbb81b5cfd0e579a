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

PROGRAMS = ["ztmake", "ztproject"]
FILES = sorted([
    *(file for program in PROGRAMS for file in (
        f"bin/{program}",
        f"share/bash-completion/completions/{program}",
        f"share/fish/vendor_completions.d/{program}.fish",
        f"share/man/man1/{program}.1",
        f"share/zsh/site-functions/_{program}")),
    "share/doc/ztmake/CHANGELOG.md",
    "share/doc/ztmake/README.md",
    "share/doc/ztmake/SECURITY.md",
    "share/doc/ztmake/ci/Containerfile",
    "share/doc/ztmake/ci/build-firmware",
    "share/doc/ztmake/ci/github-workflow.yml",
    "share/doc/ztmake/ci/gitlab-ci.yml",
    "share/doc/ztmake/cookbook.md",
    "share/doc/ztmake/editors.md",
    "share/doc/ztmake/project-file.md",
    "share/xml/ztmake/catalog.xml",
    "share/xml/ztmake/zelta-project-2009-42.xsd",
    "share/xml/ztmake/zelta-project-2009.xsd",
])
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
            if tool.name not in PROGRAMS:
                (directory / tool.name).symlink_to(tool)

    def check_build(self, program):
        """Builds the sample with an installed program."""
        self.run_well(program, "-q")
        self.assertEqual(self.files("firmware"), FIRMWARE)
        self.assertIn("/usr/bin/thermostat.lua",
                      self.tool("ztinspect", f"firmware/{FIRMWARE[0]}"))

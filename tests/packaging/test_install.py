#!/usr/bin/env python3
"""cmake --install: what goes where, and that it works there."""

import os
import re
import shutil
import unittest
from pathlib import Path

from installed import BUILD, CMAKE, FILES, PROGRAMS, SDK, VERSION, InstalledTest


class Install(InstalledTest):
    """An installation into an empty prefix."""

    def install(self, *options):
        """Installs from the build directory."""
        self.run_well(CMAKE, "--install", BUILD, *options)

    def test_everything_is_where_a_distribution_has_it(self):
        self.install("--prefix", self.prefix)
        self.assertEqual(self.files(self.prefix), FILES)
        executable = [file for file in FILES if os.access(self.prefix / file, os.X_OK)]
        self.assertEqual(executable, ["bin/ztmake", "bin/ztproject", "share/doc/ztmake/ci/build-firmware"])

    def test_sample_is_built_from_a_prefix(self):
        self.install("--prefix", self.prefix)
        self.link_tools(self.prefix / "bin")
        self.check_build(self.prefix / "bin/ztmake")

    def test_programs_alone_go_into_an_sdk_and_one_link_leads_to_it(self):
        sdk = self.home / "ZeltaSDK/sdk-1.0"
        shutil.copytree(SDK, sdk, symlinks=True)
        for program in PROGRAMS:
            (sdk / "bin" / program).unlink()
        before = self.files(sdk)
        self.install("--component", "sdk", "--prefix", sdk)
        self.assertEqual(self.files(sdk), sorted([*before, "bin/ztmake", "bin/ztproject"]))
        (self.home / "ztmake").symlink_to(sdk / "bin/ztmake")
        self.check_build(self.home / "ztmake")

    def test_manual_and_completion_are_found_by_their_names(self):
        self.install("--prefix", self.prefix)
        environment = {**self.environment(), "MANPATH": str(self.prefix / "share/man"),
                       "PATH": f"{self.prefix}/bin:{os.environ['PATH']}",
                       "XDG_DATA_DIRS": str(self.prefix / "share")}
        self.environment = lambda: environment
        self.assertIn(f"ztmake {VERSION}", self.run_well("man", "ztmake"))
        script = ("source /usr/share/bash-completion/bash_completion; "
                  "_completion_loader ztmake; complete -p ztmake")
        self.assertEqual(self.run_well("bash", "--norc", "-c", script),
                         "complete -F _ztmake ztmake\n")
        self.assertIn("--report", self.run_well("fish", "-c", "complete -C 'ztmake --re'"))

    def test_installed_schema_checks_a_project_file(self):
        self.install("--prefix", self.prefix)
        schema = self.prefix / "share/xml/ztmake/zelta-project-2009-42.xsd"
        self.run_well("xmllint", "--noout", "--schema", schema, "thermostat.ztp")

    def test_catalogue_leads_to_the_schemas(self):
        self.install("--prefix", self.prefix)
        catalogue = self.prefix / "share/xml/ztmake/catalog.xml"
        for name in "42/zelta-project-2009-42.xsd", "zelta-project-2009.xsd":
            printed = self.run_well("xmlcatalog", catalogue,
                                    f"http://zelta.example/Zelta/Project/2009/{name}")
            self.assertIn(f"{self.prefix}/share/xml/ztmake/{Path(name).name}", printed)

    def test_readme_names_nothing_that_is_not_there(self):
        self.install("--prefix", self.prefix)
        documents = self.prefix / "share/doc/ztmake"
        text = (documents / "README.md").read_text()
        names = re.findall(r"`([\w-]+\.md|ci)`", text)
        self.assertGreater(len(names), 4)
        for name in names:
            self.assertTrue((documents / name).exists(), name)
        self.assertNotRegex(text, r"\]\(|scripts/|examples/thermostat")


if __name__ == "__main__":
    unittest.main()

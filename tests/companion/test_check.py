#!/usr/bin/env python3
"""ztproject check: what it says to each trap, and what the build says."""

import json
import os
import re
import shutil
import unittest

from box import MAIN, SDK, SOURCES
from checkworld import CheckWorld


class Traps(CheckWorld):
    """One mistake each, made in a good project. What a build says is its exit status."""

    # Nothing wrong

    def test_good_project(self):
        self.assertEqual(self.findings(), [])
        self.assertEqual(self.make(), 0)
        self.assertEqual(self.findings(), [])

    def test_nothing_is_written(self):
        before = self.files()
        self.findings()
        self.assertEqual(self.files(), before)

    def test_no_program_is_run(self):
        self.edit("<Project ", '<Project Svnversion="true" ')
        self.write("bin/svnversion", "#!/bin/sh\ntouch called\necho 1\n").chmod(0o755)
        environment = {**self.environment(), "PATH": f"{self.dir}/bin:{os.environ['PATH']}"}
        self.environment = lambda: environment
        self.assertEqual(self.findings(), [])
        self.assertFalse((self.dir / "called").exists())

    def test_samples(self):
        for project in "thermostat", "hello-2009":
            with self.subTest(project):
                # Built where it is not will make the MTD16 module; the merge holds it then.
                copy = self.home / project
                shutil.copytree(SOURCES / "examples" / project, copy)
                self.assertEqual(self.findings(cwd=copy), [])

    # The project file

    def test_misspelt_attribute_leaves_the_firmware_unsigned(self):
        self.edit("KeyFile=", "Keyfile=")
        self.expect("schema", "attribute 'Keyfile' is not allowed", 'Keyfile="keys')
        self.assertIn("Write KeyFile", self.ask("check").stdout)
        self.assertEqual(self.make(), 0)
        self.assertIn("authenticated  no", self.tool("ztinspect", *self.firmware()))

    def test_unknown_element(self):
        self.edit("<Startup ", "<Startupp ")
        result = self.ask("check")
        self.assertRegex(result.stdout, r"box.ztp:\d+:9: warning: Element 'Startupp'.* \[schema\]")
        self.assertIn("Write Startup: ztmake ignores Startupp", result.stdout)
        self.assertEqual(self.make(), 0)

    def test_broken_xml(self):
        self.edit('<Target Model="ZT100"/>', '<Target Model="ZT100/>')
        self.expect("xml", "'<' not allowed in attributes", "<Process", "error")
        self.assertEqual(self.make(), 1)

    def test_word_that_the_reader_refuses(self):
        self.edit('Interactive="true"', 'Interactive="on"')
        found = self.findings()
        self.assertIn(("project-file", "error"), [(f["check"], f["kind"]) for f in found])
        self.assertEqual(self.make(), 1)

    def test_no_project_file(self):
        result = self.ask("check", "none.ztp")
        self.assertEqual(result.returncode, 1)
        self.assertIn("No such file or directory [project-file]", result.stdout)

    def test_empty_root(self):
        for generation in "2009", "2009/42":
            with self.subTest(generation):
                self.write("box.ztp", '<ZeltaProject xmlns="http://zelta.example/Zelta/Project/'
                                      f'{generation}"/>')
                found = self.findings()
                self.assertIn(("1", "1"),
                              [(finding["line"], finding["column"]) for finding in found])
                self.assertIn("error", {finding["kind"] for finding in found})
                self.assertEqual(self.make(), 1)

    def test_large_comment(self):
        self.edit("</ZeltaProject>", f"<!--{'x' * 20_000_000}--></ZeltaProject>")
        self.assertEqual(self.findings(), [])
        self.assertEqual(self.make(), 0)

    def test_value_that_the_schema_does_not_know(self):
        self.edit('Label="root"', 'Label="data"')
        found = self.findings()
        self.assertEqual([finding["check"] for finding in found], ["build", "schema"])
        self.assertIn("'data' is not an element of the set", found[1]["text"])
        self.assertEqual(self.make(), 1)

    def test_repeated_element(self):
        """The last one holds."""
        self.edit("<Startup ", '<Startup File="/usr/bin/box.lua"/>\n<Startup ')
        self.edit("/usr/bin/box.lua\" I", "/usr/bin/bix.lua\" I")
        self.expect("startup", "/usr/bin/bix.lua", 'File="/usr/bin/bix.lua"')
        self.edit("bix.lua", "box.lua")
        self.edit("<Filesystem ", '<Translation Enabled="true"/><Filesystem ')
        self.edit('BaseDir="/usr/lib/lua"', 'BaseDir="/usr/lib/luna"')
        self.expect("base-directory", "/usr/lib/luna", 'BaseDir="/usr/lib/luna"')
        self.edit("luna", "lua")
        self.merge("root</Source><Source>more")
        found = {(finding["check"], finding["text"]): finding["column"]
                 for finding in self.findings()}
        place = str(self.read("box.ztp").splitlines()[
            int(self.findings()[0]["line"]) - 1].index("<Source>more") + 1)
        self.assertEqual(found, {
            ("schema", "Element 'Source': This element is not expected."): place,
            ("source", "There is no more"): place})
        self.assertIn("ztmake takes the last of several", self.ask("check").stdout)

    # What the project names

    def test_no_sdk(self):
        self.edit('SDK="1.0"', 'SDK="9.9"')
        self.expect("sdk", f"looked at: sdk-9.9, 9.9, {SDK.parent}/sdk-9.9$", 'SDK="9.9"', "error")
        self.assertEqual(self.make(), 1)

    def test_no_target(self):
        self.edit('<Target Model="ZT100"/>', "")
        self.expect("target", "nothing is linked", "<Project")
        self.assertEqual(self.make(), 0)
        self.assertEqual(self.files("firmware") if (self.dir / "firmware").exists() else [], [])

    def test_no_filesystem(self):
        text = self.read("box.ztp")
        self.write("box.ztp", re.sub(r"<Filesystem.*</Filesystem>", "", text, flags=re.DOTALL))
        self.expect("filesystem", "nothing is packed", "<Project")
        self.assertEqual(self.make(), 0)

    def test_model_twice(self):
        self.edit('<Target Model="ZT100"/>', '<Target Model="ZT100"/><Target Model="ZT100"/>')
        self.expect("target", "ZT100 has a Target already", 'Model="ZT100"/>\n'[:-1])
        self.assertEqual(self.make(), 0)

    def test_model_without_kernel(self):
        self.edit('Model="ZT100"', 'Model="ZT101"')
        self.expect("kernel", "ZT101-kernel.bin", 'Model="ZT101"', "error")
        self.assertIn("the SDK knows: ZT100, ZT200.", self.ask("check").stdout)
        self.assertEqual(self.make(), 1)

    def test_base_image_that_the_sdk_does_not_have(self):
        bare = self.home / "sdk-0.9"
        shutil.copytree(SDK, bare, symlinks=True)
        (bare / "kernel/base.romfs").unlink()
        self.edit('SDK="1.0"', f'SDK="{bare}"')
        self.expect("sdk", "The SDK has no .*base.romfs", "<Filesystem", "error")
        self.assertEqual(self.make(), 1)

    def test_boot_block_that_is_not_there(self):
        self.edit('Model="ZT100"', 'Model="ZT100" BuildInstaller="true" IncludeMBR="true"')
        self.expect("boot-record", "ZT100-boot.bin: the installer is made without one", "<Target")
        self.assertEqual(self.make(), 0)

    def test_key_that_is_not_there(self):
        (self.dir / "keys/firmware.key").unlink()
        self.expect("key", "keys/firmware.key", "KeyFile=", "error")
        self.assertEqual(self.make(), 1)

    def test_source_that_is_not_there(self):
        self.merge("more")
        self.expect("source", "There is no more", "<Source>more", "error")
        self.assertEqual(self.make(), 1)

    def test_program_that_is_not_in_the_image(self):
        self.edit("/usr/bin/box.lua", "/usr/bin/bix.lua")
        self.expect("startup", "/usr/bin/bix.lua", 'File="/usr/bin/bix.lua"')
        self.assertEqual(self.make(), 0)

    def test_program_in_an_archive(self):
        self.tool("ztmkromfs", "-o", "more.romfs", "-D", "/bin/p.lua", "-i", MAIN)
        self.merge("more.romfs", "/opt", "Archive")
        self.edit("/usr/bin/box.lua", "/opt/bin/p.lua")
        self.assertEqual(self.findings(), [])
        self.edit("/opt/bin/p.lua", "/opt/bin/q.lua")
        self.expect("startup", "/opt/bin/q.lua")

    def test_program_in_a_directory_merged_as_a_file(self):
        self.edit('Merge Type="Directory"', 'Merge Type="File"')
        self.assertEqual(self.findings(), [])

    def test_program_in_a_merged_file(self):
        self.write("one/p.lua", "print(1)\n")
        self.merge("one/p.lua", "/opt/main.lua", "File")
        self.edit("/usr/bin/box.lua", "/opt/main.lua")
        self.assertEqual(self.findings(), [])

    def test_include_directory_that_is_not_there(self):
        self.edit('SimplifyWhitespace="true"/>',
                  'SimplifyWhitespace="true"><Include>inclde</Include></Preprocess>')
        self.expect("include", "no include directory inclde", "<Include>inclde")
        self.assertEqual(self.make(), 0)

    def test_language_that_is_not_there(self):
        shutil.rmtree(self.dir / "translations")
        self.edit("<Language>de<", "<Language>ed<")
        self.expect("language", "There is no translations/ed.ts", "<Language>ed")
        self.assertEqual(self.make(), 0)

    def test_translations_that_were_never_there(self):
        shutil.rmtree(self.dir / "translations")
        self.expect("language", "There is no translations/de.ts", "<Language>de")
        self.assertEqual(self.make(), 0)

    def test_translations_that_are_not_enabled(self):
        self.edit('Translation Enabled="true"', "Translation")
        self.expect("language", "not enabled", "<Translation")
        self.assertEqual(self.make(), 0)

    # Where things go

    def test_catalogues_below_another_destination(self):
        self.edit("<Destination>/<", "<Destination>/opt<")
        self.edit("/usr/bin/box.lua", "/opt/usr/bin/box.lua")
        self.expect("catalogue", "/opt/usr/lib/translations", "<Merge")
        self.assertEqual(self.make(), 0)
        self.assertIn("/opt/usr/lib/translations/de.qm",
                      self.tool("ztinspect", *self.firmware()))

    def test_base_directory_without_anything(self):
        self.edit('BaseDir="/usr/lib/lua"', 'BaseDir="/usr/lib/luna"')
        self.expect("base-directory", "/usr/lib/luna", "BaseDir=")
        self.assertEqual(self.make(), 0)

    # A build that would stop

    def test_definition_file_that_is_not_there(self):
        self.edit("</Project>", '<MTD16 Enabled="true"/></Project>')
        self.expect("build", 'A build would stop: MTD16 input file "box.mtdef" not found.',
                    "<Project", "error")
        self.assertEqual(self.make(), 1)

    # Forms

    def test_strict(self):
        self.edit("KeyFile=", "Keyfile=")
        self.assertEqual(self.ask("check").returncode, 0)
        self.assertEqual(self.ask("check", "--strict").returncode, 1)

    def test_json(self):
        self.edit("KeyFile=", "Keyfile=")
        finding, = json.loads(self.ask("check", "--format=json").stdout)
        self.assertEqual((finding["file"], finding["severity"], finding["check"]),
                         ("box.ztp", "warning", "schema"))
        self.assertEqual(set(finding), {"file", "line", "column", "severity", "check", "text",
                                        "cure"})
        self.assertEqual(self.ask("check", "--format=xml").returncode, 1)

    def test_first_generation(self):
        project = self.home / "hello"
        shutil.copytree(SOURCES / "examples/hello-2009", project)
        text = (project / "hello.ztp").read_text()
        (project / "hello.ztp").write_text(text.replace("/etc/greeting", "/etc/greeting\" Kind=\"x")
                                           .replace(">scripts<", ">skripts<"))
        found = {(finding["check"], finding["line"]) for finding in self.findings(cwd=project)}
        self.assertEqual(found, {("schema", "11"), ("source", "10")})

    def test_entities(self):
        project = self.home / "hello"
        shutil.copytree(SOURCES / "examples/hello-2009", project)
        text = (project / "hello.ztp").read_text()
        (project / "hello.ztp").write_text(
            text.replace("<ZeltaProject ", '<!DOCTYPE ZeltaProject [<!ENTITY m "ZT100">'
                         '<!ENTITY s "root"><!ENTITY o SYSTEM "o">]>\n<ZeltaProject ')
            .replace('"ZT100"/>', '"&m;"/>').replace(">root<", ">&s;&o;<"))
        (project / "o").write_text("<Other/>")
        self.assertEqual(self.findings(cwd=project), [])
        self.assertEqual(self.make(cwd=project), 0)


if __name__ == "__main__":
    unittest.main()

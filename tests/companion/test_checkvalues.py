#!/usr/bin/env python3
"""ztproject check: what it says to values of a project file that do something else than is meant."""

import shutil
import unittest

from box import SOURCES
from checkworld import CheckWorld


class Values(CheckWorld):
    """One mistake each, made in a good project."""

    def startup_script(self):
        return self.read("obj/autoexec.lua")

    # The start-up script

    def test_quote_in_the_startup_file(self):
        self.write('root/usr/bin/a".lua', "print(1)\n")
        self.edit("/usr/bin/box.lua", "/usr/bin/a&quot;.lua")
        self.expect("startup-script", "does not escape the quote in /usr/bin/a\".lua",
                    'File="/usr/bin/a&quot;')
        self.assertEqual(self.make(), 0)
        self.assertIn('loadfile("/usr/bin/a".lua")', self.startup_script())

    def test_backslash_in_the_startup_file(self):
        self.write("root/usr/bin/a\\b.lua", "print(1)\n")
        self.edit("/usr/bin/box.lua", "/usr/bin/a\\b.lua")
        self.expect("startup-script", r"does not escape the backslash in /usr/bin/a\\b.lua",
                    'File="/usr/bin/a')
        self.assertEqual(self.make(), 0)
        self.assertIn('loadfile("/usr/bin/a\\b.lua")', self.startup_script())

    def test_line_break_in_the_base_directory(self):
        (self.dir / "root/usr/lib/lua\n/x").mkdir(parents=True)
        self.edit('BaseDir="/usr/lib/lua"', 'BaseDir="/usr/lib/lua&#10;"')
        self.expect("startup-script", r"does not escape the line break in /usr/lib/lua\\n",
                    'BaseDir="/usr')
        self.assertEqual(self.make(), 0)
        self.assertIn('"/usr/lib/lua\n"', self.startup_script())

    def test_quote_without_a_startup_script(self):
        (self.dir / 'root/usr/lib/lua"/x').mkdir(parents=True)
        self.edit('BaseDir="/usr/lib/lua"', 'BaseDir="/usr/lib/lua&quot;"')
        self.edit('<Startup File="/usr/bin/box.lua" Interactive="true"/>', "")
        self.assertEqual(self.findings(), [])

    def test_strict_in_a_merge(self):
        self.edit("<Source>root<", '<Process><Compile Type="Lua" Strict="true"/></Process>'
                  "<Source>root<")
        self.expect("strict", "Strict has no effect here", 'Strict="true"')
        self.assertEqual(self.make(), 0)
        self.assertIn("_set_allow_nil_index(true)", self.startup_script())
        # The project has it, too.
        self.edit('Strip="true"', 'Strip="true" Strict="true"')
        self.assertNotIn("strict", {finding["check"] for finding in self.findings()})

    def test_strict_in_a_filesystem(self):
        self.edit("<Merge ", '<Process><Compile Type="Lua" Strict="true"/></Process><Merge ')
        self.expect("strict", "Strict has no effect here", 'Strict="true"')
        self.assertEqual(self.make(), 0)
        self.assertIn("_set_allow_nil_index(true)", self.startup_script())

    def test_strict_switched_off_in_a_merge(self):
        self.edit('Strip="true"', 'Strip="true" Strict="true"')
        self.edit("<Source>root<", '<Process><Compile Type="Lua" Strict="false"/></Process>'
                  "<Source>root<")
        self.expect("strict", "Strict has no effect here", 'Strict="false"')
        self.assertEqual(self.make(), 0)
        self.assertIn("_set_allow_nil_index(false)", self.startup_script())

    # Words

    def test_words_that_are_allowed(self):
        for old, new, words in (('Label="root"', 'Label="Root"', "'root', ''"),
                                ('Type="Directory"', 'Type="Directories"',
                                 "'Directory', 'File', 'Archive'")):
            with self.subTest(new):
                self.edit(old, new)
                self.assertIn(f"is not an element of the set {{{words}}}.", self.ask("check").stdout)
                self.edit(new, old)

    # The key

    def test_encrypted_installer_without_a_key(self):
        self.edit(' KeyFile="keys/firmware.key"', ' BuildInstaller="true" EncryptInstaller="true"')
        self.expect("encryption", "EncryptInstaller has no effect", "EncryptInstaller=")
        self.assertEqual(self.make(), 0)
        self.assertIn("authenticated  no", self.tool("ztinspect",
                                                        "firmware/ZT100-box-0.1-install.ztf"))

    def test_key_file_without_a_name(self):
        self.edit("keys/firmware.key", "")
        self.expect("unsigned", "KeyFile is empty: the firmware is not signed", 'KeyFile=""')
        self.assertEqual(self.make(), 0)
        self.assertIn("authenticated  no", self.tool("ztinspect", *self.firmware()))

    def test_blank_key(self):
        self.write("keys/firmware.key", " \n\t\n")
        self.expect("key", "The key file keys/firmware.key is blank", "KeyFile=", "error")
        self.assertEqual(self.make(), 1)

    # Names of firmware

    def test_name_with_wildcards(self):
        self.edit('Name="box"', 'Name="k[0-9]"')
        self.expect("name", r"takes the \[ in k\[0-9\] for a wildcard", 'Name="k')
        other = self.write("firmware/ZT100-k5-1.0-firmware.ztf", "x")
        own = self.write("firmware/ZT100-k[0-9]-0.0-firmware.ztf", "x")
        self.assertEqual(self.make(), 0)
        self.assertEqual((other.exists(), own.exists()), (False, True))

    def test_name_with_half_a_wildcard(self):
        self.edit('Name="box"', 'Name="k["')
        self.expect("name", r"takes the \[ in k\[ for a wildcard", 'Name="k')
        own = self.write("firmware/ZT100-k[-0.0-firmware.ztf", "x")
        self.assertEqual(self.make(), 0)
        self.assertTrue(own.exists())

    def test_name_with_letters_that_files_do_not_get(self):
        self.edit('Name="box"', 'Name="a*"')
        self.assertEqual(self.findings(), [])
        own = self.write("firmware/ZT100-a-0.0-firmware.ztf", "x")
        self.assertEqual(self.make(), 0)
        self.assertEqual((own.exists(), self.files("firmware")),
                         (False, ["ZT100-a-0.1-firmware.ztf"]))

    def test_model_with_a_slash(self):
        self.edit('Model="ZT100"', 'Model="./ZT100"')
        self.expect("target", "The slash in the model ./ZT100", 'Model="./')
        self.assertEqual(self.make(), 0)

    def test_two_models_of_one_firmware(self):
        self.edit('<Target Model="ZT100"/>', '<Target Model="ZT100"/><Target Model="./ZT100"/>')
        found = [finding["text"] for finding in self.findings() if finding["check"] == "target"]
        self.assertEqual(found, [
            "The slash in the model ./ZT100 becomes part of the path of its firmware",
            "The models ZT100 and ./ZT100 have one firmware file, which is written twice"])
        self.assertEqual(self.make(), 0)
        self.assertEqual(len(self.firmware()), 1)


class FirstGeneration(CheckWorld):
    """Mistakes that only a project file of the first generation can have."""

    def setUp(self):
        super().setUp()
        shutil.copytree(SOURCES / "examples/hello-2009", self.home / "hello")
        self.project = self.home / "hello"

    def change(self, *pairs):
        path = self.project / "hello.ztp"
        text = path.read_text()
        for old, new in pairs:
            self.assertIn(old, text)
            text = text.replace(old, new)
        path.write_text(text)

    def image(self):
        return self.tool("ztinspect", *(self.project / "firmware").iterdir())

    def test_compilation_of_the_whole_project(self):
        self.change((' CompileLua="true"', ""))
        self.assertEqual(self.findings(cwd=self.project), [])
        self.change(('SDK="1.0"', 'SDK="1.0" CompileLua="TRUE"'))
        self.expect("compile", "CompileLua has no effect here", "CompileLua=", "warning",
                    "hello.ztp", cwd=self.project)
        self.assertEqual(self.make(cwd=self.project), 0)
        self.assertEqual(list((self.project / "obj").rglob("*.luo")), [])
        # Where the filesystem has it, too, all is as it looks.
        self.change(('IncludeBase="true"', 'IncludeBase="true" CompileLua="yes"'))
        self.assertEqual(self.findings(cwd=self.project), [])
        self.change(('CompileLua="TRUE"', 'CompileLua="false"'))
        self.assertEqual(self.findings(cwd=self.project), [])

    def test_comment_in_the_source_of_a_merge(self):
        (self.project / "usr").mkdir()
        self.change((">root<", ">root/<!-- of the device -->usr<"))
        self.expect("source-text", "Only usr of the text root/usr counts", "<Merge", "warning",
                    "hello.ztp", cwd=self.project)
        self.assertEqual(self.make(cwd=self.project), 0)
        self.assertNotIn("hello.lua", self.image())

    def test_comment_before_the_source_of_a_merge(self):
        self.change((">root<", "><!-- of the device -->root<!-- all of it --><"))
        self.assertEqual(self.findings(cwd=self.project), [])
        self.assertEqual(self.make(cwd=self.project), 0)


class OtherNamespaces(CheckWorld):
    """What other programs keep in a project file."""

    def setUp(self):
        super().setUp()
        self.edit("<ZeltaProject ", '<ZeltaProject xmlns:x="urn:x" ')

    def test_element_with_a_known_name(self):
        self.edit("<Filesystem ", '<x:Target Model="ZT200"/><Filesystem ')
        self.expect("namespace", "ztmake takes this element for its own", "<x:Target")
        self.assertEqual(self.make(), 0)
        self.assertEqual(len(self.firmware()), 2)

    def test_element_with_a_known_name_inside_one(self):
        self.edit("<Merge ", '<x:Merge Type="Directory"><x:Source>root</x:Source></x:Merge><Merge ')
        self.assertEqual([finding["check"] for finding in self.findings()], ["namespace"] * 2)
        self.assertEqual(self.make(), 0)

    def test_elements_of_other_programs(self):
        self.write("extra.txt", "")
        self.edit("</Project>", '<x:editor><x:Target Model="ZT200"/></x:editor></Project>')
        text = self.ask("check").stdout
        self.assertEqual((text, self.make()), ("", 0))
        self.assertEqual(len(self.firmware()), 1)


class Positions(CheckWorld):
    """Where a mistake is, in files that are not plain text in English."""

    def place(self, text):
        """Where a text of the project file stands, counted as editors do."""
        before = self.text.partition(text)[0]
        return str(before.count("\n") + 1), str(len(before) - before.rfind("\n"))

    def save(self, text, encoding="utf-8"):
        self.text = text
        self.write("box.ztp", text.encode(encoding))

    def places(self):
        return [(finding["line"], finding["column"]) for finding in self.findings()]

    def test_utf_16(self):
        self.save(self.read("box.ztp").replace("UTF-8", "UTF-16").replace("KeyFile", "Keyfile"),
                  "utf-16")
        self.assertEqual(self.places(), [self.place("Keyfile=")])

    def test_letters_of_other_languages(self):
        self.save(self.read("box.ztp").replace("KeyFile=", "schlüssel="))
        self.assertEqual(self.places(), [self.place("schlüssel=")])
        self.assertIn("Remove it", self.ask("check").stdout)

    def test_letters_that_are_two_in_utf_16(self):
        self.save(self.read("box.ztp").replace("<Target ",
                                               '<Target Label="\U0001f600" Verbose="x" '))
        self.assertEqual(self.places()[:2], [self.place("Label="), self.place("Verbose=")])
        # The reader tells the end of the tag.
        line, column = self.place('"ZT100"/>')
        self.assertEqual(self.places()[2:], [(line, str(int(column) + len('"ZT100"/')))])

    def test_many_lines(self):
        self.save(self.read("box.ztp").replace("<Target ", "\n" * 70000 + '<Target Kind="x" '))
        self.assertEqual(self.places(), [self.place("Kind=")])


if __name__ == "__main__":
    unittest.main()

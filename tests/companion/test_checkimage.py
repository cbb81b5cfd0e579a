#!/usr/bin/env python3
"""ztproject check: what it says to files that get into the image, or do not, against what is meant."""

import shutil
import unittest

from box import MAIN, SDK, SOURCES
from checkworld import CheckWorld


class ImageTraps(CheckWorld):
    """One mistake each, made in a good project."""

    # The key

    def move_key(self, path):
        self.write(path, self.read("keys/firmware.key"))
        self.edit("keys/firmware.key", path)

    def test_key_below_a_merged_directory(self):
        self.move_key("root/etc/firmware.key")
        self.expect("merge", "The merge holds the key: root/etc/firmware.key", "<Merge")
        self.assertEqual(self.make(), 0)
        self.assertIn("/etc/firmware.key", self.tool("ztinspect", *self.firmware()))

    def test_key_that_is_merged_by_itself(self):
        self.merge("keys/firmware.key", "/etc/key", "File")
        self.expect("merge", "The merge holds the key: keys/firmware.key", "<Merge")
        self.assertEqual(self.make(), 0)
        self.assertIn("/etc/key", self.tool("ztinspect", *self.firmware()))

    def test_key_below_a_directory_that_is_left_out(self):
        self.move_key("root/.svn/firmware.key")
        self.assertEqual(self.findings(), [])
        self.assertEqual(self.make(), 0)
        self.assertNotIn("firmware.key", self.tool("ztinspect", *self.firmware()))

    # Sources that are not preprocessed

    def test_directive_in_the_first_line_without_preprocessing(self):
        self.write("include/a.lh", "LIMIT = 1\n")
        self.write(MAIN, '#include "a.lh"\n' + self.read(MAIN))
        self.edit("<Preprocess ", '<Preprocess Enabled="false" ')
        self.expect("directive", "The first line is left out: #include", "#include", "warning",
                    MAIN)
        self.assertEqual(self.make(), 0)

    def test_other_first_lines_without_preprocessing(self):
        self.edit("<Preprocess ", '<Preprocess Enabled="false" ')
        program = self.read(MAIN)
        for line in "#!/usr/bin/lua", "# include things", "#includes", "-- #include":
            with self.subTest(line):
                self.write(MAIN, f"{line}\n{program}")
                self.assertEqual(self.findings() == [], line != "# include things")

    def test_directive_in_an_earlier_preprocessed_file(self):
        self.write("obj/root/usr/bin/box.lui", "#define LIMIT 1\n")
        self.assertEqual([finding for finding in self.findings()
                          if finding["check"] == "directive"], [])

    def test_directive_in_the_first_generation(self):
        project = self.home / "hello"
        shutil.copytree(SOURCES / "examples/hello-2009", project)
        source = project / "root/usr/bin/hello.lua"
        source.write_text("#define LIMIT 1\n" + source.read_text())
        self.expect("directive", "The first line is left out: #define", "#define", "warning",
                    "root/usr/bin/hello.lua", cwd=project)
        self.assertEqual(self.make(cwd=project), 0)

    # Files that a build makes

    def test_startup_without_a_file(self):
        self.edit('<Startup File="/usr/bin/box.lua"', "<Startup")
        self.expect("startup", "Startup has no File: there is no start-up script", "<Startup")
        self.assertEqual(self.make(), 0)
        self.assertNotIn("/etc/autoexec.lua", self.tool("ztinspect", *self.firmware()))
        self.write("root/etc/autoexec.lua", "print(1)\n")
        self.assertEqual(self.findings(), [])

    def test_second_startup_without_a_file(self):
        self.edit("<Startup ", '<Startup File="/usr/bin/box.lua"/>\n<Startup ')
        self.edit('File="/usr/bin/box.lua" Inter', 'Inter')
        self.expect("startup", "Startup has no File", "<Startup Interactive")
        self.assertEqual(self.make(), 0)

    def test_file_in_place_of_the_version(self):
        self.write("root/etc/version", "mine\n")
        self.expect("generated", "A build replaces /etc/version of this merge", "<Merge")
        self.assertEqual(self.make(), 0)
        self.assertEqual(self.tool("ztinspect", *self.firmware()).count("/etc/version"), 1)

    def test_file_in_place_of_the_startup_script(self):
        self.write("root/etc/autoexec.lua", "print('mine')\n")
        self.expect("generated", "A build replaces /etc/autoexec.lua of this merge", "<Merge")
        self.assertEqual(self.make(), 0)

    def test_version_elsewhere(self):
        self.write("more/etc/version", "mine\n")
        self.merge("more", "/opt")
        self.assertEqual(self.findings(), [])

    def test_version_in_an_archive(self):
        """It cannot be removed from there."""
        self.write("version", "mine\n")
        self.tool("ztmkromfs", "-o", "more.romfs", "-D", "/etc/version", "-i", "version")
        self.merge("more.romfs", "/", "Archive")
        self.assertEqual(self.findings(), [])

    # Headers

    def shadow(self, header):
        name = next((SDK / "usr/include").glob("*.lh")).name
        self.write(f"include/{name}", header or (SDK / "usr/include" / name).read_bytes())
        self.edit('SimplifyWhitespace="true"/>',
                  'SimplifyWhitespace="true">\n<Include>include</Include></Preprocess>')
        return name

    def test_header_of_the_name_of_one_of_the_sdk(self):
        name = self.shadow("#define MINE 1\n")
        self.expect("include", f"include/{name} is never taken: .*/usr/include/{name} comes first",
                    "<Include>")
        self.write(MAIN, f'#include "{name}"\n' + self.read(MAIN) + "print(MINE)\n")
        self.assertEqual(self.make(), 0)
        self.assertIn("MINE", self.read(MAIN.replace("root", "obj/root").replace(".lua", ".lui")))

    def test_copy_of_a_header_of_the_sdk(self):
        self.shadow(None)
        self.assertEqual(self.findings(), [])

    # Installers

    def test_boot_record_without_an_installer(self):
        self.edit(' KeyFile=', ' IncludeMBR="true" KeyFile=')
        self.expect("installer", "IncludeMBR has no effect: no installer is built", "IncludeMBR=")
        self.assertEqual(self.make(), 0)
        self.assertEqual(len(self.firmware()), 1)

    def test_boot_record_of_a_target_without_an_installer(self):
        self.edit('Model="ZT100"', 'Model="ZT100" IncludeMBR="true"')
        self.expect("installer", "IncludeMBR has no effect", "IncludeMBR=")
        self.assertEqual(self.make(), 0)

    def test_encryption_without_an_installer(self):
        self.edit(' KeyFile=', ' EncryptInstaller="true" KeyFile=')
        self.expect("installer", "EncryptInstaller has no effect", "EncryptInstaller=")
        self.edit('Model="ZT100"', 'Model="ZT100" BuildInstaller="true"')
        self.assertEqual(self.findings(), [])

    # Languages

    def test_translations_without_their_language(self):
        self.write("translations/fr.ts", self.read("translations/de.ts"))
        self.expect("language", "translations/fr.ts has no effect", "<Translation", "note")
        self.assertEqual(self.make(), 0)
        self.edit("<Language>de<", "<Default>fr</Default><Language>de<")
        self.assertEqual(self.findings(), [])


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""ztproject check: what it says to inputs that a build takes for older than they are."""

import os
import shutil
import time
import unittest

from box import MAIN, BoxWorld
from checkworld import MODULE, CheckWorld

CATALOGUE = """<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en"><context><name>box/greeting</name>
<message><source>Hello from box</source><translation>Grüße</translation></message>
</context></TS>
"""


class Headers(CheckWorld):
    """Headers that are newer than what was preprocessed with them, or not there."""

    def header(self):
        """A header, taken in by way of another, and a build with it."""
        self.write("include/a.lh", '#include "b.lh"\n')
        self.write("include/b.lh", "#define LIMIT 1\n")
        self.write(MODULE, '#include "a.lh"\n#include "b.lh"\nreturn { text = function() return LIMIT end }\n')
        self.edit('SimplifyWhitespace="true"/>',
                  'SimplifyWhitespace="true"><Include>include</Include></Preprocess>')
        self.assertEqual(self.make(), 0)

    def test_header_that_is_newer(self):
        self.header()
        self.assertEqual(self.findings(), [])
        self.time("include/b.lh", 100)
        self.expect("header", "include/b.lh is newer .* sources: 1$", "#include", "warning", MODULE)
        before = (self.dir / "obj/root/usr/lib/lua/box/greeting.luo").stat().st_mtime_ns
        self.assertEqual(self.make(), 0)
        self.assertEqual((self.dir / "obj/root/usr/lib/lua/box/greeting.luo").stat().st_mtime_ns,
                         before, "the build has noticed")
        self.time(MODULE, 200) # then the build notices by itself
        self.assertEqual(self.findings(), [])

    def test_header_that_is_not_there(self):
        self.header()
        self.write(MODULE, "--[[\n#include \"old.lh\"\n]]\n" + self.read(MODULE))
        self.write("include/a.lh", 'local s = [[\n#include "x.lh"\n]]\n#include "c.lh" -- all\n')
        self.expect("include", "There is no header c.lh in .*/usr/include, include, root$", "#include",
                    "error", "include/a.lh")
        self.assertEqual(self.make("--all"), 1)
        self.edit("a.lh", "d.lh", MODULE)
        self.expect("include", "There is no header d.lh in", "#include", "error", MODULE)

    def test_header_in_the_merged_directory(self):
        self.header()
        self.write("root/usr/lib/c.lh", "")
        self.write("root/d.lh", "#define DEPTH 1\n")
        self.write(MODULE, '#include "usr/lib/c.lh"\n#include "d.lh"\nreturn DEPTH\n')
        self.assertEqual(self.make(), 0)
        self.assertEqual(self.findings(), [])
        self.time("root/d.lh", 100)
        self.expect("header", "root/d.lh is newer", "#include", "warning", MODULE)

    def test_header_below_the_merged_directory(self):
        self.write("root/usr/lib/lua/box/c.lh", "")
        self.write(MODULE, '#include "c.lh"\n')
        self.expect("include", "There is no header c.lh", "#include", "error", MODULE)
        self.assertEqual(self.make(), 1)

    def test_directory_of_headers_that_the_build_makes(self):
        self.write("box.mtdef", "0x0100 LIMIT u8\n")
        self.write(MODULE, '#include "mtd16.lh"\nreturn MTD16_LIMIT\n')
        self.edit('SimplifyWhitespace="true"/>',
                  'SimplifyWhitespace="true"><Include>include</Include></Preprocess>')
        self.edit("</Project>", '<MTD16 Enabled="true"/></Project>')
        self.assertEqual(self.findings(), [])
        self.assertEqual(self.make(), 0)

    def test_header_that_is_perhaps_not_needed(self):
        self.header()
        self.write("include/a.lh", '#ifdef BIG\n#include "c.lh"\n#endif\n#include "b.lh"\n')
        self.time(MODULE, 200)
        self.assertEqual(self.findings(), [])

    def test_definition_that_is_newer(self):
        self.write("box.mtdef", "0x0100 LIMIT u8\n")
        self.write(MODULE, '#include "mtd16.lh"\nreturn { text = function() return '
                           'MTD16_LIMIT end }\n')
        self.edit('SimplifyWhitespace="true"/>',
                  'SimplifyWhitespace="true"><Include>include</Include></Preprocess>')
        self.edit("</Project>", '<MTD16 Enabled="true"/></Project>')
        self.assertEqual(self.make(), 0)
        self.assertEqual(self.findings(), [])
        self.time("box.mtdef", 100)
        self.expect("header", "include/mtd16.lh is newer", "#include", "warning", MODULE)
        self.assertEqual(self.make(), 0)


class Replaced(CheckWorld):
    """Files that were put in place after a build, and carry older times."""

    def setUp(self):
        super().setUp()
        self.use_all_inputs(CATALOGUE)
        for path in self.files():
            self.time(path, -10)
        BoxWorld.make(self) # not the one of the trap
        self.assertEqual(self.findings(), [])
        self.said = []
        time.sleep(0.02) # changes are told apart by the file system's own clock

    def replace(self, path, old, new, in_place=True):
        """Puts another file in place, as cp -p does, or else tar."""
        before = (self.dir / path).stat()
        text = self.read(path)
        self.assertIn(old, text)
        if not in_place:
            (self.dir / path).unlink()
        self.write(path, text.replace(old, new))
        os.utime(self.dir / path, ns=(before.st_atime_ns, before.st_mtime_ns))

    def test_source_replaced_by_an_older_one(self):
        self.replace(MODULE, "Hello", "Goodbye")
        self.expect("replaced-source", "Replaced .* sources: 1$", "-- What", "warning", MODULE)
        self.assertEqual(self.make(), 0)
        self.assertEqual(self.make("--all"), 0)
        self.assertEqual(self.findings(), [])

    def test_source_with_a_header_replaced_by_an_older_one(self):
        self.replace(MAIN, "greeting.text", "greeting.label")
        self.expect("replaced-source", "Replaced .* sources: 1$", "#include", "warning", MAIN)
        self.assertEqual(self.make(), 0)

    def test_header_replaced_by_an_older_one(self):
        self.replace("include/a.lh", "1", "2", in_place=False)
        self.expect("replaced-source", "Replaced .* sources: 1$", "#define", "warning",
                    "include/a.lh")
        self.assertEqual(self.make(), 0)
        self.assertEqual(self.ask("check", "--strict").returncode, 1)

    def test_header_perhaps_replaced_by_an_older_one(self):
        self.replace("include/a.lh", "1", "2")
        self.expect("replaced-source", "Perhaps replaced .* sources: 1$", "#define", "note",
                    "include/a.lh")
        self.assertEqual(self.make(), 0)

    def test_translation_replaced_by_an_older_one(self):
        self.replace("translations/de.ts", "Grüße", "Hallo")
        self.expect("replaced-source", "Replaced .* sources: 1$", "<?xml", "warning",
                    "translations/de.ts")
        self.assertEqual(self.make(), 0)

    def test_definition_replaced_by_an_older_one(self):
        self.replace("box.mtdef", "u8", "u16", in_place=False)
        self.expect("replaced-source", "Replaced .* sources: 1$", "0x", "warning", "box.mtdef")
        self.assertEqual(self.make(), 0)

    def test_directory_replaced_by_an_older_one(self):
        old = self.dir / "old"
        shutil.copytree(self.dir / "root", old)
        for path, text in (("old/usr/lib/lua/box/greeting.lua", "Hello"),
                           ("old/usr/bin/box.lua", "print")):
            self.write(path, self.read(path).replace(text, text[::-1]))
            self.time(path, -10)
        BoxWorld.make(self, "--all")
        time.sleep(0.02)
        shutil.rmtree(self.dir / "root/usr/lib/lua/box")
        (old / "usr/lib/lua/box").rename(self.dir / "root/usr/lib/lua/box")
        self.expect("replaced-source", "Replaced .* sources: 1$", "-- What", "warning", MODULE)
        shutil.rmtree(self.dir / "root/usr/bin")
        (old / "usr/bin").rename(self.dir / "root/usr/bin")
        self.expect("replaced-source", "Replaced .* sources: 2$", "#include", "warning", MAIN)
        self.assertEqual(self.make(), 0)

    def test_directory_of_headers_replaced_by_an_older_one(self):
        shutil.copytree(self.dir / "include", self.dir / "old")
        self.write("old/a.lh", "#define LIMIT 2\n")
        for path in "old/a.lh", "old/mtd16.lh":
            self.time(path, -10)
        BoxWorld.make(self, "--all")
        time.sleep(0.02)
        shutil.rmtree(self.dir / "include")
        (self.dir / "old").rename(self.dir / "include")
        self.time("include/mtd16.lh", 0)
        self.expect("replaced-source", "Perhaps replaced", "#define", "note", "include/a.lh")
        self.assertEqual(self.make(), 0)

    def test_link_turned_to_another_directory(self):
        shutil.copytree(self.dir / "root", self.dir / "root-2")
        shutil.copytree(self.dir / "root", self.dir / "root-1")
        self.write("root-2/usr/lib/lua/box/greeting.lua", "return {}\n")
        for root in "root-1", "root-2":
            for path in self.files(root):
                self.time(f"{root}/{path}", -10)
        shutil.rmtree(self.dir / "root")
        (self.dir / "root").symlink_to("root-1")
        BoxWorld.make(self, "--all")
        self.assertEqual(self.findings(), [])
        time.sleep(0.02)
        (self.dir / "root").unlink()
        (self.dir / "root").symlink_to("root-2")
        self.expect("replaced-source", "Replaced .* sources: 2$", "#include", "warning", MAIN)
        self.assertEqual(self.make(), 0)

    def test_same_content(self):
        """What only looks like a replacement, with sources in which it can be told."""
        module = self.dir / MODULE
        for act in (lambda: module.chmod(0o600), lambda: os.link(module, self.dir / "other"),
                    lambda: module.rename(module.with_suffix(".bak")),
                    lambda: module.with_suffix(".bak").rename(module),
                    lambda: self.replace(MODULE, "Hello", "Hello", in_place=False),
                    lambda: self.replace(MODULE, "-- What", "-- So what"),
                    lambda: (self.dir / "root/usr").rename(self.dir / "usr"),
                    lambda: (self.dir / "usr").rename(self.dir / "root/usr"),
                    lambda: (self.dir / "root").chmod(0o700),
                    lambda: self.write("root/usr/lib/lua/box/new.txt", "x")):
            act()
            if module.exists():
                texts = [finding["text"] for finding in self.findings()
                         if finding["kind"] != "note"]
                self.assertEqual(texts, [])
        self.assertEqual(self.ask("check", "--strict").returncode, 0)

    def test_other_rights_and_names(self):
        """A note where the content cannot be told, which does not fail."""
        for act in (lambda: (self.dir / "include/a.lh").chmod(0o600),
                    lambda: os.link(self.dir / MAIN, self.dir / "other"),
                    lambda: (self.dir / "box.mtdef").chmod(0o600),
                    lambda: (self.dir / "translations/de.ts").chmod(0o600)):
            act()
            self.assertEqual([finding["kind"] for finding in self.findings()], ["note"])
        self.assertEqual(self.ask("check", "--strict").returncode, 0)

    def test_project_file_replaced_by_an_older_one(self):
        self.replace("box.ztp", 'Strip="true"', 'Strip="false"', in_place=False)
        self.expect("replaced-project", "^Replaced ", "<?xml")
        self.assertEqual(self.make(), 0)
        self.assertEqual(self.ask("check", "--strict").returncode, 1)
        self.assertEqual(self.make("--all"), 0)
        self.assertEqual(self.findings(), [])

    def test_project_file_perhaps_replaced_by_an_older_one(self):
        self.replace("box.ztp", 'Strip="true"', 'Strip="false"')
        self.expect("replaced-project", "^Perhaps replaced ", "<?xml", "note")
        self.assertEqual(self.make(), 0)

    def test_project_file_that_is_newer(self):
        self.edit('Strip="true"', 'Strip="false"')
        self.assertEqual(self.findings(), [])

    def test_other_rights_and_names_of_the_project_file(self):
        file = self.dir / "box.ztp"
        for act in (lambda: file.chmod(0o600), lambda: os.link(file, self.dir / "other"),
                    lambda: file.rename(self.dir / "old") and (self.dir / "old").rename(file)):
            act()
            self.assertEqual([(finding["check"], finding["kind"]) for finding in self.findings()],
                             [("replaced-project", "note")])
        self.assertEqual(self.ask("check", "--strict").returncode, 0)

    def test_project_file_replaced_in_another_directory(self):
        shutil.copytree(self.dir, self.dir.parent / "old")
        self.dir.rename(self.dir.parent / "gone")
        (self.dir.parent / "old").rename(self.dir) # the objects have come along
        self.assertEqual(self.findings(), [])

    def test_moved_and_copied_project(self):
        for move in (shutil.move, lambda old, new: shutil.copytree(old, new, symlinks=True)):
            new = self.home / f"new{move.__name__[0]}"
            move(self.dir, new)
            self.dir = new
            self.assertEqual(self.findings(cwd=new), [])

    def test_copied_source_replaced_by_an_older_one(self):
        """In a project whose files are not compiled."""
        self.edit("<Preprocess ", '<Preprocess Enabled="false" ')
        self.edit("<Compile ", '<Compile Enabled="false" ')
        self.write(MAIN, "print(1)\n")
        self.time(MAIN, -10)
        BoxWorld.make(self, "--all")
        time.sleep(0.02)
        (self.dir / MAIN).chmod(0o600)
        self.assertEqual(self.findings(), [])
        self.replace(MAIN, "1", "2")
        self.expect("replaced-source", "Replaced .* sources: 1$", "print", "warning", MAIN)
        self.assertEqual(self.make(), 0)


if __name__ == "__main__":
    unittest.main()

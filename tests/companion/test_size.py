#!/usr/bin/env python3
"""ztproject size: sizes, changes and the treemap."""

import os
import re
import shutil
import unittest
import xml.etree.ElementTree as xml

from box import MAIN, BoxWorld

LINE = re.compile(r" *(\d+)  +(\S.*?)(?:  ([-+]\d+|new))?")
SVG = "{http://www.w3.org/2000/svg}"


class Size(BoxWorld):
    """What is said about one project."""

    def size(self, *arguments):
        """The lines, each as size, name and change."""
        result = self.ask("size", *arguments)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        lines = []
        for line in result.stdout.splitlines():
            size, name, change = LINE.fullmatch(line).groups()
            lines.append((int(size), name, change or ""))
        return lines

    def real_sizes(self):
        """What the image holds, as the SDK's own tool unpacks it."""
        self.tool("ztinspect", "--extract", self.home / "image", *self.firmware())
        top = self.home / "image"
        return {path.name: path.stat().st_size for path in top.rglob("*")
                if path.is_file() and not path.is_symlink() and path.parent.name != "dev"}

    def firmware(self):
        return [f"firmware/{name}" for name in self.files("firmware")]

    def test_no_firmware(self):
        result = self.ask("size")
        self.assertEqual((result.returncode, result.stderr),
                         (1, "[ztproject] There is no firmware yet; build the project first.\n"))

    def test_sizes_are_those_of_the_files(self):
        self.make()
        found = {name: size for size, name, _ in self.size()}
        files = self.real_sizes()
        self.assertGreater(len(files), 5)
        for name, size in files.items():
            self.assertEqual(found[name], size, name)
        self.assertEqual(found["files in the image"], sum(files.values()))
        self.assertEqual(found["lua/"], sum(files[name] for name in ("greeting.lua", "log.lua")))
        firmware = self.dir / self.firmware()[0]
        self.assertEqual(found[firmware.name], firmware.stat().st_size)

    def test_changes_against_the_last_build(self):
        self.make()
        self.assertEqual({change for _, _, change in self.size()}, {""})
        before = {name: size for size, name, _ in self.size()}
        self.write(MAIN, self.read(MAIN) + 'print("more", "and more")\n')
        self.write("root/new.txt", "12345")
        self.make()
        for _ in range(2): # looking twice changes nothing
            lines = self.size()
            changes = {name: change for _, name, change in lines if change}
            now = {name: size for size, name, _ in lines}
            grown = now["box.lua"] - before["box.lua"]
            self.assertEqual(changes, {
                "box.lua": f"+{grown}", "bin/": f"+{grown}", "usr/": f"+{grown}",
                "new.txt": "+5", "files in the image": f"+{grown + 5}"})
        (self.dir / "root/new.txt").unlink()
        self.make()
        self.assertIn((0, "/new.txt", "-5"), self.size())

    def test_only_one_file_is_written(self):
        self.make()
        before = self.files()
        self.size()
        self.assertEqual(sorted(set(self.files()) - set(before)), ["obj/ztproject-sizes.json"])

    def test_treemap(self):
        self.make()
        self.size("--svg", "sizes.svg")
        root = xml.fromstring(self.read("sizes.svg"))
        self.assertEqual(root.tag, f"{SVG}svg")
        titles = {group.findtext(f"{SVG}title"): group.find(f"{SVG}rect")
                  for group in root.iter(f"{SVG}g")}
        files = self.real_sizes()
        self.assertIn(f"/usr/bin/box.lua: {files['box.lua']} bytes", titles)
        area = {title.split(": ")[0]: float(rect.get("width")) * float(rect.get("height"))
                for title, rect in titles.items()}
        # On one level, areas are as the sizes.
        self.assertAlmostEqual(area["/etc"] / area["/usr"],
                               sum(files[name] for name in ("autoexec.lua", "hostname", "issue",
                                                            "version"))
                               / sum(files[name] for name in ("box.lua", "greeting.lua", "log.lua",
                                                              "de.qm")), delta=0.02)

    def test_control_characters(self):
        self.write("root/a\x1b[31m\x7f\nb", "12345")
        self.make()
        result = self.ask("size", "--svg", "sizes.svg")
        self.assertIn(" a\ufffd[31m\ufffd\\nb\n", result.stdout)
        root = xml.fromstring(self.read("sizes.svg"))
        self.assertIn("/a\ufffd[31m\ufffd\\nb: 5 bytes",
                      [title.text for title in root.iter(f"{SVG}title")])

    def test_treemap_replaces_nothing_but_a_treemap(self):
        self.make()
        before = self.read("box.ztp")
        result = self.ask("size", "--svg", "box.ztp")
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (1, "", "[ztproject] box.ztp is not a drawing of ztproject, and was left "
                          "as it is.\n"))
        self.assertEqual(self.read("box.ztp"), before)
        self.size("--svg", "sizes.svg")
        drawn = self.read("sizes.svg")
        self.write("root/new.txt", "12345")
        self.make()
        self.size("--svg", "sizes.svg")
        self.assertNotEqual(self.read("sizes.svg"), drawn)

    def test_treemap_replaces_no_other_drawing(self):
        self.make()
        for text in ('<svg xmlns="http://www.w3.org/2000/svg" width="10"><circle r="4"/></svg>\n',
                     "<svgfoo/>"):
            self.write("sizes.svg", text)
            result = self.ask("size", "--svg", "sizes.svg")
            self.assertEqual((result.returncode, result.stdout, result.stderr), (
                1, "", "[ztproject] sizes.svg is not a drawing of ztproject, and was left as it is.\n"))
            self.assertEqual(self.read("sizes.svg"), text)
        self.write("sizes.svg", "")
        self.size("--svg", "sizes.svg")
        self.assertIn("<svg", self.read("sizes.svg"))

    def test_pipes(self):
        self.make()
        os.mkfifo(self.dir / "sizes.svg")
        result = self.ask("size", "--svg", "sizes.svg")
        self.assertEqual((result.returncode, result.stderr), (
            1, "[ztproject] sizes.svg is not a drawing of ztproject, and was left as it is.\n"))
        os.mkfifo(self.dir / "obj/ztproject-sizes.json")
        result = self.ask("size")
        self.assertEqual((result.returncode, result.stderr),
                         (0, "[ztproject] Cannot save the sizes in obj.\n"))
        firmware = self.dir / self.firmware()[0]
        firmware.unlink()
        os.mkfifo(firmware)
        result = self.ask("size")
        self.assertEqual((result.returncode, result.stderr),
                         (1, "[ztproject] There is no firmware yet; build the project first.\n"))

    def test_directory_with_an_undecodable_name(self):
        self.make()
        directory = os.fsencode(self.home) + b"/\xff"
        shutil.copytree(os.fsencode(self.dir), directory)
        result = self.ask("size", "--svg", "sizes.svg", cwd=directory)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertTrue(os.path.getsize(directory + b"/obj/ztproject-sizes.json"))
        self.assertTrue(os.path.getsize(directory + b"/sizes.svg"))

    def test_no_object_directory(self):
        self.make()
        shutil.rmtree(self.dir / "obj")
        self.size()
        self.assertFalse((self.dir / "obj").exists())

    def test_treemap_that_cannot_be_written(self):
        self.make()
        result = self.ask("size", "--svg", "none/sizes.svg")
        self.assertEqual(result.returncode, 1)
        self.assertIn("[ztproject] Error writing none/sizes.svg: ", result.stderr)

    def test_object_directory_that_cannot_be_written(self):
        self.make()
        (self.dir / "obj/ztproject-sizes.json").mkdir()
        result = self.ask("size")
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stderr, "[ztproject] Cannot save the sizes in obj.\n")

    def test_firmware_without_an_image(self):
        self.make()
        self.write(self.firmware()[0], b"encrypted")
        result = self.ask("size")
        self.assertEqual(result.returncode, 1)
        self.assertIn("There is no romfs image in firmware/ZT100-box-0.1-firmware.ztf",
                      result.stderr)

    def test_damaged_images(self):
        self.make()
        name = self.firmware()[0]
        whole = (self.dir / name).read_bytes()
        start = whole.index(b"-rom1fs-")
        for place in range(start, start + 600, 7):
            damaged = bytearray(whole)
            damaged[place] ^= 0xff
            self.write(name, bytes(damaged))
            result = self.ask("size")
            self.assertIn(result.returncode, (0, 1), f"byte {place}: {result}")


if __name__ == "__main__":
    unittest.main()

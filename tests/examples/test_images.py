#!/usr/bin/env python3
"""The tools for images and firmware: ztmkromfs, ztlink, ztinspect."""

import hashlib
import hmac
import os
import unittest

from world import SDK, World

KERNEL = SDK / "kernel/ZT100-kernel.bin"


class Packing(World):
    """ztmkromfs"""

    def pack(self, *arguments):
        """Packs an image and unpacks it again; gives {path: text}, links as "-> target"."""
        self.tool("ztmkromfs", "--out", "image", *arguments)
        return self.unpacked("image")

    def unpacked(self, image):
        """What is in an image, as ztinspect finds it."""
        directory = self.dir / f"unpacked{len(os.listdir(self.dir))}"
        self.tool("ztinspect", "--extract", directory, image)
        return {path: f"-> {os.readlink(directory / path)}" if (directory / path).is_symlink()
                else (directory / path).read_text() for path in self.files(directory)}

    def test_image_of_genromfs_itself_is_read_as_it_was_staged(self):
        self.write("tree/a", "A")
        self.write("tree/sub/deep/b", "B" * 5000)
        self.write("tree/sub/a name of more than sixteen letters", "")
        self.write("tree/empty", "")
        (self.dir / "tree/nothing").mkdir()
        (self.dir / "tree/link").symlink_to("sub/deep/b")
        (self.dir / "tree/a").chmod(0o755)
        os.link(self.dir / "tree/a", self.dir / "tree/sub/hard")
        self.assertEqual(self.run_command("genromfs", "-f", "image", "-d", "tree").returncode, 0)
        self.tool("ztinspect", "--extract", "out", "image")
        difference = self.run_command("diff", "-r", "--no-dereference", "tree", "out")
        self.assertEqual((difference.returncode, difference.stdout), (0, ""))
        self.assertTrue((self.dir / "out/nothing").is_dir())
        self.assertTrue(os.access(self.dir / "out/a", os.X_OK))
        self.assertFalse(os.access(self.dir / "out/empty", os.X_OK))

    def test_images_of_single_objects_are_those_of_genromfs(self):
        self.write("file/a name of more than sixteen letters", "A" * 5000)
        self.write("program/x", "").chmod(0o755)
        self.write("console/@console,c,5,1", "")
        self.write("disk/@sda,b,8,0", "")
        (self.dir / "empty").mkdir()
        (self.dir / "link").mkdir()
        (self.dir / "link/l").symlink_to("to/nothing")
        for tree in ("file", "program", "console", "disk", "empty", "link"):
            with self.subTest(tree):
                self.run_command("genromfs", "-f", "expected", "-V", "a label", "-d", tree)
                self.tool("ztmkromfs", "-o", "image", "--label", "a label", "-i", tree)
                self.assertEqual((self.dir / "image").read_bytes(),
                                 (self.dir / "expected").read_bytes())

    def test_links_to_directories_are_followed_within_a_directory(self):
        self.write("common/lib/x.lua", "source")
        self.write("common/y", "Y")
        self.write("obj/x.luo", "object")
        self.write("root/a", "A")
        (self.dir / "root/lib").symlink_to("../common/lib")
        (self.dir / "root/again").symlink_to("../common")
        (self.dir / "root/file").symlink_to("a")
        (self.dir / "root/none").symlink_to("nothing")
        (self.dir / "root/self").symlink_to(".")
        (self.dir / "common/lib/up").symlink_to("..")
        self.assertEqual(self.pack("-i", "root", "-D", "lib/x.lua", "-i", "obj/x.luo"), {
            "a": "A", "file": "-> a", "none": "-> nothing", "self": "-> .",
            "lib/x.lua": "object", "lib/up/y": "Y",
            "lib/up/lib/x.lua": "source", "lib/up/lib/up": "-> ..",
            "again/y": "Y", "again/lib/x.lua": "source", "again/lib/up": "-> .."})

    def test_content_of_a_directory_goes_into_the_destination(self):
        self.write("tree/a", "A")
        self.write("tree/sub/b", "B")
        (self.dir / "tree/link").symlink_to("a")
        self.assertEqual(self.pack("-i", "tree", "-D", "/usr/x", "--in", "tree"),
                         {"a": "A", "sub/b": "B", "link": "-> a",
                          "usr/x/a": "A", "usr/x/sub/b": "B", "usr/x/link": "-> a"})

    def test_file_becomes_the_destination_or_goes_into_it(self):
        self.write("a", "A")
        self.assertEqual(self.pack("-i", "a", "-D", "/usr/bin/b", "-i", "a",
                                   "-D", "/usr/bin", "-i", "a",
                                   "--destination", "/new/", "-i", "a"),
                         {"a": "A", "usr/bin/b": "A", "usr/bin/a": "A", "new/a": "A"})

    def test_relative_place_counts_for_one_input_below_the_destination(self):
        self.write("a", "A")
        self.write("tree/b", "B")
        self.assertEqual(self.pack("-D", "x/y", "-i", "a", "-i", "a", "-D", "/usr", "-i", "tree",
                                   "-D", "s/c", "-i", "a", "-i", "a"),
                         {"x/y": "A", "a": "A", "usr/b": "B", "usr/s/c": "A", "usr/a": "A"})

    def test_object_replaces_its_source_in_a_directory(self):
        self.write("root/sub/x.lua", "source")
        self.write("obj/sub/x.luo", "object")
        self.assertEqual(self.pack("-D", "/lib", "-i", "root",
                                   "-D", "sub/x.lua", "-i", "obj/sub/x.luo"),
                         {"lib/sub/x.lua": "object"})

    def test_object_replaces_a_single_source_wherever_that_went(self):
        self.write("src/main.lua", "source")
        self.write("obj/root01.luo", "object")
        self.write("other", "O")
        one = ("-i", "src/main.lua", "-D", "", "-i", "obj/root01.luo")
        for destination, expected in [(["-D", "/usr/bin/run.lua"], {"usr/bin/run.lua": "object"}),
                                      (["-D", "/usr/"], {"usr/main.lua": "object"}),
                                      ([], {"main.lua": "object"})]:
            with self.subTest(destination):
                self.assertEqual(self.pack(*destination, *one), expected)
        self.assertEqual(self.pack("-D", "/d/o", "-i", "other", "-D", "/d", *one, "-i", "other"),
                         {"d/o": "O", "d/main.lua": "object", "d/other": "O"})

    def test_empty_place_after_a_destination_is_that_destination(self):
        self.write("a", "A")
        self.write("b", "B")
        self.assertEqual(self.pack("-i", "b", "-D", "/x", "-D", "", "-i", "a"),
                         {"b": "B", "x": "A"})

    def test_later_files_replace_earlier_ones(self):
        self.write("a", "A")
        self.write("b", "B")
        self.assertEqual(self.pack("-D", "/x", "-i", "a", "-i", "b"), {"x": "B"})

    def test_image_is_merged_at_the_destination(self):
        self.write("tree/sub/a", "A")
        (self.dir / "tree/link").symlink_to("none")
        self.write("tree/@console,c,5,1", "")
        self.tool("ztmkromfs", "-o", "inner", "-i", "tree")
        self.write("b", "B")
        self.assertEqual(self.pack("--merge", "inner", "-D", "/deep/er", "--merge", "inner",
                                   "-D", "/sub/a", "-i", "b"),
                         {"sub/a": "B", "link": "-> none", "@console,c,5,1": "",
                          "deep/er/sub/a": "A", "deep/er/link": "-> none",
                          "deep/er/@console,c,5,1": ""})

    def test_excluded_names_are_left_out_of_directories(self):
        for path in ("tree/.svn/entries", "tree/sub/.svn/entries", "tree/a.bak", "tree/sub/a",
                     "a.bak"):
            self.write(path, "A")
        self.assertEqual(self.pack("-x", ".svn", "-x", "*.bak", "-i", "tree", "-i", "a.bak"),
                         {"sub/a": "A", "a.bak": "A"})

    def test_equal_inputs_give_equal_images(self):
        for name in "zebra", "ant", "mouse":
            self.write(f"tree/{name}", name)
        images = []
        for _ in range(2):
            self.tool("ztmkromfs", "-o", "image", "--label", "root", "-i", "tree")
            images.append((self.dir / "image").read_bytes())
        self.assertEqual(images[0], images[1])
        self.assertEqual(images[0][16:32], b"root".ljust(16, b"\0"))

    def test_verbose_tells_what_is_packed(self):
        self.write("a", "A")
        self.assertEqual(self.tool("ztmkromfs", "-o", "image", "-i", "a"), "")
        self.assertEqual(self.tool("ztmkromfs", "-v", "-o", "image", "-i", "a"),
                         "image: 1 files, 1024 bytes\n")
        self.assertEqual(self.tool("ztmkromfs", "-vv", "-o", "image", "-i", "a"),
                         "        1 /a\nimage: 1 files, 1024 bytes\n")

    def test_values_may_be_joined_to_their_options(self):
        self.write("-a", "A")
        self.tool("ztmkromfs", "-vvoimage", "--label=a=b", "-D", "-x", "-i-a")
        self.assertEqual(self.unpacked("image"), {"-x": "A"})
        self.assertEqual((self.dir / "image").read_bytes()[16:32], b"a=b".ljust(16, b"\0"))

    def test_arguments_may_stand_in_a_file(self):
        self.write("a", "A")
        self.write("b", "B")
        self.write("args", "-o\nimage\n-D\n/x y\n-i\na\n-D\n\n-i\nb\n")
        self.tool("ztmkromfs", "@args")
        self.assertEqual(self.unpacked("image"), {"x y": "B"})

    def test_errors_are_reported(self):
        self.write("a", "A")
        self.write("tree/b", "B")
        for arguments, text in [
            (["-o", "image", "-i", "none"], "none: No such file or directory"),
            (["-o", "image", "--merge", "a"], "a: not a romfs image"),
            (["-o", "image", "-D", "/x", "-i", "a", "-D", "y", "-i", "a"],
             "/x is not a directory of the image"),
            (["-o", "image", "-D", "/x", "-i", "a", "-i", "tree"],
             "/x is not a directory of the image"),
            (["-i", "a"], "no image to write: --out is missing"),
            (["-o", "image", "a"], "unexpected argument a"),
            (["-o", "image", "--wrong"], "option --wrong not recognized"),
            (["-o", "image", "-vw"], "option -w not recognized"),
            (["-v", "-o"], "option -o requires argument"),
            (["--out"], "option --out requires argument"),
        ]:
            with self.subTest(arguments):
                self.assertEqual(self.failing_tool("ztmkromfs", *arguments), f"ztmkromfs: {text}\n")

    def test_failure_leaves_the_earlier_image(self):
        self.write("a", "A")
        self.tool("ztmkromfs", "-o", "image", "-i", "a")
        before = (self.dir / "image").read_bytes()
        self.failing_tool("ztmkromfs", "-o", "image", "-i", "none")
        self.assertEqual((self.dir / "image").read_bytes(), before)


class Linking(World):
    """ztlink and ztinspect"""

    def setUp(self):
        super().setUp()
        self.write("tree/etc/version", "1.0\n")
        self.write("key", "secret\n")
        self.tool("ztmkromfs", "-o", "image", "-i", "tree")

    def link(self, *options):
        """Links a firmware file."""
        self.tool("ztlink", "--kernel", KERNEL, "--data", "image", "--output", "out/fw.ztf",
                  *options)
        return self.dir / "out/fw.ztf"

    def test_manifest_describes_the_content(self):
        file = self.link("--name", "Gerät [Installer]", "--version", "1.0#7M")
        kernel, image = KERNEL.read_bytes(), (self.dir / "image").read_bytes()
        self.assertEqual(file.read_bytes()[-len(kernel) - len(image) :], kernel + image)
        self.assertEqual(self.tool("ztinspect", file), f"""\
model          ZT100
name           Gerät [Installer]
version        1.0#7M
kernel         {len(kernel)} bytes, SHA-256 {hashlib.sha256(kernel).hexdigest()}
data           {len(image)} bytes, SHA-256 {hashlib.sha256(image).hexdigest()}
authenticated  no
        4 /etc/version
""")

    def test_keyed_hash_covers_everything_before_it(self):
        plain = self.link().read_bytes()
        content = self.link("-C", "key").read_bytes()
        self.assertEqual(content[-32:], hmac.new(b"secret", content[:-32], hashlib.sha256).digest())
        self.assertNotEqual(plain, content[:-32])  # the manifest says that there is one

    def test_verify_tells_the_right_key_from_another(self):
        file = self.link("-C", "key")
        self.assertEqual(self.tool("ztinspect", "--verify", "key", file),
                         f"{file}: linked with this key\n")
        self.write("other", "guess\n")
        self.assertEqual(self.failing_tool("ztinspect", "--verify", "other", file),
                         f"ztinspect: {file}: linked with another key\n")
        self.link()
        self.assertEqual(self.failing_tool("ztinspect", "--verify", "key", file),
                         f"ztinspect: {file}: linked without a key\n")

    def test_damage_is_noticed(self):
        file = self.link()
        content = bytearray(file.read_bytes())
        for position, text in [(0, "not a firmware file"), (12, "damaged manifest"),
                               (len(content) - 1, "damaged content"),
                               (len(content) - 5000, "damaged content")]:
            with self.subTest(position):
                damaged = bytearray(content)
                damaged[position] ^= 0x55
                self.write("bad.ztf", bytes(damaged))
                self.assertEqual(self.failing_tool("ztinspect", "bad.ztf"),
                                 f"ztinspect: bad.ztf: {text}\n")
        self.write("bad.ztf", bytes(content[:-1]))
        self.assertEqual(self.failing_tool("ztinspect", "bad.ztf"),
                         "ztinspect: bad.ztf: damaged content\n")

    def test_damaged_images_are_refused(self):
        content = (self.dir / "image").read_bytes()
        flipped = bytearray(content)
        flipped[content.index(b"1.0\n")] ^= 1  # only the checksum tells
        for image in (content[:100], bytes(flipped), content[:8] + b"\0" * 24 + content[32:512]):
            self.write("bad", image)
            self.assertEqual(self.failing_tool("ztinspect", "bad"),
                             "ztinspect: bad: damaged romfs image\n")

    def test_single_files_can_be_shown(self):
        file = self.link()
        self.assertEqual(self.tool("ztinspect", "--list", file), "/etc/version\n")
        self.assertEqual(self.tool("ztinspect", "--cat", "/etc/version", file), "1.0\n")
        self.assertEqual(self.failing_tool("ztinspect", "--cat", "/etc", file),
                         f"ztinspect: {file}: no file /etc\n")

    def test_extraction_wants_a_new_directory(self):
        self.assertEqual(self.failing_tool("ztinspect", "--extract", "tree", "image"),
                         "ztinspect: tree: File exists\n")

    def test_errors_are_reported(self):
        self.write("empty", "\n")
        for kernel, data, options, text in [
            ("none", "image", [], "none: No such file or directory"),
            ("key", "image", [], "key: not a kernel"),
            (KERNEL, "key", [], "key: not a romfs image"),
            (KERNEL, "image", ["-C", "none"], "none: No such file or directory"),
            (KERNEL, "image", ["-C", "empty"], "empty: empty key"),
        ]:
            with self.subTest(text):
                self.assertEqual(self.failing_tool("ztlink", "--kernel", kernel, "--data", data,
                                                   "--output", "fw.ztf", *options),
                                 f"ztlink: {text}\n")

    def test_arguments_may_stand_in_a_file(self):
        self.write("args", f"--kernel\n{KERNEL}\n--data\nimage\n--output\nfw.ztf\n--name\nA b\n")
        self.tool("ztlink", "@args")
        self.assertIn("name           A b\n", self.tool("ztinspect", "fw.ztf"))


if __name__ == "__main__":
    unittest.main()

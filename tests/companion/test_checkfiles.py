#!/usr/bin/env python3
"""ztproject check: what it says to traps in directories, and in names of files."""

import os
import re
import shutil
import unittest

from checkworld import CheckWorld


class FileTraps(CheckWorld):
    """One mistake each, made in a good project. What a build says is its exit status."""

    def two_files(self):
        self.write("one/a.lua", "print(1)\n")
        self.write("one/b.lua", "print(2)\n")
        self.merge("one/a.lua", "/opt/a.lua", "File")
        self.merge("one/b.lua", "/opt/b.lua", "File")

    def test_files_that_share_an_object(self):
        self.two_files()
        self.assertEqual(self.findings(), [])
        self.edit("<Project ", '<Project ObjectDirectory="obj.v1/x" ')
        self.assertEqual({finding["check"] for finding in self.findings()},
                         {"same-object", "object-path"})

    def test_dot_in_the_path_of_the_object_directory(self):
        self.two_files()
        deep = self.home / "my.project" / "box"
        shutil.copytree(self.dir, deep)
        text = (deep / "box.ztp").read_text()
        (deep / "box.ztp").write_text(text.replace(
            "<Project ", f'<Project ProjectDirectory="{deep}" ').replace(
            re.search(r"\n *<Translation.*</Translation>", text, re.DOTALL)[0], ""))
        found = self.findings(cwd=deep)
        self.assertEqual({finding["check"] for finding in found}, {"same-object", "object-path"})
        self.assertRegex(found[0]["text"] + found[-1]["text"], "one/[ab].lua and .*one/[ab].lua")
        self.assertEqual(self.make(cwd=deep), 0)

    def test_project_of_another_directory(self):
        self.expect("translation-path", "would look for", "<Translation", "error",
                    "project/box.ztp", "project/box.ztp", cwd=self.dir.parent)
        self.assertEqual(self.make("project/box.ztp", cwd=self.dir.parent), 1)

    def test_absolute_object_directory(self):
        self.edit("<Project ", f'<Project ObjectDirectory="{self.home}/o" ')
        self.expect("translation-path", "translation report would be written to",
                    "ObjectDirectory=")
        self.assertEqual(self.make("--report"), 0)
        self.assertFalse((self.home / "o/translations/report.xml").exists())

    def test_two_projects_share_their_objects(self):
        self.write("release.ztp", self.read("box.ztp").replace('"box"', '"release"'))
        self.expect("shared-objects", "release.ztp has the same object directory", "<Project",
                    "warning", "box.ztp", "box.ztp")
        self.assertEqual(self.make("release.ztp"), 0)

    def test_object_directory_of_another_spelling(self):
        self.write("release.ztp", self.read("box.ztp").replace('"box"', '"release"').replace(
            "<Project ", '<Project ObjectDirectory="obj/" '))
        self.expect("shared-objects", "release.ztp has the same object directory", "<Project",
                    "warning", "box.ztp", "box.ztp")

    def test_merge_that_holds_the_objects(self):
        self.edit("<Source>root<", "<Source>.<")
        self.edit("/usr/bin/box.lua", "/root/usr/bin/box.lua")
        checks = [(finding["check"], finding["text"][:22]) for finding in self.findings()
                  if finding["check"] == "merge"]
        self.assertEqual(checks, [("merge", "The merge holds obj: e"),
                                  ("merge", "The merge holds firmwa"),
                                  ("merge", "The merge holds the ke")])
        self.assertEqual(self.make(), 0)

    def test_objects_that_go_into_a_merge(self):
        self.edit("<Project ", '<Project ObjectDirectory="." ')
        self.expect("merge", "writes its objects into the merged directory, .*: ./root/.*box.lui$", "<Merge")
        self.assertEqual(self.make(), 0)
        self.assertIn("box.lui", self.tool("ztinspect", *self.firmware()))

    def test_merge_that_holds_a_repository_and_a_project(self):
        self.write("root/lib/.git/HEAD", "x")
        self.write("root/lib/other.ztp", "x")
        texts = [finding["text"] for finding in self.findings()]
        self.assertEqual(texts, ["The merge holds a repository: root/lib/.git",
                                 "The merge holds another project: root/lib/other.ztp"])
        self.assertEqual(self.make(), 0)

    def test_repositories_of_all_kinds(self):
        for name in ".hg", ".bzr", "_darcs", ".jj", ".pijul":
            self.write(f"root/{name}/x", "x")
        for name in ".fossil", ".fslckout", "_FOSSIL_", ".git":
            self.write(f"root/lib/{name}", "x")
        self.write("root/.svn/x", "x") # left out of images
        self.expect("merge", "The merge holds a repository: root/.bzr and 8 more", "<Merge")
        self.assertEqual(self.make(), 0)

    # Pipes, which nothing comes out of

    def test_pipe_as_translations(self):
        (self.dir / "translations/de.ts").unlink()
        os.mkfifo(self.dir / "translations/de.ts")
        self.expect("translation", "translations/de.ts is not a regular file", "<Language", "error")

    def test_pipe_as_key(self):
        (self.dir / "keys/firmware.key").unlink()
        os.mkfifo(self.dir / "keys/firmware.key")
        self.expect("key", "The key file keys/firmware.key is not a regular file", "KeyFile=",
                    "error")

    def test_pipe_as_project_file(self):
        os.mkfifo(self.dir / "pipe.ztp")
        self.expect("project-file", "not a regular file", None, "error", "pipe.ztp", "pipe.ztp")
        self.assertEqual(self.ask("why", "pipe.ztp").returncode, 1)
        self.assertEqual(self.findings("box.ztp"), []) # whose neighbour it is

    def test_pipe_as_an_image_and_an_object(self):
        self.make()
        os.mkfifo(self.dir / "image")
        self.merge("image", kind="Archive")
        (self.dir / "obj/root/usr/bin/box.lui").unlink()
        os.mkfifo(self.dir / "obj/root/usr/bin/box.lui")
        self.assertIn("image is neither a file nor a directory",
                      [found["text"] for found in self.findings()])

    # Sources

    def test_links(self):
        self.write("elsewhere/x.lua", "print(1)\n")
        (self.dir / "root/link").symlink_to("../elsewhere")
        self.expect("link", "root/link$", "<Merge")
        (self.dir / "root/link").unlink()
        (self.dir / "root/usr/loop").symlink_to("..")
        self.expect("link", "leads back .* root/usr/loop$", "<Merge")
        self.assertEqual(self.make(), 0)

    def test_hidden_source(self):
        self.write("root/.hooks/a.lua", "print(1)\n")
        self.write("root/.b.lua", "print(1)\n")
        self.expect("hidden", "shipped as source: root/.* and 1 more")
        self.assertEqual(self.make(), 0)
        self.assertFalse((self.dir / "obj/root/.hooks/a.luo").exists())

    def test_source_with_an_undecodable_name(self):
        with open(os.fsencode(self.dir / "root") + b"/\xff.lua", "wb") as file:
            file.write(b"print(1)\n")
        self.expect("hidden", "not UTF-8")
        self.assertEqual(self.make(), 0)

    def test_source_in_a_directory_with_an_undecodable_name(self):
        directory = os.fsencode(self.dir / "root") + b"/\xff"
        os.mkdir(directory)
        with open(directory + b"/a.lua", "wb") as file:
            file.write(b"print(1)\n")
        self.expect("hidden", "not UTF-8")
        self.assertEqual(self.make(), 0)


if __name__ == "__main__":
    unittest.main()

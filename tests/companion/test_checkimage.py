#!/usr/bin/env python3
"""ztproject check: what it says to files that get into the image, or do not, against what is meant."""

import unittest

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


if __name__ == "__main__":
    unittest.main()

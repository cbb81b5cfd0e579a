#!/usr/bin/env python3
"""ztproject check: what it says to traps in the MTD16 definitions."""

import unittest

from checkworld import CheckWorld

LUA = "root/usr/lib/lua/mtd16.lua"


class Definitions(CheckWorld):
    """One mistake each, made in a good project with definitions."""

    def setUp(self):
        super().setUp()
        self.write("box.mtdef", "0x0100 LIMIT u8\n")
        self.define('<MTD16 Enabled="true"/>')

    def define(self, element):
        text = self.read("box.ztp")
        self.write("box.ztp", text.partition("<MTD16")[0].partition("</Project>")[0] + element
                   + "</Project></ZeltaProject>\n")

    def test_nothing_wrong(self):
        self.assertEqual(self.findings(), [])
        self.assertEqual(self.make(), 0)
        self.assertEqual(self.findings(), [])

    # Other projects

    def second(self, element):
        self.write("other.mtdef", "0x0200 OTHER u8\n")
        self.write("other.ztp", self.read("box.ztp").replace('"box"', '"second"').replace(
            "<Project ", '<Project ObjectDirectory="obj-other" ').replace(
            '<MTD16 Enabled="true"/>', element))

    def test_two_projects_generate_one_module(self):
        self.second('<MTD16 Enabled="true"/>')
        self.expect("shared-definitions", "other.ztp generates include/mtd16.lh, too, but from "
                    "other definitions", "<MTD16", "warning", "box.ztp", "box.ztp")
        super().make(project=["box.ztp"])
        self.time("other.mtdef", -100)
        self.assertEqual(self.make(project=["other.ztp"]), 0)
        self.assertIn("LIMIT", self.read(LUA))
        self.assertNotIn("OTHER", self.read(LUA))

    def test_two_projects_generate_one_module_and_two_headers(self):
        self.second('<MTD16 Enabled="true"><Header>other.lh</Header></MTD16>')
        self.expect("shared-definitions", f"other.ztp generates {LUA}, too", "<MTD16", "warning",
                    "box.ztp", "box.ztp")

    def test_two_projects_of_the_same_definitions(self):
        self.second('<MTD16 Enabled="true"><Source>./box.mtdef</Source></MTD16>')
        self.assertEqual(self.findings("box.ztp"), [])

    def test_two_projects_of_which_one_has_no_definitions(self):
        self.second("")
        self.assertEqual(self.findings("box.ztp"), [])

    # The element

    def test_definitions_that_are_not_enabled(self):
        self.define("<MTD16/>")
        self.expect("definitions", "MTD16 is not enabled: box.mtdef has no effect", "<MTD16")
        self.assertEqual(self.make(), 0)
        self.assertNotIn(LUA, self.files())

    def test_definitions_of_another_name_that_are_not_enabled(self):
        (self.dir / "box.mtdef").unlink()
        self.define("<MTD16><Source>more.mtdef</Source></MTD16>")
        self.expect("definitions", "MTD16 is not enabled: more.mtdef", "<MTD16")
        self.assertEqual(self.make(), 0)

    def test_second_element_that_switches_the_first_off(self):
        self.define('<MTD16 Enabled="true"/>\n<MTD16><Lua>root/a.lua</Lua></MTD16>')
        self.expect("definitions", "MTD16 is not enabled", "<MTD16><Lua>")
        self.assertEqual(self.make(), 0)
        self.assertNotIn("root/a.lua", self.files())

    def test_definitions_that_are_switched_off(self):
        self.define('<MTD16 Enabled="false"/>')
        self.assertEqual(self.findings(), [])

    def test_element_without_definitions(self):
        (self.dir / "box.mtdef").unlink()
        self.define("<MTD16/>")
        self.assertEqual(self.findings(), [])

    def test_module_outside_of_all_merges(self):
        self.define('<MTD16 Enabled="true"><Lua>lib/mtd16.lua</Lua></MTD16>')
        self.expect("definitions", "No merge holds the module lib/mtd16.lua", "<MTD16")
        self.assertEqual(self.make(), 0)
        self.assertIn("lib/mtd16.lua", self.files())
        self.assertNotIn("mtd16", self.tool("ztinspect", *self.firmware()))

    def test_default_module_outside_of_all_merges(self):
        """Perhaps only the header is wanted."""
        (self.dir / "root").rename(self.dir / "tree")
        self.edit("<Source>root<", "<Source>tree<")
        self.expect("definitions", f"No merge holds the module {LUA}", "<MTD16", "note")
        self.assertEqual(self.make(), 0)
        self.assertNotIn("mtd16", self.tool("ztinspect", *self.firmware()))

    def test_module_in_a_merge_of_its_own(self):
        self.define('<MTD16 Enabled="true"><Lua>lib/mtd16.lua</Lua></MTD16>')
        self.write("lib/other.lua", "return {}\n")
        self.merge("lib", "/usr/lib/lua")
        self.assertEqual(self.findings(), [])
        self.assertEqual(self.make(), 0)
        self.assertIn("mtd16", self.tool("ztinspect", *self.firmware()))

    def test_header_and_module_in_one_file(self):
        self.define(f'<MTD16 Enabled="true"><Header>./{LUA}</Header></MTD16>')
        self.expect("definitions", f"Header and Lua are one file: {LUA}", "<MTD16")
        self.assertEqual(self.make(), 0)
        self.assertNotIn("#define", self.read(LUA))


if __name__ == "__main__":
    unittest.main()

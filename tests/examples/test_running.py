#!/usr/bin/env python3
"""The tool that runs an image on this machine: ztrun."""

import unittest

from world import SDK, World


class Running(World):
    """ztrun"""

    def start(self, script, *options, **files):
        """Runs an image with a start-up script; gives (status, output, log)."""
        self.write("tree/etc/autoexec.lua", script)
        for name, text in files.items():
            self.write(f"tree/usr/lib/lua/{name}.lua", text)
        self.tool("ztmkromfs", "-o", "image", "-i", "tree")
        result = self.run_command(SDK / "bin/ztrun", *options, "image")
        return result.returncode, result.stdout, result.stderr

    def test_paths_lead_into_the_image(self):
        self.assertEqual(self.start("""
            os.chdir("/usr/lib/lua")
            print(require("a"), dofile("a.lua"), loadfile("/usr/lib/lua/a.lua")())
            for line in io.lines("a.lua") do print(line) end
            print(io.open("/etc/passwd"))
        """, a="return 'A'"), (0, "A\tA\tA\nreturn 'A'\nnil\t%s\t2\n" %
                               "/etc/passwd: No such file or directory", ""))

    def test_messages_name_paths_of_the_device(self):
        self.assertEqual(self.start("print(loadfile('/none.lua'))")[1],
                         "nil\tcannot open /none.lua: No such file or directory\n")

    def test_temporary_files_are_files_of_the_device(self):
        self.assertEqual(self.start("""
            local first, second = os.tmpname(), os.tmpname()
            assert(first ~= second and io.open(second, "r"))
            local file = assert(io.open(first, "w"))
            file:write("text\\n")
            file:close()
            for line in io.lines(first) do print(line) end
            print(assert(os.rename(first, "/tmp/other")), io.open(first))
            io.input("/tmp/other")
            print(io.read("*l"), os.remove("/tmp/other"), os.remove("/tmp/other"))
            io.output("/tmp/new")
            io.write("new")
            io.close()
            print(io.open("/tmp/new"):read("*a"), (pcall(io.open, {})))
        """), (0, "text\n"
               "true\tnil\t/tmp/lua_1: No such file or directory\t2\n"
               "text\ttrue\tnil\t/tmp/other: No such file or directory\t2\n"
               "new\tfalse\n", ""))

    def test_modules_are_found_where_package_path_says(self):
        self.write("tree/usr/bin/b.lua", "return 'B'")
        self.write("tree/usr/lib/lua/pkg/init.lua", "return ...")
        self.write("tree/usr/lib/lua/bad.lua", "\nx =")
        status, output, _ = self.start("""
            for template in package.path:gmatch("[^;]+") do
                local file = io.open((template:gsub("?", "a")))
                print(template, file and file:read("*a"))
            end
            package.path = package.path .. ";/usr/bin/?.lua"
            print(require("a"), require("b"), require("pkg"))
            print(select(2, pcall(require, "no.ne")))
            print(select(2, pcall(require, "bad")))
        """, a="return 'A'")
        self.assertEqual((status, output.splitlines()), (0, [
            "/usr/lib/lua/?.lua\treturn 'A'", "/usr/lib/lua/?/init.lua\tnil", "A\tB\tpkg",
            "module 'no.ne' not found:", "\tno field package.preload['no.ne']",
            "\tno file '/usr/lib/lua/no/ne.lua'", "\tno file '/usr/lib/lua/no/ne/init.lua'",
            "\tno file '/usr/bin/no/ne.lua'",
            "error loading module 'bad':",
            "\t/usr/lib/lua/bad.lua:2: unexpected symbol near '<eof>'"]))

    def test_what_runs_bears_its_path_on_the_device(self):
        self.write("tree/usr/lib/lua/" + "deep/" * 12 + "c.lua", "#first\nerror('oops')")
        self.assertEqual(self.start("""
            print(loadfile("/usr/lib/lua"))
            dofile("/usr/bin/none.lua")
        """)[1], "nil\tcannot read /usr/lib/lua: Is a directory\n")
        self.assertIn("/etc/autoexec.lua:1: oops", self.start("error('oops')")[2])
        deep = "/usr/lib/lua/" + "deep/" * 12 + "c.lua"
        self.assertIn("deep/c.lua:2: oops", self.start(f"dofile('{deep}')")[2])

    def test_status_is_that_of_the_script(self):
        self.assertEqual(self.start("os.exit(7)"), (7, "", ""))

    def test_error_in_the_script_fails(self):
        self.assertEqual(self.start("error('broken')")[0], 1)

    def test_logged_end_decides_for_interactive_devices(self):
        self.assertEqual(self.start("os.syslog('[Lua] OK.')"), (0, "", "syslog: [Lua] OK.\n"))
        self.assertEqual(self.start("os.syslog('[Lua] oops')"), (1, "", "syslog: [Lua] oops\n"))
        self.assertEqual(self.start("os.syslog('[app] oops')"), (0, "", "syslog: [app] oops\n"))

    def test_texts_are_translated_by_the_catalogue_of_the_image(self):
        self.write("de.ts", '<?xml version="1.0"?><!DOCTYPE TS><TS version="2.1" language="de">'
                   "<context><name>a</name><message><source>Target \"x\"</source>"
                   "<translation>Größe</translation></message></context></TS>")
        (self.dir / "tree/usr/lib/translations").mkdir(parents=True)
        self.tool("lrelease", "-silent", "de.ts", "-qm", "tree/usr/lib/translations/de.qm")
        script = "tr._translation_base_dir = '/'\nprint(tr('Target \"x\"'), tr('Other'))"
        self.assertEqual(self.start(script), (0, 'Target "x"\tOther\n', ""))
        self.assertEqual(self.start(script, "--language", "de"), (0, "Größe\tOther\n", ""))
        self.assertEqual(self.start(script, "--language", "fr"),
                         (1, "", "ztrun: image: no /usr/lib/translations/fr.qm\n"))

    def test_damaged_catalogue_is_reported(self):
        self.write("tree/usr/lib/translations/de.qm", "no catalogue")
        self.assertEqual(self.start("", "--language", "de"), (
            1, "", "ztrun: image: /usr/lib/translations/de.qm: not a message catalogue\n"))

    def test_image_without_a_script_is_refused(self):
        self.write("tree/a", "")
        self.tool("ztmkromfs", "-o", "image", "-i", "tree")
        self.assertEqual(self.failing_tool("ztrun", "image"),
                         "ztrun: image: no /etc/autoexec.lua\n")


if __name__ == "__main__":
    unittest.main()

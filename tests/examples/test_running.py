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

    def test_image_without_a_script_is_refused(self):
        self.write("tree/a", "")
        self.tool("ztmkromfs", "-o", "image", "-i", "tree")
        self.assertEqual(self.failing_tool("ztrun", "image"),
                         "ztrun: image: no /etc/autoexec.lua\n")


if __name__ == "__main__":
    unittest.main()

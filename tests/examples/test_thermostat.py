#!/usr/bin/env python3
"""The sample project thermostat, built by the real program with the tools of the sample SDK."""

import hashlib
import hmac
import os
import unittest
import xml.etree.ElementTree as xml

from world import CHANGE_TIME, SDK, SOURCE_TIME, ProjectWorld

SMALL = "firmware/ZT100-Thermostat-1.4.2-firmware.ztf"
LARGE = "firmware/ZT200-Thermostat-1.4.2-firmware.ztf"
INSTALLER = "firmware/ZT200-Thermostat-1.4.2-install.ztf"

MODULES = ["mtd16"] + ["thermostat/" + name for name in (
    "alarm", "clock", "config", "control/hysteresis", "control/schedule", "hardware/adc",
    "hardware/relay", "registers", "room", "ui/font", "ui/screen")]
# Where the compiled sources of the tree "root" are in the image.
STRIPPED = ["usr/bin/thermostat.lua"] + [f"usr/lib/lua/{name}.lua" for name in MODULES]
# Files that must come out as they went in, and where they come from.
COPIES = {"etc/thermostat.conf": "root/etc/thermostat.conf",
          "etc/thermostat/sensor.tab": "data/ntc10k.tab",
          "usr/share/web/index.html": "web/index.html",
          "usr/share/web/status.lua": "web/status.lua",
          "usr/share/web/style.css": "web/style.css"}
BASE = ["dev/@console,c,5,1", "etc/hostname", "etc/issue", "etc/motd", "usr/lib/lua/log.lua"]
REST = ["NOTICE", "etc/autoexec.lua", "etc/version", "usr/bin/selftest.lua",
        "usr/lib/translations/de.qm", "usr/lib/translations/fr.qm", "usr/share/fonts/digits.fnt"]

GERMAN = {("selftest", "FAILED"): "FEHLER",
          ("selftest", "passed"): "bestanden",
          ("selftest", "Register table"): "Registertabelle",
          ("thermostat/alarm", "Danger of frost"): "Frostgefahr",
          ("thermostat/ui/screen", "Room"): "Raum",
          ("thermostat/ui/screen", "Target"): "Soll",
          ("thermostat/ui/screen", "Heating on"): "Heizung an",
          ("thermostat/ui/screen", "Heating off"): "Heizung aus",
          ("thermostat/ui/screen", "Registers:"): "Register:"}
FRENCH = {("selftest", "FAILED"): "ÉCHEC",
          ("selftest", "passed"): "réussi",
          ("thermostat/alarm", "Danger of frost"): "Risque de gel",
          ("thermostat/ui/screen", "Room"): "Pièce",
          ("thermostat/ui/screen", "Target"): "Consigne",
          ("thermostat/ui/screen", "Heating on"): "Chauffage en marche",
          ("thermostat/ui/screen", "Heating off"): "Chauffage arrêté"}

# What every build runs, and nothing else when all is up to date: one update for each tree with
# Lua sources, both images, three links.
ALWAYS = ["ztlupdate"] * 3 + ["ztmkromfs"] + ["ztlink"] * 2 + ["ztmkromfs", "ztlink"]


class Thermostat(ProjectWorld):
    """What a build leaves behind, and what the next one does."""

    project = "thermostat"

    def tools(self, *options):
        """The names of the tools that a build runs."""
        return [call[0] for call in self.make(*options)]

    def build_and_age(self):
        """A first build, after which everything looks a while old."""
        self.build()
        self.age_outputs()

    def test_first_build_leaves_the_firmware_files(self):
        self.build()
        self.assertEqual(["firmware/" + name for name in self.files("firmware")],
                         [SMALL, LARGE, INSTALLER])
        self.assertEqual([name for name in self.files("obj") if "args" in name], [])

    def test_first_build_compiles_each_source_once(self):
        calls = self.build()
        sources = sorted(call[-1] for call in calls if call[0] == "ztlpp")
        self.assertEqual(sources, sorted([f"root/{path}" for path in STRIPPED]
                                         + ["tools/selftest.lua"]))
        objects = sorted(call[-3] for call in calls if call[0] == "ztluac")
        self.assertEqual(objects, sorted([f"obj/root/{path[:-3]}luo" for path in STRIPPED]
                                         + ["obj/root02.luo"]))
        self.assertEqual([call[-1] for call in calls if call[0] == "lrelease"],
                         ["obj/translations/de.qm", "obj/translations/fr.qm"])
        self.assertEqual(calls[0], ["ztmkmtd", "--header", "include/mtd16.lh", "--lua",
                                    "root/usr/lib/lua/mtd16.lua", "thermostat.mtdef"])

    def test_build_writes_nothing_else_into_the_sources(self):
        before = {path: (self.dir / path).read_bytes() for path in self.files()}
        self.make()
        after = {path: (self.dir / path).read_bytes() for path in self.files()
                 if not path.startswith(("obj/", "firmware/"))}
        for path in ("include/mtd16.lh", "root/usr/lib/lua/mtd16.lua"):
            self.assertTrue(after.pop(path, b""), path)
        self.assertEqual(after, before)

    def test_image_holds_exactly_what_the_project_merges(self):
        self.write("root/.svn/entries", "never packed")
        self.write("web/.svn/entries", "never packed")
        self.make()
        expected = sorted([*STRIPPED, *COPIES, *BASE, *REST])
        self.assertEqual(self.unpack(SMALL, "small"), expected)
        self.assertEqual(self.unpack(LARGE, "large"), expected)
        for copy, source in COPIES.items():
            self.assertEqual(self.read(f"small/{copy}"), self.read(source), copy)
        self.assertEqual(self.read("small/etc/version"), "1.4.2\n")
        self.assertEqual(self.read("small/etc/autoexec.lua"), self.read("obj/autoexec.lua"))
        self.assertEqual(self.read("small/NOTICE"), (SDK / "share/NOTICE").read_text())

    def test_linked_directory_is_compiled_and_packed(self):
        self.write("common/deep/a.lua", "return 'A'\n")
        (self.dir / "root/usr/lib/lua/common").symlink_to("../../../../common")
        self.make()
        self.unpack(SMALL, "small")
        code = (self.dir / "small/usr/lib/lua/common/deep/a.lua").read_bytes()
        self.assertEqual(code[:4], b"\x1bLua")

    def test_image_holds_byte_code_that_loads(self):
        self.build()
        self.unpack(SMALL, "image")
        for path in [*STRIPPED, "usr/bin/selftest.lua"]:
            code = (self.dir / "image" / path).read_bytes()
            self.assertEqual(code[:4], b"\x1bLua", path)
            # Only the single source is compiled with debug information, such as the file's name.
            self.assertEqual(b"@tools/selftest.lua\0" in code, path == "usr/bin/selftest.lua", path)
            self.assertNotIn(b".lui\0", code, path)
            self.check_loads(self.dir / "image" / path)
        for path in ("etc/autoexec.lua", "usr/lib/lua/log.lua", "usr/share/web/status.lua"):
            self.assertNotEqual((self.dir / "image" / path).read_bytes()[:4], b"\x1bLua", path)
            self.check_loads(self.dir / "image" / path)
        for path in self.files("obj"):
            if path.endswith(".luo"):
                self.check_loads(self.dir / "obj" / path)

    def test_catalogues_hold_the_finished_texts_only(self):
        self.build()
        self.unpack(SMALL, "image")
        self.assertEqual(self.catalogue("image/usr/lib/translations/de.qm"), GERMAN)
        self.assertEqual(self.catalogue("image/usr/lib/translations/fr.qm"), FRENCH)

    def test_firmware_files_describe_themselves(self):
        self.build()
        for file, model, name in [(SMALL, "ZT100", "Thermostat"), (LARGE, "ZT200", "Thermostat"),
                                  (INSTALLER, "ZT200", "Thermostat [Installer]")]:
            image = self.check_container(file, model, name, "1.4.2", key="yes")
            self.assertEqual(image[16:32].rstrip(b"\0"), b"root")
            content, key = (self.dir / file).read_bytes(), self.read("keys/firmware.key").strip()
            self.assertEqual(content[-32:],
                             hmac.new(key.encode(), content[:-32], hashlib.sha256).digest())

    def test_installer_carries_firmware_and_boot_block(self):
        self.build()
        self.assertEqual(self.unpack(INSTALLER, "installer"),
                         ["etc/autoexec.lua", "usr/share/firmware.ztf", "usr/share/mbr.bin"])
        self.assertEqual((self.dir / "installer/usr/share/firmware.ztf").read_bytes(),
                         (self.dir / LARGE).read_bytes())
        self.assertEqual((self.dir / "installer/usr/share/mbr.bin").read_bytes(),
                         (SDK / "kernel/ZT200-boot.bin").read_bytes())
        sizes = [(self.dir / "installer/usr/share" / name).stat().st_size
                 for name in ("firmware.ztf", "mbr.bin")]
        self.assertEqual(self.tool("ztrun", INSTALLER),
                         "firmware: %d bytes\nboot block: %d bytes\n" % tuple(sizes))

    def test_firmware_runs(self):
        self.build()
        result = self.run_command(SDK / "bin/ztrun", SMALL)
        lines = result.stdout.splitlines()
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(lines[0], "Thermostat 1.4.2 - Living room")
        self.assertEqual(lines[1], "06:00  Room 16.2  Target 17.0  Heating on")
        self.assertEqual(lines[12], "17:00  Room 16.8  Target 17.0  Heating off")
        self.assertIn("  0100 ROOM_TEMPERATURE     168 [0.1 °C]", lines)
        self.assertEqual(lines[-1], "lua: OK.")
        self.assertEqual(result.stderr.splitlines()[-1], "syslog: [Lua] OK.")

    def test_firmware_speaks_the_languages(self):
        self.build()
        for language, line in [("de", "06:00  Raum 16.2  Soll 17.0  Heizung an"),
                               ("fr", "06:00  Pièce 16.2  Consigne 17.0  Chauffage en marche")]:
            result = self.run_command(SDK / "bin/ztrun", "--language", language, SMALL)
            self.assertEqual(result.stdout.splitlines()[1], line)

    def test_second_build_only_updates_packs_and_links(self):
        self.build_and_age()
        before = {path: (self.dir / path).read_bytes() for path in self.files()}
        self.assertEqual(self.tools(), ALWAYS)
        self.assertEqual({path: (self.dir / path).read_bytes() for path in self.files()}, before)

    def test_changed_module_alone_is_recompiled(self):
        self.build_and_age()
        self.change("root/usr/lib/lua/thermostat/room.lua")
        calls = self.make()
        self.assertEqual([call[0] for call in calls], ["ztlpp", "ztluac", *ALWAYS])
        self.assertEqual(calls[0][-1], "root/usr/lib/lua/thermostat/room.lua")
        self.assertEqual(calls[1][-1], "obj/root/usr/lib/lua/thermostat/room.lui")

    def test_changed_translation_alone_is_released(self):
        self.build_and_age()
        self.change("translations/fr.ts")
        calls = self.make()
        self.assertEqual([call[0] for call in calls], [*ALWAYS[:3], "lrelease", *ALWAYS[3:]])
        self.assertEqual(calls[3][-1], "obj/translations/fr.qm")

    def test_changed_definitions_are_compiled_with_the_module_made_from_them(self):
        self.build_and_age()
        self.change("thermostat.mtdef")
        calls = self.make()
        self.assertEqual([call[0] for call in calls], ["ztmkmtd", "ztlpp", "ztluac", *ALWAYS])
        self.assertEqual(calls[1][-1], "root/usr/lib/lua/mtd16.lua")

    def test_changed_project_file_recompiles_all_sources(self):
        self.build_and_age()
        self.change("thermostat.ztp")
        self.assertEqual(self.tools(), ["ztlpp", "ztluac"] * (len(STRIPPED) + 1) + ALWAYS)

    def test_all_rebuilds_everything(self):
        self.build_and_age()
        self.assertEqual(self.tools("--all"),
                         ["ztmkmtd"] + ["ztlpp", "ztluac"] * (len(STRIPPED) + 1) + ALWAYS[:3]
                         + ["lrelease"] * 2 + ALWAYS[3:])

    def test_changed_text_is_marked_and_counted(self):
        self.build_and_age()
        source = "root/usr/lib/lua/thermostat/room.lua"
        self.write(source, 'print(tr("Window open"))\n' + self.read(source))
        self.make("--report")
        self.assertEqual(self.printed.splitlines()[-2:],
                         ["de.ts: en->de: 13 total, 3 unfinished, 1 obsolete",
                          "fr.ts: en->fr: 13 total, 5 unfinished, 1 obsolete"])
        self.assertEqual(self.catalogue("obj/translations/de.qm"), GERMAN)

    def test_report_counts_the_texts(self):
        self.make("--report")
        self.assertEqual(self.printed.splitlines()[-2:],
                         ["de.ts: en->de: 12 total, 2 unfinished, 1 obsolete",
                          "fr.ts: en->fr: 12 total, 4 unfinished, 1 obsolete"])

    def test_clearing_drops_obsolete_texts_alone(self):
        self.build_and_age()
        before = self.messages("de")
        self.assertEqual(before.pop("Holiday mode"), ("vanished", "Urlaubsbetrieb"))
        self.assertEqual(self.tools("--clearobsolete", "--report"), ["ztlupdate"])
        self.assertEqual(self.messages("de"), before)
        self.assertNotIn("Holiday mode", self.messages("fr"))
        self.assertEqual(self.printed.splitlines()[-2:],
                         ["de.ts: en->de: 12 total, 2 unfinished, 0 obsolete",
                          "fr.ts: en->fr: 12 total, 4 unfinished, 0 obsolete"])

    def messages(self, language):
        """The (type, translation) of every text of a language."""
        root = xml.fromstring(self.read(f"translations/{language}.ts"))
        return {message.findtext("source"): (message.find("translation").get("type", ""),
                                             message.findtext("translation"))
                for message in root.iter("message")}

    def test_cleaning_removes_the_projects_firmware_alone(self):
        self.build()
        others = ["ZT100-Kettle-1.0-firmware.ztf", "notes.txt"]
        for name in others:
            self.write(f"firmware/{name}", "")
        self.write("firmware/ZT999-Thermostat-0.1-install.ztf", "")
        self.assertEqual(self.make("--cleanfirmwarefolder"), [])
        self.assertEqual(self.files("firmware"), sorted(others))

    def test_error_in_a_source_stops_the_build(self):
        self.build_and_age()
        source = "root/usr/lib/lua/thermostat/room.lua"
        self.write(source, self.read(source).replace("return room\n", "local = 1\nreturn room\n"))
        lines = self.read(source).count("\n") - 1
        os.utime(self.dir / source, (CHANGE_TIME, CHANGE_TIME))
        result = self.run_command(SDK / "bin/ztmake")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr.splitlines()[-2:],
                         [f"{source}:{lines}: "
                          "'<name>' expected near '='",
                          "[ztmake] Command exited with status 1"])
        self.assertNotIn("usr/lib/lua/thermostat/room.luo", self.files("obj/root"))

    def test_missing_header_stops_the_build(self):
        (self.dir / "include/thermostat.lh").unlink()
        result = self.run_command(SDK / "bin/ztmake", "-q")
        self.assertEqual(result.returncode, 1)
        self.assertIn(': cannot find "thermostat.lh"\n', result.stderr)
        self.assertFalse((self.dir / "firmware").exists())

    def test_sources_keep_their_times(self):
        self.build()
        for path in ("translations/de.ts", "translations/fr.ts", "thermostat.mtdef"):
            self.assertEqual((self.dir / path).stat().st_mtime, SOURCE_TIME, path)


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""The tools for translations: ztlupdate, and what lrelease makes of its files."""

import os
import unittest
import xml.etree.ElementTree as xml

from translationworld import TranslationWorld
from world import BUILD_TIME, LCONVERT, SDK


class Scanning(TranslationWorld):
    """Which texts are found, and where."""

    def test_all_ways_to_write_a_literal_are_found(self):
        self.assertEqual(self.texts("""print(tr("one"), tr 'two', tr[[
three]], tr ( [==[four ]] ]==] ), i18n.tr("five", count))
"""), ["one", "three", "two", "five", "four ]] "])

    def test_other_arguments_and_names_are_not_texts(self):
        self.assertEqual(self.texts("""
local function tr(text) return text end
function i18n.tr(text) return text end
function i18n.more:tr(text) return text end
print(str("c"), tr, tr2("d")) -- tr("e")
print("tr('f')", [[tr("g")]])
--[[ tr("h") ]]
"""), [])

    def test_calls_that_cannot_be_read_are_told_with_their_places(self):
        source = ("tr('x')\ntr(x)\ntr('a' .. 'b')\ni18n.tr\n(\nx)\ntr()\ntr{'y'}\n"
                  "tr('y', x) tr[[\r\nz]]:upper()\n")
        self.check_warnings(source, ["x", "y", "z"], *[
            f"a.lua:{line}: warning: text to translate is not a literal" for line in (2, 3, 4, 7, 8)])

    def test_bad_texts_are_told_with_their_places(self):
        for text, reason in [
            ("'\\1'", "control character in a text to translate"),
            ("'x', '\\r'", "control character in a text to translate"),
            ("''", "empty text to translate"),
            ("'\\255'", "string is not UTF-8"),
            ("'\\195'", "string is not UTF-8"),
            ("'\\195x'", "string is not UTF-8"),
            ("'\\128'", "string is not UTF-8"),
            ("'\\192\\128'", "string is not UTF-8"),
            ("'\\224\\128\\128'", "string is not UTF-8"),
            ("'\\237\\160\\128'", "string is not UTF-8"),
            ("'\\244\\144\\128\\128'", "string is not UTF-8"),
            ("'\\248\\128\\128\\128\\128'", "string is not UTF-8"),
        ]:
            with self.subTest(text):
                self.check_warnings(f"\ntr({text})\ntr('good')", ["good"],
                                    f"a.lua:2: warning: {reason}")

    def check_warnings(self, source, texts, *warnings):
        """Checks which texts are taken from a source, and which warnings there are."""
        self.write("a.lua", source)
        (self.dir / "de.ts").unlink(missing_ok=True)
        result = self.run_command(SDK / "bin/ztlupdate", "--target-language", "de", "--ts", "de.ts",
                                  "a.lua")
        self.assertEqual((result.returncode, result.stderr.splitlines()), (0, list(warnings)))
        self.assertEqual([message[1] for message in self.messages("de.ts")], texts)

    def test_texts_of_all_lengths_of_utf8_are_found(self):
        self.assertEqual(self.texts("tr('a\u00e4\u20ac\U0001f600')"), ["a\u00e4\u20ac\U0001f600"])

    def test_escapes_stand_for_what_lua_makes_of_them(self):
        source = "tr('a\\tb\\\\c\\'d\\n\\65\\195\\164\\\ne')"
        self.assertEqual(self.texts(source), ["a\tb\\c'd\nA\u00e4\ne"])

    def test_directives_are_passed_over(self):
        self.assertEqual(self.texts("#include \"a.lh\"\n#define QUOTE it's\ntr('x')\n"), ["x"])

    def test_comment_tells_equal_texts_apart(self):
        messages = self.scan("tr('Open')\ntr('Open', 'state')\ntr('Open')\n")
        self.assertEqual([message[:3] for message in messages],
                         [("a", "Open", ""), ("a", "Open", "state")])
        self.assertEqual(self.read("translations/de.ts").count("<location "), 3)

    def test_context_is_the_path_below_the_base(self):
        for path, context in [("root/usr/lib/lua/ui/menu.lua", "ui/menu"),
                              ("root/usr/bin/main.lua", "main")]:
            with self.subTest(path):
                self.write("translations/de.ts", "<TS/>")
                self.assertEqual(self.scan("tr('x')", path)[0][0], context)

    def test_single_source_as_a_tree_has_its_name_as_context(self):
        self.write("tools/test.lua", "tr('x')")
        self.update("../tools/test.lua", base="../tools/test.lua/usr/lib/lua")
        self.assertEqual(self.messages()[0][0], "test")

    def test_errors_name_file_and_line(self):
        self.write("a.lua", "\ntr('x\n")
        self.assertEqual(self.failing_tool("ztlupdate", "--target-language", "de", "--ts", "de.ts",
                                           "a.lua"), "a.lua:2: unterminated string\n")

    def test_missing_source_is_reported(self):
        self.assertEqual(
            self.failing_tool("ztlupdate", "--target-language", "de", "--ts", "de.ts", "none.lua"),
            "ztlupdate: none.lua: No such file or directory\n")

    def test_broken_file_is_reported_and_kept(self):
        self.write("de.ts", "<TS>\n<context>")
        self.assertTrue(self.failing_tool("ztlupdate", "--clearobsolete", "--ts", "de.ts")
                        .startswith("de.ts:2: not well-formed"))
        self.assertEqual(self.read("de.ts"), "<TS>\n<context>")


class Updating(TranslationWorld):
    """What happens to the messages over several runs."""

    def test_new_texts_are_unfinished(self):
        self.assertEqual(self.scan("tr('x')"), [("a", "x", "", "unfinished", "")])

    def test_translations_are_kept(self):
        self.scan("tr('x') tr('y')")
        self.translate("x", "iks")
        self.translate("y", "draft", "unfinished")
        self.assertEqual(self.scan("tr('x')\n\n\ntr('y')"),
                         [("a", "x", "", "", "iks"), ("a", "y", "", "unfinished", "draft")])

    def test_texts_that_are_gone_are_marked_and_come_back(self):
        self.scan("tr('x') tr('y')")
        self.translate("x", "iks")
        self.assertEqual(self.scan("tr('z')"),
                         [("a", "z", "", "unfinished", ""), ("a", "x", "", "vanished", "iks"),
                          ("a", "y", "", "obsolete", "")])
        self.assertEqual(self.scan("tr('x')\ntr('y')"),
                         [("a", "x", "", "", "iks"), ("a", "y", "", "unfinished", ""),
                          ("a", "z", "", "obsolete", "")])

    def test_sources_of_another_tree_keep_their_texts(self):
        self.write("root/usr/lib/lua/a.lua", "tr('x')")
        self.write("tools/b.lua", "tr('y')")
        self.update("../root/usr/lib/lua/a.lua")
        self.update("../tools/b.lua")
        self.assertEqual([message[3] for message in self.messages()], ["unfinished", "unfinished"])

    def test_text_in_two_trees_is_gone_only_when_both_have_lost_it(self):
        for path in ("one/main.lua", "two/main.lua"):
            self.write(path, "tr('x')")
            self.update("../" + path)
        self.write("one/main.lua", "")
        self.update("../one/main.lua")
        self.assertEqual(self.messages(), [("main", "x", "", "unfinished", "")])
        self.write("two/main.lua", "")
        self.update("../two/main.lua")
        self.assertEqual(self.messages(), [("main", "x", "", "obsolete", "")])

    def test_texts_of_a_deleted_source_are_gone(self):
        self.scan("tr('x')")
        self.write("root/usr/lib/lua/b.lua", "")
        (self.dir / "root/usr/lib/lua/a.lua").unlink()
        self.update("../root/usr/lib/lua/b.lua")
        self.assertEqual(self.messages(), [("a", "x", "", "obsolete", "")])

    def test_unchanged_file_is_not_written(self):
        self.scan("tr('x') tr('a < b & c') tr(' two\\nlines ')")
        file = self.dir / "translations/de.ts"
        os.utime(file, (BUILD_TIME, BUILD_TIME))
        self.assertEqual(self.update("../root/usr/lib/lua/a.lua"), "")
        self.assertEqual(file.stat().st_mtime, BUILD_TIME)

    def test_lines_are_told_as_distances_that_qt_reads(self):
        self.write("two/a.lua", "\ntr('x')\n\n\ntr('y') tr('x')\ntr('z')")
        self.write("one/a.lua", "\n\n\ntr('y')")
        self.write("b.lua", "tr('x')\n\ntr('z')")
        self.tool("ztlupdate", "--target-language", "de", "--ts", "de.ts",
                  "two/a.lua", "one/a.lua", "b.lua")
        self.assertIn(' line="+3"', self.read("de.ts"))
        expected = {("a", "y"): [("one/a.lua", 4), ("two/a.lua", 5)],
                    ("a", "x"): [("two/a.lua", 2), ("two/a.lua", 5)],
                    ("a", "z"): [("two/a.lua", 6)],
                    ("b", "x"): [("b.lua", 1)], ("b", "z"): [("b.lua", 3)]}
        self.assertEqual(self.places("de.ts"), expected)
        self.write("c.lua", "tr('x')")  # what was read is written again
        self.tool("ztlupdate", "--target-language", "de", "--ts", "de.ts", "c.lua")
        self.assertEqual(self.places("de.ts"), {**expected, ("c", "x"): [("c.lua", 1)]})

    def places(self, file):
        """The places of every text of a file, as Qt's own tool reads them."""
        result = self.run_command(LCONVERT, "-locations", "absolute", "-of", "ts", "-i", file)
        self.assertEqual(result.returncode, 0, result.stderr)
        return {(context.findtext("name"), message.findtext("source")):
                [(place.get("filename"), int(place.get("line")))
                 for place in message.iter("location")]
                for context in xml.fromstring(result.stdout).iter("context")
                for message in context.iter("message")}

    def test_line_inserted_above_changes_nothing(self):
        source = "tr('x')\ntr('y')\n"
        self.scan(source)
        before = self.read("translations/de.ts")
        self.scan("-- new\n" + source)
        self.assertEqual(self.read("translations/de.ts"), before)

    def test_new_text_changes_one_other_location(self):
        lines = [f"tr('{number}')" for number in range(9)]
        self.scan("\n".join(lines))
        before = self.read("translations/de.ts").splitlines()
        self.scan("\n".join(["", *lines, "tr('new')"]))
        after = self.read("translations/de.ts").splitlines()
        self.assertEqual([line for line in before if line not in after],
                         ['            <location filename="../root/usr/lib/lua/a.lua" line="+1" />'])

    def test_translators_notes_are_kept(self):
        self.scan("tr('x')")
        text = self.read("translations/de.ts")
        note = "<translatorcomment>as in algebra</translatorcomment><translation "
        self.write("translations/de.ts", text.replace("<translation ", note))
        self.scan("tr('x') tr('y')")
        self.assertIn("<translatorcomment>as in algebra</translatorcomment>",
                      self.read("translations/de.ts"))

    def test_every_language_is_updated_and_reported(self):
        self.write("a.lua", "tr('x') tr('y')")
        self.tool("ztlupdate", "--xml-report", "obj/report.xml", "--source-language", "en",
                  "--target-language", "de", "--ts", "de.ts",
                  "--target-language", "fr", "--ts", "fr.ts", "a.lua")
        self.assertEqual(self.report(),
                         {"de.ts": ("en", "de", 2, 2, 0), "fr.ts": ("en", "fr", 2, 2, 0)})
        self.assertIn('language="fr" sourcelanguage="en"', self.read("fr.ts"))

    def test_report_counts_obsolete_texts_apart(self):
        self.scan("tr('x') tr('y') tr('z')")
        self.translate("x", "iks")
        self.translate("z", "zet")
        self.scan("tr('x')\ntr('new')")
        self.assertEqual(self.report(), {"de.ts": ("en", "de", 2, 1, 2)})

    def test_no_languages_still_gives_a_report(self):
        self.write("a.lua", "tr('x')")
        self.tool("ztlupdate", "--xml-report", "obj/report.xml", "--source-language", "C", "a.lua")
        self.assertEqual(self.report(), {})

    def test_target_language_is_required(self):
        self.write("a.lua", "")
        self.assertEqual(self.failing_tool("ztlupdate", "--ts", "de.ts", "a.lua"),
                         "ztlupdate: --target-language is missing before --ts\n")

    def test_arguments_may_stand_in_a_file(self):
        self.write("a.lua", "tr('x')")
        self.write("args", "--target-language\nde\n--ts\nde.ts\na.lua\n")
        self.tool("ztlupdate", "@args")
        self.assertEqual(self.messages("de.ts"), [("a", "x", "", "unfinished", "")])


class Clearing(TranslationWorld):
    """ztlupdate --clearobsolete"""

    def clear(self):
        """Clears de.ts as ztmake --clearobsolete does."""
        return self.tool("ztlupdate", "--clearobsolete", "--xml-report", "../obj/report.xml",
                         "--ts", "de.ts", cwd=self.dir / "translations")

    def test_texts_that_are_gone_are_dropped(self):
        self.scan("tr('x') tr('y') tr('z')")
        self.translate("x", "iks")
        self.translate("y", "ypsilon")
        self.scan("tr('x')")
        self.assertEqual(self.report(), {"de.ts": ("en", "de", 1, 0, 2)})
        self.clear()
        self.assertEqual(self.messages(), [("a", "x", "", "", "iks")])
        self.assertEqual(self.report(), {"de.ts": ("en", "de", 1, 0, 0)})

    def test_empty_contexts_disappear(self):
        self.scan("tr('x')")
        self.scan("")
        self.clear()
        self.assertNotIn("<context>", self.read("translations/de.ts"))

    def test_file_without_such_texts_is_not_written(self):
        self.scan("tr('x')")
        before = (self.dir / "translations/de.ts").stat()
        self.assertEqual(self.clear(), "")
        self.assertEqual((self.dir / "translations/de.ts").stat().st_ino, before.st_ino)

    def test_sources_are_refused(self):
        self.write("de.ts", "<TS/>")
        self.assertEqual(self.failing_tool("ztlupdate", "--clearobsolete", "--ts", "de.ts", "a"),
                         "ztlupdate: --clearobsolete takes no sources\n")

    def test_missing_file_is_reported(self):
        self.assertEqual(self.failing_tool("ztlupdate", "--clearobsolete", "--ts", "de.ts"),
                         "ztlupdate: de.ts: No such file or directory\n")


class Releasing(TranslationWorld):
    """lrelease as a build calls it."""

    def test_catalogue_holds_the_finished_texts_that_differ(self):
        self.scan("tr('done') tr('draft') tr('same') tr('empty') tr('gone')")
        self.translate("done", "fertig")
        self.translate("draft", "Entwurf", "unfinished")
        self.translate("same", "same")
        self.translate("gone", "weg")
        self.scan("tr('done') tr('draft') tr('same') tr('empty')")
        self.assertIn(("a", "gone", "", "vanished", "weg"), self.messages())
        self.tool("lrelease", "-removeidentical", "-nounfinished", "-silent",
                  "translations/de.ts", "-qm", "de.qm")
        self.assertEqual(self.catalogue("de.qm"), {("a", "done"): "fertig"})


if __name__ == "__main__":
    unittest.main()

"""A project with texts and their translations, for the tests of the tools for them."""

import xml.etree.ElementTree as xml

from world import World


class TranslationWorld(World):
    """A project directory with sources and a directory for the translations."""

    def setUp(self):
        super().setUp()
        (self.dir / "translations").mkdir()

    def update(self, *sources, base="../root/usr/lib/lua"):
        """Updates de.ts from sources, in the translations' directory as a build does."""
        return self.tool("ztlupdate", "--xml-report", "../obj/report.xml", "-B", base,
                         "--source-language", "en", "--target-language", "de", "--ts", "de.ts",
                         *sources, cwd=self.dir / "translations")

    def scan(self, text, path="root/usr/lib/lua/a.lua"):
        """The messages of de.ts after an update from one source."""
        self.write(path, text)
        self.update("../" + path)
        return self.messages()

    def messages(self, file="translations/de.ts"):
        """(context, text, comment, type, translation) of every message of a file, in order."""
        return [(context.findtext("name"), message.findtext("source"),
                 message.findtext("comment", ""), message.find("translation").get("type", ""),
                 message.findtext("translation") or "")
                for context in xml.fromstring(self.read(file)).iter("context")
                for message in context.iter("message")]

    def texts(self, source):
        """The texts found in a source, in order of their places."""
        return [message[1] for message in self.scan(source)]

    def translate(self, text, translation, state=""):
        """Does a translator's work on one text of de.ts."""
        file = self.dir / "translations/de.ts"
        root = xml.parse(file).getroot()
        for message in root.iter("message"):
            if message.findtext("source") == text:
                message.find("translation").text = translation
                message.find("translation").attrib = {"type": state} if state else {}
        self.write("translations/de.ts", xml.tostring(root, encoding="unicode"))

    def report(self):
        """The statistics in the report: {file: (source language, language, counts)}."""
        text = self.read("obj/report.xml")
        self.assertEqual(text.splitlines()[1], "<!DOCTYPE TSREPORT>")
        root = xml.fromstring(text)
        self.assertEqual(root.tag, "TSREPORT")
        return {source.get("filename"):
                (source.get("sourcelanguage", root.get("sourcelanguage")), source.get("language"),
                 *(int(source.find("stats").get(name))
                   for name in ("total", "unfinished", "obsolete")))
                for source in root.iter("source")}

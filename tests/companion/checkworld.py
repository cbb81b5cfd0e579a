"""What the tests of `ztproject check` share."""

import os
import re

from box import MAIN, SDK, BoxWorld

LINE = re.compile(r"^(?P<file>[^:]+):(?P<line>\d+):(?P<column>\d+): (?P<kind>error|warning|note): "
                  r"(?P<text>.*) \[(?P<check>[\w-]+)\]\n(?P=file):(?P=line):(?P=column): note: .+$",
                  re.MULTILINE)
# Where the rows of a table go: what a build says, and what check says.
TABLE = os.environ.get("ZTMAKE_TRAPS_TABLE")
MODULE = "root/usr/lib/lua/box/greeting.lua"
MERGE = "<Merge Type=\"Directory\">\n                <Source>root</Source>"


class CheckWorld(BoxWorld):
    """A good project, and what check finds in it."""

    def findings(self, *arguments, cwd=None):
        """What check finds, by its lines."""
        result = self.ask("check", *arguments, cwd=cwd)
        self.assertEqual(result.stderr, "")
        found = [match.groupdict() for match in LINE.finditer(result.stdout)]
        self.assertEqual(2 * len(found), len(result.stdout.splitlines()), result.stdout)
        fails = any(finding["kind"] == "error" for finding in found)
        self.assertEqual(result.returncode, 1 if fails else 0)
        self.said += result.stdout.splitlines()[::2]
        return found

    def expect(self, check, text, at=None, kind="warning", file="box.ztp", *arguments, cwd=None):
        """One finding, and no other; `at` is what stands at its place."""
        found = self.findings(*arguments, cwd=cwd)
        self.assertEqual([(finding["check"], finding["kind"], finding["file"])
                          for finding in found], [(check, kind, file)])
        self.assertRegex(found[0]["text"], text)
        if at is not None:
            line = ((cwd or self.dir) / file).read_text().splitlines()[int(found[0]["line"]) - 1]
            self.assertTrue(line[int(found[0]["column"]) - 1:].startswith(at), (line, found))

    def merge(self, source, destination="/", kind="Directory"):
        """A further merge in front of the others."""
        self.edit(MERGE, f'<Merge Type="{kind}"><Source>{source}</Source>'
                         f"<Destination>{destination}</Destination></Merge>\n{MERGE}")

    def use_all_inputs(self, catalogue, includes="<Include>include</Include>"):
        """Adds a catalogue, a header and definitions, and a program that uses the latter two."""
        self.write("translations/de.ts", catalogue)
        self.write("include/a.lh", "#define LIMIT 1\n")
        self.write("box.mtdef", "0x0100 LIMIT u8\n")
        self.write(MAIN, '#include "a.lh"\n#include "mtd16.lh"\n' + self.read(MAIN)
                   + "print(LIMIT, MTD16_LIMIT)\n")
        self.edit('SimplifyWhitespace="true"/>',
                  f'SimplifyWhitespace="true">{includes}</Preprocess>')
        self.edit("</Project>", '<MTD16 Enabled="true"/></Project>')

    def setUp(self):
        super().setUp()
        self.said = []
        self.addCleanup(self.note)

    def make(self, *options, **settings):
        self.status = super().make(*options, **settings)
        return self.status

    def note(self):
        """Adds a row to the table of traps, when one is wanted."""
        if TABLE and self.said and hasattr(self, "status"):
            name = self._testMethodName.removeprefix("test_").replace("_", " ")
            said = re.sub(r"/?tmp/ztmaketest\w+|" + re.escape(str(SDK.parent)), "…", self.said[0])
            said = said.encode("utf-8", "replace").decode()
            with open(TABLE, "a", encoding="utf-8") as table:
                table.write(f"| {name} | {self.status} | `{said}` |\n")

    def firmware(self):
        return [f"firmware/{name}" for name in self.files("firmware")]

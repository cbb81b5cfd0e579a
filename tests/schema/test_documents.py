#!/usr/bin/env python3
"""Whole project files: the samples are valid, and mistakes are found where they stand."""

import unittest

from schemas import CURRENT, FIRST, SOURCES, Documents

MERGE = '<Merge Type="Directory">\n                '
TRANSLATION = '<Translation Enabled="true" BaseDir="/usr/lib/lua">\n            '

# A mistake: what is replaced in a sample, by what, and what xmllint says of the line where the tag
# ends.
CURRENT_MISTAKES = [
    ("misspelt attribute", 'IncludeMBR="true"', 'IncludeMbr="true"',
     "attribute 'IncludeMbr': The attribute 'IncludeMbr' is not allowed."),
    ("misspelt element", "<Startup File", "<StartUp File",
     "StartUp': This element is not expected. Expected is one of"),
    ("boolean word", 'Interactive="true"', 'Interactive="on"',
     "attribute 'Interactive': 'on' is not a valid value of the union type"),
    ("level", 'Verbose="3"', 'Verbose="high"',
     "attribute 'Verbose': 'high' is not a valid value of the union type"),
    ("no name", 'Name="Thermostat" ', "",
     "Project': The attribute 'Name' is required but missing."),
    ("no model", 'Target Model="ZT100"', "Target",
     "Target': The attribute 'Model' is required but missing."),
    ("merge type", 'Merge Type="Archive"', 'Merge Type="Image"',
     "attribute 'Type': [facet 'enumeration'] The value 'Image' is not an element of the set "
         "{'Directory', 'File', 'Archive'}."),
    ("compile type in capitals", 'Compile Type="Lua" Strip="true"', 'Compile Type="LUA"',
     "attribute 'Type': [facet 'enumeration'] The value 'LUA' is not"),
    ("element in the wrong place", "<Include>tools/include</Include>", "<Strip>true</Strip>",
     "Strip': This element is not expected."),
    ("merge without a source", MERGE + "<Source>web</Source>", MERGE,
     "Merge': Missing child element(s)."),
    ("line break in a path", "<Source>web</Source>", "<Source>\nweb</Source>",
     "Source': [facet 'pattern'] The value"),
    ("text between elements", TRANSLATION + "<Default>en</Default>", TRANSLATION + "en",
     "Translation': Character content other than whitespace is not allowed"),
    ("element in an empty element", '<Startup File="/usr/bin/thermostat.lua" Interactive="true"/>',
     "<Startup><Include>x</Include></Startup>", "Include': This element is not expected."),
    ("label of the filesystem", 'Label="root"', 'Label="data"',
     "attribute 'Label': [facet 'enumeration'] The value 'data' is not"),
    ("second filesystem", "<Translation Enabled", "<Filesystem/><Translation Enabled",
     "Duplicate key-sequence ['root'] in unique identity-constraint"),
]

FIRST_MISTAKES = [
    ("misspelt attribute", "Svnversion=", "SvnVersion=",
     "attribute 'SvnVersion': The attribute 'SvnVersion' is not allowed."),
    ("boolean word", 'CompileLua="false"', 'CompileLua=""',
     "attribute 'CompileLua': '' is not a valid value of the union type"),
    ("element of the current generation", '<Target Model="ZT100"/>', "<Process/>",
     "Process': This element is not expected. Expected is one of"),
    ("source as an element", ">scripts<", "><Source>scripts</Source><",
     "Merge': Element content is not allowed, because the content type is a simple type"),
    ("merge without a type", 'Merge Type="File"', "Merge",
     "Merge': The attribute 'Type' is required but missing."),
]


class Samples(Documents):
    """The sample projects and what can go wrong in them."""

    def sample(self, name):
        """The text of a sample project file."""
        return (SOURCES / "examples" / name).read_text(encoding="utf-8")

    def test_samples_are_valid(self):
        self.assertEqual(self.check(CURRENT, [self.sample("thermostat/thermostat.ztp")]), [[]])
        self.assertEqual(self.check(FIRST, [self.sample("hello-2009/hello.ztp")]), [[]])

    def test_samples_are_of_their_own_generation(self):
        self.assertNotEqual(self.check(FIRST, [self.sample("thermostat/thermostat.ztp")]), [[]])
        self.assertNotEqual(self.check(CURRENT, [self.sample("hello-2009/hello.ztp")]), [[]])

    def check_mistakes(self, schema, sample, mistakes):
        """Makes one mistake at a time; each must be found in its line, and nothing elsewhere."""
        documents = []
        for name, old, new, *_ in mistakes:
            self.assertIn(old, sample, name)
            documents.append(sample.replace(old, new, 1))
        for mistake, said in zip(mistakes, self.check(schema, documents)):
            name, old, _, text = mistake
            with self.subTest(name):
                tag = sample.rindex("<", 0, sample.index(old) + 1)
                line = sample.count("\n", 0, sample.index(">", tag)) + 1
                self.assertEqual({place.split(":")[0] for place in said}, {str(line)}, said)
                self.assertIn(text, said[0])

    def test_mistakes_are_found(self):
        self.check_mistakes(CURRENT, self.sample("thermostat/thermostat.ztp"), CURRENT_MISTAKES)

    def test_mistakes_of_the_first_generation_are_found(self):
        self.check_mistakes(FIRST, self.sample("hello-2009/hello.ztp"), FIRST_MISTAKES)


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""The schemas and the readers know the same elements and attributes, and take the same values."""

import re
import unittest

from schemas import CURRENT, FIRST, SOURCES, Documents

GENERAL = "This is not a ZeltaManager project file."


def functions(file):
    """The member functions of a reader by name."""
    text = (SOURCES / "src/xml" / file).read_text()
    return dict(re.findall(r"^bool ProjectParser\d::(\w+)\([^{]*\)\n\{\n(.*?)^\}", text,
                           re.MULTILINE | re.DOTALL)), text


class CurrentReader(Documents):
    """The reader of the current generation."""

    def test_schema_has_what_the_reader_asks_for_and_nothing_else(self):
        bodies, text = functions("projectparser2.cpp")
        attributes, children = {}, {}

        def enter(path, function):
            body = bodies[function]
            attributes[path] = {name: kind for kind, name in
                                re.findall(r'(string|tristate|int|bool)Attribute\("(\w+)"', body)}
            deeper = dict(re.findall(r'\{"(\w+)",\s*\[[^]]*\] \{ return (\w+)\(', body))
            texts = re.findall(r'textChild\("(\w+)"', body)
            children[path] = sorted([*deeper, *texts])
            for name in texts:
                attributes[(*path, name)], children[(*path, name)] = {}, []
            for name, reader in deeper.items():
                enter((*path, name), reader)

        self.assertIn('expectStartElement("Project") && readProject()', text)
        enter(("ZeltaProject", "Project"), "readProject")
        attributes[("ZeltaProject",)], children[("ZeltaProject",)] = {}, ["Project"]
        self.assertEqual(attributes, CURRENT.attributes)
        self.assertEqual(children, CURRENT.children)

        # Attributes that are read in another way would have been missed above.
        found = sum(len(re.findall(r"\w+Attribute\(", body)) for body in bodies.values())
        in_tables = {path[-1]: names for path, names in attributes.items()}
        self.assertEqual(found, sum(map(len, in_tables.values())))
        self.assertEqual(len(re.findall(r"attributes\(\)", text)), 1)

    def test_program_complains_about_the_attributes_of_the_schema(self):
        words = {"tristate": "boolean attribute", "int": "number"}
        documents, expected = [], []
        for path, attributes in CURRENT.attributes.items():
            for name, kind in attributes.items():
                if kind in words:
                    documents.append(CURRENT.document(path, attributes=f'{name}="maybe"'))
                    expected.append(
                        f'(<{path[-1]}>) Expected "{name}" to be a {words[kind]}, but got "maybe"')
        self.assertGreater(len(documents), 30)
        for document, text, complaint in zip(documents, expected, self.read(documents)):
            with self.subTest(document):
                self.assertIn(text, complaint)
        for document, complaints in zip(documents, self.check(CURRENT, documents)):
            with self.subTest(document):
                self.assertEqual(len(complaints), 1, complaints)
                self.assertIn("'maybe' is not a valid value", complaints[0])

    def test_both_sides_take_the_same_values(self):
        booleans = ["true", "TRUE", "tRuE", "false", "False", "yes", "YES", "no", "No", "1", "0",
                    "", "on", "off", "2", "-1", "01", " ", " true", "true ", "y", "t", "wahr", "ja"]
        numbers = ["0", "1", "-1", "+5", "007", " 5", "5 ", "", "2147483647", "2147483648",
                   "-2147483648", "-2147483649", "0x10", "1.0", "1e3", "1,000", "abc", "--1", "५"]
        merge = ("ZeltaProject", "Project", "Filesystem", "Merge")
        process = ("ZeltaProject", "Project", "Process")
        probes = [(("ZeltaProject", "Project"), "Svnversion", booleans),
                  ((*process, "Compile"), "Strip", booleans),
                  (("ZeltaProject", "Project"), "Verbose", numbers),
                  (("ZeltaProject", "Project", "Target"), "Verbose", numbers),
                  (("ZeltaProject", "Project"), "Name", ["a", "", " ", "a/b"]),
                  (merge, "Type", ["File", "Directory", "Archive", "file", "", " File", "Link"]),
                  (merge[:-1], "Type", ["romfs", "", "ROMFS", "ext2"]),
                  ((*process, "Preprocess"), "Type", ["Ztlpp", "ztlpp", "", "cpp"]),
                  ((*process, "Compile"), "Type", ["Lua", "lua", "", "C"])]
        self.compare(CURRENT, [CURRENT.document(path, attributes=f'{name}="{value}"')
                               for path, name, values in probes for value in values])

    def compare(self, schema, documents):
        """Checks that both sides accept or refuse the same documents, and that both happens."""
        read = [complaint == "" for complaint in self.read(documents)]
        valid = [complaints == [] for complaints in self.check(schema, documents)]
        self.assertEqual({document: answer for document, answer in zip(documents, valid)},
                         {document: answer for document, answer in zip(documents, read)})
        self.assertEqual({True, False}, set(read))

    def test_both_sides_take_the_same_elements(self):
        self.assertEqual(self.read([CURRENT.document(path) for path in CURRENT.children]),
                         [""] * len(CURRENT.children))
        documents = []
        for path in CURRENT.children:
            if path[-1] in ("Merge", "ZeltaProject"):
                continue  # exactly one source, exactly one project
            for child in CURRENT.children[path]:
                count = 1 if child == "Filesystem" else 2
                documents.append(CURRENT.document(path, CURRENT.element((*path, child)) * count))
            documents += [CURRENT.document(path, inner=inner)
                          for inner in (" \n", "<!-- c -->", "<?p i?>", "<o:x>y<z/></o:x>",
                                        '<x xmlns="">y</x>')]
            if CURRENT.attributes[path] or CURRENT.children[path]:
                documents.append(CURRENT.document(path, attributes='o:Name="y"'))
                documents.append(CURRENT.document(path, inner="text"))
        documents = [document for document in documents
                     # Text of blanks, and a comment before a text: as the schema says of itself.
                     if not re.search(r"<(Source|Destination|Include|Language|Default|Header|Lua)>"
                                      r"( \n|<!|<\?)", document)]
        self.assertGreater(len(documents), 60)
        self.compare(CURRENT, documents)

    def test_schema_is_stricter_where_it_says_so(self):
        project = ("ZeltaProject", "Project")
        merge = (*project, "Filesystem", "Merge")
        documents = [CURRENT.document(path, attributes='Colour="blue"')
                     for path, attributes in CURRENT.attributes.items() if attributes]
        documents += [CURRENT.document(path, inner="<Colour/>")
                      for path, children in CURRENT.children.items()
                      if children and len(path) > 1]
        documents += [
            CURRENT.document(project, inner='<Target IncludeMBR="true"/>'),
            CURRENT.document(project, inner='<Target Model=""/>'),
            CURRENT.document(project, inner="<Filesystem/><Filesystem/>"),
            CURRENT.document(project, inner='<Filesystem Label="root"/><Filesystem/>'),
            CURRENT.document(project, inner='<Filesystem Label="data"/>'),
            CURRENT.document(merge[:-1], inner='<Merge Type="File"/>'),
            CURRENT.document(merge, inner="<Source>x</Source><Source>y</Source>"),
            CURRENT.document(merge, inner="<Source>\nx\n</Source>"),
            CURRENT.document(merge, inner="<Source>x </Source>"),
            CURRENT.document(project, attributes='KeyFile=" key"'),
        ]
        # The reader says nothing, or that it ignores an element.
        complaints = [text for text in self.read(documents) if text.startswith("[ztmake] ")]
        self.assertEqual(complaints, [])
        for document, complaints in zip(documents, self.check(CURRENT, documents)):
            with self.subTest(document):
                self.assertNotEqual(complaints, [])

    def test_what_the_schema_cannot_say_is_refused_by_the_reader(self):
        source = ("ZeltaProject", "Project", "Filesystem", "Merge", "Source")
        documents = [CURRENT.document(source, inner="<!-- c -->x"),
                     "<!DOCTYPE ZeltaProject>" + CURRENT.document(source, inner="x"),
                     CURRENT.document(("ZeltaProject", "Project"),
                                      inner="<o:x>" * 21 + "</o:x>" * 21)]
        self.assertEqual(self.check(CURRENT, documents), [[], [], []])
        for complaint, text in zip(self.read(documents), [
                "Characters for Source element expected.", GENERAL, "File too deeply nested"]):
            self.assertIn(text, complaint)


class FirstReader(Documents):
    """The reader of the first generation, which has but one complaint."""

    compare = CurrentReader.compare

    def test_schema_has_what_the_reader_asks_for_and_nothing_else(self):
        bodies, text = functions("projectparser1.cpp")
        verbose = re.search(r"^int verboseLevel.*?^\}", text, re.MULTILINE | re.DOTALL)[0]
        asked = re.compile(r'decodeTristate\(attributes, u"(\w+)"_s'
                           r'|attributes\.value\(u"(\w+)"_s\)|(verboseLevel)\(attributes\)')
        attributes = {("ZeltaProject",): {}}
        children = {("ZeltaProject",): []}
        paths = {"Root": ("ZeltaProject",)}
        for state, name, reader in re.findall(
                r'm_state == State::(\w+) && qName == "(\w+)"_L1\)\s*return (enter\w+)\(',
                bodies["startElement"]):
            path = paths[name] = (*paths[state], name)
            children[paths[state]] = sorted([*children[paths[state]], name])
            children[path] = []
            attributes[path] = {}
            for boolean, string, level in asked.findall(bodies[reader]):
                name = boolean or string or re.search(r'value\(u"(\w+)"_s\)', verbose)[1]
                attributes[path][name] = ("tristate" if boolean else "int" if level else "string")
        self.assertEqual(attributes, FIRST.attributes)
        self.assertEqual(children, FIRST.children)

        # Attributes that are read in another way would have been missed above.
        reading = {match for body in bodies.values() for match in re.findall(r'u"(\w+)"_s', body)}
        self.assertEqual(reading, {name for names in attributes.values() for name in names}
                         - {"Verbose"})

    def test_both_sides_take_the_same_values(self):
        documents = []
        booleans = ["true", "TRUE", "False", "yes", "NO", "1", "0", "", "maybe", " true", "2"]
        for path, attributes in FIRST.attributes.items():
            for name, kind in attributes.items():
                if kind == "tristate":
                    documents += [FIRST.document(path, attributes=f'{name}="{value}"')
                                  for value in (booleans if name == "CompileLua"
                                                else ("true", "maybe", ""))]
        filesystem = ("ZeltaProject", "Project", "Filesystem")
        documents += [FIRST.document(filesystem, attributes=f'Type="{value}"')
                      for value in ("romfs", "", "ROMFS")]
        documents += [FIRST.document((*filesystem, "Merge"), attributes=f'Type="{value}"')
                      for value in ("File", "Directory", "Archive", "", "file")]
        self.compare(FIRST, documents)

    def test_both_sides_take_the_same_elements(self):
        documents = []
        for path, children in FIRST.children.items():
            if len(path) > 1:
                documents += [FIRST.document(path, inner=inner)
                              for inner in ("<Colour/>", "<o:x/>", '<x xmlns=""/>',
                                            *(f"<{name}/>" for name in CURRENT.children[path]
                                              if name not in children))]
                documents.append(FIRST.document(path, attributes='o:Name="y"'))
            if path[-1] != "Merge":
                documents += [FIRST.document(path, inner=inner)
                              for inner in (" \n", "text", "<!-- c -->")]
        documents.append(FIRST.document(("ZeltaProject", "Project"), inner="<Target/>"))
        documents.append(FIRST.document(("ZeltaProject", "Project", "Filesystem"),
                                        inner="<Merge>x</Merge>"))
        self.compare(FIRST, documents)

    def test_schema_is_stricter_where_it_says_so(self):
        filesystem = ("ZeltaProject", "Project", "Filesystem")
        documents = [FIRST.document(path, attributes='Colour="blue"')
                     for path, attributes in FIRST.attributes.items() if attributes]
        documents += [
            FIRST.document(filesystem[:-1], attributes='Verbose="abc"'),
            FIRST.document(filesystem[:-1], attributes='Name=""'),
            FIRST.document(filesystem[:-1], attributes='KeyFile=" key"'),
            FIRST.document(filesystem[:-1], inner='<Target Model=""/>'),
            FIRST.document(filesystem[:-1], inner="<Filesystem/><Filesystem/>"),
            FIRST.document(filesystem[:-1], inner='<Filesystem Label="data"/>'),
            FIRST.document(filesystem, inner='<Merge Type="File"/>'),
            FIRST.document(filesystem, inner='<Merge Type="File"> x\n</Merge>'),
            f'<ZeltaProject xmlns="{FIRST.namespace}"/>',
            f'<ZeltaProject xmlns="{FIRST.namespace}"><Project/><Project/></ZeltaProject>',
        ]
        self.assertEqual(self.read(documents), [""] * len(documents))
        for document, complaints in zip(documents, self.check(FIRST, documents)):
            with self.subTest(document):
                self.assertNotEqual(complaints, [])

    def test_what_the_schema_cannot_say_is_refused_by_the_reader(self):
        project = FIRST.document(("ZeltaProject", "Project"))
        prefixed = (project.replace("<Project", "<p:Project").replace("</Project", "</p:Project")
                    .replace("xmlns:o=", f'xmlns:p="{FIRST.namespace}" xmlns:o='))
        self.assertEqual(self.check(FIRST, [prefixed]), [[]])
        self.assertIn(GENERAL, self.read([prefixed])[0])


if __name__ == "__main__":
    unittest.main()

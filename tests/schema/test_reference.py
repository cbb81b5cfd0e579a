#!/usr/bin/env python3
"""The documentation in the schemas, and the reference that is made of it."""

import re
import subprocess
import sys
import textwrap
import unittest

from schemas import CURRENT, FIRST, SOURCES, XS, Documents


class Reference(Documents):
    """docs/project-file.md and where it comes from."""

    def test_reference_is_what_the_schemas_make(self):
        made = self.dir / "project-file.md"
        subprocess.run([sys.executable, SOURCES / "scripts/project-file-reference", made],
                       check=True)
        self.assertEqual(made.read_text(encoding="utf-8"),
                         (SOURCES / "docs/project-file.md").read_text(encoding="utf-8"),
                         "run scripts/project-file-reference")

    def test_project_file_may_name_its_schema(self):
        text = (SOURCES / "docs/project-file.md").read_text(encoding="utf-8")
        document = text.split("```xml\n")[1].split("```")[0]
        self.assertIn("xsi:schemaLocation", document)
        self.assertEqual(self.check(CURRENT, [document]), [[]])
        self.assertEqual(self.read([document]), [""])

    def test_every_element_and_attribute_is_documented(self):
        for schema in CURRENT, FIRST:
            for node in schema.root.iter():
                if node.tag not in (XS + "element", XS + "attribute") \
                        or not node.get("name") or node.get("abstract"):
                    continue
                with self.subTest(schema=schema.file.name, node=node.get("name")):
                    text = node.findtext(f"{XS}annotation/{XS}documentation")
                    self.assertTrue(text and text.strip())
                    is_value = node.tag == XS + "attribute" or node.get("type") == "Path"
                    for word in "Default", "Effect":
                        self.assertEqual(text.count(f"\n{word}: "), int(is_value), text)

    def test_effects_are_options_that_the_engine_knows(self):
        source = "".join(file.read_text() for folder in ("build", "engine", "compile")
                         for file in (SOURCES / "src" / folder).glob("*.cpp"))
        options = {(tool, option) for schema in (CURRENT, FIRST)
                   for text in schema.root.itertext()
                   for line in text.splitlines() if line.startswith("Effect: ")
                   for tool, option in re.findall(r"`(\w+) (--?\w[\w-]*)", line)}
        self.assertGreater(len(options), 15)
        for tool, option in sorted(options):
            with self.subTest(tool=tool, option=option):
                self.assertIn(f'u"{tool}"_s', source)
                self.assertIn(f'u"{option}"_s', source)

    def test_examples_are_accepted_by_schema_and_reader(self):
        for schema in CURRENT, FIRST:
            documents = []

            def enter(element, path):
                """Takes in the examples of an element and of those in it."""
                path = (*path, element.get("name"))
                text = element.findtext(f"{XS}annotation/{XS}appinfo")
                if text:
                    document = textwrap.dedent(text)
                    for depth in range(len(path) - 1, 0, -1):
                        document = schema.element(path[:depth], document)
                    documents.append(document)
                definition = schema.named.get(element.get("type"), element.find(XS + "complexType"))
                if definition is not None and definition.tag == XS + "complexType":
                    for child in schema.elements(definition).values():
                        enter(child, path)

            enter(schema.root.find(XS + "element"), ())
            example_count = len(list(schema.root.iter(XS + "appinfo")))
            self.assertGreaterEqual(len(documents), example_count)
            self.assertGreaterEqual(example_count, 5)
            for document, said in zip(documents, self.check(schema, documents)):
                with self.subTest(document):
                    self.assertEqual(said, [])
            for document, said in zip(documents, self.read(documents)):
                with self.subTest(document):
                    # An SDK that is named is not found either; nothing else is wrong.
                    self.assertEqual(said, "")


if __name__ == "__main__":
    unittest.main()

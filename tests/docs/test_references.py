#!/usr/bin/env python3
"""The files and functions that the documents for developers name exist."""

import os
import re
import unittest
from pathlib import Path

SOURCES = Path(os.environ["ZTMAKE_TEST_SOURCES"])
DOCUMENTS = ["README.md", "CONTRIBUTING.md", "CHANGELOG.md", "docs/architecture.md",
             "docs/cookbook.md", "docs/project-file.md", "docs/testing.md"]
PATH = re.compile(r"(?:src|tests|docs|scripts|schema|cmake|examples|completions)(?:/[\w.-]+)*"
                  r"|[A-Z]+\.md|CMakeLists\.txt|\.clang-\w+")

# An example in CONTRIBUTING.md, and a path in another tree.
EXAMPLES = {"signRootImage"}
ABSENT = {"src/sdk"}


def code(document):
    """All that is marked as code within the text of a document."""
    text = (SOURCES / document).read_text(encoding="utf-8")
    text = re.sub(r"^```.*?^```$", "", text, flags=re.MULTILINE | re.DOTALL)
    return re.findall(r"`([^`\n]+)`", text)


class References(unittest.TestCase):
    """Paths and functions."""

    def test_paths_exist(self):
        found = 0
        for document in DOCUMENTS:
            for text in code(document):
                if PATH.fullmatch(text) and text not in ABSENT:
                    found += 1
                    with self.subTest(document=document, path=text):
                        self.assertTrue((SOURCES / text).exists())
        self.assertGreater(found, 60)

    def test_links_lead_somewhere(self):
        for document in DOCUMENTS:
            text = (SOURCES / document).read_text(encoding="utf-8")
            for link in re.findall(r"\]\(([^)#:]+)\)", text):
                with self.subTest(document=document, link=link):
                    self.assertTrue(((SOURCES / document).parent / link).exists())

    def test_functions_exist(self):
        source = "\n".join(file.read_text() for file in (SOURCES / "src").rglob("*")
                           if file.suffix in (".cpp", ".h"))
        found = 0
        for document in DOCUMENTS:
            for text in code(document):
                name = re.search(r"(?:^|[\s:])(\w+)\(\);?$", text)
                if name and name[1] not in EXAMPLES and not text.startswith("Q"):
                    found += 1
                    with self.subTest(document=document, function=text):
                        self.assertRegex(source, rf"\b{name[1]}\(")
        self.assertGreater(found, 25)

    def test_steps_are_where_the_table_has_them(self):
        text = (SOURCES / "docs/architecture.md").read_text(encoding="utf-8")
        rows = re.findall(r"^\| (`\w+\(\)`.*?) \|.*\| (.*?) \|$", text, re.MULTILINE)
        steps = [name for names, _ in rows for name in re.findall(r"`(\w+)\(\)`", names)]
        for names, files in rows:
            source = "".join((SOURCES / file).read_text() for file in re.findall("`(.*?)`", files))
            for name in re.findall(r"`(\w+)\(\)`", names):
                with self.subTest(name):
                    self.assertRegex(source, rf"\b(Build|Project)::{name}\(")
        # All of them, in the order in which they are called.
        build = (SOURCES / "src/build/build.cpp").read_text()
        body = re.search(r"^bool Build::run.*?^}", build, re.MULTILINE | re.DOTALL)
        self.assertEqual(steps, re.findall(r"(?:return |&& |->)(\w+)\(\)", body[0]))


if __name__ == "__main__":
    unittest.main()

"""What the tests of the schemas share: the schemas, xmllint, and the program as a reader."""

import os
import re
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as xml
from pathlib import Path

PROGRAM = Path(os.environ["ZTMAKE_TEST_PROGRAM"])
SOURCES = Path(os.environ["ZTMAKE_TEST_SOURCES"])
XS = "{http://www.w3.org/2001/XMLSchema}"

# What the reader makes of an attribute, by its type in the schema; all others are texts.
KINDS = {"Boolean": "tristate", "Level": "int"}

# The attributes that must be there.
LEAST = {"Project": "Name", "Target": "Model", "Preprocess": "Type", "Compile": "Type",
         "Merge": "Type"}


class Schema:
    """A schema, flattened: what each element may hold."""

    def __init__(self, name):
        self.file = SOURCES / "schema" / name
        self.root = xml.parse(self.file).getroot()
        self.namespace = self.root.get("targetNamespace")
        self.named = {node.get("name"): node for node in self.root if node.get("name")}
        self.attributes = {}  # path: {attribute: kind}
        self.children = {}    # path: [child]
        self.enter(self.root.find(XS + "element"), ())

    def enter(self, element, parents):
        """Takes in an element and all below it."""
        path = (*parents, element.get("name"))
        definition = self.named.get(element.get("type"), element.find(XS + "complexType"))
        is_text = definition is None or definition.tag == XS + "simpleType"
        self.attributes[path] = {} if is_text else {
            attribute.get("name"): KINDS.get(attribute.get("type"), "string")
            for attribute in definition.iter(XS + "attribute")}
        children = {} if is_text else self.elements(definition)
        self.children[path] = sorted(children)
        for child in children.values():
            self.enter(child, path)

    def elements(self, node):
        """The elements that a complex type names."""
        found = {}
        for part in node:
            if part.tag == XS + "element" and part.get("name"):
                found[part.get("name")] = part
            elif part.tag == XS + "group":
                found |= self.elements(self.named[part.get("ref")])
            elif part.tag in (XS + "sequence", XS + "choice"):
                found |= self.elements(part)
        return found

    def element(self, path, inner="", attributes=""):
        """An element with the least that it needs, with something in it."""
        name = path[-1]
        # A given attribute takes the place of the least one.
        own = "" if attributes.startswith(f"{LEAST.get(name, '')}=") else self.least(name)
        if name == "Merge" and "Source" in self.children[path] and "<Source" not in inner:
            inner += "<Source>x</Source>"
        elif name == "Merge" and "Source" not in self.children[path]:
            inner = inner or "x"
        elif name == "ZeltaProject" and "<Project" not in inner:
            inner += '<Project Name="x"/>'
        return f"<{' '.join(filter(None, (name, own, attributes)))}>{inner}</{name}>"

    def least(self, name):
        """The attribute that an element cannot do without."""
        if name == "ZeltaProject":
            return f'xmlns="{self.namespace}" xmlns:o="urn:other"'
        value = {"Preprocess": "Ztlpp", "Compile": "Lua", "Merge": "File"}.get(name, "x")
        return f'{LEAST[name]}="{value}"' if name in LEAST else ""

    def document(self, path, inner="", attributes=""):
        """A project file with the least that leads to an element, with something in that."""
        text = self.element(path, inner, attributes)
        for depth in range(len(path) - 1, 0, -1):
            text = self.element(path[:depth], text)
        return text


CURRENT = Schema("zelta-project-2009-42.xsd")
FIRST = Schema("zelta-project-2009.xsd")


class Documents(unittest.TestCase):
    maxDiff = None

    """A test that writes project files and asks both sides about them."""

    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="ztmaketest")
        self.addCleanup(temporary.cleanup)
        self.dir = Path(temporary.name)

    def write(self, documents):
        """Writes documents to numbered files."""
        files = [self.dir / f"{number}.ztp" for number in range(len(documents))]
        for file, document in zip(files, documents):
            file.write_text(document, encoding="utf-8")
        return files

    def check(self, schema, documents):
        """What xmllint has to say about each of the documents; nothing about a valid one."""
        files = self.write(documents)
        result = subprocess.run(
            ["xmllint", "--noout", "--schema", schema.file, *(file.name for file in files)],
            cwd=self.dir, stdin=subprocess.DEVNULL, capture_output=True, text=True)
        said = {file.name: [] for file in files}
        for line in result.stderr.splitlines():
            name = re.match(r"(\d+\.ztp)\b", line)
            if name:
                said[name[1]].append(line.removeprefix(name[1]).removeprefix(":"))
        verdicts = []
        for file in files:
            lines = said[file.name]
            self.assertIn(lines[-1:], [[" validates"], [" fails to validate"]], result.stderr)
            verdicts.append([] if lines[-1] == " validates" else lines[:-1])
        return verdicts

    def read(self, documents):
        """What the program has to say about each of the documents; nothing when it gets past
        the reading, to the SDK that it cannot find."""
        verdicts = []
        for file in self.write(documents):
            result = subprocess.run(
                [PROGRAM, file.name], cwd=self.dir, stdin=subprocess.DEVNULL, capture_output=True,
                text=True, env={"HOME": str(self.dir), "LC_ALL": "C.UTF-8"})
            self.assertEqual(result.returncode, 1)
            read = result.stderr.endswith("[ztmake] Cannot find SDK directory.\n")
            verdicts.append("" if read else result.stderr)
        return verdicts

#!/usr/bin/env python3
"""docs/project-file.md: each example builds as it stands, in the sample project."""

import os
import re
import shutil
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(os.environ["ZTMAKE_TEST_SOURCES"]) / "tests/examples"))
from world import PROJECTS, SDK, ProjectWorld  # noqa: E402

TEXT = (Path(os.environ["ZTMAKE_TEST_SOURCES"]) / "docs/project-file.md").read_text(encoding="utf-8")
NAMESPACE = "http://zelta.example/Zelta/Project/2009"


def examples():
    """The XML of each section, with the path of the section's element and its generation."""
    found = []
    for generation, title in (("/42", "Current generation"), ("", "First generation")):
        part = TEXT.split(f"\n## {title}\n")[1].split("\n## ")[0]
        for section in re.split(r"^### ", part, flags=re.MULTILINE)[1:]:
            path = section.splitlines()[0].split(" / ")
            found += [(generation, path, block)
                      for block in re.findall(r"^```xml\n(.*?)^```$", section,
                                              re.MULTILINE | re.DOTALL)]
    return found


# What the sources of the sample project need, around examples of something else.
SETTINGS = ('<Process><Preprocess Type="Ztlpp"><Include>include</Include></Preprocess></Process>'
            '<MTD16 Enabled="true"/>')


def document(generation, path, block):
    """A whole project file around an example."""
    if generation == "/42" and path[-1] in ("Filesystem", "Merge"):
        if path[-1] == "Merge":
            block = f"<Filesystem>{block}</Filesystem>"
        path, block = ["ZeltaProject", "Project", path[-1]], SETTINGS + block
    for name in reversed(path[:-1]):
        attributes = {"ZeltaProject": f' xmlns="{NAMESPACE}{generation}"',
                      "Project": ' Name="Box"'}.get(name, "")
        if name == "Merge":
            block = f"<Source>root</Source>{block}"
            attributes = ' Type="Directory"'
        block = f"<{name}{attributes}>{block}</{name}>"
    return f'<?xml version="1.0" encoding="UTF-8"?>\n{block}\n'


class Examples(ProjectWorld):
    """Builds of them."""

    project = "thermostat"

    def environment(self):
        return {**super().environment(), "ZELTASDK": str(self.home / "sdks"),
                "ZELTADIR": str(self.home / "tree")}

    def setUp(self):
        super().setUp()
        (self.home / "tree/src").mkdir(parents=True)
        (self.home / "tree/src/sdk").symlink_to(SDK)
        (self.home / "sdks").mkdir()
        for version in "1.0", "2.1":
            (self.home / f"sdks/sdk-{version}").symlink_to(SDK)

    def test_each_builds(self):
        self.assertGreater(len(examples()), 12)
        current = self.dir
        first = self.home / "hello"
        shutil.copytree(PROJECTS / "hello-2009", first)
        for generation, path, block in examples():
            self.dir = current if generation else first
            with self.subTest(path=path, generation=generation):
                for file in self.dir.glob("*.ztp"):
                    file.unlink()
                self.write("thermostat.ztp", document(generation, path, block))
                result = self.run_command(SDK / "bin/ztmake", "--all")
                self.assertEqual(result.returncode, 0, result.stderr)


if __name__ == "__main__":
    unittest.main()

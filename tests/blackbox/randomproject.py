"""A random project, and what a user does to it between two builds."""

import os
import shutil
import time

GENERATED = ("include/mtd16.lh", "root/usr/lib/lua/mtd16.lua")


def read(path):
    with open(path, "rb") as file:
        return file.read()


def write(path, text, mode="w"):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, mode) as file:
        file.write(text)


def files(directory):
    """The paths of all files below, relative to the directory."""
    return sorted(os.path.relpath(os.path.join(folder, name), directory)
                  for folder, _, names in os.walk(directory) for name in names)


class RandomProject:
    """The sources in the folder "live" of a root directory."""

    def __init__(self, random, root):
        self.random = random
        self.root = root
        self.live = self.path("live")
        self.log = []
        self.edits = 0
        os.makedirs(self.live)
        self.make_project()

    def make_project(self):
        chance = self.random.random
        self.mtd16 = chance() < 0.5
        self.languages = self.random.sample(("de", "fr", "it"), self.random.randint(1, 2)) \
            if chance() < 0.5 else []
        self.svnversion = chance() < 0.3
        self.write_project()
        for tree in ("root", "more"): # stay when all their sources are gone
            write(os.path.join(self.live, tree, "text.txt"), f"text in {tree}\n")
        for _ in range(self.random.randint(1, 6)):
            self.write_source()
        if self.mtd16:
            write(os.path.join(self.live, "box.mtdef"), "definitions\n")
        for language in self.languages:
            write(os.path.join(self.live, f"translations/{language}.ts"), f"texts {language}\n")

    def write_project(self):
        """A new state of the project file: options and targets show in the bytes."""
        self.edits += 1
        flag = lambda: self.random.choice("01")
        targets = "".join(f'<Target Model="{name}"/>'
                          for name in self.random.sample("AB", self.random.randint(1, 2)))
        languages = "".join(f'<Language>{name}</Language>' for name in self.languages)
        # The stages are copied out when neither is enabled.
        compiler, preprocessor = self.random.choice(("11", "11", "11", "10", "01", "00"))
        write(os.path.join(self.live, "box.ztp"), f"""<?xml version="1.0" encoding="UTF-8"?>
<ZeltaProject xmlns="http://zelta.example/Zelta/Project/2009/42">
<Project Name="Box" SDK="../sdk" Version="{self.edits}" Svnversion="{int(self.svnversion)}"
 BuildInstaller="{flag()}">
{targets}
<Startup File="/main.lua"/>
{'<MTD16 Enabled="1"/>' if self.mtd16 else ''}
{f'<Translation Enabled="1">{languages}</Translation>' if self.languages else ''}
<Filesystem><Merge Type="Directory"><Source>root</Source></Merge>
<Merge Type="Directory"><Source>more</Source><Destination>more</Destination></Merge></Filesystem>
<Process><Preprocess Type="Ztlpp" Enabled="{preprocessor}" RemoveComments="{flag()}"
 SimplifyWhitespace="{flag()}"/><Compile Type="Lua" Enabled="{compiler}" Strip="{flag()}"/></Process>
</Project>
</ZeltaProject>
""")

    def write_source(self):
        name = self.random.choice(("root/", "root/sub/", "more/", "root/sub/deep/")) \
            + self.random.choice("abcdef") + ".lua"
        self.edits += 1
        text = f"edit {self.edits}\n" + "x" * self.random.choice((0, 10, 20_000))
        write(os.path.join(self.live, name), text)
        return name

    def sources(self):
        return [name for name in files(self.live)
                if not name.startswith(("obj/", "firmware/")) and name not in GENERATED]

    def distinct_time(self):
        """Returns when the file system's clock has passed the present millisecond."""
        now = time.time_ns() // 1_000_000
        probe = self.path("probe")
        while True:
            write(probe, "x")
            if os.stat(probe).st_mtime_ns // 1_000_000 > now:
                return

    def change(self):
        """One thing that a user does between two builds."""
        self.distinct_time()
        outputs = [name for name in files(self.live) if name.startswith(("obj/", "firmware/"))
                   and not name.startswith("obj/.")]
        sources = [name for name in self.sources() if name.endswith(".lua")]
        kind = self.random.choice(("write", "write", "write", "append", "append", "touch", "delete",
                                   "output", "outputs", "tree", "project", "touch project",
                                   "definitions", "texts", "generated"))
        done = kind
        if kind == "write":
            done += " " + self.write_source()
        elif kind in ("append", "touch", "delete") and sources:
            name = self.random.choice(sources)
            done += " " + name
            path = os.path.join(self.live, name)
            if kind == "append":
                self.edits += 1
                write(path, f"edit {self.edits}\n", "a")
            elif kind == "touch":
                os.utime(path)
            elif len(sources) > 1:
                os.remove(path)
        elif kind in ("output", "outputs") and outputs:
            for name in self.random.sample(outputs, 1 if kind == "output"
                                           else self.random.randint(1, len(outputs))):
                done += " " + name
                os.remove(os.path.join(self.live, name))
        elif kind == "tree" and self.random.random() < 0.3:
            shutil.rmtree(os.path.join(self.live, "obj"), ignore_errors=True)
        elif kind == "project":
            self.write_project()
        elif kind == "touch project":
            os.utime(os.path.join(self.live, "box.ztp"))
        elif kind == "definitions" and self.mtd16:
            self.edits += 1
            write(os.path.join(self.live, "box.mtdef"), f"edit {self.edits}\n", "a")
        elif kind == "texts" and self.languages:
            self.edits += 1
            name = self.random.choice(self.languages)
            write(os.path.join(self.live, f"translations/{name}.ts"), f"edit {self.edits}\n", "a")
        elif kind == "generated" and self.mtd16:
            name = os.path.join(self.live, self.random.choice(GENERATED))
            if os.path.exists(name):
                os.remove(name)
        self.log.append(done)

    def path(self, name):
        return os.path.join(self.root, name)

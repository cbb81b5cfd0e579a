#!/usr/bin/env python3
"""Builds firmware from Lua sources that were not written for it, and checks all that comes out.

Usage: build.py SDK PROJECT PROGRAM SOURCE=PLACE...

SDK is the sample SDK's directory, PROJECT a directory that is made anew. Each directory SOURCE is
copied to the directory PLACE of the image, PROGRAM becomes the image's /usr/bin/main.lua. Checked
are, with debug information and without it: each object against luac5.1's byte code of its source,
each file of the image against what was merged, what the program prints in the image against what
it prints under lua5.1 outside of it. Sources that are not Lua 5.1 are left out of the image; the
tools must refuse them, and name the place.
"""

import os
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

PROJECT_FILE = """<?xml version="1.0" encoding="UTF-8"?>
<ZeltaProject xmlns="http://zelta.example/Zelta/Project/2009/42">
    <Project Name="Real" Version="1" SDK="1.0">
        <Startup File="/usr/bin/main.lua"/>
        <Target Model="ZT100"/>
        <Process>
            <Preprocess Type="Ztlpp" Enabled="true" RemoveComments="true" SimplifyWhitespace="true"/>
            <Compile Type="Lua" Enabled="true" Strip="{strip}"/>
        </Process>
        <Filesystem Type="romfs" Label="root">
            <Merge Type="Directory"><Source>root</Source><Destination>/</Destination></Merge>
        </Filesystem>
        <Translation Enabled="true" BaseDir="/usr/lib/lua">
            <Default>en</Default>
            <Language>de</Language>
        </Translation>
    </Project>
</ZeltaProject>
"""
FIRMWARE = "firmware/ZT100-Real-1-firmware.ztf"


class Failure(Exception):
    """A check that failed; its text is the whole report."""


class RealSources:
    """A project made of real sources."""

    def __init__(self, sdk, project):
        self.tools = Path(sdk).resolve() / "bin"
        self.dir = Path(project).resolve()
        self.root = self.dir / "root"
        self.environment = {**os.environ, "ZELTASDK": str(Path(sdk).resolve().parent),
                            "LC_ALL": "C.UTF-8"}

    def run(self, *command, directory=None):
        """Runs a command in the project, or in another directory."""
        return subprocess.run([str(word) for word in command], cwd=directory or self.dir,
                              env=self.environment, stdin=subprocess.DEVNULL, capture_output=True)

    def output(self, *command, directory=None):
        """What a command prints that must succeed."""
        result = self.run(*command, directory=directory)
        if result.returncode != 0:
            raise Failure(f"{command[0]} ended with status {result.returncode}:\n"
                          + result.stderr.decode(errors="replace"))
        return result.stdout

    def collect(self, program, places):
        """Copies everything into the project."""
        shutil.rmtree(self.dir, ignore_errors=True)
        for name in ("firmware", "translations", "root/usr/bin"):
            (self.dir / name).mkdir(parents=True)
        shutil.copy(program, self.root / "usr/bin/main.lua")
        for source, place in (pair.rsplit("=", 1) for pair in places):
            shutil.copytree(source, self.root / place.strip("/"), symlinks=True, dirs_exist_ok=True)

    def sources(self):
        """The Lua sources that are compiled."""
        return sorted(path.relative_to(self.dir) for path in self.root.rglob("*.lua")
                      if path.is_file() and not any(part[0] == "." for part in path.parts))

    def byte_code(self, source, *options):
        """luac5.1's byte code of a source; nothing when it is not Lua 5.1."""
        result = self.run("luac5.1", *options, "-o", "luac.out", "--", source)
        return (self.dir / "luac.out").read_bytes() if result.returncode == 0 else None

    def leave_out_others(self):
        """Deletes the sources that are not Lua 5.1, and checks that the tools refuse them, too."""
        others = [source for source in self.sources() if self.byte_code(source) is None]
        for source in others:
            result = self.run(self.tools / "ztlpp", "--strip", "--trim", "--out", "other.lui",
                              "--root", "root", "--", source)
            if result.returncode == 0:
                result = self.run(self.tools / "ztluac", "-o", "other.luo", "--", "other.lui")
            message = os.fsencode(f"{source}:")
            if result.returncode != 1 or not re.match(re.escape(message) + rb"\d+: .", result.stderr):
                raise Failure(f"{source}: not refused as it should be: {result.stderr}")
            (self.dir / source).unlink()
        print(f"{len(others)} sources are not Lua 5.1; the tools refuse each with its file and line")

    def build(self, strip):
        """Builds twice, and checks the objects and the image."""
        (self.dir / "real.ztp").write_text(PROJECT_FILE.format(strip=str(strip).lower()))
        seconds = []
        for _ in range(2):
            start = time.monotonic()
            self.output(self.tools / "ztmake", "-q")
            seconds.append(time.monotonic() - start)
        expected = self.check_objects(["-s"] if strip else [])
        self.check_image(expected)
        print(f"{'stripped' if strip else 'with debug information'}: {len(expected['objects'])}"
              f" objects equal luac5.1's, {len(expected['files'])} files of the image are right;"
              f" {seconds[0]:.2f} s, with nothing to do {seconds[1]:.2f} s")

    def check_objects(self, options):
        """Compares all objects with luac5.1's; gives what must be in the image."""
        files = {}
        for folder, _, names in os.walk(self.root, followlinks=True):
            for name in names:
                path = Path(folder) / name
                files[str(path.relative_to(self.root))] = content_of(path)
        files["etc/version"] = b"1\n"
        files["etc/autoexec.lua"] = (self.dir / "obj/autoexec.lua").read_bytes()
        files["usr/lib/translations/de.qm"] = (self.dir / "obj/translations/de.qm").read_bytes()
        objects = []
        for source in self.sources():
            code = self.byte_code(source, *options)
            if (self.dir / "obj" / source.with_suffix(".luo")).read_bytes() != code:
                raise Failure(f"{source}: the byte code is another")
            files[str(source.relative_to("root"))] = code
            objects.append(source)
        return {"files": files, "objects": objects}

    def check_image(self, expected):
        """Unpacks the image and compares it."""
        image = self.dir / "image"
        shutil.rmtree(image, ignore_errors=True)
        self.output(self.tools / "ztinspect", "--extract", image, FIRMWARE)
        found = {str(path.relative_to(image)): content_of(path) for path in image.rglob("*")
                 if path.is_symlink() or path.is_file()}
        wrong = sorted(path for path in {*found, *expected["files"]}
                       if found.get(path) != expected["files"].get(path))
        if wrong:
            raise Failure(f"{len(wrong)} files of the image are wrong: {wrong[:5]}")

    def run_program(self):
        """Runs the program in the image and outside of it."""
        inside = self.output(self.tools / "ztrun", FIRMWARE)
        outside = self.output("lua5.1", "usr/bin/main.lua", ".", directory=self.root)
        if not inside or inside != outside:
            raise Failure("the program prints something else in the image:\n"
                          + inside.decode(errors="replace") + "instead of\n"
                          + outside.decode(errors="replace"))
        print(f"the program prints the same {inside.count(10)} lines in the image and outside")


def content_of(path):
    """A file's content, or the target of a link, which no content can be."""
    return os.readlink(path) if path.is_symlink() else path.read_bytes()


def main(sdk, project, program, *places):
    """Builds and checks everything."""
    real = RealSources(sdk, project)
    real.collect(program, places)
    real.leave_out_others()
    real.build(strip=False)
    real.build(strip=True)
    real.run_program()


if len(sys.argv) < 5:
    sys.exit(__doc__)
try:
    main(*sys.argv[1:])
except Failure as failure:
    sys.exit(str(failure))

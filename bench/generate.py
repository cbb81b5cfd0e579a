#!/usr/bin/env python3
"""Makes a project of SIZE Lua files, 50 a folder, with the same build as a ninja file and a Makefile.

Usage: generate.py SIZE DIRECTORY

DIRECTORY gets box.ztp, src/ with the sources, build.ninja, Makefile, and commands.txt: the tool
calls of a full build, one a line, for the spawn floor. The tools are named by the path "sdk/bin",
which the caller provides. Outputs are made current by `touch.py`, so nothing here depends on what
the tools do.
"""

import os
import sys

FILES_A_FOLDER = 50

PROJECT = """<?xml version="1.0"?>
<ZeltaProject xmlns="http://zelta.example/Zelta/Project/2009/42">
    <Project Name="Box" Version="1.0" SDK="{sdk}">
        <Target Model="A"/>
        <Filesystem Label="root">
            <Merge Type="Directory"><Source>src</Source><Destination>/</Destination></Merge>
        </Filesystem>
    </Project>
</ZeltaProject>
"""


def commands(sdk, sources):
    """Each step of a full build: outputs, inputs, words of the command."""
    for source in sources:
        lui, luo = (f"obj/root/{source[:-4]}.{suffix}" for suffix in ("lui", "luo"))
        yield lui, [f"src/{source}"], [
            "sdk/bin/ztlpp", "--strip", "--trim", "-I", f"{sdk}/usr/include",
            "--out", lui, "--root", "src", "--", f"src/{source}"]
        yield luo, [lui], ["sdk/bin/ztluac", "-o", luo, "--", lui]
    objects = [f"obj/root/{source[:-4]}.luo" for source in sources]
    yield "obj/root.romfs", objects, ["sdk/bin/ztmkromfs", "@obj/args.txt"]
    yield "firmware/A-Box-1.0-firmware.ztf", ["obj/root.romfs"], [
        "sdk/bin/ztlink", "--kernel", f"{sdk}/kernel/A-kernel.bin", "--data", "obj/root.romfs",
        "--output", "firmware/A-Box-1.0-firmware.ztf", "--name", "Box", "--version", "1.0"]


def write_ninja(path, steps):
    """The build as ninja takes it: one rule, each command whole."""
    with open(path, "w") as file:
        file.write("rule run\n  command = $cmd\n")
        for output, inputs, words in steps:
            file.write(f"build {output}: run {' '.join(inputs)}\n  cmd = {' '.join(words)}\n")


def write_makefile(path, steps):
    """The build as make takes it, without its built-in rules."""
    with open(path, "w") as file:
        file.write("MAKEFLAGS += -rR\n.SUFFIXES:\n")
        file.write(f"all: {steps[-1][0]}\n")
        for output, inputs, words in steps:
            file.write(f"{output}: {' '.join(inputs)}\n\t@{' '.join(words)}\n")


def main():
    size, directory = int(sys.argv[1]), sys.argv[2]
    os.makedirs(directory, exist_ok=True)
    os.chdir(directory)
    sdk = os.path.abspath("sdk")
    sources = []
    for number in range(size):
        folder = f"d{number // FILES_A_FOLDER:04}"
        if number % FILES_A_FOLDER == 0:
            os.makedirs(f"src/{folder}")
            os.makedirs(f"obj/root/{folder}")
        sources.append(f"{folder}/module{number:06}.lua")
        with open(f"src/{sources[-1]}", "w") as file:
            file.write(f"return {number}\n")
    os.makedirs("firmware")
    with open("box.ztp", "w") as file:
        file.write(PROJECT.format(sdk=sdk))
    steps = list(commands(sdk, sources))
    write_ninja("build.ninja", steps)
    write_makefile("Makefile", steps)
    with open("commands.txt", "w") as file:
        for _, _, words in steps:
            file.write("\t".join(words) + "\n")
    with open("outputs.txt", "w") as file:
        file.writelines(f"{output}\n" for output, _, _ in steps)


main()

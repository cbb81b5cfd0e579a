"""Makes projects for the benchmarks: Lua files, 50 a folder, and the same build as a ninja file and
a Makefile."""

import os

FILES_A_FOLDER = 50
TOOLS = ("ztlpp", "ztluac", "ztmkromfs", "ztlink")

PROJECT = """<?xml version="1.0"?>
<ZeltaProject xmlns="http://zelta.example/Zelta/Project/2009/42">
    <Project Name="Box" Version="1.0" SDK="{sdk}">
        <Target Model="A"/>
        <Filesystem Label="root">
            <Merge Type="Directory"><Source>src</Source><Destination>/</Destination></Merge>
        </Filesystem>
        {process}
    </Project>
</ZeltaProject>
"""

COPIES = """<Process>
            <Preprocess Type="Ztlpp" Enabled="0"/><Compile Type="Lua" Enabled="0"/>
        </Process>"""


def build_steps(sdk, sources):
    """Each step of a full build: output, inputs, words of the command."""
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


def write_ninja_log(path, steps):
    """What ninja notes of a build that it has done, so that it need not be done for it."""
    with open(path, "w") as file:
        file.write("# ninja log v5\n")
        for output, _, words in steps:
            time = os.stat(output).st_mtime_ns
            file.write(f"0\t1\t{time}\t{output}\t{murmur64(' '.join(words).encode()):x}\n")


def murmur64(data):
    """The hash of a command in ninja's log: MurmurHash64A."""
    mask, multiplier = (1 << 64) - 1, 0xC6A4A7935BD1E995
    value = (0xDECAFBADDECAFBAD ^ (len(data) * multiplier)) & mask
    whole = len(data) & ~7
    for start in range(0, whole, 8):
        block = int.from_bytes(data[start:start + 8], "little") * multiplier & mask
        block = (block ^ (block >> 47)) * multiplier & mask
        value = (value ^ block) * multiplier & mask
    if whole < len(data):
        value = (value ^ int.from_bytes(data[whole:], "little")) * multiplier & mask
    value = (value ^ (value >> 47)) * multiplier & mask
    return value ^ (value >> 47)


def write_makefile(path, steps):
    """The build as make takes it, without its built-in rules."""
    with open(path, "w") as file:
        file.write("MAKEFLAGS += -rR\n.SUFFIXES:\n")
        file.write(f"all: {steps[-1][0]}\n")
        for output, inputs, words in steps:
            file.write(f"{output}: {' '.join(inputs)}\n\t@{' '.join(words)}\n")


def make_project(directory, size, ztmake, tool, process=""):
    """Makes a project in a new directory, with an SDK of one tool by all names. It is not built."""
    os.makedirs(f"{directory}/sdk/bin")
    for name in TOOLS:
        os.link(tool, f"{directory}/sdk/bin/{name}")
    os.link(ztmake, f"{directory}/sdk/bin/ztmake")
    sdk = os.path.abspath(f"{directory}/sdk")
    sources = []
    for number in range(size):
        folder = f"d{number // FILES_A_FOLDER:04}"
        if number % FILES_A_FOLDER == 0:
            os.makedirs(f"{directory}/src/{folder}")
            os.makedirs(f"{directory}/obj/root/{folder}")
        sources.append(f"{folder}/module{number:06}.lua")
        with open(f"{directory}/src/{sources[-1]}", "w") as file:
            file.write(f"return {number}\n")
    os.makedirs(f"{directory}/firmware")
    with open(f"{directory}/box.ztp", "w") as file:
        file.write(PROJECT.format(sdk=sdk, process=process))
    steps = list(build_steps(sdk, sources))
    write_ninja(f"{directory}/build.ninja", steps)
    write_makefile(f"{directory}/Makefile", steps)
    with open(f"{directory}/commands.txt", "w") as file:
        file.writelines("\t".join(words) + "\n" for _, _, words in steps)
    return steps


def mark_built(steps):
    """Makes every output of the project in the working directory current, for all three tools."""
    for output, _, _ in steps:
        with open(output, "w"):
            pass
    write_ninja_log(".ninja_log", steps)


def mark_unbuilt(steps):
    """Removes every output of the project in the working directory."""
    for output, _, _ in steps:
        if os.path.exists(output):
            os.remove(output)
    if os.path.exists(".ninja_log"):
        os.remove(".ninja_log")

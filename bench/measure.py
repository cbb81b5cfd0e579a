"""Measures ztmake against ninja, make and the floors, and writes the report.

Usage: measure.py PROGRAMS SCRATCH REPORT [PART...] [SIZE...]

PROGRAMS holds ztmake and the bench_* programs; projects are made in SCRATCH, on the same file
system; REPORT is the Markdown file, its plot goes beside it. With parts named ("start", "no-op",
"full", "jobs", "outputs"), these alone are measured, and the figures are only printed. Every ratio
is the median of the ratios of paired runs: one run of each program after the other, many times over.
"""

import os
import platform
import re
import resource
import shutil
import statistics
import subprocess
import sys
import time

import generate

DEFAULT_SIZES = [100, 1000, 10000, 50000, 100000]
NOT_FULLY_BUILT = 50000  # the time goes to the sizes around it
COUNTED_SIZE = 10000  # for callgrind
SYNCED_SIZE = 1000
COPIED_SIZE = 10000
JOBS_SIZE = 1000
SLOW_MAKE = 10000  # make may need seconds from here on, so it runs less often
ENVIRONMENT = {"PATH": os.environ["PATH"], "HOME": "/nonexistent", "LC_ALL": "C.UTF-8"}
NULL_STREAMS = [(os.POSIX_SPAWN_OPEN, stream, "/dev/null", os.O_WRONLY, 0) for stream in (1, 2)]

ZTMAKE = ["sdk/bin/ztmake", "-q"]


def seconds(command, expected_status=0):
    """The wall time of one run."""
    start = time.perf_counter()
    process = os.posix_spawn(command[0], command, ENVIRONMENT, file_actions=NULL_STREAMS)
    _, status = os.waitpid(process, 0)
    took = time.perf_counter() - start
    if os.waitstatus_to_exitcode(status) != expected_status:
        raise SystemExit(f"{' '.join(command)} did not end with {expected_status}")
    return took


def paired_times(commands, rounds, prepare=lambda: None):
    """A list of times for each command; the runs of a round follow each other."""
    times = {name: [] for name in commands}
    for _ in range(rounds):
        for name, command in commands.items():
            prepare()
            times[name].append(seconds(command))
    return times


def ratio(times, name):
    """The median of ztmake's time over that of another, by pairs."""
    return statistics.median(a / b for a, b in zip(times["ztmake"], times[name]))


def median_ms(times, name):
    return statistics.median(times[name]) * 1000


def growth(sizes, milliseconds):
    """The time of each file beyond those of the first size, in microseconds."""
    for size, took in zip(sizes, milliseconds):
        yield "" if size == sizes[0] else (
            f"{(took - milliseconds[0]) / (size - sizes[0]) * 1000:.2f} µs")


def peak_memory(command):
    """The peak resident memory of a run in MiB, as the kernel accounts it to a small parent."""
    result = subprocess.run(["/usr/bin/time", "-f", "%M", *command], env=ENVIRONMENT, check=True,
                            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    return int(result.stderr.split()[-1]) / 1024


def system_calls(command):
    """Counts of the process's own system calls by name."""
    subprocess.run(["strace", "-c", "-o", "strace.txt", *command], env=ENVIRONMENT, check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    calls = {}
    with open("strace.txt") as file:
        for line in file:
            match = re.match(r"\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)\s+(?:\d+\s+)?(\w+)$", line)
            if match and match[2] != "total":
                calls[match[2]] = int(match[1])
    return calls


def instructions(command):
    """Executed instructions, without those of the kernel."""
    result = subprocess.run(
        ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command],
        env=ENVIRONMENT, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    return int(re.search(r"Collected : (\d+)", result.stderr)[1])


class Report:
    """Gathers the lines of the report and the data of its plot."""

    def __init__(self):
        self.lines = []
        self.plot = []

    def table(self, head, rows):
        self.lines += ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
        self.lines += ["| " + " | ".join(row) + " |" for row in rows] + [""]

    def text(self, *lines):
        self.lines += [*lines, ""]


def measure_start(programs, report):
    """From the start to the usage text."""
    pairs = []
    for _ in range(201):
        usage = seconds([f"{programs}/ztmake", "--help"], expected_status=1)
        pairs.append(usage / seconds([f"{programs}/bench_empty"]))
    report.text("## Start")
    report.text("From the start to the usage text, over an empty Qt Core program: "
                f"{statistics.median(pairs):.2f}.")


def measure_no_op(sizes, programs, scratch, report):
    """Nothing to do, at every size."""
    rows, memory, calls = [], [], {}
    for size in sizes:
        steps = generate.make_project(f"{scratch}/{size}", size, f"{programs}/ztmake",
                                      f"{programs}/bench_nothing")
        os.chdir(f"{scratch}/{size}")
        generate.mark_built(steps)
        commands = {"ztmake": ZTMAKE, "ninja": [shutil.which("ninja"), "--quiet"],
                    "walk": [f"{programs}/bench_walk", "src", "obj/root"]}
        check = subprocess.run(["ninja"], capture_output=True, text=True, check=True)
        if "no work to do" not in check.stdout:
            raise SystemExit("ninja found something to do")
        times = paired_times(commands, max(7, min(101, 200000 // size)))
        slow = paired_times({"ztmake": ZTMAKE, "make": [shutil.which("make"), "-s"]},
                            3 if size >= SLOW_MAKE else 21)
        rows.append([f"{size:,}", f"{ratio(times, 'ninja'):.2f}", f"{ratio(slow, 'make'):.2f}",
                     f"{ratio(times, 'walk'):.2f}"])
        memory.append([f"{size:,}"] + [f"{value:.0f} MiB" for value in
                                       (peak_memory(ZTMAKE), peak_memory(commands["ninja"]))])
        memory[-1].append(f"{peak_memory(ZTMAKE) / peak_memory(commands['ninja']):.2f}")
        report.plot.append((size, median_ms(times, "ztmake"), median_ms(times, "ninja"),
                            median_ms(slow, "make"), median_ms(times, "walk")))
        calls[size] = system_calls(ZTMAKE)
        if size == COUNTED_SIZE:
            instruction_count = instructions(ZTMAKE)
        os.chdir(scratch)
        shutil.rmtree(f"{scratch}/{size}")
    report.text("## Nothing to do")
    for row, step in zip(rows, growth(sizes, [point[1] for point in report.plot])):
        row.append(step)
    report.table(["Lua files", "ztmake / ninja", "ztmake / make", "ztmake / walk",
                  f"ztmake, each file beyond {sizes[0]:,}"], rows)
    report.text("![Time of a build with nothing to do against the number of files]"
                "(benchmarks.svg)")
    report.text("## Peak memory, nothing to do")
    report.table(["Lua files", "ztmake", "ninja", "ztmake / ninja"], memory)
    report_calls(report, calls)
    if COUNTED_SIZE in sizes:
        report.text("## Instructions, nothing to do")
        report.text(f"Counted by callgrind, {COUNTED_SIZE:,} files: "
                    f"{instruction_count / 1e6:.1f} million.")


def report_calls(report, calls):
    """The system calls of the builds with nothing to do: the most frequent kinds."""
    def stats(counts):
        return sum(n for name, n in counts.items() if "stat" in name and "statfs" not in name)
    largest = calls[max(calls)]
    kinds = sorted(largest, key=lambda name: -largest[name])[:8]
    report.text("## System calls, nothing to do")
    report.table(["Lua files"] + [f"{size:,}" for size in calls],
                 [[name] + [f"{counts.get(name, 0):,}" for counts in calls.values()]
                  for name in kinds]
                 + [["stat family, a Lua file"]
                    + [f"{stats(counts) / size:.2f}" for size, counts in calls.items()]])


def measure_full_build(sizes, programs, scratch, report):
    """Everything to do, tools that do nothing."""
    rows = []
    for size in sizes:
        if size == NOT_FULLY_BUILT:
            continue
        rounds = max(1, min(21, 20000 // size))
        steps = generate.make_project(f"{scratch}/full{size}", size, f"{programs}/ztmake",
                                      f"{programs}/bench_nothing")
        os.chdir(f"{scratch}/full{size}")
        commands = {"ztmake": ZTMAKE, "spawn": [f"{programs}/bench_spawn", "commands.txt"],
                    "ninja": [shutil.which("ninja"), "-j1", "--quiet"],
                    "make": [shutil.which("make"), "-s"]}
        times = paired_times(commands, rounds, lambda steps=steps: generate.mark_unbuilt(steps))
        rows.append([f"{size:,}"] + [f"{ratio(times, name):.2f}"
                                     for name in ("spawn", "ninja", "make")] + [f"{rounds}"])
        os.chdir(scratch)
        shutil.rmtree(f"{scratch}/full{size}")
    report.text("## Everything to do")
    report.table(["Lua files", "ztmake / spawn", "ztmake / ninja -j1", "ztmake / make", "Pairs"],
                 rows)


def measure_outputs(programs, scratch, report):
    """What it costs that nothing is lost, with tools that write; and copying."""
    def prepare():
        for name in ("obj", "copy"):
            shutil.rmtree(name, ignore_errors=True)
        os.sync()  # what one run has left must not be another's to write

    def in_project(size, process, commands, rounds):
        generate.make_project(f"{scratch}/outputs", size, f"{programs}/ztmake",
                              f"{programs}/bench_write", process)
        os.chdir(f"{scratch}/outputs")
        times = paired_times(commands, rounds, prepare)
        os.chdir(scratch)
        shutil.rmtree(f"{scratch}/outputs")
        return times

    env = shutil.which("env")
    without = [env, "ZTMAKE_SYNC=0", *ZTMAKE]
    synced = in_project(SYNCED_SIZE, "", {"ztmake": [env, "ZTMAKE_SYNC=1", *ZTMAKE],
                                          "without": without}, 11)
    copy = [shutil.which("cp"), "-r", "src", "copy"]
    copied = in_project(COPIED_SIZE, generate.COPIES,
                        {"ztmake": ZTMAKE, "cp": copy,
                         "cp and sync": ["/bin/sh", "-c", " ".join(copy) + " && sync -f copy"]}, 5)
    unsynced = in_project(COPIED_SIZE, generate.COPIES, {"ztmake": without, "cp": copy}, 5)
    report.text("## Outputs on a disk")
    report.table(["Build from nothing", "Ratio"], [
        [f"{SYNCED_SIZE:,} files compiled, against ZTMAKE_SYNC=0", f"{ratio(synced, 'without'):.3f}"],
        [f"{COPIED_SIZE:,} files copied, against `cp -r`", f"{ratio(copied, 'cp'):.2f}"],
        [f"{COPIED_SIZE:,} files copied, against `cp -r` and `sync -f`",
         f"{ratio(copied, 'cp and sync'):.2f}"],
        [f"{COPIED_SIZE:,} files copied with ZTMAKE_SYNC=0, against `cp -r`",
         f"{ratio(unsynced, 'cp'):.2f}"]])


def processor_seconds(command):
    """The processor time of one run and all that it starts."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    seconds(command)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def measure_jobs(programs, scratch, report):
    """Two tools at a time, with tools that work and with tools that do nothing."""
    env = shutil.which("env")
    one, two = ([env, f"ZTMAKE_JOBS={count}", *ZTMAKE] for count in (1, 2))
    ninja = [shutil.which("ninja"), "--quiet"]
    rows = []
    for name, tool, rounds in (("5 ms of work", "bench_work", 7), ("nothing", "bench_nothing", 21)):
        steps = generate.make_project(f"{scratch}/jobs", JOBS_SIZE, f"{programs}/ztmake",
                                      f"{programs}/{tool}")
        os.chdir(f"{scratch}/jobs")

        def prepare(steps=steps):
            generate.mark_unbuilt(steps)
        times = paired_times({"one": one, "ztmake": two, "ninja -j2": [*ninja, "-j2"],
                              "ninja": ninja}, rounds, prepare)
        prepare()
        work = processor_seconds(two)
        rows.append([name] + [f"{ratio(times, other):.2f}" for other in
                              ("one", "ninja -j2", "ninja")]
                    + [f"{median_ms(times, 'ztmake') / 1000 / (work / 2):.2f}", f"{rounds}"])
        generate.mark_built(steps)
        current = paired_times({"ztmake": two, "one": one}, 101)
        os.chdir(scratch)
        shutil.rmtree(f"{scratch}/jobs")
    report.text("## Two tools at a time")
    report.text(f"`ZTMAKE_JOBS=2`, {JOBS_SIZE:,} files; ninja's own default is as many as there are "
                "processors, and two more. The last ratio is the time over half of the processor "
                "time of the build with all its tools.")
    report.table(["A tool does", "/ one at a time", "/ ninja -j2", "/ ninja",
                  "/ processor time of both", "Pairs"], rows)
    report.text(f"With nothing to do, two over one: {ratio(current, 'one'):.2f}.")


def draw(plot, path):
    """The plot of the builds with nothing to do."""
    data = "\n".join(" ".join(f"{value}" for value in row) for row in plot)
    script = f"""set terminal svg size 720,480 background "white"
set output "{path}"
set logscale xy
set key left top
set xlabel "Lua files"
set ylabel "milliseconds, nothing to do"
$data << EOD
{data}
EOD
plot $data using 1:4 with linespoints title "make", \\
     $data using 1:3 with linespoints title "ninja", \\
     $data using 1:2 with linespoints title "ztmake", \\
     $data using 1:5 with linespoints title "walk (floor)"
"""
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


HEAD = """# Benchmarks

Written by `scripts/bench`; run it to get the figures of your machine.

The same build, as a project, as a ninja file and as a Makefile: every Lua file is preprocessed and
compiled, everything is packed and linked, by tools that do nothing. ztmake runs one tool at a time
unless `ZTMAKE_JOBS` says otherwise, and packs and links on every build, so with nothing to do it
still starts two tools and writes the argument file of the first. The floors are plain C: `walk`
lists the folders and stats three files for each Lua file; `spawn` starts the commands of a full build
with `posix_spawn`.

Ratios are medians over paired runs of whole processes; below 1, ztmake is faster.
"""


def machine():
    """What the figures were measured with."""
    def version(*command):
        text = subprocess.run(command, capture_output=True, text=True, check=True).stdout
        return re.search(r"\d+(\.\d+)+", text)[0]
    kernel = ".".join(platform.release().split(".")[:2])
    return (f"Measured with {os.cpu_count()} processors, Linux {kernel}, "
            f"ninja {version('ninja', '--version')} and make {version('make', '--version')}.")


def main():
    programs, scratch, path = (os.path.abspath(argument) for argument in sys.argv[1:4])
    words = sys.argv[4:]
    sizes = [int(word) for word in words if word.isdecimal()] or DEFAULT_SIZES
    chosen = [word for word in words if not word.isdecimal()]
    report = Report()
    parts = {"start": lambda: measure_start(programs, report),
             "no-op": lambda: measure_no_op(sizes, programs, scratch, report),
             "full": lambda: measure_full_build(sizes, programs, scratch, report),
             "jobs": lambda: measure_jobs(programs, scratch, report),
             "outputs": lambda: measure_outputs(programs, scratch, report)}
    if not parts.keys() >= set(chosen):
        raise SystemExit(__doc__)
    shutil.rmtree(scratch, ignore_errors=True)
    os.makedirs(scratch)
    report.text(HEAD.rstrip())
    report.text(machine())
    for name in chosen or parts:
        parts[name]()
    if not chosen:
        draw(report.plot, path.removesuffix(".md") + ".svg")
        with open(path, "w") as file:
            file.write("\n".join(report.lines).rstrip() + "\n")
    print("\n".join(report.lines))


main()

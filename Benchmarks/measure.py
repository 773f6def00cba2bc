"""Runs the measuring programs for several rounds, and collects the times.

A result maps (row, case) to its kinds, and each kind to its times in nanoseconds, one a round. `idle` has percents of a
core in place of times, and `load pages` a number of pages. Kinds whose package is not installed are left out.
"""
import json
import pathlib
import subprocess
import sys

BUILD = pathlib.Path(__file__).resolve().parent.parent / "build"
LIBRARY = BUILD / "libVYNNetwork.Linux32.so.21016"
ROUNDS = 21
LOADINGS = 101

# The rows of each program, by the first word of their names. Many sockets have a process of their own.
PROGRAMS = {
    ("send", "read", "event", "poll", "checksum"): [BUILD / "network_bench", LIBRARY],
    ("turn", "idle"): [BUILD / "network_bench", LIBRARY],
    ("view", "element", "ascii"): [BUILD / "internals_bench"],
    ("stand-in",): [BUILD / "standin_bench", LIBRARY],
}


def run(command):
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"bench: {pathlib.Path(command[0]).name} ended with {done.returncode}: {done.stderr.strip()}")
    return done.stdout


def add(result, row, case, kind, time):
    result.setdefault((row, int(case)), {}).setdefault(kind, []).append(time)


def measure_programs(result, names):
    """A fresh process for each round, in which the kinds of a row and case follow each other."""
    for rows, command in PROGRAMS.items():
        wanted = [row for row in rows if row in names]
        if not wanted:
            continue
        command = [*command, "--benchmark_format=json", "--benchmark_min_time=0.02",
                   f"--benchmark_filter=^({'|'.join(wanted)})[ /]"]
        for _ in range(ROUNDS):
            for each in json.loads(run(command))["benchmarks"]:
                row, kind, case = each["name"].split("/")[:3]
                share = 100 * each["cpu_time"] / each["real_time"]
                add(result, row, case, kind, share if row == "idle" else each["real_time"])


def measure_loading(result):
    """A fresh process for each loading."""
    for _ in range(LOADINGS):
        for kind, library in (("ours", LIBRARY), ("limit", BUILD / "libempty_plugin.so")):
            time, pages = map(float, run([BUILD / "load_once", library]).split())
            add(result, "load", 0, kind, time)
            add(result, "load pages", 0, kind, pages)


def measure(names):
    result = {}
    measure_programs(result, names)
    if "load" in names:
        measure_loading(result)
    return result

"""Runs what measures, several rounds, and collects the times. In a round, what is compared runs side by side.

A result maps (row, case) to the kinds of it, and each kind to its times in nanoseconds, one a round. Kinds whose
package is not installed are left out.
"""
import json
import pathlib
import re
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
BUILD = HERE.parent / "build"
LIBRARY = BUILD / "libVYNNetwork.Linux32.so.21016"

# The rows of each program, by the first word of their names.
PROGRAMS = {
    ("send", "read", "poll", "checksum"): [BUILD / "network_bench", LIBRARY],
    ("ascii", "utf8"): [BUILD / "text_bench"],
}
SCRIPTS = {  # kind: what runs it, the script, a program that fails when the peer is not there
    "ours": ([BUILD / "vynhost"], "vynhost.lua", None),
    "LuaSocket": (["lua5.4"], "luasocket.lua", "require('socket')"),
    "luv": (["lua5.4"], "luv.lua", "require('luv')"),
    "Python": ([sys.executable, "-B"], "python.py", None),
}


def run(command):
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"bench: {pathlib.Path(command[0]).name} ended with {done.returncode}: {done.stderr.strip()}")
    return done.stdout


def add(result, row, case, kind, time):
    result.setdefault((row, int(case)), {}).setdefault(kind, []).append(time)


def measure_programs(result, names, rounds):
    """A fresh process for each round; in it the kinds of a row and case follow each other."""
    for rows, command in PROGRAMS.items():
        wanted = [row for row in rows if row in names]
        if not wanted:
            continue
        command = [*command, "--benchmark_format=json", "--benchmark_min_time=0.02",
                   f"--benchmark_filter=^({'|'.join(wanted)})[ /]"]
        for _ in range(rounds):
            for each in json.loads(run(command))["benchmarks"]:
                row, kind, case = each["name"].split("/")[:3]
                add(result, row, case, kind, each["real_time"])


def measure_loading(result, rounds):
    """A fresh process for each loading."""
    for _ in range(rounds):
        for kind, library in (("ours", LIBRARY), ("limit", BUILD / "libempty_plugin.so")):
            add(result, "load", 0, kind, float(run([BUILD / "load_once", library])))


def is_there(kind):
    runner, _, probe = SCRIPTS[kind]
    if shutil.which(runner[0]) is None:
        return False
    return probe is None or subprocess.run([*runner, "-e", probe], capture_output=True).returncode == 0


def measure_scripts(result, rounds):
    """The same loop, once in each script language a round."""
    kinds = [kind for kind in SCRIPTS if is_there(kind)]
    for _ in range(rounds):
        for kind in kinds:
            runner, script, _ = SCRIPTS[kind]
            for action, size, time in re.findall(r"(\w+) (\d+) ([\d.]+)", run([*runner, HERE / "Scripts" / script])):
                add(result, f"script {action}", size, kind, float(time))


def measure(names):
    result = {}
    measure_programs(result, names, rounds=25)
    if "load" in names:
        measure_loading(result, rounds=101)
    if "script" in names:
        measure_scripts(result, rounds=15)
    return result

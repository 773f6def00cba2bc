#!/usr/bin/env python3
"""Counts the instructions of the library's own code for each call of an operation.

    Tools/instructions.py VYNHOST LIBRARY [OPERATION...]      an operation is a line of Lua; the usual ones by default

Counts repeat where times do not: callgrind counts a program with few and with many calls, and what the difference
spends in the library's sources, or in its file, is shared out over the calls.
"""
import collections
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

SETUP = """
local calls = tonumber((...))
local sender, receiver, unused = UDPSocketVYN(), UDPSocketVYN(), UDPSocketVYN()
receiver:Bind(0, "127.0.0.1")
local port = receiver.LocalPort
local closed = UDPSocketVYN()
closed.Handle = 0
for i = 1, 150 do sender:SendMessage("hello", "127.0.0.1", port) end
for i = 1, calls do %s end
"""

OPERATIONS = (
    'sender:SendMessage("hello", "127.0.0.1", port)',
    "receiver:Read()",
    "unused:Poll()",
    "local x = unused.TimeToLive",
    "local x = closed.AvailableBytes",
)
FEW, MANY = 50, 150


def own_instructions(path, library):
    """The instructions that a callgrind file counts in the library: by object, or by source where it mixes them up."""
    names = collections.defaultdict(dict)
    current = {}
    total = 0
    inclusive = False
    with open(path, encoding="utf-8") as file:
        for line in file:
            if match := re.match(r"(c?)(ob|fl|fi|fe)=\((\d+)\)(?: (.*))?", line):
                called, kind, number, name = match.groups()
                kind = "ob" if kind == "ob" else "fl"
                if name:
                    names[kind][number] = name
                if not called:
                    current[kind] = names[kind][number]
            elif match := re.match(r"cfi=\((\d+)\) (.*)", line):
                names["fl"][match[1]] = match[2]
            elif line.startswith("calls="):
                inclusive = True
            elif re.match(r"[-+*\d]", line):
                ours = current["ob"].endswith(library) or re.search(r"/(Source|Libs)/", current["fl"])
                if ours and not inclusive:
                    total += int(line.split()[1])
                inclusive = False
    return total


def count(host, library, operation, calls):
    with tempfile.TemporaryDirectory() as folder:
        program = pathlib.Path(folder, "program.lua")
        counts = pathlib.Path(folder, "counts")
        program.write_text(SETUP % operation, encoding="utf-8")
        subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={counts}", host, "--plugin", library,
                        program, str(calls)], check=True, capture_output=True, timeout=120)
        return own_instructions(counts, os.path.basename(library))


def each(host, library, operation):
    """The instructions of one call."""
    return (count(host, library, operation, MANY) - count(host, library, operation, FEW)) / (MANY - FEW)


def log_line_that_is_off(library):
    """What a line of the log costs when the log is off: the instructions from the look at the switch to the branch
    that follows, of the median of all lines (the compiler may put some of what follows between); and how many there are."""
    text = subprocess.run(["objdump", "--disassemble", "--no-show-raw-insn", library], check=True, capture_output=True,
                          text=True).stdout
    costs = []
    code = [line.split("\t")[1].strip() for line in text.splitlines() if "\t" in line]
    for place, instruction in enumerate(code):
        if instruction.startswith("movzbl") and "<gDebugging>" in instruction:
            costs += [i + 1 for i in range(1, 20) if code[place + i].startswith("j")][:1]
    return statistics.median(costs), len(costs)


if __name__ == "__main__":
    for line in sys.argv[3:] or OPERATIONS:
        print(f"{each(sys.argv[1], sys.argv[2], line):6.0f}  {line}")
    print("{:6.0f}  a line of the log that is off ({} lines)".format(*log_line_that_is_off(sys.argv[2])))

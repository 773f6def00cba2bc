#!/usr/bin/env python3
"""Counts the instructions of the library's own code for each call of an operation.

    Tools/instructions.py VYNHOST LIBRARY [OPERATION...]      an operation is a line of Lua; the usual ones by default

Counts repeat where times do not: callgrind counts a program with few and with many calls, and the difference is shared
out over the calls.
"""
import pathlib
import re
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


def run(command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=120).stdout


def count(host, library, operation, calls):
    """The instructions in the library's file. Without its line numbers callgrind counts nothing under another file."""
    with tempfile.TemporaryDirectory() as folder:
        program, counts, stripped = (pathlib.Path(folder, name) for name in ("program.lua", "counts", "library"))
        program.write_text(SETUP % operation, encoding="utf-8")
        run(["strip", "--strip-debug", library, "-o", stripped])
        run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={counts}", host, "--plugin", stripped, program,
             str(calls)])
        lines = run(["callgrind_annotate", "--show-percs=no", "--threshold=100", "--auto=no", counts])
        numbers = re.findall(rf"^ *([\d,]+)  .*\[{stripped}\]$", lines, re.MULTILINE)
        return sum(int(number.replace(",", "")) for number in numbers)


def each(host, library, operation):
    """The instructions of one call."""
    return (count(host, library, operation, MANY) - count(host, library, operation, FEW)) / (MANY - FEW)


if __name__ == "__main__":
    for line in sys.argv[3:] or OPERATIONS:
        print(f"{each(sys.argv[1], sys.argv[2], line):6.0f}  {line}")

"""Instructions of the library's own code, for each call of an operation, stay within their bounds.

Counts repeat where times do not: callgrind counts a program with few and with many calls, and what the difference
spends in the library's sources, or in its file, is shared out over the calls.
"""
import collections
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

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

BOUNDS = {  # one call of the operation: highest number of instructions
    'sender:SendMessage("hello", "127.0.0.1", port)': 480,
    "receiver:Read()": 670,
    "unused:Poll()": 115,
    "local x = unused.TimeToLive": 90,
    "local x = closed.AvailableBytes": 35,
}
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


@unittest.skipUnless(os.environ["VYN_PLAIN_BUILD"] == "1" and os.environ["VYN_COMPILER"] == "GNU"
                     and not os.environ["VYN_EMULATOR"], "the bounds are for the file that ships, on this machine")
class Instructions(unittest.TestCase):
    def count(self, operation, calls):
        with tempfile.TemporaryDirectory() as folder:
            program = pathlib.Path(folder, "program.lua")
            counts = pathlib.Path(folder, "counts")
            program.write_text(SETUP % operation, encoding="utf-8")
            subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={counts}", os.environ["VYN_HOST"],
                            "--plugin", os.environ["VYN_LIBRARY"], program, str(calls)],
                           check=True, capture_output=True, timeout=120)
            return own_instructions(counts, os.path.basename(os.environ["VYN_LIBRARY"]))

    def test_each_operation_stays_within_its_bound(self):
        for operation, bound in BOUNDS.items():
            with self.subTest(operation):
                each = (self.count(operation, MANY) - self.count(operation, FEW)) / (MANY - FEW)
                print(f"{each:6.0f} of {bound:4}  {operation}")
                self.assertGreater(each, bound * 0.5, "so few that something is not counted, or the bound is stale")
                self.assertLessEqual(each, bound)


if __name__ == "__main__":
    unittest.main()

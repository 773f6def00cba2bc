"""The pages say what is there: the page for hosts, the table of layers, and the guide with its examples."""
import os
import pathlib
import re
import subprocess
import sys
import unittest

from vynhost import EMULATOR, vynhost

ROOT = pathlib.Path(__file__).resolve().parents[2]
GUIDE = (ROOT / "Docs/guide.md").read_text(encoding="utf-8")

# What the guide's programs use of the host's, and of the reader's own.
TYPES = {"memoryblock", "string", "integer", "chat", "finder", "ping", "talker"}
MEMBERS = set("append byte debuglog doevents littleendian message size stringvalue uint16value uint32value uint64value "
              "unix utf8".split())
MEMBER = re.compile(r"    (\w+)(?:\((.*)\))?( as \w+)?( \(read-only\))?")


class Pages(unittest.TestCase):
    def test_are_fresh_and_includes_point_down(self):
        hosts = [*EMULATOR, os.environ["VYN_SMALL_HOST"], os.environ["VYN_LIBRARY"]]
        for tool, *arguments in ("host_page.py", "--check", *hosts), ("layers.py",):
            command = [sys.executable, "-B", ROOT / "Tools" / tool, *arguments]
            run = subprocess.run(command, capture_output=True, text=True)
            self.assertEqual((run.returncode, run.stderr), (0, ""), tool)

    def test_links_and_paths_lead_somewhere(self):
        names = re.compile(r"`((?:Source|Libs|Host|Tests|Benchmarks|Docs|Tools|Examples)/[\w./]+)`|\]\(([\w./]+)\)")
        for page in (ROOT / "Docs").glob("*.md"):
            for path, link in names.findall(page.read_text(encoding="utf-8")):
                place = ROOT / path if path else page.parent / link
                self.assertTrue(place.exists(), f"{page.name}: {path or link}")


def members():
    """Each class and member with its declarations: the fewest and the most arguments, and whether it can be set."""
    found = {}
    for line in vynhost("--describe")[1].lower().splitlines():
        if re.match("class|module", line):
            found[line.split()[-1]] = []
        elif member := MEMBER.match(line):
            name, declared, typed, fixed = member.groups()
            taken = declared.split(", ") if declared else []
            extends, assigns = (any(p.startswith(word) for p in taken) for word in ("extends", "assigns"))
            most = len(taken) - extends - assigns
            settable = bool(assigns or declared is None and typed and not fixed)
            found.setdefault(name, []).append((most - sum(" = " in p for p in taken), most, settable))
    return found


def count_arguments(text):
    """How many there are in the parentheses that the text begins with, if any."""
    while re.search(r"\w\([^()]*\)", text):  # those of the calls inside
        text = re.sub(r"(\w)\([^()]*\)", r"\1", text)
    inside = re.match(r"\(([^()]*)\)", text)
    return len(inside[1].split(",")) if inside and inside[1] else 0


def faults(page):
    """What can't be right in the programs. Case does not matter, so all of it is lower."""
    known = members()
    sources = "".join(path.read_text(encoding="utf-8") for path in (ROOT / "Source").rglob("*.cpp"))
    types = TYPES | {name.lower() for name in re.findall(r'"(\w+Exception)"', sources)}
    for code in re.findall(r"^```vb\n(.*?)^```", page.lower(), re.M | re.S):
        for line in code.splitlines():
            line = re.sub('"[^"]*"', "0", line).split("'")[0].strip()
            types.update(re.findall(r"^class (\w+)", line))
            for name in re.findall(r"(?:\bas(?: new)?|\binherits|= new) (?!new )(\w+)", line):
                if name not in types and not name.endswith("vyn"):
                    yield f"{line}: {name}?"
            for use in re.finditer(r"(\w+\.|\bsub |\bnew (?!memoryblock))?\b(\w+)", line):
                before, name = use.groups()
                if name in MEMBERS or not before and not name.endswith("vyn"):
                    continue
                name = "constructor" if before == "new " else name
                rest = line[use.end():]
                given, is_target = count_arguments(rest), use.start() == 0 and rest.startswith(" =")
                fits = [least <= given <= most and settable >= is_target
                        for least, most, settable in known.get(name, [])]
                if name not in known or fits and not any(fits):
                    yield f"{line}: {name} {'=' if is_target else given}?"


class Guide(unittest.TestCase):
    def test_names_every_example_and_no_other(self):
        there = [path.name for path in (ROOT / "Examples").glob("*.lua")]
        self.assertEqual(sorted(set(re.findall(r"Examples/(\w+\.lua)", GUIDE))), sorted(there))

    def test_names_what_there_is(self):
        self.assertEqual(list(faults(GUIDE)), [])
        for line, wanted in (("mSocket.Bnd(1)", "bnd 1"), ("mSocket.Bind", "bind 0"), ("x = New Pong", "pong"),
                             ("x.LocalPort = 1", "localport ="), ("If RAWSocketVYN.ProtocolUPD Then", "protocolupd 0"),
                             ("Catch e As OutOfBondsException", "outofbondsexception")):
            self.assertEqual(list(faults(f"```vb\n{line}\n```")), [f"{line.lower()}: {wanted}?"])

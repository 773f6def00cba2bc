"""Reads the programs of the guide: each member of our classes that they name exists, and takes so many arguments."""
import difflib
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Host/Tests"))
from vynhost import vynhost  # noqa: E402

# What is the host's, and what is of the reader's own program, with its class: neither can be looked up.
HOSTS = {"memoryblock", "string", "integer"}
OWN = {"finder": "udpsocketvyn", "chat": "udpsocketvyn", "ping": "rawsocketvyn", "talker": "rawsocketvyn",
       "mreceiver": "udpsocketvyn", "msocket": "udpsocketvyn", "mtcpsocket": "socketcore"}
MEMBER = re.compile(r"    (\w+)(?:\((.*)\))?( as \w+)?( \(read-only\))?")
KIND = re.compile(r"(?:class|dim|catch) (\w+) (?:inherits|as(?: new)?) (\w+)|(\w+) = new (\w+)")


def arguments(text):
    """How many there are in the parentheses that the text begins with, if any."""
    while re.search(r"\w\([^()]*\)", text):  # those of the calls inside
        text = re.sub(r"(\w)\([^()]*\)", r"\1", text)
    inside = re.match(r"\(([^()]*)\)", text)
    return len(inside[1].split(",")) if inside and inside[1] else 0


class Reader:
    """Reads blocks in order; what can't be right is in `faults`. Case does not matter, so all of it is lower."""

    def __init__(self):
        self.classes, self.kinds, self.faults = {"socketcore": {}}, dict(OWN), []
        for line in vynhost("--describe")[1].lower().splitlines():
            if re.match("class|module", line):
                members = self.classes[line.split()[-1]] = {}
            elif member := MEMBER.match(line):
                name, declared, typed, fixed = member.groups()
                taken = declared.split(", ") if declared else []
                extends, assigns = (any(p.startswith(word) for p in taken) for word in ("extends", "assigns"))
                most = len(taken) - extends - assigns
                fewest = most - sum(" = " in p for p in taken)
                home = self.classes["socketcore"] if extends else members
                settable = assigns or (declared is None and typed and not fixed)
                home.setdefault(name, []).append((fewest, most, settable))
        sources = "".join(path.read_text(encoding="utf-8") for path in (ROOT / "Source").rglob("*.cpp"))
        self.types = HOSTS | {name.lower() for name in re.findall(r'"(\w+Exception)"', sources)}

    def known(self, name, names):
        if name not in names:
            near = difflib.get_close_matches(name, names, 1)
            self.faults.append(f"{self.place}: {name}?" + (f" It may be {near[0]}." if near else ""))

    def members_of(self, kind):
        while kind in self.kinds:
            kind = self.kinds[kind]
        return self.classes.get(kind)

    def member(self, members, name, text, is_target=False):
        self.known(name, members)
        given = arguments(text)
        taken = members.get(name, [(given, given, True)])
        if not any(fewest <= given <= most and (settable or not is_target) for fewest, most, settable in taken):
            self.faults.append(f"{self.place}: {name} {'is read-only' if is_target else f'does not take {given}'}")

    def statement(self, code):
        for declared, base, variable, made in KIND.findall(code):
            self.known(base or made, {*self.classes, *self.kinds, *self.types})
            self.kinds[declared or variable] = base or made
            if code.startswith("class"):
                self.kinds["me"] = declared
        for event in re.findall(r"^sub (\w+)", code):
            self.known(event, self.members_of("me"))
        for use in re.finditer(r"(?:(\bnew )|(\w+)\.)?\b(\w+)", code):
            new, owner, name = use.groups()
            rest = code[use.end():]
            if new and self.members_of(name):
                self.member(self.members_of(name), "constructor", rest)
            elif owner and self.members_of(owner):
                self.member(self.members_of(owner), name, rest, use.start() == 0 and rest.startswith(" ="))
            elif not owner and name.endswith("vyn") and name not in self.classes:
                self.member(self.classes["networkglobalsvyn"], name, rest)

    def read(self, page):
        inside = False
        for number, line in enumerate(page.lower().splitlines(), 1):
            if line.strip().startswith("```"):
                inside = line.strip() == "```vb"
            elif inside:
                self.place = f"line {number}"
                self.statement(re.sub('"[^"]*"', "0", line).split("'")[0].strip())
        return self.faults


class Guide(unittest.TestCase):
    def test_its_programs_name_what_there_is(self):
        self.assertEqual(Reader().read((ROOT / "Docs/guide.md").read_text(encoding="utf-8")), [])

    def test_a_wrong_name_or_count_is_noticed(self):
        rows = {"mSocket.Bnd(1)": "bnd? It may be bind.", "mSocket.Bind": "bind does not take 0",
                "mSocket.LocalPort = 1": "localport is read-only", "x = New Pong(1)": "pong? It may be ping.",
                "Catch e As OutOfBondsException": "outofbondsexception? It may be outofboundsexception.",
                "If RAWSocketVYN.ProtocolUPD = 17 Then": "protocolupd? It may be protocoludp."}
        for line, wanted in rows.items():
            self.assertEqual(Reader().read(f"```vb\n{line}\n```"), [f"line 2: {wanted}"])


if __name__ == "__main__":
    unittest.main()

"""Reads the programs of the guide: each member of our classes that they name exists, and takes what they give it."""
import difflib
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Host/Tests"))
from vynhost import vynhost  # noqa: E402

# What is the host's, and what is of the reader's own program, with its class: neither can be looked up.
HOSTS = {"memoryblock", "system", "str", "app", "defineencoding", "encodings", "endofline", "mpeers", "finished"}
OWN = {"finder": "udpsocketvyn", "chat": "udpsocketvyn", "ping": "rawsocketvyn", "talker": "rawsocketvyn",
       "mreceiver": "udpsocketvyn", "msocket": "udpsocketvyn", "mtcpsocket": "socketcore"}
CONVERTED = {"ptr": "memoryblock", "string": "memoryblock", "memoryblock": "string"}  # what the host makes of another
MEMBER = re.compile(r"(\w+)(?:\((.*)\))?(?: as (\w+)| = .*)?( \(read-only\))?(?: \(hidden\))?$")
PARAMETER = re.compile(r"(?:(byref|extends|assigns) )?\w+ as (\w+)( =)?")
TOKEN = re.compile(r'"[^"]*"|<>|&h\w+|\w+|[^\s"]')
WORDS = {"true": "boolean", "false": "boolean", "nil": "nil"}


class Reader:
    """Reads blocks in order; what can't be right is in `faults`. Case does not matter, so all of it is lower."""

    def __init__(self):
        self.classes, self.kinds, self.faults, self.me = {"socketcore": {}}, dict(OWN), [], None
        described = re.sub(r"uint(16|32)", "integer", vynhost("--describe")[1].lower())
        for line in described.splitlines():
            if re.match("class|module", line):
                members = self.classes[line.split()[-1]] = {}
            elif line.startswith("    "):
                name, parameters, result, fixed = MEMBER.match(line.strip()).groups()
                split = PARAMETER.findall(parameters or "")
                extends = bool(split) and split[0][0] == "extends"
                home = self.classes["socketcore"] if extends else members
                home.setdefault(name, []).append((split[extends:], result or "integer", fixed))
        sources = "".join(path.read_text(encoding="utf-8") for path in (ROOT / "Source").rglob("*.cpp"))
        self.exceptions = {name.lower() for name in re.findall(r'"(\w+Exception)"', sources)}

    def known(self, name, names):
        if name not in names:
            near = difflib.get_close_matches(name, names, 1)
            self.faults.append(f"{self.place}: {name}?" + (f" It may be {near[0]}." if near else ""))

    def base(self, kind):
        return self.base(self.kinds[kind]) if self.kinds.get(kind, kind) != kind else kind

    def take(self, *wanted):
        return self.tokens.pop(0) if self.tokens and (not wanted or self.tokens[0] in wanted) else ""

    def fits(self, wanted, given):
        return given in (None, "nil", wanted) or self.base(given) == wanted or CONVERTED.get(wanted) == self.base(given)

    def member(self, kind, name, is_target=False):
        given = []
        if self.take("("):
            while self.tokens and not self.take(")"):
                given.append(self.expression())
                self.take(",")
        value = [self.expression()] if is_target and self.take("=") else []
        members = self.classes.get(self.base(kind))
        if members is None:
            return None
        self.known(name, members)
        for parameters, result, fixed in members.get(name, []):
            plain = [p for p in parameters if p[0] != "assigns"]
            stored = [p[1] for p in parameters if p[0] == "assigns"] or [result] * (not fixed and not parameters)
            if sum(not p[2] for p in plain) <= len(given) <= len(plain) and len(value) <= len(stored) and \
                    all(map(self.fits, [p[1] for p in plain] + stored, given + value)):
                return result
        if name in members:
            self.faults.append(f"{self.place}: {name} does not take {given + value}")
        return None

    def primary(self, is_target=False):
        word = self.take()
        if word in ("not", "-", "("):
            kind = self.expression() if word == "(" else self.primary()
            self.take(")")
        elif word == "new":
            kind = self.take()
            self.known(kind, {*self.classes, *self.kinds, *HOSTS})
            self.member(kind, "constructor")
        elif word in WORDS or re.match('["&0-9]', word):
            return WORDS.get(word) or ("string" if word[0] == '"' else "integer")
        elif word in self.classes["networkglobalsvyn"]:
            kind = self.member("networkglobalsvyn", word)
        elif is_target and self.take("="):
            kind = self.kinds[word] = self.expression()
        else:
            kind = self.me if word == "me" else word if word in self.classes else self.kinds.get(word)
            self.known(word, {"me", *self.classes, *self.kinds, *HOSTS})
            if self.tokens[:1] == ["("]:
                self.member(None, word)
        while self.take("."):
            kind = self.member(kind, self.take(), is_target)
        return kind

    def expression(self):
        kind = self.primary()
        while operator := self.take("=", "<>", "<", ">", "and", "or", "+", "-", "*", "/"):
            right = self.primary()
            kind = kind or right if operator in "+-*/" else "boolean"
        return kind

    def statement(self):
        word = self.take()
        if word == "class":
            self.me, self.kinds[self.tokens[0]] = self.tokens[0], self.tokens[-1]
            self.known(self.tokens[-1], self.classes)
        elif word == "sub":
            self.known(self.tokens[0], self.classes[self.base(self.me)])
        elif word in ("dim", "catch"):
            name, _, made = self.take(), self.take("as"), self.tokens[:1] == ["new"]
            kind = self.kinds[name] = self.primary() if made else self.take()
            if word == "catch":
                self.known(kind, self.exceptions)
            if self.take("=") and not self.fits(self.base(kind), value := self.expression()):
                self.faults.append(f"{self.place}: {kind} = {value}")
        elif word in ("if", "elseif", "while"):
            self.expression()
            if self.take("then"):
                self.statement()
        elif word not in ("end", "return", "try", "else", "wend", ""):
            self.tokens.insert(0, word)
            self.primary(is_target=True)

    def read(self, page):
        inside = False
        for number, text in enumerate(page.lower().splitlines(), 1):
            if text.strip().startswith("```"):
                inside = text.strip() == "```vb"
            elif inside:
                code = re.match(r"""([^'"]|"[^"]*")*""", text)[0]  # up to the comment
                self.place, self.tokens = f"line {number}", TOKEN.findall(code)
                self.statement()
        return self.faults


class Guide(unittest.TestCase):
    def test_its_programs_name_what_there_is(self):
        self.assertEqual(Reader().read((ROOT / "Docs/guide.md").read_text(encoding="utf-8")), [])

    def test_a_wrong_name_or_argument_is_noticed(self):
        rows = {"mSocket.Bnd(1)": "bnd? It may be bind.", "mSocket.Bind(True)": "bind does not take ['boolean']",
                "mSocket.Bind": "bind does not take []", "mSocket.LocalPort = 1": "localport does not take ['integer']",
                'mTCPSocket.OptionTTLVYN = "1"': "optionttlvyn does not take ['string']",
                "Catch e As OutOfBondsException": "outofbondsexception? It may be outofboundsexception.",
                "If RAWSocketVYN.ProtocolUPD = 17 Then": "protocolupd? It may be protocoludp.",
                "Dim s As String = mSocket.LocalPort": "string = integer"}
        for line, wanted in rows.items():
            self.assertEqual(Reader().read(f"```vb\n{line}\n```"), [f"line 2: {wanted}"])


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""Makes Docs/host.md: the entries from HostOperations.inc, the records from HostRecords.h, the words from Docs/host.txt.

    Tools/host_page.py [--check]

--check writes nothing and fails when the page is stale. Either way it fails when an entry has no words, or words have
no entry. The compiler (CXX, else c++) tells where the fields of a record are.

Docs/host.txt: what comes before the first "@" opens the page. Then entries follow: "@ NAME", what the host and the
library owe each other, and after "Without: " what the library does on a host that lacks the entry. "T" in a name
means each type of an array element. The operations that the library doesn't call have no words.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import typing

ROOT = pathlib.Path(__file__).resolve().parent.parent
GLUE = ROOT / "Source/SDK/GlueCode"
WORDS, PAGE = ROOT / "Docs/host.txt", ROOT / "Docs/host.md"
UNUSED = "operations that nothing here calls yet"

GROUP = re.compile(r"// --- (.+?) -+$")
ROW = re.compile(r"HOST_(\w+?)\s*\((.*)\)$")
FIELD = re.compile(r"    (.+?)(\w+)(\)\([^)]*\)|\[\d+\])?(?: = [^;]+)?;\s*(?:// (.*))?$")


class Entry(typing.NamedTuple):
    name: str
    result: str
    parameters: str
    missing: str  # what the library gets on a host without the entry
    remark: str = ""


def split(text):
    """The parts between commas that no parenthesis and no quotation mark encloses."""
    parts = re.findall(r'(?:\([^()]*(?:\([^()]*\)[^()]*)*\)|"[^"]*"|[^,(])+', text)
    return [part.strip() for part in parts]


def missing_value(result):
    return "nothing" if result == "void" else "null" if result.endswith("*") else "0"


def read_row(kind, arguments):
    """The entry of one row of the table, whose head says how to read it."""
    if kind.startswith("YES_NO"):
        name = arguments[3].strip('"') if kind.endswith("AS") else arguments[0]
        remark = "yes or no" + (", by the whole word" if "WORD" in kind else "")
        return Entry(name, "unsigned long", arguments[1], "no", f" // {remark}")
    missing = arguments.pop(0) if kind == "CALL_OR" else missing_value(arguments[0])
    result, operation, parameters = arguments[:3]
    return Entry(operation if kind == "CALL" else arguments[-1].strip('"'), result, parameters, missing)


def read_entries():
    """The entries by group, and the array elements as (type, C type, has insert)."""
    groups, elements, name = {}, [], None
    tables = ("HostOperations.inc", "FurtherHostOperations.inc")
    for line in "".join((GLUE / table).read_text(encoding="utf-8") for table in tables).splitlines():
        if group := GROUP.match(line):
            name = group[1]
            groups[name] = []
        elif row := ROW.match(line):
            kind, arguments = row[1], split(row[2])
            if kind.startswith("ARRAY"):
                elements.append((*arguments, kind == "ARRAY_ELEMENT"))
            else:
                groups[name].append(read_row(kind, arguments))
    for kind, parameter in ("Get", "T *out"), ("Set", "T value"), ("Insert", "T value"):
        groups["arrays"].append(
            Entry(f"PluginTArray{kind}Proc", "void *", f"(void *array, long index, {parameter})", "null"))
    return groups, elements


def read_words():
    """What opens the page; what the host owes and what happens without, by entry."""
    opening, *parts = re.sub(r"^#:.*\n", "", WORDS.read_text(encoding="utf-8"), flags=re.M).split("\n@ ")
    words = {}
    for part in parts:
        name, _, body = part.partition("\n")
        duty, _, without = " ".join(body.split()).partition("Without: ")
        if not duty or not without or name in words:
            sys.exit(f"Docs/host.txt: @ {name}: wants its words once, and what is without it")
        words[name] = (duty.strip(), without)
    return opening.strip(), words


def headers():
    return "".join((GLUE / name).read_text(encoding="utf-8") for name in ("HostTypes.h", "HostRecords.h"))


def read_records():
    """Of each record its base and its fields: (C type, name, comment)."""
    records = {}
    for name, base, body in re.findall(r"^struct (\w+)(?: : (\w+))? \{(.*?)\};", headers(), re.M | re.S):
        fields = []
        for line in filter(None, body.split("\n")):
            field = FIELD.match(line)
            if field is None:
                sys.exit(f"{name}: this is no field: {line}")
            start, field_name, end, comment = field.groups(default="")
            fields.append(((start + end).strip(), field_name, comment))
        records[name] = (base, fields)
    return records


def measure(records):
    """The offset of every field and the size of every record, from the compiler."""
    lines = ['#include "Source/SDK/GlueCode/HostRecords.h"', "#include <cstdio>", "int main() {"]
    for record, (_, fields) in records.items():
        lines += [f'std::printf("%zu\\n", offsetof({record}, {name}));' for _, name, _ in fields]
        lines.append(f'std::printf("%zu\\n", sizeof({record}));')
    compiler = os.environ.get("CXX", "c++").split()
    with tempfile.TemporaryDirectory() as folder:
        program = f"{folder}/offsets"
        subprocess.run([*compiler, "-std=c++20", "-w", f"-I{ROOT}", "-xc++", "-", "-o", program], check=True, text=True,
                       input="\n".join([*lines, "}"]))
        return iter(subprocess.run([program], check=True, capture_output=True, text=True).stdout.split())


def write_group(group, entries, words):
    yield f"### {group[0].upper()}{group[1:]}\n"
    yield "```c"
    for entry in entries:
        yield f"{entry.result}{'' if entry.result.endswith('*') else ' '}{entry.name}{entry.parameters};{entry.remark}"
    yield "```\n"
    if group == UNUSED:
        return
    yield "| entry | who owes what | without it the library gets |"
    yield "|---|---|---|"
    for entry in entries:
        duty, without = words[entry.name]
        yield f"| `{entry.name}` | {duty} | {entry.missing}: {without} |"
    yield ""


def write_records(records):
    numbers = measure(records)
    for record, (base, fields) in records.items():
        rows = [f"| {next(numbers)} | `{name}` | `{kind}` | {comment} |" for kind, name, comment in fields]
        yield f"### {record}\n"
        yield f"{next(numbers)} bytes" + (f"; it begins with the fields of `{base}`." if base else ".") + "\n"
        if rows:
            yield "\n".join(["| offset | field | C type | |", "|---|---|---|---|", *rows, ""])


def write_codes():
    for name, body in re.findall(r"^enum (\w+) : unsigned int \{\n(.*?)^\};", headers(), re.M | re.S):
        rows = re.findall(r"(\w+) = (\w+),(?: *// (.*))?", body)
        yield "\n".join([f"### {name}\n", "| value | name | |", "|---|---|---|",
                         *(f"| {value} | `{code}` | {comment} |" for code, value, comment in rows), ""])


def write_page():
    (groups, elements), (opening, words) = read_entries(), read_words()
    wanted = {entry.name for group, entries in groups.items() if group != UNUSED for entry in entries}
    if wanted != set(words):
        sys.exit(f"Docs/host.txt: without words {sorted(wanted - set(words))}, "
                 f"without entry {sorted(set(words) - wanted)}")
    yield "<!-- Made by Tools/host_page.py from HostOperations.inc, HostRecords.h and Docs/host.txt. -->\n"
    yield f"{opening}\n"
    yield "## The entries\n"
    for group, entries in groups.items():
        yield from write_group(group, entries, words)
        if group == "arrays":
            yield "| T | C type | Insert |\n|---|---|---|"
            yield from (f"| {name} | `{kind}` | {'yes' if insert else 'no'} |" for name, kind, insert in elements)
            yield ""
    yield "## The records\n"
    yield "Numbers are offsets in bytes, the same on x86-64 and on 64-bit ARM.\n"
    yield from write_records(read_records())
    yield "## The codes\n"
    yield from write_codes()


def main(arguments):
    page = "\n".join(write_page()).rstrip() + "\n"
    if arguments != ["--check"]:
        PAGE.write_text(page, encoding="utf-8")
    elif not PAGE.is_file() or PAGE.read_text(encoding="utf-8") != page:
        sys.exit("Docs/host.md is stale: run Tools/host_page.py")


if __name__ == "__main__":
    main(sys.argv[1:])

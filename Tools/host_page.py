#!/usr/bin/env python3
"""Makes the files for authors of hosts: the header vynhost.h, Docs/host.md with the output of a small host, and what the
check for hosts says of missing entries, EntryLosses.inc.

    Tools/host_page.py [--check] [RUN...] HOST LIBRARY

HOST is the program of Examples/host_main.c, LIBRARY the built plugin; RUN is an emulator, if they need one. With
--check nothing is written, and a stale file is a failure. The compiler (CXX, else c++) reads the tables and records.

Docs/host.txt: "@@ NAME" is the place of a made part of the page. After the last part come the texts of the entries:
"@ NAME [thread]", what the host and the library owe each other, and after "Without: " what is lost on a host that
lacks the entry. An entry that the small host is asked for must have a text; one without is listed as not asked for.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import textwrap
import typing

ROOT = pathlib.Path(__file__).resolve().parent.parent
GLUE = ROOT / "Source/SDK/GlueCode"
WORDS, PAGE = ROOT / "Docs/host.txt", ROOT / "Docs/host.md"
TEMPLATE, HEADER = ROOT / "Include/vynhost.h.in", ROOT / "Include/vynnetwork/vynhost.h"
LOSSES = ROOT / "Source/Plugins/HostCheck/EntryLosses.inc"
FIELD = re.compile(r"    (.+?)(\w+)(\)\([^)]*\)|\[\d+\])?(?: = [^;]+)?;\s*(?:// (.*))?$")

# A program that prints the rows of the tables and the offsets of the fields of the records.
PRINTER = """
#include "Source/SDK/GlueCode/HostRecords.h"
#include <cstdio>
#define ROW(kind, result, operation, parameters, rest) \\
    std::printf("%s\\t%s\\t%s\\t%s\\t%s\\n", kind, result, operation, parameters, rest);
#define HOST_CALL(result, operation, parameters, ...) ROW("", #result, #operation, #parameters, "")
#define HOST_CALL_AS(result, operation, parameters, ...) ROW("", #result, #operation, #parameters, #__VA_ARGS__)
#define HOST_CALL_OR(missing, result, operation, parameters, ...) \\
    ROW(#missing, #result, #operation, #parameters, #__VA_ARGS__)
#define HOST_ENTRY(result, operation, parameters, ...) ROW("", #result, #operation, #parameters, #__VA_ARGS__)
#define HOST_YES_NO(operation, parameters, ...) ROW("no", "unsigned long", #operation, #parameters, "")
#define HOST_YES_NO_AS(operation, parameters, ...) ROW("no", "unsigned long", #operation, #parameters, #__VA_ARGS__)
#define HOST_YES_NO_WORD(operation, parameters, ...) HOST_YES_NO(operation, parameters)
#define HOST_YES_NO_WORD_AS(operation, parameters, ...) HOST_YES_NO_AS(operation, parameters, __VA_ARGS__)
#define HOST_ARRAY_FIXED(type, element) ROW("array", #element, #type, "", "")
#define HOST_ARRAY_ELEMENT(type, element) ROW("array", #element, #type, "Insert", "")
int main()
{
@BODY@
}
"""


class Entry(typing.NamedTuple):
    name: str
    result: str
    parameters: str
    missing: str  # what the library gets on a host without the entry

    def prototype(self):
        parameters = "(void)" if self.parameters == "()" else self.parameters
        return f"{self.result}{'' if self.result.endswith('*') else ' '}{self.name}{parameters};".replace("std::", "")


class Words(typing.NamedTuple):
    thread: str
    duty: str
    without: str


def read_records():
    """The fields of each record that is not part of another: (C type, name, comment); and the rows of the codes."""
    text = "".join((GLUE / name).read_text(encoding="utf-8") for name in ("HostTypes.h", "HostRecords.h"))
    records, codes = {}, {}
    for name, body in re.findall(r"^struct (REAL\w+) \{\n(.*?)^\};", text, re.M | re.S):
        fields = []
        for line in filter(None, body.split("\n")):
            field = FIELD.match(line)
            if field is None:
                sys.exit(f"{name}: this is no field: {line}")
            start, field_name, end, comment = field.groups(default="")
            fields.append(((start + end).strip().replace("std::", ""), field_name, comment))
        records[name] = fields
    for name, body in re.findall(r"^enum (\w+) : unsigned int \{\n(.*?)^\};", text, re.M | re.S):
        codes[name] = re.findall(r"(\w+) = (\w+),(?: *// (.*))?", body)
    return records, codes


def ask_compiler(records):
    """The rows of all tables, and the numbers of all records: the offset of each field, then the size."""
    body = ["#define HOST_ALL_OPERATIONS", '#include "Source/SDK/GlueCode/HostOperations.inc"']
    for record, fields in records.items():
        numbers = [f"offsetof({record}, {name})" for _, name, _ in fields] + [f"sizeof({record})"]
        body += [f'std::printf("%zu\\n", {number});' for number in numbers]
    compiler = os.environ.get("CXX", "c++").split()
    with tempfile.TemporaryDirectory() as folder:
        program = f"{folder}/print"
        subprocess.run([*compiler, "-std=c++20", "-w", f"-I{ROOT}", "-xc++", "-", "-o", program], check=True, text=True,
                       input=PRINTER.replace("@BODY@", "\n".join(body)))
        lines = subprocess.run([program], check=True, capture_output=True, text=True).stdout.splitlines()
    rows = [line.split("\t") for line in lines if "\t" in line]
    numbers = iter([line for line in lines if "\t" not in line])
    return rows, {record: [next(numbers) for _ in range(len(fields) + 1)] for record, fields in records.items()}


def missing_value(result):
    return "nothing" if result == "void" else "null" if result.endswith("*") else "0"


def read_entries(rows):
    """The entries by name, and the elements of arrays as (type, C type, has insert)."""
    entries, elements = {}, []
    for missing, result, operation, parameters, rest in rows:
        if missing == "array":
            elements.append((operation, result.replace("std::", ""), parameters))
            continue
        name = rest.rsplit('"', 2)[1] if '"' in rest else operation
        entries.setdefault(name, Entry(name, result, parameters, missing or missing_value(result)))
    for name, result, parameters in (("REALGetRBVersion", "double", "()"),
                                     ("RegisterPluginVersion", "void", "(int sdkVersion)")):
        entries[name] = Entry(name, result, parameters, missing_value(result))
    return entries, elements


def read_words():
    """The page with its marks, and the words by entry."""
    page, *parts = WORDS.read_text(encoding="utf-8").split("\n@ ")
    words = {}
    for part in parts:
        head, _, body = part.partition("\n")
        name, _, thread = head.partition(" ")
        duty, _, without = " ".join(body.split()).partition("Without: ")
        if thread not in ("[load]", "[main]", "[any]") or not duty or not without or name in words:
            sys.exit(f"Docs/host.txt: @ {name}: wants a thread, its words once, and what is without it")
        words[name] = Words(thread, duty.strip(), without)
    return page, words


# --- the header ------------------------------------------------------------------------------------------------


def write_struct(name, fields, numbers):
    yield f"typedef struct {name} {{"
    for kind, field, comment in fields:
        start, bracket, count = kind.partition("[")
        declared = kind.replace("(*)", f"(*{field})") if "(*)" in kind else \
            f"{start}{'' if start.endswith('*') else ' '}{field}{bracket}{count}"
        yield f"    {declared};" + (f" // {comment}" if comment else "")
    yield f"}} {name};"
    checks = [f"VYN_AT({name}, {field[1]}, {number});" for field, number in zip(fields, numbers)]
    checks = " ".join([*checks, f"VYN_SIZE({name}, {numbers[-1]});"]).replace(", ", ",\0")  # no line breaks there
    yield from (line.replace("\0", " ") for line in textwrap.wrap(checks, 120))
    yield ""


def header_parts(entries, words, records, codes, numbers):
    """As lines: the entries that have a text, the records that they name, the handles of both, and the codes."""
    entry_lines = []
    for name, (thread, duty, _) in words.items():
        entry_lines += [textwrap.fill(f"// {thread} {duty}".replace("`", ""), 120, subsequent_indent="// "),
                        entries[name].prototype(), ""]
    named, structs = " ".join(entry_lines), {}
    while found := [name for name in records if name not in structs and re.search(rf"\b{name}\b", named)]:
        for name in found:
            structs[name] = list(write_struct(name, records[name], numbers[name]))
            named += " ".join(structs[name])
    handles = sorted(set(re.findall(r"\b(?:REAL\w+Struct|REALeventInstance)\b", named)))
    code_lines = []
    for name, rows in codes.items():
        code_lines += [f"enum {name} {{", *(f"    {code} = {value}," + (f" // {comment}" if comment else "")
                                            for code, value, comment in rows), "};"]
    return {"handles": [f"typedef struct {name} {name};" for name in handles], "codes": code_lines,
            "records": [line for name in records for line in structs.get(name, [])][:-1], "entries": entry_lines[:-1]}


def write_header(parts):
    text = TEMPLATE.read_text(encoding="utf-8")
    return re.sub(r"^@(\w+)@$", lambda mark: "\n".join(parts[mark[1]]), text, flags=re.M)


# --- the page --------------------------------------------------------------------------------------------------


def entry_table(names, entries, words):
    yield "```c"
    yield from (entries[name].prototype() for name in names)
    yield "```\n\n| entry | thread | who owes what | without it the library gets |\n|---|---|---|---|"
    for name in names:
        thread, duty, without = words[name]
        yield f"| `{name}` | {thread[1:-1]} | {duty} | {entries[name].missing}: {without} |"


def unasked_entries(entries, words, elements):
    yield "```c"
    yield from (entry.prototype() for name, entry in entries.items() if name not in words)
    yield "```\n\n| T | C type | Insert |\n|---|---|---|"
    yield from (f"| {name} | `{kind}` | {'yes' if insert else 'no'} |" for name, kind, insert in elements)


def run_host(command):
    run = subprocess.run(command, capture_output=True, text=True)
    if run.returncode != 0:
        sys.exit(f"{command[-2]} ended with {run.returncode}: {run.stdout}{run.stderr}")
    return run.stdout


def write_page(page, trace, entries, elements, words, header):
    asked, lacking = re.findall(r"^asked for (\w+)$", trace, re.M), re.findall(r"^has no +(\w+)$", trace, re.M)
    if unknown := set(asked + lacking) - set(words):
        sys.exit(f"Docs/host.txt: asked for, and without words: {sorted(unknown)}")
    source = (ROOT / "Examples/host_main.c").read_text(encoding="utf-8")
    parts = {
        "trace": ["```", trace.rstrip(), "```"],
        "program": ["```c", source.rstrip(), "```"],
        "asked": entry_table(asked, entries, words),
        "optional": entry_table([name for name in words if name not in asked], entries, words),
        "unasked": unasked_entries(entries, words, elements),
        **{name: ["```c", *header[name], "```"] for name in ("records", "codes")},
    }
    text = re.sub(r"^@@ (\w+)$", lambda mark: "\n".join(parts[mark[1]]), page, flags=re.M)
    return f"<!-- Made by Tools/host_page.py from the library's tables and Docs/host.txt. -->\n\n{text.rstrip()}\n"


def write_losses(words):
    """The texts with which the check for hosts reports a missing entry."""
    yield "// Made by Tools/host_page.py from Docs/host.txt: each entry, and what is lost on a host that lacks it."
    yield "// clang-format off"
    for name, (_, _, without) in words.items():
        text = without.replace("`", "").replace('"', '\\"').rstrip(".")
        yield f'LOSS("{name}", "{text}")'


def keep(path, text, check):
    if not check:
        path.write_text(text, encoding="utf-8")
    elif not path.is_file() or path.read_text(encoding="utf-8") != text:
        sys.exit(f"{path.name} is stale: run Tools/host_page.py")


def main(arguments):
    check = arguments[:1] == ["--check"]
    command = arguments[check:]
    if len(command) < 2:
        sys.exit(__doc__)
    records, codes = read_records()
    rows, numbers = ask_compiler(records)
    (entries, elements), (page, words) = read_entries(rows), read_words()
    if unknown := set(words) - set(entries):
        sys.exit(f"Docs/host.txt: without entry {sorted(unknown)}")
    header = header_parts(entries, words, records, codes, numbers)
    keep(HEADER, write_header(header), check)
    keep(LOSSES, "\n".join(write_losses(words)) + "\n", check)
    keep(PAGE, write_page(page, run_host(command), entries, elements, words, header), check)


if __name__ == "__main__":
    main(sys.argv[1:])

#!/usr/bin/env python3
"""Holds every include against the table of layers in Docs/architecture.md. Prints the faults, and fails if there is one.

A row of the table has a layer, its contents, what it may include of this project, and which headers in angle brackets.
A layer is a folder, or a single file of one. If several rows fit a file, the last one counts.
"""
import os
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
ROW = re.compile(r"^\| (`[^|]*`) \| [^|]* \| ([^|]*) \| (C\+\+|system|Lua|any) \|$", re.MULTILINE)
INCLUDE = re.compile(r'^\s*#\s*include\b\s*(?:"([^"]+)"|<([^>]+)>|.*)', re.MULTILINE)

# Headers in angle brackets. Those of C++ have no ending, those of the system any name but these.
SYSTEM = r"(?!(lua|gtest|gmock|benchmark)\b).+"
HEADERS = {"C++": r"[a-z_]+", "system": SYSTEM, "Lua": rf"lua\.hpp|{SYSTEM}", "any": ".+"}


def read_layers():
    """The rows: the layer, the beginnings of paths that it may include, and the headers in angle brackets."""
    page = (ROOT / "Docs/architecture.md").read_text(encoding="utf-8")
    for layers, allowed, headers in ROW.findall(page):
        for layer in re.findall("`(.*?)`", layers):
            own = re.findall("`(.*?)`", allowed)
            yield layer, ("",) if allowed == "everything" else (layer, *own), HEADERS[headers]


def row_of(path, rows):
    """The row for a file, or None for a file that is in no layer."""
    fitting = [row for row in rows if path == row[0] or path.startswith(row[0] + "/")]
    return fitting[-1] if fitting else None


def find_header(path, header):
    """The path from the root of the file that `path` includes as `header`, or None."""
    found = [folder / header for folder in (path.parent, ROOT) if (folder / header).is_file()]
    return os.path.relpath(found[0], ROOT) if found else None


def faults(path, rows):
    """What is wrong with the includes of a file."""
    row = row_of(os.path.relpath(path, ROOT), rows)
    if row is None:
        yield "it is in no layer"
        return
    layer, allowed, headers = row
    for own, angled in INCLUDE.findall(path.read_text(encoding="utf-8")):
        if angled:
            if not re.fullmatch(headers, angled):
                yield f"{layer} may not include <{angled}>"
            continue
        target = find_header(path, own) if own else None
        if target is None:
            yield f"an include of '{own}', which is no file here"
        elif not target.startswith(allowed):
            yield f"{layer} may not include {target}"


def main():
    rows = list(read_layers())
    tops = ("Source", "Libs", "Examples", "Host", "Tests", "Benchmarks")
    sources = [path for top in tops for path in sorted((ROOT / top).rglob("*.*"))
               if path.suffix in (".c", ".cpp", ".h", ".inc")]
    found = [f"{os.path.relpath(path, ROOT)}: {fault}" for path in sources for fault in faults(path, rows)]
    if found:
        sys.exit("\n".join(found))


if __name__ == "__main__":
    main()

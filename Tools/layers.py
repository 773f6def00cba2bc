#!/usr/bin/env python3
"""Checks and draws which layer of the project includes which.

    Tools/layers.py            draws Docs/layers.svg, which needs Graphviz
    Tools/layers.py --check    fails when an include breaks the rules below, or the picture is stale

A layer is a folder, or a single file of one. LAYERS says what a layer may include.
"""
import hashlib
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SVG = ROOT / "Docs/layers.svg"

GLUE, UTILITY, LIBS = "Source/SDK/GlueCode", "Source/Utility", "Libs/shared/Socket"
NETWORK, CHECK = "Source/Plugins/Network", "Source/Plugins/HostCheck"
RECORDS = tuple(f"{GLUE}/{name}" for name in
                ("HostTypes.h", "HostRecords.h", "RecordRows.h", "HostOperations.inc"))
EVERYTHING = ("",)

# Headers in angle brackets: those of C++ have no ending, those of the system may have any name but these.
STANDARD, SYSTEM, ANY = r"[a-z_]+", r"(?!(lua|ffi|gtest|gmock|benchmark)\b).+", r".+"
SCRIPT = rf"lua\.hpp|ffi\.h|{SYSTEM}"

# How to read a row: the layer; the files of this project that it may include, as beginnings of paths; the headers that
# it may include in angle brackets. If several rows fit a file, the last one counts.
LAYERS = [
    # layer                         of this project                                         in angle brackets
    (GLUE,                         (f"{GLUE}/",),                                          STANDARD),
    (UTILITY,                      (f"{GLUE}/", f"{UTILITY}/"),                            SYSTEM),
    (LIBS,                         (f"{LIBS}/", f"{UTILITY}/rbDebug.h"),                   SYSTEM),
    (f"{LIBS}/SocketUtilText.cpp", (f"{LIBS}/", f"{UTILITY}/"),                            SYSTEM),
    (NETWORK,                      (f"{GLUE}/", f"{UTILITY}/", f"{LIBS}/", f"{NETWORK}/"), SYSTEM),
    (CHECK,                        (f"{GLUE}/", f"{UTILITY}/", f"{CHECK}/"),               SYSTEM),
    ("Examples",                   ("Examples/",),                                         SYSTEM),
    ("Host/Runtime",               ("Host/Runtime/", *RECORDS),                            SYSTEM),
    ("Host/Script",                ("Host/Runtime/", "Host/Script/"),                      SCRIPT),
    ("Host/Program",               ("Host/",),                                             SYSTEM),
    ("Host/Tests",                 ("Host/",),                                             ANY),
    ("Tests",                      EVERYTHING,                                             ANY),
    ("Benchmarks",                 EVERYTHING,                                             ANY),
]

INCLUDE = re.compile(r'^\s*#\s*include\b\s*(?:"([^"]+)"|<([^>]+)>|.*)', re.MULTILINE)


def row_of(path):
    """The row of LAYERS for a file, or None for a file that is in no layer."""
    rows = [row for row in LAYERS if path == row[0] or path.startswith(row[0] + "/")]
    return rows[-1] if rows else None


def sources():
    for top in ("Source", "Libs", "Examples", "Host", "Tests", "Benchmarks"):
        yield from sorted(p for p in (ROOT / top).rglob("*") if p.suffix in (".c", ".cpp", ".h", ".inc"))


def find_header(path, header):
    """The path from the root of the file that `path` includes as `header`, or None."""
    found = [folder / header for folder in (path.parent, ROOT) if (folder / header).is_file()]
    return os.path.relpath(found[0], ROOT) if found else None


def fault_of(row, path, own, angled):
    """The fault of one include, or None."""
    layer, allowed, brackets = row
    if angled:
        return None if re.fullmatch(brackets, angled) else f"{layer} may not include <{angled}>"
    target = find_header(path, own) if own else None
    if target is None:
        return f"an include of '{own}', which is no file here"
    return None if target.startswith(allowed) else f"{layer} may not include {target}"


def walk():
    """The pairs of layers of which the first includes the second, and the faults as lines of text."""
    edges, faults = set(), []
    for path in sources():
        name = os.path.relpath(path, ROOT)
        row = row_of(name)
        if row is None:
            faults.append(f"{name} is in no layer")
            continue
        for own, angled in INCLUDE.findall(path.read_text(encoding="utf-8")):
            fault = fault_of(row, path, own, angled)
            if fault is not None:
                faults.append(f"{name}: {fault}")
            elif own:
                edges.add((row[0], row_of(find_header(path, own))[0]))
    return {(source, target) for source, target in edges if source != target}, faults


def draw(edges):
    """The text that Graphviz draws: an arrow points from the including layer to the other."""
    lines = ["digraph layers {", '    graph [rankdir=TB, fontname="sans-serif"];',
             '    node [shape=box, style=filled, fillcolor=white, fontname="sans-serif", fontsize=11];']
    groups = [("the library", (GLUE, UTILITY, LIBS, NETWORK)), ("the stand-in host", ("Host/",)),
              ("checks and examples", (CHECK, "Examples", "Tests", "Benchmarks"))]
    for number, (label, beginnings) in enumerate(groups):
        lines += [f"    subgraph cluster_{number} {{", f'        label="{label}";']
        lines += [f'        "{row[0]}";' for row in LAYERS if row[0].startswith(beginnings)]
        lines.append("    }")
    lines += [f'    "{source}" -> "{target}";' for source, target in sorted(edges)]
    return "\n".join(lines + ["}", ""])


def main(arguments):
    if arguments not in ([], ["--check"]):
        sys.exit("usage: Tools/layers.py [--check]")
    edges, faults = walk()
    dot = draw(edges)
    # The last line of the picture names the text that it was drawn from: another Graphviz draws it in another way.
    mark = f"<!-- drawn by Tools/layers.py, SHA-256 of the text {hashlib.sha256(dot.encode()).hexdigest()} -->\n"
    if not arguments:
        svg = subprocess.run(["dot", "-Tsvg"], input=dot, check=True, capture_output=True, text=True).stdout
        SVG.write_text(svg + mark, encoding="utf-8")
    elif not SVG.read_text(encoding="utf-8").endswith(mark):
        faults.append("Docs/layers.svg is stale: run Tools/layers.py where Graphviz is installed")
    if faults:
        sys.exit("\n".join(faults))


if __name__ == "__main__":
    main(sys.argv[1:])

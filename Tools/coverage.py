#!/usr/bin/env python3
"""Compares the lines of the library that no test reached with a list of known ones.

    Tools/coverage.py COUNTS EXCEPTIONS        the output of `gcovr --json`, and the list

The list has a reason on a line that begins with "#", and below it the lines for which it holds: the file, a colon and
the line of code. A line that was not reached and is not listed is an error; so is a line that is listed and reached.
"""
import json
import pathlib
import sys


def listed_lines(text):
    """The lines of a list, each with its file."""
    return {tuple(line.split(": ", 1)) for line in text.splitlines() if line and not line.startswith("#")}


def unreached(files):
    """Each line that no test reached."""
    missing = set()
    for file in files:
        source = pathlib.Path(file["file"]).read_text(encoding="utf-8").splitlines()
        for line in file["lines"]:
            if line["count"] == 0 and not line.get("gcovr/noncode"):
                missing.add((file["file"], source[line["line_number"] - 1].strip()))
    return missing


def main():
    counts, exceptions = sys.argv[1:]
    missing = unreached(json.loads(pathlib.Path(counts).read_text(encoding="utf-8"))["files"])
    known = listed_lines(pathlib.Path(exceptions).read_text(encoding="utf-8"))
    print(f"lines not reached: {len(missing)}, with a reason in {exceptions}: {len(missing & known)}")
    for title, found in ("not reached, not listed", missing - known), ("listed, but reached", known - missing):
        for file, code in sorted(found):
            print(f"{title}: {file}: {code}")
    return missing != known


if __name__ == "__main__":
    sys.exit(main())

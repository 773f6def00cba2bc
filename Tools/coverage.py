#!/usr/bin/env python3
"""Says which lines of the library the tests did not reach, and whether each of them is known.

    Tools/coverage.py COUNTS EXCEPTIONS        what `gcovr --json` wrote, and the list of known lines

The list has a reason on a line of its own that begins with "#", and below it the lines that it holds for: the file, a
colon and the line of code as it is there. A line that was not reached and is not listed is an error, and so is one that
is listed and was reached after all.
"""
import json
import pathlib
import sys


def listed_lines(text):
    """The lines of a list, each with its file."""
    return {tuple(line.split(": ", 1)) for line in text.splitlines() if line and not line.startswith("#")}


def unreached(files):
    """Each line that no test took."""
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

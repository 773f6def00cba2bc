"""Prints the cost of the library's work beside its limits and its peers, and whether the aims are met.

    ./bench [--json FILE] [--page [--anyway]] [NAME...]   measure everything, or the rows named
    ./bench chart FILE                                    draw Docs/performance.svg from a --json file

A ratio is ours divided by the other, the median of the rounds' ratios; below 1 ours is faster.
"""
import argparse
import json
import os
import pathlib
import platform
import re
import statistics
import sys
import time

import chart
from measure import measure

PAGE = pathlib.Path(__file__).resolve().parent.parent / "Docs/performance.md"
QUIET = 0.5  # the highest load for figures of the page
MINUTES = 10  # to wait for it
SMALL = (16, 512, 1400)  # bytes of the datagrams that the aims are for
ELEMENT = {"limit": 3, "host's way": None, "base pointer": None, "vector": None}  # nanoseconds above the limit

# Row: the highest ratio aimed for to each of its other kinds, one for all cases or one for each; None where there
# is no aim. "limit" is the least that the work needs, and has columns of its own.
AIMS = {
    "send": {"limit": dict.fromkeys(SMALL, 1.05), "Asio": dict.fromkeys(SMALL, 1), "libuv": None},
    "read": {"limit": dict.fromkeys(SMALL, 1.08) | {8192: 1.20, 32768: 1.20, 65507: 1.25},
             "calls": None, "Asio": None, "libuv": None},
    "event": {"limit": 1.13},
    "poll": {"limit": 1.03},
    "turn": {"limit": {1000: 1.04, 10000: 1.06}},
    "idle": {},
    "element Integer": ELEMENT,
    "element Double": ELEMENT,
    "view bytes of a string": {"limit": None},
    "view bytes of a block": {"limit": None},
    "view 7-bit as ASCII": {"limit": None},
    "view 7-bit as UTF-8": {"limit": None},
    "view mixed as UTF-8": {"limit": None},
    "checksum": {"limit": {1500: 1.8, 9000: 1.2, 65535: 1.0}, "DPDK": 0.1},
    "ascii": {"limit": 1.2},
    "load": {"limit": 2.5},
    "load pages": {"limit": None},
    "stand-in send": {"limit": None},
    "stand-in read": {"limit": None, "calls": None},
}
NAMES = list(dict.fromkeys(row.split()[0] for row in AIMS))
PACKAGES = {"Asio": "libasio-dev", "libuv": "libuv1-dev", "DPDK": "libdpdk-dev"}
HEADS = ["what", "case", "ours", "limit", "ratio", "aim", "", "ours to the others"]


def is_above(row, kind):
    """Whether the figure is in nanoseconds above the other kind, not a ratio."""
    return AIMS[row] is ELEMENT and kind == "limit"


def compare(row, kinds, kind):
    """Ours to one of the others: the median of the rounds."""
    pairs = zip(kinds["ours"], kinds[kind])
    return statistics.median(o - t if is_above(row, kind) else o / t for o, t in pairs)


def summarise(result):
    """The medians of the times and of the ratios, in the order of AIMS."""
    rows = []
    for row in AIMS:
        for (name, case), kinds in sorted(result.items()):
            if name == row:
                rows.append({"row": row, "case": case,
                             "ratios": {kind: compare(row, kinds, kind) for kind in kinds if kind != "ours"},
                             "times": {kind: statistics.median(times) for kind, times in kinds.items()}})
    return rows


def aim_of(row, kind):
    aim = AIMS[row["row"]][kind]
    return aim.get(row["case"]) if isinstance(aim, dict) else aim


def verdict(value, aim):
    if aim is None:
        return ""
    return "met" if value <= aim else "not met"


def verdicts(row):
    """The verdict on each aim of the row, by kind."""
    return {kind: verdict(ratio, aim_of(row, kind)) for kind, ratio in row["ratios"].items()}


def as_time(row, figure):
    if row == "idle":
        return f"{figure:.1f} %"
    if row == "load pages":
        return f"{figure:.0f}"
    if figure >= 1e5:
        return f"{figure / 1000:.0f} us"
    return f"{figure:.0f} ns" if figure >= 100 else f"{figure:.1f} ns"


def as_ratio(ratio):
    return f"{ratio:.2f}" if ratio >= 0.1 else f"{ratio:.3f}"


def compared(row, kind):
    """The ratio to one of the others, in words."""
    ratio, aim = row["ratios"][kind], aim_of(row, kind)
    if aim is None:
        return f"{kind} {as_ratio(ratio)}"
    return f"{kind} {as_ratio(ratio)} (aim {aim:g}: {verdict(ratio, aim)})"


def cells(row):
    name, case, ours = row["row"], str(row["case"] or ""), as_time(row["row"], row["times"]["ours"])
    limit, ratio, aim, met = "", "", "", ""
    if "limit" in row["ratios"]:
        value, wanted = row["ratios"]["limit"], aim_of(row, "limit")
        limit, met = as_time(name, row["times"]["limit"]), verdicts(row)["limit"]
        ratio = f"+{value:.1f} ns" if is_above(name, "limit") else f"{value:.3f}"
        if wanted is not None:
            aim = f"+{wanted} ns" if is_above(name, "limit") else f"{wanted:.2f}"
    others = [compared(row, kind) for kind in AIMS[name] if kind != "limit" and kind in row["ratios"]]
    return [name, case, ours, limit, ratio, aim, met, ", ".join(others)]


def as_text(rows):
    lines = [HEADS, *map(cells, rows)]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEADS))]
    aligned = ["<", ">", ">", ">", ">", ">", "<", "<"]
    return "\n".join("  ".join(f"{cell:{align}{width}}" for cell, align, width in zip(line, aligned, widths)).rstrip()
                     for line in lines)


def as_markdown(rows):
    lines = [HEADS, ["---", "--:", "--:", "--:", "--:", "--:", "---", "---"], *map(cells, rows)]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def summary(rows, names):
    """How many aims are met, and which peers were left out."""
    found = [met for row in rows for met in verdicts(row).values() if met]
    text = f"{found.count('met')} of {len(found)} aims are met."
    wanted = {kind for row, kinds in AIMS.items() if row.split()[0] in names for kind in kinds}
    missing = sorted(kind for kind in wanted & PACKAGES.keys() if not any(kind in row["ratios"] for row in rows))
    if missing:
        text += " Left out, without their packages: " + ", ".join(f"{kind} ({PACKAGES[kind]})" for kind in missing) + "."
    return text


def machine(load):
    """The processor, the system, and its load before the run."""
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8"))
    system = ".".join(platform.release().split(".")[:2])
    return (f"{model[1] if model else platform.machine()}, {os.cpu_count()} cores, Linux {system}, "
            f"load {load:.1f} at the start")


def write_page(text):
    """Puts the text between the two markers of the page."""
    page = PAGE.read_text(encoding="utf-8")
    fresh, count = re.subn(r"(<!-- figures -->\n).*(<!-- end of figures -->\n)",
                           lambda markers: f"{markers[1]}{text}\n{markers[2]}", page, flags=re.DOTALL)
    assert count == 1, "the page has no place for the figures"
    PAGE.write_text(fresh, encoding="utf-8")


def parse():
    parser = argparse.ArgumentParser(prog="bench", description=f"names: {', '.join(NAMES)}; or: chart FILE")
    parser.add_argument("--json", metavar="FILE", help="write the figures there")
    parser.add_argument("--page", action="store_true", help=f"write table and chart into {PAGE.parent.name}/")
    parser.add_argument("--anyway", action="store_true", help=f"the page at a load above {QUIET} too")
    parser.add_argument("--at-most", metavar="RATIO", type=float, help="fail when a ratio to the limit is above")
    parser.add_argument("--look", action="store_true", help="look at the arguments only")
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    if options.names[:1] == ["chart"]:
        if len(options.names) != 2:
            parser.error("chart takes the file with the figures")
        return options
    for name in options.names:
        if name not in NAMES:
            parser.error(f"no benchmark of that name: {name} (there are {', '.join(NAMES)})")
    if options.page and options.names:
        parser.error("the page takes all rows")
    return options


def wait_until_quiet():
    """The load of the build takes some minutes to fade."""
    for _ in range(MINUTES * 6):
        if os.getloadavg()[0] <= QUIET:
            return
        time.sleep(10)
    sys.exit(f"bench: the load is {os.getloadavg()[0]:.2f} after {MINUTES} minutes, and figures for the page need "
             f"{QUIET} or less; say --page --anyway for those of a busy machine")


def main():
    options = parse()
    if options.look:
        return None
    if options.names[:1] == ["chart"]:
        return chart.draw(json.loads(pathlib.Path(options.names[1]).read_text(encoding="utf-8"))["rows"])
    if options.page and not options.anyway:
        wait_until_quiet()
    load = os.getloadavg()[0]
    names = options.names or NAMES
    place = machine(load)
    rows = summarise(measure(names))
    print(as_text(rows), summary(rows, names), place, sep="\n\n")
    if options.json:
        figures = {"machine": place, "rows": rows}
        pathlib.Path(options.json).write_text(json.dumps(figures, indent=1) + "\n", encoding="utf-8")
    if options.page:
        write_page(f"{place}. {summary(rows, names)}\n\n{as_markdown(rows)}")
        chart.draw(rows)
    highest = max((row["ratios"].get("limit", 0) for row in rows), default=0)
    if options.at_most and highest > options.at_most:
        sys.exit(f"bench: a ratio of {highest:.2f} is above {options.at_most:g}")


if __name__ == "__main__":
    main()

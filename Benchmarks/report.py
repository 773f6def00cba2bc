"""Prints what the library's work costs beside its limits and its peers, and whether the aims are met.

    ./bench [--json FILE] [--page] [NAME...]      measure everything, or the rows named
    ./bench chart FILE                            draw Docs/performance.svg from a --json file

A ratio is ours divided by the other, the median of the rounds' ratios; below 1 ours is faster.
"""
import argparse
import json
import os
import pathlib
import platform
import re
import statistics

import chart
from measure import measure

PAGE = pathlib.Path(__file__).resolve().parent.parent / "Docs/performance.md"
CONVERSION = {"whole view": None, "iconv": 0.5}

# Row: the highest ratio aimed for to each of its other kinds, one for all cases or one for each; None where there
# is no aim. "limit" is what can't be beaten, and has columns of its own.
AIMS = {
    "send": {"limit": 1.03, "Asio": None, "libuv": None},
    "read": {"limit": 1.05, "values": None, "Asio": None, "libuv": None},
    "poll": {"limit": 1.05},
    "checksum": {"limit": {1500: 2.2, 9000: 1.8, 65535: 1.15}, "DPDK": 0.1},
    "ascii": {"limit": 1.3},
    "utf8 ASCII to UTF-16": {"ICU": 0.15, **CONVERSION},
    "utf8 mixed to UTF-16": {"ICU": 1.05, **CONVERSION},
    "utf8 ASCII to UTF-32": {"ICU": 0.15, **CONVERSION},
    "utf8 mixed to UTF-32": {"ICU": 1.05, **CONVERSION},
    "load": {"limit": None},
    "script send": {"LuaSocket": 1.0, "luv": 1.0, "Python": 1.0},
    "script receive": {"LuaSocket": 1.0, "luv": 1.0, "Python": 1.0},
}
LONGEST = {"load": 1e6}  # nanoseconds: a time is aimed for, not a ratio
NAMES = list(dict.fromkeys(row.split()[0] for row in AIMS))
PACKAGES = {"Asio": "libasio-dev", "libuv": "libuv1-dev", "DPDK": "libdpdk-dev", "ICU": "libicu-dev",
            "LuaSocket": "lua-socket", "luv": "lua-luv", "Python": "python3", "iconv": "libc6-dev"}
HEADS = ["what", "case", "ours", "limit", "ratio", "aim", "", "ours to the others"]


def summarise(result):
    """The medians of the times and of the ratios, in the order of AIMS."""
    rows = []
    for row in AIMS:
        for (name, case), kinds in sorted(result.items()):
            if name == row:
                ratios = {kind: statistics.median(o / t for o, t in zip(kinds["ours"], times))
                          for kind, times in kinds.items() if kind != "ours"}
                rows.append({"row": row, "case": case, "ratios": ratios,
                             "times": {kind: statistics.median(times) for kind, times in kinds.items()}})
    return rows


def aim_of(row, kind):
    aim = AIMS[row["row"]][kind]
    return aim[row["case"]] if isinstance(aim, dict) else aim


def verdict(value, aim):
    if aim is None:
        return ""
    return "met" if value <= aim else "not met"


def verdicts(row):
    """Of each aim of the row, by what is compared with."""
    found = {kind: verdict(ratio, aim_of(row, kind)) for kind, ratio in row["ratios"].items()}
    if row["row"] in LONGEST:
        found["limit"] = verdict(row["times"]["ours"], LONGEST[row["row"]])
    return found


def as_time(nanoseconds):
    if nanoseconds >= 1e5:
        return f"{nanoseconds / 1000:.0f} us"
    return f"{nanoseconds:.0f} ns" if nanoseconds >= 100 else f"{nanoseconds:.1f} ns"


def as_ratio(ratio):
    return f"{ratio:.2f}" if ratio >= 0.1 else f"{ratio:.3f}"


def compared(row, kind):
    """One of the others in a few words."""
    ratio, aim = row["ratios"][kind], aim_of(row, kind)
    if aim is None:
        return f"{kind} {as_ratio(ratio)}"
    return f"{kind} {as_ratio(ratio)} (aim {aim:g}: {verdict(ratio, aim)})"


def cells(row):
    limit, ratio, aim, met = "", "", "", ""
    if "limit" in row["ratios"]:
        limit, ratio = as_time(row["times"]["limit"]), as_ratio(row["ratios"]["limit"])
        aim = as_time(LONGEST[row["row"]]) if row["row"] in LONGEST else f"{aim_of(row, 'limit'):g}"
        met = verdicts(row)["limit"]
    others = [compared(row, kind) for kind in AIMS[row["row"]] if kind != "limit" and kind in row["ratios"]]
    case, ours = str(row["case"] or ""), as_time(row["times"]["ours"])
    return [row["row"], case, ours, limit, ratio, aim, met, ", ".join(others)]


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
    """How many aims are met, and what could not be compared."""
    found = [met for row in rows for met in verdicts(row).values() if met]
    text = f"{found.count('met')} of {len(found)} aims are met."
    wanted = {kind for row, kinds in AIMS.items() if row.split()[0] in names for kind in kinds}
    missing = sorted(kind for kind in wanted & PACKAGES.keys() if not any(kind in row["ratios"] for row in rows))
    if missing:
        text += " Left out, for want of a package: " + ", ".join(f"{kind} ({PACKAGES[kind]})" for kind in missing) + "."
    return text


def machine():
    """What it runs on, and how busy that is."""
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8"))
    system = ".".join(platform.release().split(".")[:2])
    return (f"{model[1] if model else platform.machine()}, {os.cpu_count()} cores, Linux {system}, "
            f"load {os.getloadavg()[0]:.1f} at the start")


def write_page(text):
    """Puts the text between the two markers of the page."""
    page = PAGE.read_text(encoding="utf-8")
    fresh, count = re.subn(r"(<!-- figures -->\n).*(<!-- end of figures -->\n)",
                           lambda markers: f"{markers[1]}{text}\n{markers[2]}", page, flags=re.DOTALL)
    assert count == 1, "the page has no place for the figures"
    PAGE.write_text(fresh, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(prog="bench", description=f"names: {', '.join(NAMES)}; or: chart FILE")
    parser.add_argument("--json", metavar="FILE", help="write the figures there")
    parser.add_argument("--page", action="store_true", help=f"write the table into {PAGE.parent.name}/{PAGE.name}")
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    if options.names[:1] == ["chart"]:
        if len(options.names) != 2:
            parser.error("chart takes the file with the figures")
        return chart.draw(json.loads(pathlib.Path(options.names[1]).read_text(encoding="utf-8"))["rows"])
    for name in options.names:
        if name not in NAMES:
            parser.error(f"no benchmark of that name: {name} (there are {', '.join(NAMES)})")

    if options.page and options.names:
        parser.error("the page takes all rows")

    names = options.names or NAMES
    place = machine()
    rows = summarise(measure(names))
    print(as_text(rows), summary(rows, names), place, sep="\n\n")
    if options.json:
        figures = {"machine": place, "rows": rows}
        pathlib.Path(options.json).write_text(json.dumps(figures, indent=1) + "\n", encoding="utf-8")
    if options.page:
        write_page(f"{place}. {summary(rows, names)}\n\n{as_markdown(rows)}")


if __name__ == "__main__":
    main()

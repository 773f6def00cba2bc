"""Draws Docs/performance.svg: the time of one datagram, ours beside the others."""
import pathlib
import subprocess
import sys

CHART = pathlib.Path(__file__).resolve().parent.parent / "Docs/performance.svg"
LARGEST = 8192  # bytes; beyond, the copying is all that one sees
PANELS = [  # row, title, kinds with the words of the key
    ("send", "sending", {"ours": "ours", "limit": "bare call", "Asio": "Asio", "libuv": "libuv"}),
    ("read", "receiving", {"ours": "ours", "limit": "bare calls with values", "calls": "bare calls", "Asio": "Asio",
                           "libuv": "libuv"}),
]
HEAD = """set terminal svg size 960,360 font 'sans-serif,12' background 'white'
set multiplot layout 1,2
set style data histograms
set style histogram clustered gap 1
set style fill solid 0.8 noborder
set boxwidth 0.9
set yrange [0:*]
set ylabel 'microseconds'
set xlabel 'payload in bytes'
set key above horizontal
set grid ytics
"""


def panel(rows, row, title, kinds):
    """The commands for one picture; nothing when the row was not measured."""
    cases = [each for each in rows if each["row"] == row and each["case"] <= LARGEST]
    kinds = {kind: word for kind, word in kinds.items() if cases and all(kind in each["times"] for each in cases)}
    if not kinds:
        return ""
    block = "$" + row
    lines = [f"{each['case']} " + " ".join(f"{each['times'][kind] / 1000:.3f}" for kind in kinds) for each in cases]
    highest = max(each["times"][kind] / 1000 for each in cases for kind in kinds)
    plots = ", ".join(f"{block} using {column}:xtic(1) title '{word}'" for column, word in enumerate(kinds.values(), 2))
    return "\n".join([f"{block} << END", *lines, "END", f"set title '{title}'", f"set yrange [0:{1.05 * highest:.2f}]",
                      f"plot {plots}", ""])


def draw(rows):
    commands = HEAD + "".join(panel(rows, *each) for each in PANELS)
    try:
        done = subprocess.run(["gnuplot"], input=commands, capture_output=True, text=True)
    except FileNotFoundError:
        sys.exit("bench: there is no gnuplot (gnuplot-nox)")
    if done.returncode != 0 or not done.stdout.startswith("<?xml"):
        sys.exit(f"bench: gnuplot could not draw: {done.stderr.strip()}")
    CHART.write_text(done.stdout, encoding="utf-8")

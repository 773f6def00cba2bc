"""Draws Docs/performance.svg: the time of one datagram, ours beside the peers, with the limit as a line."""
import pathlib
import subprocess
import sys

CHART = pathlib.Path(__file__).resolve().parent.parent / "Docs/performance.svg"
LARGEST = 8192  # bytes; beyond, copying takes most of the time
PANELS = {"send": "sending", "read": "receiving"}
BARS = ("ours", "Asio", "libuv")
HEAD = """set terminal svg size 960,380 font 'sans-serif,12' background 'white'
set multiplot layout 1,2 margins 0.08,0.99,0.16,0.82 spacing 0.09
set style data histograms
set style histogram clustered gap 1
set style fill solid 0.8 noborder
set boxwidth 0.9
set ylabel 'microseconds'
set xlabel 'payload in bytes'
set grid ytics
set key at screen 0.5,0.97 center top horizontal
"""


def panel(cases, title, bars):
    """The commands for one panel. A limit is a line across the bars of its case."""
    data = [" ".join([str(each["case"]), *(f"{each['times'][kind] / 1000:.3f}" for kind in (*bars, "limit"))])
            for each in cases]
    plots = [f"$data using {column}:xtic(1) title '{kind}'" for column, kind in enumerate(bars, 2)]
    limit = f"$data using ($0-0.45):{len(bars) + 2}:(0.9):(0) with vectors nohead lw 3 lc 'black' title 'limit'"
    return "\n".join(["$data << END", *data, "END", f"set title '{title}'", f"plot {', '.join([*plots, limit])}",
                      "unset key", ""])  # the first panel's key serves both


def draw(rows):
    panels = {title: [each for each in rows if each["row"] == row and each["case"] <= LARGEST]
              for row, title in PANELS.items()}
    shown = [each["times"] for cases in panels.values() for each in cases]
    if not all(panels.values()):
        sys.exit(f"bench: the chart needs the rows {' and '.join(PANELS)}")
    bars = [kind for kind in BARS if all(kind in times for times in shown)]
    highest = max(times[kind] / 1000 for times in shown for kind in (*bars, "limit"))
    commands = HEAD + f"set yrange [0:{1.05 * highest:.2f}]\n"
    commands += "".join(panel(cases, title, bars) for title, cases in panels.items())
    try:
        done = subprocess.run(["gnuplot"], input=commands, capture_output=True, text=True)
    except FileNotFoundError:
        sys.exit("bench: there is no gnuplot (gnuplot-nox)")
    if done.returncode != 0 or not done.stdout.startswith("<?xml"):
        sys.exit(f"bench: gnuplot could not draw: {done.stderr.strip()}")
    CHART.write_text(done.stdout, encoding="utf-8")

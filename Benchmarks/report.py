"""Turns the measurements of network_bench into a table of ratios: ours to the bare system calls, or to the limit.

The benchmarks run interleaved in one process, several rounds; a ratio is the median of the rounds' ratios.
"""
import argparse
import json
import statistics
import subprocess

AIMS = {  # name: (what it is compared with, highest ratio aimed for, or one for each size)
    "send": ("bare sendto", 1.05),
    "read": ("bare FIONREAD and recvfrom", 1.05),
    "poll": ("bare select", 1.05),
    "checksum": ("reading the bytes", {1500: 2.2, 9000: 1.8, 65535: 1.15}),
}


def measure(program, library, names, rounds):
    command = [program, library, "--benchmark_format=json", f"--benchmark_repetitions={rounds}",
               "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.02",
               f"--benchmark_filter=^({'|'.join(names)})/"]
    report = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    times = {}
    for run in report["benchmarks"]:
        if run["run_type"] == "iteration":
            name, kind, size = run["name"].split("/")[:3]
            times.setdefault((name, int(size)), {}).setdefault(kind, []).append(run["real_time"])
    return times


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("library")
    parser.add_argument("--rounds", type=int, default=15)
    parser.add_argument("--json", help="a file for the figures")
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    for name in options.names:
        if name not in AIMS:
            parser.error(f"no benchmark of that name: {name} (there are {', '.join(AIMS)})")

    rows = []
    print(f"{'':10} {'size':>6}  {'ours':>9} {'bare':>9}  {'ratio':>6} {'aim':>5}        compared with")
    for (name, size), kinds in measure(options.program, options.library, options.names or AIMS, options.rounds).items():
        against, aim = AIMS[name]
        aim = aim if isinstance(aim, float) else aim[size]
        ratio = statistics.median(o / b for o, b in zip(kinds["ours"], kinds["bare"]))
        ours, bare = (statistics.median(kinds[kind]) for kind in ("ours", "bare"))
        met = "met" if ratio <= aim else "not met"
        print(f"{name:10} {size or '':>6}  {ours:7.0f}ns {bare:7.0f}ns  {ratio:6.2f} {aim:5.2f}  {met:8}  {against}")
        rows.append({"name": name, "size": size, "ours": ours, "bare": bare, "ratio": ratio, "aim": aim})
    if options.json:
        with open(options.json, "w", encoding="utf-8") as file:
            json.dump(rows, file, indent=1)


if __name__ == "__main__":
    main()

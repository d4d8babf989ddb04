#!/usr/bin/env python3
"""Medians and ratios of a benchmark run, from Google Benchmark's JSON.

Names: a benchmark is registered as  <work>/<who>[/arguments]  where <who> is "ours" or the name of a peer
that does the same work ("std", "absl", "rawhdf5"). Every peer is shown with the ratio ours / peer: below 1
means that we need less. Repetitions are medianed; judge the ratios, not the times.

Use: <program> --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true \\
               --benchmark_out_format=json --benchmark_out=run.json
     ratios.py run.json [more.json ...] [--only REGEX] [--time real_time]

Register with MeasureProcessCPUTime() so that cpu_time is the whole process's.
"""
import argparse
import json
import re
import statistics
import sys

NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def read(paths, field):
    """Times in nanoseconds of every repetition: {(work, arguments): {who: [time]}}."""
    runs = {}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            for entry in json.load(file)["benchmarks"]:
                if entry.get("run_type") == "aggregate" or entry.get("error_occurred"):
                    continue
                work, who, *arguments = entry.get("run_name", entry["name"]).split("/")
                arguments = "/".join(a for a in arguments if not re.match(r"repeats:|process_time|min_time:", a))
                time = entry[field] * NANOSECONDS[entry["time_unit"]]
                runs.setdefault((work, arguments), {}).setdefault(who, []).append(time)
    return runs


def show(time):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if time >= size:
            return f"{time / size:.3g} {unit}"
    return f"{time:.3g} ns"


def rows(runs):
    for (work, arguments), by_who in runs.items():
        if "ours" not in by_who:
            print(f"{work}/{arguments}: no run named ours", file=sys.stderr)
            continue
        ours = statistics.median(by_who["ours"])
        fewest = min(len(times) for times in by_who.values())
        for who, times in by_who.items():
            if who != "ours":
                peer = statistics.median(times)
                yield work, arguments, show(ours), who, show(peer), f"{ours / peer:.2f}", str(fewest)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="+")
    parser.add_argument("--only", default="", help="a pattern that work/arguments must contain")
    parser.add_argument("--time", default="cpu_time", choices=["cpu_time", "real_time"])
    options = parser.parse_args()
    runs = read(options.files, options.time)
    table = [("work", "arguments", "ours", "peer", "peer's", "ours/peer", "runs")]
    table += rows({k: v for k, v in runs.items() if re.search(options.only, "/".join(k))})
    widths = [max(len(row[i]) for row in table) for i in range(len(table[0]))]
    for row in table:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    return 0 if len(table) > 1 else 1


if __name__ == "__main__":
    sys.exit(main())

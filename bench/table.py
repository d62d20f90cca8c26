#!/usr/bin/env python3
"""Prints the table of docs/performance.md: table.py RUN.json...

A figure is the median over the runs; in brackets the least and the greatest ratio of a run.
"""

import json
import sys
from statistics import median

MODES = ("memory", "file")
PEERS = ("plain", "flatbuffers", "sqlite", "read")


def rows(paths):
    """name -> the row's counters in each run, in the order of the runs"""
    found = {}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            for run in json.load(file)["benchmarks"]:
                if "limit_ns" in run and "elements" in run and not run["name"].startswith(("growth", "C++")):
                    found.setdefault(run["name"].split("/")[0], []).append(run)
    return found


def number(value):
    return f"{value:,.0f}" if value >= 1000 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def mode(runs, name):
    if name + "_ns" not in runs[0]:
        return " | "
    ratios = sorted(run[name + "_ratio"] for run in runs)
    ns = median(run[name + "_ns"] for run in runs)
    return f"{number(ns)} | **{median(ratios):.2f}** ({ratios[0]:.2f} to {ratios[-1]:.2f})"


def peer(runs, name):
    ratios = [run[name + "_ratio"] for run in runs if run.get(name + "_ratio")]
    return f"{median(ratios):.2f}" if ratios else ""


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    print("| walk | limit, ns | memory mode | | file mode | | byte by byte | FlatBuffers | SQLite | read() |")
    print("|---|---|---|---|---|---|---|---|---|---|")
    for name, runs in rows(sys.argv[1:]).items():
        limit = number(median(run["limit_ns"] for run in runs))
        cells = [name, limit] + [mode(runs, m) for m in MODES] + [peer(runs, p) for p in PEERS]
        print("| " + " | ".join(cells) + " |")


main()

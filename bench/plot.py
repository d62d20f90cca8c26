#!/usr/bin/env python3
"""Draws the growth rows of a full benchmark run: plot.py bench-full.json DIRECTORY

One SVG for each axis: ns of a delivered value against file size, filter size, default-table size, text length
and threads.
"""

import json
import math
import re
import sys

AXES = {
    "symbols": "symbols in the file",
    "filter ids": "ids in the filter",
    "defaults": "default fields",
    "text length": "longest text, in characters",
    "threads": "threads, each with its own file (wall time for each value of all)",
}
COLOURS = {"limit": "#777777", "memory": "#1f6fb4", "file": "#d9730d", "plain": "#7a9e3a"}
LABELS = {"limit": "limit", "memory": "memory mode", "file": "file mode", "plain": "byte by byte"}
WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM = 560, 300, 52, 110, 28, 44


def rows(path):
    """axis -> contestant -> [(x, ns)]"""
    found = {}
    with open(path, encoding="utf-8") as file:
        benchmarks = json.load(file)["benchmarks"]
    for run in benchmarks:
        match = re.match(r"growth, ([^=]+)=(\d+)", run["name"])
        if not match or match.group(1) not in AXES:
            continue
        for name in COLOURS:
            if name + "_ns" in run:
                points = found.setdefault(match.group(1), {}).setdefault(name, [])
                points.append((int(match.group(2)), run[name + "_ns"]))
    return found


def nice_top(value):
    step = 10 ** math.floor(math.log10(value))
    return next(step * factor for factor in (1, 2, 2.5, 5, 10) if step * factor >= value)


def draw(axis, contestants):
    # What is far slower than the library would flatten all else; it leaves the picture at its top.
    top = nice_top(1.6 * max(y for name in ("limit", "memory", "file") for _, y in contestants.get(name, [])))
    places = sorted({x for points in contestants.values() for x, _ in points})
    lows, highs = math.log10(max(places[0], 1)), math.log10(max(places[-1], 2))

    def at_x(x):
        # 0 has no logarithm; it is drawn a little to the left of 1.
        share = (math.log10(max(x, 1)) - lows) / (highs - lows) if highs > lows else 0.5
        return LEFT + (WIDTH - LEFT - RIGHT) * (share if x > 0 else share - 0.05)

    def at_y(y):
        return HEIGHT - BOTTOM - (HEIGHT - TOP - BOTTOM) * min(y, top) / top

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
           f'font-size="11">', f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>']
    for tick in range(6):
        y = top * tick / 5
        out.append(f'<path d="M{LEFT} {at_y(y):.1f}H{WIDTH - RIGHT}" stroke="#ddd"/>')
        out.append(f'<text x="{LEFT - 6}" y="{at_y(y) + 4:.1f}" text-anchor="end">{y:g}</text>')
    for x in places:
        out.append(f'<text x="{at_x(x):.1f}" y="{HEIGHT - BOTTOM + 16}" text-anchor="middle">{x:,}</text>')
    out.append(f'<text x="{(LEFT + WIDTH - RIGHT) / 2}" y="{HEIGHT - 8}" text-anchor="middle">{AXES[axis]}</text>')
    out.append(f'<text x="{LEFT}" y="{TOP - 12}">ns of a delivered value</text>')
    taken = []
    for name, points in contestants.items():
        points.sort()
        path = " ".join(f"{at_x(x):.1f},{at_y(y):.1f}" for x, y in points)
        out.append(f'<polyline points="{path}" fill="none" stroke="{COLOURS[name]}" stroke-width="2"/>')
        out += [f'<circle cx="{at_x(x):.1f}" cy="{at_y(y):.1f}" r="3" fill="{COLOURS[name]}"/>'
                for x, y in points if y <= top]
        y = at_y(points[-1][1]) + 4
        while any(abs(y - other) < 13 for other in taken):
            y += 1
        taken.append(y)
        out.append(f'<text x="{WIDTH - RIGHT + 8}" y="{y:.1f}" fill="{COLOURS[name]}">{LABELS[name]}</text>')
    return "\n".join(out + ["</svg>", ""])


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    for axis, contestants in rows(sys.argv[1]).items():
        path = f"{sys.argv[2]}/{axis.replace(' ', '-')}.svg"
        with open(path, "w", encoding="utf-8") as file:
            file.write(draw(axis, contestants))
        print(path)


if __name__ == "__main__":
    main()

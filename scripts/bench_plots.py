#!/usr/bin/env python3
"""Draws the cost as work grows, one SVG file for each table of ./dev bench.

usage: bench_plots.py RESULTS.json FOLDER
Both axes are logarithmic: a straight line of slope one is a cost that grows with the work.
"""
import json
import math
import pathlib
import sys

WIDTH, HEIGHT, LEFT, BOTTOM, TOP, RIGHT = 640, 400, 70, 50, 40, 20
OURS, PEER = "#0b6e99", "#b35900"
UNITS = ((1e9, "s"), (1e6, "ms"), (1e3, "us"), (1, "ns"))


def amount(nanoseconds):
    scale, unit = next((u for u in UNITS if nanoseconds >= u[0]), UNITS[-1])
    return f"{nanoseconds / scale:g} {unit}"


def scale(values, first, last, step):
    """A function onto the axis, and the ticks: powers of `step`."""
    low = math.floor(math.log(min(values), step) + 1e-9)
    high = max(math.ceil(math.log(max(values), step) - 1e-9), low + 1)
    return (lambda value: first + (math.log(value, step) - low) / (high - low) * (last - first),
            [step ** exponent for exponent in range(low, high + 1)])


def text(x, y, words, anchor="middle", colour="#333"):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}">{words}</text>'


def line(points, colour):
    marks = "".join(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in points)
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
    return f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>{marks}'


def plot(growth):
    sizes = [point[0] for point in growth["points"]]
    costs = [cost for point in growth["points"] for cost in point[1:] if cost >= 0]
    across, columns = scale(sizes, LEFT, WIDTH - RIGHT, 10 if max(sizes) / min(sizes) > 1000 else 2)
    up, rows = scale(costs, HEIGHT - BOTTOM, TOP, 10)
    parts = [text(WIDTH / 2, 20, growth["work"]), text(WIDTH / 2, HEIGHT - 10, growth["sizes"])]
    for size in columns:
        parts.append(f'<path d="M{across(size):.1f} {TOP}V{HEIGHT - BOTTOM}" stroke="#ddd"/>')
        parts.append(text(across(size), HEIGHT - BOTTOM + 18, f"{size:g}"))
    for cost in rows:
        parts.append(f'<path d="M{LEFT} {up(cost):.1f}H{WIDTH - RIGHT}" stroke="#ddd"/>')
        parts.append(text(LEFT - 8, up(cost) + 4, amount(cost), "end"))
    for column, name, colour in ((2, growth["against"], PEER), (1, "ours", OURS)):
        points = [(across(p[0]), up(p[column])) for p in growth["points"] if p[column] >= 0]
        if points:
            parts.append(line(points, colour))
            parts.append(text(LEFT + 10, TOP + 18 * column, name, "start", colour))
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" '
            'font-family="sans-serif" font-size="12"><rect width="100%" height="100%" fill="#fff"/>'
            + "".join(parts) + "</svg>\n")


def main():
    folder = pathlib.Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    for growth in json.loads(pathlib.Path(sys.argv[1]).read_text())["growth"]:
        path = folder / (growth["name"].replace(" ", "_") + ".svg")
        path.write_text(plot(growth))
        print(path)


if __name__ == "__main__":
    main()

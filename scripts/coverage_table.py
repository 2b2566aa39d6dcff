#!/usr/bin/env python3
"""Prints covered lines and branches by folder, and the files that are furthest from it.

usage: coverage_table.py LINES BRANCHES    what gcovr and coverage_branches.py counted
"""
import collections
import json
import sys

GOALS = {"base": (95, 85), "trace": (95, 85), "daemon": (95, 85), "os": (95, 85),
         "hardware": (90, 80), "tools": (90, 80)}


def share(part, whole):
    return 100.0 * part / whole if whole else 100.0


def main():
    folders = collections.defaultdict(lambda: [0, 0, 0, 0])
    files = []
    with open(sys.argv[1]) as lines, open(sys.argv[2]) as branches:
        sources, branches_of = json.load(lines)["files"], json.load(branches)
    for source in sources:
        counted = [line for line in source["lines"] if not line.get("gcovr/noncode")]
        branches = [count for counts in branches_of.get(source["file"], {}).values() for count in counts]
        numbers = (sum(line["count"] > 0 for line in counted), len(counted),
                   sum(count > 0 for count in branches), len(branches))
        total = folders[source["file"].split("/")[0]]
        for i, number in enumerate(numbers):
            total[i] += number
        files.append((source["file"], numbers))
    print(f"{'folder':<12}{'lines':>8}{'branches':>10}   goal")
    for folder, (hit, lines, taken, branches) in sorted(folders.items()):
        goal = GOALS.get(folder)
        isMet = goal is None or (share(hit, lines) >= goal[0] and share(taken, branches) >= goal[1])
        words = "" if goal is None else f"{goal[0]} / {goal[1]}" + ("" if isMet else "  falls short")
        print(f"{folder:<12}{share(hit, lines):>7.1f}%{share(taken, branches):>9.1f}%   {words}")
    print("\nlines that no test runs, the files with most of them:")
    for name, (hit, lines, _, _) in sorted(files, key=lambda file: file[1][0] - file[1][1])[:20]:
        print(f"{lines - hit:>5}  {name}")
    print("\nbranches that no test takes, likewise:")
    for name, (_, _, taken, branches) in sorted(files, key=lambda file: file[1][2] - file[1][3])[:20]:
        print(f"{branches - taken:>5}  {name}")


if __name__ == "__main__":
    main()

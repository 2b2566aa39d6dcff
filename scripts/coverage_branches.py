#!/usr/bin/env python3
"""The branches of each line that a condition of the source makes, and how often each was taken, as JSON.

usage: coverage_branches.py BUILD_FOLDER FOLDER...

The compiler counts two kinds of branches that nobody wrote: of every call that may throw (goes on, throws), and in the
code that destroys objects while an exception passes. Neither is a decision of the program: both are left out, also in
lines that were never run. gcov names the first kind in its JSON, the second in its text with all blocks ($$$$$).
"""
import json
import multiprocessing
import os
import re
import subprocess
import sys
from collections import Counter, defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
LINE = re.compile(r"\s*[-#=%$\d*]+: *(\d+)(-block +\d+)?")
SOURCE = re.compile(r"\s*-: +0:Source:(.*)")


def gcov(counts, *options):
    return subprocess.run(["gcov", "--stdout", "--branch-probabilities", "--relative-only", f"--source-prefix={ROOT}",
                           *options, counts], capture_output=True, text=True, errors="replace", check=True).stdout


def written_branches(branches):
    """The counts of the branches, without the pairs of a call that may throw."""
    counts = []
    is_goes_on = False
    for branch in branches:
        if not branch["throw"]:
            counts.append(branch["count"])
        elif is_goes_on:
            counts.pop()
        is_goes_on = branch["fallthrough"]
    return counts


def landing_branches(text):
    """How many branches of each (source, line) stand in code that only an exception runs, and was not run."""
    found = Counter()
    source, is_landing, before = "", False, ""
    for row in text.split("\n"):
        if row.startswith("branch"):
            # Behind a call they may be the call's own pair, which the other list leaves out.
            found[source, line] += is_landing and before != "call"
            continue
        before = row[:4]
        if match := SOURCE.match(row):
            source = match[1]
        elif match := LINE.match(row):
            line = int(match[1])
            is_landing = bool(match[2]) and "$$$$$" in row
    return found


def name_of(file):
    path = os.path.normpath(ROOT / file)
    return os.path.relpath(path, ROOT)


def branches_of(counts):
    """{(source, line): {function: counts}} of one object."""
    found = defaultdict(dict)
    lines = json.loads(gcov(counts, "--json-format"))
    for file in lines["files"]:
        for line in file["lines"]:
            if line["branches"]:
                found[name_of(file["file"]), line["line_number"]][line.get("function_name", "")] = written_branches(
                    line["branches"])
    landing = landing_branches(gcov(counts, "--all-blocks"))
    for (source, number), count in landing.items():
        functions = found.get((name_of(source), number), {})
        if len(functions) == 1:
            (of_line,) = functions.values()
            for _ in range(count):
                if 0 in of_line:
                    of_line.remove(0)
    return dict(found)


def merged(left, right):
    longer, shorter = (left, right) if len(left) >= len(right) else (right, left)
    return [count + (shorter[i] if i < len(shorter) else 0) for i, count in enumerate(longer)]


def main():
    build, folders = Path(sys.argv[1]).resolve(), tuple(f"{folder}/" for folder in sys.argv[2:])
    files = sorted(str(path) for path in build.rglob("*.gcda"))
    total = defaultdict(list)
    with multiprocessing.Pool(2) as pool:
        for of_object in pool.imap_unordered(branches_of, files, 8):
            for (source, line), functions in of_object.items():
                if source.startswith(folders):
                    for counts in functions.values():
                        total[source, line] = merged(total[source, line], counts)
    table = defaultdict(dict)
    for (source, line), counts in sorted(total.items()):
        if counts:
            table[source][line] = counts
    json.dump(table, sys.stdout)


if __name__ == "__main__":
    main()

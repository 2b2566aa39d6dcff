#!/usr/bin/env python3
"""Runs clang-tidy on the sources of a build folder, two at a time, and remembers what passed.

A source is skipped while the digest of its preprocessed text, its compile command and the settings
is the one that passed before. Tests are held to the compiler's warnings and the format only.
"""
import concurrent.futures
import hashlib
import json
import pathlib
import re
import shlex
import subprocess
import sys

LEFT_OUT = ("tests/", "bench/", "fuzz/", "build/")


def digest(entry, settings):
    arguments = shlex.split(entry["command"])
    if pathlib.Path(arguments[0]).name == "ccache":
        arguments = arguments[1:]
    output = arguments.index("-o")
    del arguments[output:output + 2]
    arguments.remove("-c")
    text = subprocess.run([*arguments, "-E", "-P"], cwd=entry["directory"], capture_output=True, check=True)
    return hashlib.sha256(text.stdout + settings + pathlib.Path(entry["file"]).read_bytes()).hexdigest()


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    root = pathlib.Path.cwd()
    settings = (root / ".clang-tidy").read_bytes()
    passed = build / "lint"
    # From this folder on: the name of a folder above it must not bring other headers in.
    folders = re.search(rb"HeaderFilterRegex: '(.*)'", settings).group(1).decode()
    header_filter = f"--header-filter=^{re.escape(str(root))}{folders}"
    entries = []
    for entry in json.loads((build / "compile_commands.json").read_text()):
        path = pathlib.Path(entry["file"]).resolve()
        if path.is_relative_to(root) and not str(path.relative_to(root)).startswith(LEFT_OUT):
            entries.append(entry)

    def check(entry):
        mark = passed / digest(entry, settings)
        if mark.exists():
            return 0, ""
        run = subprocess.run(
            ["clang-tidy", "--quiet", "-p", str(build), "--extra-arg=-Wno-unknown-warning-option",
             header_filter, entry["file"]],
            capture_output=True, text=True)
        if run.returncode == 0:
            mark.touch()
        return run.returncode, run.stdout

    failures = 0
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        for code, text in pool.map(check, entries):
            if code != 0:
                failures += 1
                print(text, flush=True)
    if failures:
        sys.exit(f"clang-tidy: {failures} of {len(entries)} sources")
    print(f"clang-tidy: {len(entries)} sources clean")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Checks the rules of the house: who includes whom, how long files are, how headers begin.

usage: house_rules.py SOURCE_FOLDER
Prints one line for each breach; exit status 1 when there is one.
"""
import re
import subprocess
import sys
from pathlib import Path

# What each folder may include, besides itself.
MAY_INCLUDE = {
    "base": set(),
    "sdk": set(),
    "trace": {"base", "sdk"},
    "os": {"base", "sdk", "trace"},
    "hardware": {"base", "sdk", "trace", "os"},
    "trace_reader": {"base", "sdk", "trace"},
    "daemon": {"base", "sdk", "trace", "os"},
    "switch": {"base", "sdk"},
    "inventory": {"base", "sdk", "trace", "os", "hardware"},
    "modules": {"base", "sdk", "trace", "os", "hardware", "inventory"},
    "examples": {"base", "sdk", "os", "hardware"},
    "tools": {"base", "sdk", "trace", "trace_reader", "os", "hardware", "inventory", "switch"},
    "bench": {"base", "sdk", "trace", "os", "hardware", "inventory", "tools"},
    "fuzz": {"base", "sdk", "trace", "trace_reader", "os", "hardware", "inventory", "tools", "daemon"},
}
LONGEST_FILE = 500
PATHS_HEADER = Path("base/paths.h")
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.M)
FIXED_PATH = re.compile(r'"/(?:etc|var|dev|sbin|usr|proc|sys|run|vmfs)/[^"]*"')


def sources(root):
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=root, capture_output=True, text=True)
    names = listed.stdout.split("\n") if listed.returncode == 0 else [str(p.relative_to(root)) for p in root.rglob("*")]
    for name in names:
        path = root / name
        if path.suffix in {".h", ".cpp", ".c"} and path.is_file() and not name.startswith("build"):
            yield Path(name), path.read_text(encoding="utf-8")


def breaches(path, text):
    folder = path.parts[0]
    if folder in MAY_INCLUDE:
        for included in INCLUDE.findall(text):
            target = "sdk" if included.startswith("morla/") else included.split("/")[0]
            if target in MAY_INCLUDE and target != folder and target not in MAY_INCLUDE[folder]:
                yield f'includes "{included}": {folder} may not look at {target}'
        if path != PATHS_HEADER:
            code = re.sub(r"//.*", "", text)
            for fixed in FIXED_PATH.findall(code):
                yield f"fixed path {fixed}: it belongs into {PATHS_HEADER}"
    length = text.count("\n")
    if length > LONGEST_FILE:
        yield f"{length} lines: split it (at most {LONGEST_FILE})"
    if path.suffix == ".h" and not text.startswith("// "):
        yield "the first line must say what the header is for"


def main():
    root = Path(sys.argv[1])
    count = 0
    found = []
    for path, text in sources(root):
        count += 1
        found += [f"{path}: {breach}" for breach in breaches(path, text)]
    print("\n".join(found))
    if count == 0:
        sys.exit("no sources found")
    print(f"{count} files, {len(found)} breaches")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()

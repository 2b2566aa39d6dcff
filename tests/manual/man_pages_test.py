#!/usr/bin/env python3
"""Checks the manual pages: clean for both formatters, and true to what programs and sources have.

usage: man_pages_test.py SOURCE_FOLDER MORLACTL
Prints one line for each fault; exit status 1 when there is one, 77 without the formatters.
"""
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

faults = []


def same(what, in_page, real):
    faults.extend(f"{what}: {name} stands in the page but does not exist" for name in sorted(in_page - real))
    faults.extend(f"{what}: {name} is missing in the page" for name in sorted(real - in_page))


def formats_cleanly(page):
    environment = {**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "80"}
    for command in (["mandoc", "-T", "lint", "-W", "warning"], ["man", "--warnings", "-l", "-Tutf8"]):
        run = subprocess.run([*command, str(page)], capture_output=True, text=True, env=environment)
        said = run.stderr + (run.stdout if command[0] == "mandoc" else "")
        faults.extend(f"{command[0]}: {line}" for line in said.splitlines())
        if run.returncode != 0 and not said:
            faults.append(f"{command[0]} {page.name}: exit code {run.returncode}")


def names(text, macro):
    """The arguments of a macro, also where it is called within another one's line."""
    return set(re.findall(rf"(?:^\.|\s){macro} ([A-Za-z]\w+)", text, re.M))


def subsection(text, title):
    return re.search(rf"^\.S[sh] {title}\n(.*?)(?=^\.S[sh] |\Z)", text, re.M | re.S).group(1)


# --- morlactl: groups, verbs and options against --help ---

def help_of(morlactl, words):
    return subprocess.run([morlactl, *words, "--help"], capture_output=True, text=True, check=True).stdout


def commands_of(morlactl, words=()):
    """Pairs of a command that does something and its options."""
    text = help_of(morlactl, words)
    block = re.search(r"^Subcommands:\n(.*?)(?:\n\n|\Z)", text, re.M | re.S)
    if block is None:
        options = set(re.findall(r"^ +(?:-\w,)?(--[a-z][a-z-]*)", text, re.M)) - {"--help"}
        yield " ".join(words), options
    else:
        for verb in re.findall(r"^  ([a-z][a-z-]*)", block.group(1), re.M):
            yield from commands_of(morlactl, (*words, verb))


def check_morlactl(text, morlactl):
    real = dict(commands_of(morlactl))
    described = {}
    for head in re.findall(r"^\.It Xo\n\.Nm\n(.*?)^\.Xc", text, re.M | re.S):
        command = re.search(r"^\.Cm (.*)", head, re.M).group(1)
        options = {"-" + option for option in re.findall(r"Fl (-[a-z-]+)| \| (-[a-z-]+)", head) for option in option if option}
        described.setdefault(command, set()).update(options)
    same("morlactl.1", set(described), set(real))
    for command in set(described) & set(real):
        same(f"morlactl.1: {command}", described[command], real[command])
    for group in sorted({command.split()[0] for command in real}):
        explained = {"-" + option for option in re.findall(r"^\.It Fl (-[a-z-]+)", subsection(text, group), re.M)}
        used = set().union(*(options for command, options in real.items() if command.split()[0] == group))
        same(f"morlactl.1: explanations of {group}", explained, used)


# --- the other pages against the sources ---

def quoted(source, pattern):
    return set(re.findall(pattern, source))


def check_daemon(text, source):
    options = quoted((source / "daemon/command_line.cpp").read_text(), r'\{"(-[a-z-]+)", CommandLineOption')
    same("morla.8: options", {"-" + o for o in re.findall(r"Fl ([a-z-]+)", "\n".join(
        line for line in subsection(text, "Options").splitlines() if line.startswith(".It")))}, options)
    variables = {"LD_LIBRARY_PATH", "PATH"}  # of the loader and of the shell
    for file in (source / "daemon").glob("*.cpp"):
        variables |= quoted(file.read_text(), r'"(HX_\w+)"')
    same("morla.8: variables", names(subsection(text, "ENVIRONMENT"), "Ev"), variables)


def check_config(text, source):
    settings = (source / "trace/trace_settings.h").read_text()
    rows = re.findall(r'\{"(\w*)",\s*"(\w*)"\}', settings)
    same("morla-trace.conf.5: keys", set(re.findall(r"^\.It Sy (\w+)", text, re.M)), {key for key, _ in rows if key})
    items = "\n".join(line for line in text.splitlines() if line.startswith(".It"))
    weight = {"HX_LOG_RINGBUF_WEIGHT_ZENTD", "HX_LOG_FILE_DIR"}  # of the application; without effect
    same("morla-trace.conf.5: variables", names(items, "Ev"), {variable for _, variable in rows if variable} | weight)


def check_ring(text, source):
    table = (source / "trace/variable_table.cpp").read_text()
    same("morla-ring.5: variables", names(text, "Ev"), quoted(table, r'    "(\w+)",\n')
         | {"HX_LOG_RINGBUF_WEIGHT_ZENTD"})


def check_references(page, text, source):
    paths = (source / "base/paths.h").read_text()
    for path in re.findall(r"(?:^\.|\s)Pa (/[\w/.-]*\w)", text, re.M):
        # A folder counts when a known path begins with it, a file below a known folder likewise.
        known = [p for p in re.findall(r'"(/[^"]+)"', paths) if path.startswith(p) or p.startswith(path)]
        if not known and path != "/log.zentd":
            faults.append(f"{page.name}: the path {path} is not one of base/paths.h")
    for name, section in re.findall(r"Xr (morla\S*) (\d)", text):
        if not (page.parent / f"{name}.{section}").is_file():
            faults.append(f"{page.name}: there is no page {name}({section})")


def main():
    if not shutil.which("mandoc") or not shutil.which("man"):
        sys.exit(77)
    source, morlactl = Path(sys.argv[1]), sys.argv[2]
    folder = source / "packaging/man"
    pages = {page.name: page.read_text(encoding="utf-8") for page in sorted(folder.iterdir())}
    for name, text in pages.items():
        formats_cleanly(folder / name)
        check_references(folder / name, text, source)
    check_morlactl(pages["morlactl.1"], morlactl)
    check_daemon(pages["morla.8"], source)
    check_config(pages["morla-trace.conf.5"], source)
    check_ring(pages["morla-ring.5"], source)
    print("\n".join(faults) or f"{len(pages)} pages, no fault")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()

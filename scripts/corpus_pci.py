#!/usr/bin/env python3
"""Compares our list of captured PCI functions with lspci's.

usage: corpus_pci.py MORLACTL DIR
Walks every folder under DIR that holds proc/bus/pci. lspci gets the same bytes as a dump. Compared
are address, vendor, device, class with programming interface, revision, kind of header, subsystem
and secondary bus. Differences that a rule below explains are named; any other one, and any fault of
our reader, is an error. Exit status: 0 when there is none, 1 when there is one, 66 when there is
nothing to compare.
"""
import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path

BUS = re.compile(r"(?:([0-9a-f]{4,8}):)?([0-9a-f]{2})\Z")
DEVICE = re.compile(r"[01][0-9a-f]\.[0-7]\Z")
BRIDGE_BUS = re.compile(r"\tBus: primary=[0-9a-f]{2}, secondary=([0-9a-f]{2}),")
HEADER_SIZE = 64
SEGMENT_MAX = 0xFFFF


class Difference(Exception):
    """What no rule explains."""


def config_spaces(folder):
    """Address and bytes of every function of the tree."""
    for directory in sorted((folder / "proc/bus/pci").iterdir()):
        name = BUS.match(directory.name)
        if not name or not directory.is_dir():
            continue
        for file in sorted(directory.iterdir()):
            if DEVICE.match(file.name):
                yield f"{name[1] or '0000'}:{name[2]}:{file.name}", file.read_bytes()[:256]


def make_dump(spaces):
    lines = []
    for address, space in spaces:
        lines.append(f"{address} function")
        lines += [f"{at:02x}: {space[at:at + 16].hex(' ')}" for at in range(0, len(space), 16)]
        lines.append("")
    return "\n".join(lines)


def run_oracle(spaces):
    """lspci's view: address -> the fields under our names."""
    with tempfile.NamedTemporaryFile("w") as file:
        file.write(make_dump(spaces))
        file.flush()
        texts = [subprocess.run(["lspci", "-F", file.name, "-D", "-n", option], check=True, capture_output=True,
                                text=True, timeout=120).stdout for option in ("-vmm", "-v")]
    functions = {}
    for record in texts[0].strip().split("\n\n"):
        fields = dict(line.split(":\t", 1) for line in record.splitlines())
        functions[fields["Slot"]] = {
            "vendor_id": fields["Vendor"],
            "device_id": fields["Device"],
            "class": fields["Class"] + fields.get("ProgIf", "00"),
            "revision": fields.get("Rev", "00"),
            "subsystem_vendor_id": fields.get("SVendor"),
            "subsystem_id": fields.get("SDevice"),
            "secondary_bus": None,
        }
    for record in texts[1].strip().split("\n\n"):
        bus = BRIDGE_BUS.search(record)
        functions[record.split(" ", 1)[0]]["secondary_bus"] = bus[1] if bus else None
    return functions


def compare_function(ours, theirs):
    """Raises a difference, or returns the rule that explains one (None: there is none)."""
    layout = int(ours["header_type"], 16) & 0x7F
    rule = None
    for name, value in theirs.items():
        mine = ours.get(name)
        if name.startswith("subsystem") and value is None and (layout != 0 or mine in ("0000", "ffff", None)):
            continue
        if name.startswith("subsystem") and layout != 0 and mine is None:
            rule = "the oracle finds a bridge's subsystem among its capabilities, we read type 0 headers only"
        elif name == "secondary_bus" and layout == 2 and mine is None:
            rule = "the oracle shows the bus behind a CardBus bridge, we follow PCI-to-PCI bridges only"
        elif mine != value:
            raise Difference(f"{ours['address']}: {name} is {mine}, not {value}")
    return rule


def missing_rule(address, space):
    """The rule that explains why we do not have a function."""
    if int(address.split(":")[0], 16) > SEGMENT_MAX:
        return "a domain above 16 bits has no address here, its functions are skipped"
    if len(space) < HEADER_SIZE:
        return "a function of which fewer than 64 bytes can be read is skipped"
    vendor, device = space[:2], space[2:4]
    if vendor in (b"\0\0", b"\xff\xff") or device == b"\0\0":
        return "a function without vendor or device is skipped"
    raise Difference(f"we do not have {address}")


def compare_report(report, folder):
    """Compares the JSON of our inventory with the tree it was made from.

    Returns the number of functions and the rules that explained something."""
    ours = {function["address"]: function for function in report["slots"]["functions"]}
    spaces = dict(config_spaces(folder))
    theirs = run_oracle(spaces.items())
    if surplus := sorted(ours.keys() - theirs.keys()):
        raise Difference(f"the oracle does not have {surplus[0]}")
    rules = {missing_rule(address, spaces[address]) for address in theirs.keys() - ours.keys()}
    rules |= {compare_function(function, theirs[address]) for address, function in ours.items()}
    return len(ours), sorted(rule for rule in rules if rule)


def run_ours(morlactl, folder):
    command = [morlactl, "inventory", "--json", "--section", "slots", "--from", folder]
    run = subprocess.run(command, capture_output=True, timeout=120)
    if run.returncode != 0 or b"Sanitizer" in run.stderr:
        raise Difference(f"fault, exit status {run.returncode}: {run.stderr.decode(errors='replace')}")
    return json.loads(run.stdout)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    folders = sorted(path.parents[2] for path in Path(sys.argv[2]).rglob("proc/bus/pci") if path.is_dir())
    failures = 0
    for folder in folders:
        try:
            number, rules = compare_report(run_ours(sys.argv[1], folder), folder)
            print(f"{folder.name}: {number} functions" + "".join(f"\n    {rule}" for rule in rules))
        except (Difference, OSError, ValueError, KeyError, subprocess.SubprocessError) as difference:
            failures += 1
            print(f"{folder.name}: DIFFERENCE: {difference!r}")
    print(f"{len(folders)} PCI trees, {failures} with unexplained differences")
    if not folders:
        return 66
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

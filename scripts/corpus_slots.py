#!/usr/bin/env python3
"""Compares the slot rows that we take from captured SMBIOS tables with what dmidecode shows.

usage: corpus_slots.py MORLACTL DIR
Walks every folder under DIR that holds DMI and smbios_entry_point. Compared are handle, designation,
usage and bus address of system slots and onboard devices. Rules that explain a difference are named.
Exit status: 0 when there is no other one, 1 when there is one, 66 when there is nothing to compare.
"""
import json
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from corpus_smbios import Difference, make_dump

BLOCK = re.compile(r"Handle 0x([0-9A-F]{4}), DMI type (9|41), (\d+) bytes\n(.*?)(?:\n\n|\Z)", re.S)
FIELD = re.compile(r"^\t([A-Z][A-Za-z ]+): (.*)$", re.M)
USAGES = {"Other": "01", "Unknown": "02", "Available": "03", "In Use": "04", "Unavailable": "05"}
SHORTEST = {"9": 0x11, "41": 0x0B}  # bytes that hold a bus address


def our_rows(morlactl, folder):
    with tempfile.TemporaryDirectory() as root:
        tables = Path(root, "sys/firmware/dmi/tables")
        tables.mkdir(parents=True)
        for name in ("DMI", "smbios_entry_point"):
            shutil.copy(folder / name, tables / name)
        Path(root, "proc/bus/pci").mkdir(parents=True)
        run = subprocess.run([morlactl, "inventory", "--from", root, "--json", "--section", "slots"],
                             capture_output=True, timeout=120)
    if run.returncode != 0:
        raise Difference(f"fault, exit status {run.returncode}: {run.stderr.decode(errors='replace')}")
    return json.loads(run.stdout)["slots"]["rows"]


def their_rows(folder):
    dump, _ = make_dump((folder / "smbios_entry_point").read_bytes(), (folder / "DMI").read_bytes())
    with tempfile.NamedTemporaryFile() as file:
        file.write(dump)
        file.flush()
        run = subprocess.run(["dmidecode", "--from-dump", file.name], capture_output=True, timeout=120)
    for match in BLOCK.finditer(run.stdout.decode(errors="replace")):
        handle, kind, length, body = match.groups()
        yield int(handle, 16), kind, int(length), dict(FIELD.findall(body))


def compare_row(row, kind, length, fields):
    """The rule that explains the row; None when both show the same."""
    if length < SHORTEST[kind]:
        if not row["unreliable"]:
            raise Difference(f"handle {row['handle']}: too short, but not marked")
        return "a structure too short for a bus address gives a row that is marked unreliable"
    address = fields.get("Bus Address", "ffff:ff:1f.7")
    if (row["bus"], row["device"]) != (address[5:7], address[8:10]):
        raise Difference(f"handle {row['handle']}: {row['bus']}:{row['device']}, not {address}")
    if kind == "9" and row["usage"] != USAGES.get(fields.get("Current Usage"), row["usage"]):
        raise Difference(f"handle {row['handle']}: usage {row['usage']}, not {fields['Current Usage']}")
    name = fields.get("Designation" if kind == "9" else "Reference Designation", "")
    ours = (row["slot_designation"] or "").strip()
    if name.isascii() and name not in ("Not Specified", "<BAD INDEX>") and "." not in name and ours != name.strip():
        raise Difference(f"handle {row['handle']}: {ours!r}, not {name!r}")
    return None


def check_pair(morlactl, folder):
    rows = {(row["handle"], row["smbios_type"]): row for row in our_rows(morlactl, folder)}
    rules = set()
    for handle, kind, length, fields in their_rows(folder):
        row = rows.pop((handle, int(kind)), None)
        if row is not None:
            rules.add(compare_row(row, kind, length, fields))
        elif kind == "9" and fields.get("Current Usage") == "Unavailable":
            rules.add("an unavailable slot gives no row")
        elif kind == "9" and fields.get("Bus Address", "0000:ff")[5:7] == "ff":
            rules.add("a slot on bus ff gives no row")
        else:
            raise Difference(f"handle {handle}: no row")
    if rows:
        raise Difference(f"rows that dmidecode does not show: {sorted(rows)}")
    return sorted(rules - {None})


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    folders = sorted(path.parent for path in Path(sys.argv[2]).rglob("DMI")
                     if path.is_file() and (path.parent / "smbios_entry_point").is_file())
    failures = 0
    for folder in folders:
        try:
            print(f"{folder.name}: slots" + "".join(f"\n    {rule}" for rule in check_pair(sys.argv[1], folder)))
        except (Difference, OSError, ValueError, subprocess.TimeoutExpired) as difference:
            failures += 1
            print(f"{folder.name}: DIFFERENCE: {difference}")
    print(f"{len(folders)} slot tables, {failures} with unexplained differences")
    if not folders:
        return 66
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

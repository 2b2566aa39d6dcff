#!/usr/bin/env python3
"""Compares our reading of captured SMBIOS tables with dmidecode's.

usage: corpus_smbios.py MORLACTL DIR
Walks every folder under DIR that holds DMI and smbios_entry_point. Structures are compared in the
table's order: handle, type, length, bytes of the formatted area, strings. Differences that one of
the rules below explains are named; any other difference, and any fault of our reader, is an error.
Exit status: 0 when there is none, 1 when there is one, 66 when there is nothing to compare.
"""
import itertools
import json
import re
import struct
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

PROCESSOR = 4
END_OF_TABLE = 127
POWER_DEVICE = 34
HEAD = re.compile(rb"Handle 0x([0-9A-F]{4}), DMI type (\d+), (\d+) bytes")
HEX_ROW = re.compile(rb"\t\t((?:[0-9A-F]{2} )*[0-9A-F]{2})\Z")


@dataclass
class Structure:
    handle: int
    type: int
    length: int
    data: bytes = b""
    strings: list = field(default_factory=list)
    is_truncated: bool = False


class Difference(Exception):
    """What no rule explains."""


def run_ours(morlactl, folder):
    run = subprocess.run([morlactl, "smbios", "--json", "--from", folder], capture_output=True, timeout=120)
    if run.returncode not in (0, 1) or b"Sanitizer" in run.stderr:
        raise Difference(f"fault, exit status {run.returncode}: {run.stderr.decode(errors='replace')}")
    if not run.stdout:
        return None
    return json.loads(run.stdout)


def our_structures(report):
    for item in report["structures"]:
        if "strings_hex" in item:
            strings = [bytes.fromhex(text) for text in item["strings_hex"]]
        else:
            strings = [text.encode() for text in item["strings"]]
        yield Structure(item["handle"], item["type"], item["length"], bytes.fromhex(item["data"]), strings)


def with_checksum(data, place, begin, end):
    data[place] = 0
    data[place] = -sum(data[begin:end]) % 256


def make_dump(entry, table):
    """dmidecode's own layout, with the same table bytes as we read: entry point at 0, table at 32.

    Table size, address and checksums of the entry point are made to fit; an entry point that is no
    SMBIOS 2.1 one, or whose table is too long for that, becomes an SMBIOS 3.0 one. Returns the dump
    and the number of structures that the entry point gives (0: none)."""
    if entry[:4] == b"_SM_" and len(table) < 0x10000:
        made = bytearray(entry[:31].ljust(31, b"\0"))
        made[5] = 31
        made[0x10:0x15] = b"_DMI_"
        struct.pack_into("<HI", made, 0x16, len(table), 32)
        with_checksum(made, 0x15, 0x10, 0x1F)
        with_checksum(made, 4, 0, 31)
        count = struct.unpack_from("<H", made, 0x1C)[0]
    else:
        version = entry[7:9] if entry[:5] == b"_SM3_" and len(entry) > 8 else b"\3\0"
        made = bytearray(struct.pack("<5s2B2s3BIQ", b"_SM3_", 0, 24, version, 0, 1, 0, len(table), 32))
        with_checksum(made, 5, 0, 24)
        count = 0
    return bytes(made).ljust(32, b"\0") + table, count


def run_oracle(dump):
    with tempfile.NamedTemporaryFile() as file:
        file.write(dump)
        file.flush()
        run = subprocess.run(["dmidecode", "-u", "--from-dump", file.name], capture_output=True, timeout=120)
    if run.returncode != 0:
        raise Difference(f"the oracle fails: {run.stderr.decode(errors='replace')}")
    return list(oracle_structures(run.stdout)), run.stdout + run.stderr


def oracle_structures(text):
    lines = iter(text.split(b"\n"))
    structure = None
    where = None
    string = b""
    for line in lines:
        if head := HEAD.match(line):
            if structure:
                yield structure
            structure = Structure(int(head[1], 16), int(head[2]), int(head[3]))
        elif b"<TRUNCATED>" in line and structure:
            structure.is_truncated = True
        elif line in (b"\tHeader and Data:", b"\tStrings:"):
            where, string = line, b""
        elif (row := HEX_ROW.match(line)) and where == b"\tHeader and Data:":
            structure.data += bytes.fromhex(row[1].decode())
        elif row and where == b"\tStrings:":
            string += bytes.fromhex(row[1].decode())
            if string.endswith(b"\0"):
                structure.strings.append(string[:-1])
                string = b""
                next(lines)  # the same as text
    if structure:
        yield structure


def string_bytes(strings):
    return b"".join(text + b"\0" for text in strings)


def printable(text):
    return bytes(byte if 0x20 <= byte < 0x7F else ord(".") for byte in text)


def compare_structure(ours, theirs):
    """Raises a difference, or returns the rule that explains one (None: there is none)."""
    if (ours.handle, ours.type) != (theirs.handle, theirs.type):
        raise Difference(f"{ours} is not {theirs}")
    if theirs.is_truncated:
        return "the oracle shows nothing of a structure that the table cuts off"
    if ours.type == POWER_DEVICE and ours.length == 16 and len(theirs.data) == 11:
        if ours.data[2:11] == theirs.data[2:] and ours.data[11:] + string_bytes(ours.strings) == string_bytes(theirs.strings):
            return "the oracle corrects the length of a type 34 from 16 to 11"
    if (ours.length, ours.data) != (theirs.length, theirs.data):
        raise Difference(f"{ours} is not {theirs}")
    if ours.strings != theirs.strings:
        if theirs.strings == list(itertools.takewhile(len, ours.strings)):
            return "the oracle shows no string behind an empty one"
        if ours.type == PROCESSOR and [printable(text) for text in ours.strings] == [printable(text) for text in theirs.strings]:
            return "the oracle puts dots into a processor's version"
        raise Difference(f"strings {ours.strings} are not {theirs.strings}")
    return None


def compare_lists(ours, theirs, count):
    """The rules that explain why one list is longer."""
    if len(theirs) < len(ours):
        following = ours[len(theirs)]
        if following.length < 4:
            return "the oracle stops at a structure shorter than 4 bytes, we go on"
        if count and len(theirs) == count:
            return "the oracle stops after the entry point's number of structures, we go on"
        raise Difference(f"the oracle does not have {following}")
    if len(theirs) > len(ours):
        if ours and ours[-1].type == END_OF_TABLE:
            return "the oracle goes on behind type 127, we stop"
        raise Difference(f"we do not have {theirs[len(ours)]}")
    return None


def rest_behind(report, ours, table):
    """The number of bytes behind the last structure."""
    if not ours:
        return len(table)
    strings = string_bytes(ours[-1].strings)
    end = report["structures"][-1]["offset"] + ours[-1].length + (len(strings) + 1 if strings else 2)
    return len(table) - end


def check_count(report, ours, rest):
    """Our own count, by the rule: one more when anything stands behind the last structure."""
    expected = len(ours) + (1 if rest > 0 else 0)
    if report["structure_count"] != expected:
        raise Difference(f"the structure count is {report['structure_count']}, not {expected}")
    if rest > 0 and ours and ours[-1].type == END_OF_TABLE:
        return "the structure count is one too high, because bytes follow type 127"
    if rest > 3:
        raise Difference(f"{rest} bytes are left over")
    return "the last structure has no whole header and is skipped" if rest > 0 else None


def check_pair(morlactl, folder):
    """The number of structures and the rules that explained something."""
    table = (folder / "DMI").read_bytes()
    report = run_ours(morlactl, folder)
    if report is None:
        if table:
            raise Difference("no report")
        return 0, ["there is no table"]
    ours = list(our_structures(report))
    dump, count = make_dump((folder / "smbios_entry_point").read_bytes(), table)
    theirs, said = run_oracle(dump)
    rules = [compare_structure(*pair) for pair in zip(ours, theirs)]
    rules.append(compare_lists(ours, theirs, count))
    rest = rest_behind(report, ours, table)
    if report["complete"]:
        rules.append(check_count(report, ours, rest))
    elif b"<TRUNCATED>" in said or b"table is broken" in said:
        rules.append("the table breaks off, the oracle says so too")
    elif len(ours) == len(theirs) and 0 < rest < 4:
        rules.append("fewer than 4 bytes are left over, the oracle does not look at them")
    else:
        raise Difference(f"the oracle sees no fault, we do: {report['error']}")
    return len(ours), sorted({rule for rule in rules if rule})


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    folders = sorted(path.parent for path in Path(sys.argv[2]).rglob("DMI")
                     if path.is_file() and (path.parent / "smbios_entry_point").is_file())
    failures = 0
    for folder in folders:
        try:
            number, rules = check_pair(sys.argv[1], folder)
            print(f"{folder.name}: {number} structures" + "".join(f"\n    {rule}" for rule in rules))
        except (Difference, OSError, ValueError, subprocess.TimeoutExpired) as difference:
            failures += 1
            print(f"{folder.name}: DIFFERENCE: {difference}")
    print(f"{len(folders)} tables, {failures} with unexplained differences")
    if not folders:
        return 66
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

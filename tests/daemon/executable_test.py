#!/usr/bin/env python3
"""Checks the daemon's executable as a file: what it exports and needs, and how it is hardened.

usage: executable_test.py EXECUTABLE
"""
import re
import subprocess
import sys
import unittest

EXECUTABLE = sys.argv.pop(1)

# The operations of the SDK's CDebug.
OPERATIONS = {
    "CDebug::~CDebug()",
    "CDebug::IsMaster()",
    "CDebug::Init(char const*)",
    "CDebug::Print(unsigned int, char const*, ...)",
    "CDebug::PrintAlways(char const*, ...)",
    "CDebug::PrintAlways(unsigned int, char const*, ...)",
    "CDebug::PrintAlwaysV(char const*, __va_list_tag*, char const*)",
    "CDebug::ClientPrintV(char const*, __va_list_tag*, char const*)",
    "CDebug::PrintV(unsigned int, char const*, __va_list_tag*)",
    "CDebug::IsLevelActive(unsigned int) const",
    "CDebug::IsTracingActive() const",
}


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class Executable(unittest.TestCase):
    def test_exports_debug_and_its_operations_only(self):
        exported = {}
        for line in output_of("nm", "-D", "-C", "--defined-only", EXECUTABLE).splitlines():
            kind, name = re.match(r"[0-9a-f]+ (\w) (.*)", line).groups()
            exported[name] = kind
        data = {name for name, kind in exported.items() if kind not in "TW"}
        self.assertEqual(data, {"Debug"})
        self.assertEqual(set(exported) - data, OPERATIONS)

    def test_needs_the_runtime_libraries_only(self):
        needed = set(re.findall(r"NEEDED.*\[(.*)\]", output_of("readelf", "-dW", EXECUTABLE)))
        self.assertLessEqual(needed, {"libc.so.6", "libm.so.6", "libstdc++.so.6", "libgcc_s.so.1"})
        self.assertLessEqual({"libc.so.6", "libstdc++.so.6", "libgcc_s.so.1"}, needed)

    def test_is_hardened(self):
        headers = output_of("readelf", "-hlW", EXECUTABLE)
        dynamic = output_of("readelf", "-dW", EXECUTABLE)
        symbols = output_of("nm", "-D", "--undefined-only", EXECUTABLE)
        self.assertRegex(headers, r"Type:\s+DYN")
        self.assertRegex(dynamic, r"FLAGS_1\).*\bPIE\b")
        self.assertRegex(headers, r"GNU_RELRO")
        self.assertRegex(dynamic, r"FLAGS_1\).*\bNOW\b")
        self.assertRegex(headers, r"GNU_STACK\s+(\S+\s+){5}RW\s")
        self.assertNotRegex(dynamic, r"TEXTREL|RPATH|RUNPATH")
        self.assertIn("__stack_chk_fail", symbols)
        self.assertRegex(symbols, r"__\w+_chk\b")


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""Checks the built switch library and module as files: what they export, need and expect.

usage: switch_library_test.py LIBSWITCH MODULE
"""
import re
import subprocess
import sys
import unittest

MODULE = sys.argv.pop(2)
SWITCH = sys.argv.pop(1)
RUNTIME = {"libc.so.6", "libm.so.6", "libstdc++.so.6", "libgcc_s.so.1", "ld-linux-x86-64.so.2"}


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def symbols(which, library):
    lines = output_of("nm", "-D", which, library).splitlines()
    return {line.split()[-1].split("@")[0] for line in lines}


class Libraries(unittest.TestCase):
    def test_export_their_entry_points_only(self):
        self.assertEqual(symbols("--defined-only", SWITCH), {"SW_AddRef", "SW_Release", "SW_QueryInterface"})
        self.assertEqual(symbols("--defined-only", MODULE),
                         {"morla_module_abi", "morla_module_create", "morla_module_destroy"})

    def test_need_the_runtime_libraries_only(self):
        for library in (SWITCH, MODULE):
            needed = set(re.findall(r"NEEDED.*\[(.*)\]", output_of("readelf", "-dW", library)))
            self.assertLessEqual(needed, RUNTIME)

    def test_bind_to_the_daemons_debug(self):
        for library in (SWITCH, MODULE):
            self.assertIn("Debug", symbols("--undefined-only", library))

    def test_the_switch_is_never_unloaded(self):
        self.assertRegex(output_of("readelf", "-dW", SWITCH), r"FLAGS_1.*NODELETE")


if __name__ == "__main__":
    unittest.main()

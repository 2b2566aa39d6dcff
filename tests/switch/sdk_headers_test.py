#!/usr/bin/env python3
"""Checks that the SDK's headers stand by themselves: C++11, one at a time, nothing from outside.

usage: sdk_headers_test.py SOURCE_FOLDER
Tries g++ and clang++, as far as they are installed.
"""
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

SOURCE = Path(sys.argv.pop(1))
SDK = SOURCE / "sdk"
HEADERS = sorted(str(path.relative_to(SDK)) for path in SDK.rglob("*.h"))
COMPILERS = [name for name in ("g++", "clang++") if shutil.which(name)]
FLAGS = ["-std=c++11", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-Wold-style-cast", "-Wnon-virtual-dtor",
         "-fsyntax-only", "-isystem", "/nowhere", f"-I{SDK}", "-x", "c++", "-"]


def compile_errors(compiler, text):
    run = subprocess.run([compiler, *FLAGS], input=text, capture_output=True, text=True)
    return run.stderr if run.returncode != 0 else ""


class Headers(unittest.TestCase):
    def test_there_is_something_to_test(self):
        self.assertTrue(COMPILERS)
        self.assertIn("morla/module.h", HEADERS)

    def test_compile_alone_twice_and_together(self):
        together = "".join(f'#include "{header}"\n' for header in HEADERS)
        texts = [f'#include "{header}"\n' * 2 for header in HEADERS] + [together]
        for compiler in COMPILERS:
            for text in texts:
                with self.subTest(compiler=compiler, text=text):
                    self.assertEqual(compile_errors(compiler, text), "")

    def test_include_the_standard_library_and_each_other_only(self):
        for header in HEADERS:
            for included in re.findall(r"^\s*#\s*include\s*(\S+)", (SDK / header).read_text(), re.M):
                with self.subTest(header=header, included=included):
                    self.assertRegex(included, r'^(<c?[a-z]+>|"morla/\w+\.h")$')

    def test_modules_of_the_documentation_compile(self):
        page = (SOURCE / "docs/switch.md").read_text()
        blocks = re.findall(r"```cpp\n(.*?)```", page, re.S)
        self.assertTrue(blocks)
        for compiler in COMPILERS:
            for block in blocks:
                with self.subTest(compiler=compiler, block=block):
                    self.assertEqual(compile_errors(compiler, block), "")


if __name__ == "__main__":
    unittest.main()

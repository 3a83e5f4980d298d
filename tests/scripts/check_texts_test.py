# SPDX-License-Identifier: BSD-3-Clause
"""Plants texts into a small copy of the project and asks scripts/check-texts about them.

usage: check_texts_test.py PATH_OF_CHECK_TEXTS"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = sys.argv.pop(1)

INNOCENT = '''#include "stream/Store.h"
// allow more with "--memory"
/* or
   "--scratch DIR" */
const char QUOTE = '"'; // a quote opens no text, "--memory" is a comment still
const long long COUNT = 1'000'000; // '--memory'
const char* const TEXT = "allow more memory -- or \\"less\\" work; a--b; - - x";
int decrement(int n) { return --n; }
'''

VIOLATIONS = ['"allow more by --memory"', '"--threads"', '"(--scratch DIR)"', '"\\"\\\\" "give --mask"',
              'R"(first\n"--raw")"', 'R"x(")" --raw)x"', '/* " */ "--maps"', '\'"\'; "--maps"']


def outcome_of(files):
    with tempfile.TemporaryDirectory() as folder:
        for name, text in files.items():
            path = Path(folder) / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        return subprocess.run([sys.executable, SCRIPT, folder], capture_output=True, text=True)


class Texts(unittest.TestCase):
    def test_comments_code_and_dashes_are_no_options(self):
        outcome = outcome_of({"stream/Store.cpp": INNOCENT})
        self.assertEqual((outcome.returncode, outcome.stdout), (0, ""))

    def test_the_command_line_may_name_its_options(self):
        self.assertEqual(
            outcome_of({"apps/Main.cpp": 'f("--memory");', "stream/Store.cpp": INNOCENT}).returncode, 0)

    def test_every_planted_option_is_found_with_its_line(self):
        folders = ("host/VexoBase", "src/Axes", "phantom", "volume", "stream", "report", "jobs")
        files = {f"{folder}/A{i}.cpp": f"\nconst auto t = {violation};\n"
                 for folder in folders for i, violation in enumerate(VIOLATIONS)}
        outcome = outcome_of(files)
        self.assertEqual(outcome.returncode, 1)
        for name in files:
            self.assertIn(f"{name}:2: ", outcome.stdout)
        self.assertEqual(len(outcome.stdout.splitlines()), len(files))

    def test_a_folder_without_texts_is_a_failure(self):
        self.assertEqual(outcome_of({"apps/Main.cpp": 'f("x");'}).returncode, 1)


unittest.main()

# SPDX-License-Identifier: BSD-3-Clause
"""Plants differences between the help of a small command line and its page and asks scripts/check-help about them.

usage: check_help_test.py PATH_OF_CHECK_HELP"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = sys.argv.pop(1)

PROGRAM = """#!/bin/sh
case "$1" in
--help) printf 'Usage: tevra COMMAND ...\\n\\nOptions:\\n  --version   Print it\\n  -h,--help   Print this\\n\\n'
    printf 'Commands:\\n  cut         Cut images\\n              into --pieces\\n  info        Say\\n\\nEnd.\\n';;
cut) printf 'Usage: tevra cut\\n\\nOptions:\\n  -h,--help   Print this\\n  -o,--output FILE  See\\n'
    printf '                    --other\\n  --pieces N  How many\\n\\nOptions of the run:\\n  --slowly  Take time\\n'
    printf '\\nExample: tevra cut --size 3\\n';;
info) printf 'Usage: tevra info\\n\\nOptions:\\n  -h,--help   Print this\\n  --json      JSON\\n';;
esac
"""

TOP = "| command | does |\n|---|---|\n| [`tevra cut`](#tevra-cut) | cuts |\n| [`tevra info`](#tevra-info) | says |\n"
CUT = """
## tevra cut

Cuts (`--pieces 3`); `tevra info --json` says more.

| option | meaning |
|---|---|
| `-o`, `--output FILE` | file |
| `--pieces N` | how many |
| `--slowly` | take time |

| file | holds |
|---|---|
| `--what` | `--pieces` |
""".replace("| `--what` |", "| `a.tif` |")
INFO = "\n## tevra info\n\n| option | meaning |\n|---|---|\n| `--json` | JSON |\n"
README = "# Cutter\n\n| command | does |\n|---|---|\n| `tevra cut IMAGE -o FILE` | cuts |\n| `tevra info IMAGE` | says |\n"


def outcome_of(page=TOP + CUT + INFO, readme=README):
    with tempfile.TemporaryDirectory() as folder:
        root = Path(folder)
        program = root / "tevra"
        program.write_text(PROGRAM, encoding="utf-8")
        program.chmod(0o755)
        (root / "docs").mkdir()
        (root / "docs/command-line.md").write_text(page, encoding="utf-8")
        (root / "README.md").write_text(readme, encoding="utf-8")
        return subprocess.run([sys.executable, SCRIPT, program, folder], capture_output=True, text=True)


class Help(unittest.TestCase):
    def expect_complaint(self, part, **pages):
        outcome = outcome_of(**pages)
        self.assertEqual(outcome.returncode, 1, outcome.stderr)
        self.assertIn(part, outcome.stdout)

    def test_a_page_that_agrees_is_accepted(self):
        outcome = outcome_of()
        self.assertEqual((outcome.returncode, outcome.stdout, outcome.stderr), (0, "", ""))

    def test_an_option_without_a_row_is_found(self):
        self.expect_complaint("--pieces is in the help of cut",
                              page=TOP + CUT.replace("| `--pieces N` | how many |\n", "") + INFO)
        self.expect_complaint("--slowly is in the help of cut",
                              page=TOP + CUT.replace("| `--slowly` | take time |\n", "") + INFO)
        self.expect_complaint("-o is in the help of cut", page=TOP + CUT.replace("`-o`, ", "") + INFO)

    def test_a_row_without_an_option_is_found(self):
        self.expect_complaint("--parts is in its table", page=TOP + CUT.replace("`--pieces N`", "`--parts N`") + INFO)

    def test_an_option_of_another_command_is_found_unless_the_command_is_named(self):
        self.expect_complaint("names --json under tevra cut",
                              page=TOP + CUT.replace("`tevra info --json`", "`--json`") + INFO)
        self.expect_complaint("names --pieces under tevra info", page=TOP + CUT + INFO + "\nSee `--pieces`.\n")

    def test_an_option_that_nobody_has_is_found_outside_of_sections(self):
        self.expect_complaint("--quick", page="`--quick` is fast.\n" + TOP + CUT + INFO)

    def test_commands_that_one_side_lacks_are_found(self):
        self.expect_complaint("cut is a command of the help, but not a section", page=TOP + INFO)
        self.expect_complaint("glue is a section", page=TOP + CUT + INFO + "\n## tevra glue\n")
        self.expect_complaint("info is a command of the help, but not in the table at the top",
                              page=TOP.replace("| [`tevra info`](#tevra-info) | says |\n", "") + CUT + INFO)
        self.expect_complaint("info is a command of the help, but not in the README",
                              readme=README.replace("| `tevra info IMAGE` | says |\n", ""))


unittest.main()

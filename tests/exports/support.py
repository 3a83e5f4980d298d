# SPDX-License-Identifier: BSD-3-Clause
"""What the tests that read the program's files with other libraries have in common.

Each is run as: /usr/bin/python3 TEST.py PROGRAM"""

import importlib
import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SKIPPED = 77  # the status that CTest takes for a skipped test


def modules(*names):
    """The modules, or the end of the test with a message where one is missing."""
    try:
        return [importlib.import_module(name) for name in names]
    except ImportError as missing:
        print(f"skipped: {missing}; scripts/install-deps --readers installs it")
        sys.exit(SKIPPED)


class ExportTest(unittest.TestCase):
    """Runs the program in a folder of its own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def tevra(self, *words, status=0):
        run = subprocess.run([PROGRAM, *map(str, words)], cwd=self.folder, capture_output=True, text=True)
        self.assertEqual(run.returncode, status, run.stderr)
        return run

    def result(self, folder="out"):
        return json.loads((self.folder / folder / "result.json").read_text(encoding="utf-8"))

    def record(self, folder="out"):
        return json.loads((self.folder / folder / "run.json").read_text(encoding="utf-8"))


def main():
    global PROGRAM
    PROGRAM = str(Path(sys.argv.pop(1)).resolve())
    unittest.main(module="__main__")

# SPDX-License-Identifier: BSD-3-Clause
"""Plants include lines into a small copy of the project's map and asks scripts/check-includes about them.

usage: check_includes_test.py PATH_OF_CHECK_INCLUDES"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = sys.argv.pop(1)

# A tree that breaks no rule.
CLEAN = {
    "host/zeklib2core/CMakeLists.txt": "tevra_add_library(zeklib2core\n    ROOT x\n    HEADERS String.h)",
    "host/zeklib2core/String.h": "#include <string>",
    "host/zeklib2image/CMakeLists.txt": "tevra_add_library(zeklib2image\n    PUBLIC zeklib2core)",
    "host/zeklib2image/Image.h": '#include "zeklib2core/String.h"\n#include <sys/mman.h>',
    "host/VexoBase/CMakeLists.txt": "tevra_add_library(VexoBase)",
    "host/VexoBase/Workers.cpp": "#include <oneapi/tbb/parallel_for.h>",
    "host/VexoFilter/CMakeLists.txt": "tevra_add_library(VexoFilter\n    PUBLIC zeklib2image)",
    "host/VexoFilter/Filter.cpp": '#include "zeklib2core/String.h"\n#include "Numeric/Lanes.h"\n#include <vector>',
    "host/VexoNumeric/CMakeLists.txt": "tevra_add_library(VexoNumeric)",
    "host/VexoNumeric/Numeric.cpp": '#include "Numeric/MatrixInterface.h"\n#include <Eigen/SVD>',
    "src/Numeric/MatrixInterface.h": '#include "zeklib2core/String.h"\n#include "Numeric/Lanes.h"\n#include <vector>',
    "src/Numeric/Lanes.h": "#include <cstddef>",
    "src/Axes/Axis.h": '#include "Axes/Angles.h"\n#include "Numeric/Lanes.h"\n#include "Utils/Rows.h"',
    "src/Axes/Angles.h": "#include <immintrin.h>",
    "src/FilterOrientations/Estimator.cpp": '#include "Axes/Axis.h"\n#include "zeklib2image/Image.h"',
    "src/Utils/Rows.h": '#include "Numeric/Lanes.h"',
    "volume/ImageReader.cpp": '#include "volume/ImageReader.h"\n#include <tiffio.h>\n#include <H5Cpp.h>',
    "volume/ImageReader.h": '#include "zeklib2image/Image.h"',
    "report/Json.cpp": '#include "Numeric/MatrixInterface.h"\n#include <nlohmann/json.hpp>',
    "apps/Main.cpp": '#include "report/Json.h"\n#include "volume/ImageReader.h"\n#include <CLI/App.hpp>\n'
                     '#include "Local.h"',
    "apps/Local.h": "#include <unistd.h>",
    "tests/Any.cpp": "#include <Eigen/SVD>\n#include <H5Cpp.h>",
}

# (file, include line that does not belong there)
VIOLATIONS = [
    ("src/Numeric/MatrixInterface.h", '#include "volume/ImageReader.h"'),
    ("src/Numeric/MatrixInterface.h", '#include "report/Json.h"'),
    ("src/Numeric/MatrixInterface.h", "#include <Eigen/SVD>"),
    ("src/Numeric/MatrixInterface.h", "#include <fftw3.h>"),
    ("src/Numeric/MatrixInterface.h", "#include <unistd.h>"),
    ("src/Numeric/MatrixInterface.h", "#include <boost/any.hpp>"),
    ("src/Numeric/MatrixInterface.h", '  #  include "support/MakeImage.h"'),
    ("src/Axes/Axis.h", '#include "FilterOrientations/Estimator.h"'),
    ("src/Utils/Rows.h", '#include "Axes/Axis.h"'),
    ("src/Numeric/Lanes.h", '#include "Utils/Rows.h"'),
    ("host/zeklib2core/String.h", '#include "zeklib2image/Image.h"'),
    ("host/zeklib2core/String.h", '#include "Numeric/MatrixInterface.h"'),
    ("host/zeklib2core/String.h", "#include <zeklib2image/Image.h>"),
    ("host/VexoNumeric/Numeric.cpp", '#include "Numeric/Other.h"'),
    ("host/VexoNumeric/Numeric.cpp", '#include "zeklib2core/String.h"'),
    ("host/VexoFilter/Filter.cpp", '#include "Numeric/MatrixInterface.h"'),
    ("host/VexoFilter/Filter.cpp", "#include <Eigen/Core>"),
    ("host/VexoFilter/Filter.cpp", "#include <tbb/parallel_for.h>"),
    ("apps/Main.cpp", "#include <oneapi/tbb/task_arena.h>"),
    ("host/VexoFilter/Filter.cpp", "#include <boost/any.hpp>"),
    ("volume/ImageReader.cpp", '#include "Numeric/MatrixInterface.h"'),
    ("volume/ImageReader.cpp", '#include "report/Json.h"'),
    ("volume/ImageReader.cpp", "#include <nlohmann/json.hpp>"),
    ("volume/ImageReader.cpp", "#include <itkImage.h>"),
    ("report/Json.cpp", '#include "volume/ImageReader.h"'),
    ("report/Json.cpp", '#include "apps/Local.h"'),
    ("apps/Main.cpp", "#include <tiffio.h>"),
    ("apps/Main.cpp", '#include "Missing.h"'),
]


class CheckIncludes(unittest.TestCase):
    def setUp(self):
        self._folder = tempfile.TemporaryDirectory()
        self.addCleanup(self._folder.cleanup)
        self.root = Path(self._folder.name)
        for name, text in CLEAN.items():
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / name).write_text(text + "\n")

    def run_script(self):
        return subprocess.run([SCRIPT, str(self.root)], capture_output=True, text=True, check=False)

    def test_clean_tree_passes_in_silence(self):
        result = self.run_script()
        self.assertEqual((result.returncode, result.stdout), (0, ""))

    def test_each_planted_violation_is_named_with_its_line(self):
        for name, line in VIOLATIONS:
            with self.subTest(file=name, line=line):
                clean = (self.root / name).read_text()
                (self.root / name).write_text(clean + line + "\n")
                result = self.run_script()
                number = clean.count("\n") + 1
                self.assertEqual(result.returncode, 1)
                self.assertIn(f"{name}:{number}: {line.strip()}", result.stdout)
                self.assertEqual(result.stdout.count("\n"), 1, result.stdout)
                (self.root / name).write_text(clean)

    def test_empty_tree_does_not_pass(self):
        with tempfile.TemporaryDirectory() as empty:
            result = subprocess.run([SCRIPT, empty], capture_output=True, text=True, check=False)
        self.assertEqual(result.returncode, 1)


unittest.main()

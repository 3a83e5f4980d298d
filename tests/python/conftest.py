# SPDX-License-Identifier: BSD-3-Clause
"""What tests of the Python module share."""

import os
import subprocess
from pathlib import Path

import numpy as np
import pytest

import tevra


def lines_image(shape, axis="x", period=12, width=12.0):
    """Bright Gaussian lines along an axis, uint8, [z, y, x]."""
    across = ["zyx".index(name) for name in "zyx" if name != axis]
    grid = np.indices(shape)
    square = sum((grid[i] % period - period / 2.0) ** 2 for i in across)
    return (40 + 160 * np.exp(-square / width)).astype(np.uint8)


def axial_angles_deg(axes, truth):
    """Angles between axes (unit vectors, last index) and others, degrees, [0, 90]."""
    dot = np.abs(np.einsum("...i,...i->...", axes.astype(float), np.asarray(truth, float)))
    return np.degrees(np.arccos(np.clip(dot, 0, 1)))


def run_program(*arguments):
    program = os.environ.get("TEVRA_PROGRAM")
    if not program:
        pytest.skip("the command line is not built (TEVRA_PROGRAM is unset)")
    return subprocess.run([program, *map(str, arguments)], check=True, capture_output=True, text=True)


@pytest.fixture(scope="session")
def dense():
    """A phantom of separate fibers in many directions."""
    return tevra.phantom((48, 56, 64), 3, beta=0.5, volume_fraction=0.12, seed=5)


@pytest.fixture
def here(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    return tmp_path


@pytest.fixture(scope="session")
def source():
    return Path(os.environ.get("TEVRA_SOURCE", Path(__file__).resolve().parents[2]))

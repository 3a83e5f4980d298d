# SPDX-License-Identifier: BSD-3-Clause
"""Examples, the notebook and the code of docs/python.md run."""

import json
import os
import re
import subprocess
import sys

import matplotlib.image
import pytest

matplotlib.use("Agg")

EXAMPLES = ("analyze_volume", "direction_map_2d", "compare_estimators", "beta_from_phantom")


@pytest.mark.parametrize("name", EXAMPLES)
def test_examples_draw_their_pictures(here, source, name):
    run = subprocess.run([sys.executable, source / "examples" / f"{name}.py"], capture_output=True, text=True,
                         env={**os.environ, "MPLBACKEND": "Agg"})
    assert run.returncode == 0, run.stderr
    picture = matplotlib.image.imread(f"{name}.png")
    assert picture.shape[0] > 300 and picture.shape[1] > 600
    assert picture[..., :3].std() > 0.05, "something is drawn"


def test_every_example_is_run(source):
    assert {path.stem for path in (source / "examples").glob("*.py")} == set(EXAMPLES)


@pytest.mark.filterwarnings("ignore::tevra.ResultWarning")
def test_the_notebook_runs_and_line_voting_errs_least(here, source):
    [path] = (source / "examples").glob("*.ipynb")
    notebook = json.loads(path.read_text())
    assert notebook["nbformat"] == 4
    names = {}
    for cell in notebook["cells"]:
        if cell["cell_type"] == "code":
            assert cell["outputs"] == [] and cell["execution_count"] is None, "no outputs are kept"
            exec(compile("".join(cell["source"]), path.name, "exec"), names)
    errors = names["errors"]
    assert min(errors, key=errors.get) == "tevra line voting"
    assert errors["tevra structure tensor"] < errors["scikit-image structure tensor"] + 0.1
    assert errors["tevra Hessian"] == pytest.approx(errors["SciPy Hessian"], abs=0.5)


@pytest.mark.filterwarnings("ignore::tevra.ResultWarning")
@pytest.mark.parametrize("page", ["docs/python.md", "README.md"])
def test_the_code_of_pages_runs(here, source, page):
    blocks = re.findall(r"```python\n(.*?)```", (source / page).read_text(), re.DOTALL)
    assert blocks
    names = {}
    for block in blocks:
        exec(compile(block, page, "exec"), names)

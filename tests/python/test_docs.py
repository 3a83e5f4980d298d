# SPDX-License-Identifier: BSD-3-Clause
"""Docstrings: every public name has one with an example, and examples run."""

import doctest
import inspect

import numpy as np
import pytest

import tevra


def public():
    """(name, object) of all that the package offers, methods included."""
    for name in tevra.__all__:
        thing = getattr(tevra, name)
        if inspect.isclass(thing) or inspect.isfunction(thing):
            yield name, thing
        if inspect.isclass(thing) and not issubclass(thing, BaseException):
            for member, value in vars(thing).items():
                function = value.fget if isinstance(value, property) else value
                if not member.startswith("_") and inspect.isfunction(function):
                    yield f"{name}.{member}", function


@pytest.fixture
def examples(tmp_path, monkeypatch):
    import matplotlib
    matplotlib.use("Agg")
    monkeypatch.chdir(tmp_path)
    return {"tevra": tevra, "np": np, "image": tevra.phantom((32, 36, 40), 3, seed=3).image}


@pytest.mark.filterwarnings("ignore::tevra.ResultWarning")
@pytest.mark.parametrize("name, thing", [("tevra", tevra), *public()])
def test_examples_run(examples, name, thing):
    flags = doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE
    parser, runner = doctest.DocTestParser(), doctest.DocTestRunner(optionflags=flags)
    test = parser.get_doctest(inspect.getdoc(thing) or "", dict(examples), name, None, 0)
    failures = []
    runner.run(test, out=failures.append)
    assert runner.failures == 0, "".join(failures)


def test_everything_public_has_a_docstring_and_every_function_an_example():
    described_with_their_class = {"AxisField.theta", "AxisField.phi", "AxisField.confidence_map", "AxisField.foreground",
                                  "AxisField.document", "AxisField.record"}
    for name, thing in public():
        text = inspect.getdoc(thing) or ""
        if inspect.isfunction(thing) and name not in described_with_their_class:
            assert ">>>" in text, f"{name} has no example"
        elif name not in described_with_their_class:
            assert text, f"{name} has no docstring"


def test_parameters_are_described_by_their_names():
    for name, thing in public():
        if not inspect.isfunction(thing) or "Parameters\n---" not in (inspect.getdoc(thing) or ""):
            continue
        text = inspect.getdoc(thing)
        described = {word.strip() for line in text.splitlines() if " : " in line and not line.startswith(" ")
                     for word in line.split(" : ")[0].split(",")}
        wanted = set(inspect.signature(thing).parameters) - {"self"}
        assert wanted <= described, f"{name}: {wanted - described}"


def test_stubs_name_what_the_extension_has(source):
    import ast

    from tevra import _tevra
    tree = ast.parse((source / "python" / "tevra" / "_tevra.pyi").read_text())
    classes = {node.name: node for node in tree.body if isinstance(node, ast.ClassDef)}

    def members(node):
        own = {child.name for child in node.body if isinstance(child, ast.FunctionDef)}
        return own.union(*(members(classes[base.id]) for base in node.bases if getattr(base, "id", "") in classes))
    stubbed = {node.name for node in tree.body if isinstance(node, ast.FunctionDef)} | {
        node.target.id for node in tree.body if isinstance(node, ast.AnnAssign)} | {
        name for name in classes if not name.startswith("_")}
    assert stubbed == {name for name in dir(_tevra) if not name.startswith("_")} | {"__version__"}
    for name, node in classes.items():
        if not name.startswith("_") and not issubclass(getattr(_tevra, name), BaseException):
            there = {member for member in vars(getattr(_tevra, name)) if not member.startswith("_")}
            assert {member for member in members(node) if not member.startswith("_")} == there, name


def test_the_package_has_the_projects_version(source):
    import re
    stated = re.search(r'^version = "(.*)"', (source / "python" / "pyproject.toml").read_text(), re.MULTILINE).group(1)
    assert stated == tevra.__version__ == tevra._tevra.__version__

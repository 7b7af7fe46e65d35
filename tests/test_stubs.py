"""The type stubs describe what exists: every class and function that a .pyi file of the package
names is there at run time, under that name, and nested classes inside their scope."""

import ast
import builtins
import importlib
import types
from pathlib import Path

import pytest


# The stubs of the source tree, checked against the installed modules.
STUBS = sorted((Path(__file__).resolve().parents[1] / "python" / "kelvara").glob("*.pyi"))


def stub_names(path):
    """(dotted name, kind) of every class and function defined in the stub, nested ones too."""
    found = []

    def walk(body, prefix):
        for node in body:
            if isinstance(node, ast.ClassDef):
                found.append((prefix + node.name, "class"))
                walk(node.body, prefix + node.name + ".")
            elif isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef)):
                found.append((prefix + node.name, "function"))

    walk(ast.parse(path.read_text()).body, "")
    return found


def test_the_package_has_stubs():
    assert {p.stem for p in STUBS} >= {"_kelvaraio", "_ostrel"}


@pytest.mark.parametrize("path", STUBS, ids=lambda p: p.name)
def test_every_stub_name_exists_at_run_time(path):
    module = importlib.import_module("kelvara." + path.stem)
    missing = []
    for dotted, kind in stub_names(path):
        target = module
        for part in dotted.split("."):
            target = getattr(target, part, None)
            if target is None:
                break
        # A submodule (such as _kelvaraio._typed) is written in a stub as a class of statics.
        if target is None or (kind == "class" and not isinstance(target, (type, types.ModuleType))):
            missing.append(dotted)
    assert missing == []


@pytest.mark.parametrize("path", STUBS, ids=lambda p: p.name)
def test_stub_base_classes_are_the_run_time_bases(path):
    module = importlib.import_module("kelvara." + path.stem)
    tree = ast.parse(path.read_text())
    for node in ast.walk(tree):
        if isinstance(node, ast.ClassDef):
            cls = getattr(module, node.name, None)
            if not isinstance(cls, type):
                continue  # nested classes are looked up through their scope above
            for base in node.bases:
                if isinstance(base, ast.Name):
                    # A base is a class of the module or a built-in one (RuntimeError).
                    base_cls = getattr(module, base.id, None) or getattr(builtins, base.id)
                    assert issubclass(cls, base_cls), (node.name, base.id)

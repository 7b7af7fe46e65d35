"""The type stubs name every operation and property that imex and mores offer, and the
module gives every one of them a docstring."""

import ast
from pathlib import Path

import pytest

from kelvara import imex, mores

STUB = Path(__file__).resolve().parents[1] / "python" / "kelvara" / "_kelvaraio.pyi"


def stub_class(*path):
    node = ast.parse(STUB.read_text())
    for name in path:
        node = next(n for n in node.body if isinstance(n, ast.ClassDef) and n.name == name)
    return {n.name for n in node.body if isinstance(n, (ast.FunctionDef, ast.ClassDef))}


def public(cls):
    return {n for n in vars(cls) if not n.startswith("_")}


@pytest.mark.parametrize("path,cls", [(("imex", "Section"), imex.Section), (("mores",), mores)])
def test_stubs_cover_the_module(path, cls):
    assert public(cls) <= stub_class(*path)


@pytest.mark.parametrize("cls", [imex.Section, mores])
def test_every_operation_has_a_docstring(cls):
    for name in public(cls):
        doc = getattr(cls, name).__doc__
        assert doc and doc.strip(), name

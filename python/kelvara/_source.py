"""How kelvara's layer for people turns what it is given into an open file."""

from __future__ import annotations

import io
import os
import stat
from typing import Any, Tuple, Union

from ._kelvaraio import _typed

PathOrFile = Union[str, bytes, "os.PathLike[Any]", io.IOBase]


def _check_regular(mode: int, shown: str) -> None:
    if stat.S_ISDIR(mode):
        raise IsADirectoryError(21, "Is a directory", shown)
    if not stat.S_ISREG(mode):
        raise ValueError(f"{shown}: not a regular file")


def open_source(source: PathOrFile) -> Tuple[_typed.Source, str]:
    """The native source of a path or a binary file object, and the text that names it.

    A path is opened and its Python file closed again at once: the native source holds a
    descriptor of its own. A file object stays open and belongs to the caller.
    """
    if isinstance(source, (str, bytes, os.PathLike)):
        path = os.fspath(source)
        shown = os.fsdecode(path)
        _check_regular(os.stat(path).st_mode, shown)
        with open(path, "rb") as f:
            return _typed.Source(f), shown
    if isinstance(source, io.TextIOBase):
        raise TypeError("kelvara needs a binary file object (opened with 'rb'), not a text file")
    if not isinstance(source, io.IOBase):
        raise TypeError(f"kelvara needs a path or a binary file object, not {type(source).__name__}")
    if source.closed:
        raise ValueError("I/O operation on closed file.")
    if not source.readable():
        raise io.UnsupportedOperation("the file object is not open for reading")
    name = getattr(source, "name", None)
    shown = os.fsdecode(name) if isinstance(name, (str, bytes)) else repr(source)
    _check_regular(os.fstat(source.fileno()).st_mode, shown)
    return _typed.Source(source), shown

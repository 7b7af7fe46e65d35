"""How kelvara's layer for people turns what it is given into an open file."""

from __future__ import annotations

import io
import os
import re
import shutil
import stat
from typing import Any, Tuple, Union

from ._kelvaraio import _typed

PathOrFile = Union[str, bytes, "os.PathLike[Any]", io.IOBase, Any]

# A URL names its scheme before "://" (memory://, s3://); a Windows drive letter is no scheme.
_URL = re.compile(r"^[A-Za-z][A-Za-z0-9+.-]+://")


def _check_regular(mode: int, shown: str) -> None:
    if stat.S_ISDIR(mode):
        raise IsADirectoryError(21, "Is a directory", shown)
    if not stat.S_ISREG(mode):
        raise ValueError(f"{shown}: not a regular file")


def _descriptor(source: Any) -> Union[int, None]:
    """The descriptor behind a file object, or None when it has none."""
    fileno = getattr(source, "fileno", None)
    if fileno is None:
        return None
    try:
        return int(fileno())
    except (OSError, ValueError, AttributeError, TypeError):
        # io.UnsupportedOperation is an OSError and a ValueError: a BytesIO, an fsspec file.
        return None


def _is_url(source: Any) -> bool:
    return isinstance(source, str) and bool(_URL.match(source)) and \
        not source.startswith("file://")


def has_descriptor(source: PathOrFile) -> bool:
    """Whether the source is a local path or a file object with a descriptor."""
    if isinstance(source, (str, bytes, os.PathLike)):
        return not _is_url(source)
    return isinstance(source, io.IOBase) and _descriptor(source) is not None


def copy_source(source: PathOrFile, out: Any, chunk: int = 1 << 20) -> None:
    """Copies the whole of a URL's object or of a file-like object into out, a chunk at a time;
    a file-like object is left where it stood."""
    if _is_url(source):
        import fsspec  # type: ignore[import-not-found]

        with fsspec.open(source, "rb") as f:
            shutil.copyfileobj(f, out, chunk)
        return
    where = source.tell()
    try:
        source.seek(0)
        shutil.copyfileobj(source, out, chunk)
    finally:
        source.seek(where)


def _open_url(url: str) -> Tuple[_typed.Source, str]:
    try:
        import fsspec  # type: ignore[import-not-found]
    except ImportError:
        raise ValueError(f"{url}: reading a URL needs fsspec (pip install kelvara[fsspec])") \
            from None
    opened = fsspec.open(url, "rb")
    f = opened.open()
    try:
        return _file_like_source(f, url)
    except BaseException:
        f.close()
        raise


def _file_like_source(source: Any, shown: str) -> Tuple[_typed.Source, str]:
    """The native source of a readable, seekable binary object without a descriptor: its
    buffer, read in place, when it lends one (io.BytesIO), else its seek and readinto calls."""
    for method in ("read", "seek"):
        if not callable(getattr(source, method, None)):
            raise TypeError(f"kelvara needs a path or a binary file object, not "
                            f"{type(source).__name__} (it has no {method}())")
    if getattr(source, "closed", False):
        raise ValueError("I/O operation on closed file.")
    readable = getattr(source, "readable", None)
    if callable(readable) and not readable():
        raise io.UnsupportedOperation("the file object is not open for reading")
    seekable = getattr(source, "seekable", None)
    if callable(seekable) and not seekable():
        raise ValueError(f"{shown}: kelvara needs a seekable file object; this one can only be "
                         f"read straight through")
    position = source.tell() if callable(getattr(source, "tell", None)) else 0
    if isinstance(source.read(0), str):
        raise TypeError("kelvara needs a binary file object (opened with 'rb'), not a text file")
    getbuffer = getattr(source, "getbuffer", None)
    if callable(getbuffer):
        return _typed.Source.from_buffer(getbuffer()), shown
    made = _typed.Source.from_reader(source)
    source.seek(position)
    return made, shown


def open_source(source: PathOrFile) -> Tuple[_typed.Source, str]:
    """The native source of a path, a URL, or a binary file object, and the text that names it.

    A path is opened and its Python file closed again at once: the native source holds a
    descriptor of its own. A file object stays open and belongs to the caller; one without a
    descriptor (io.BytesIO, an fsspec file) must be seekable, and is read in place when it
    lends its buffer. A URL with a scheme (memory://, s3://) is opened through fsspec.
    """
    if _is_url(source):
        return _open_url(source)
    if isinstance(source, str) and source.startswith("file://"):
        source = source[len("file://"):]
    if isinstance(source, (str, bytes, os.PathLike)):
        path = os.fspath(source)
        shown = os.fsdecode(path)
        _check_regular(os.stat(path).st_mode, shown)
        with open(path, "rb") as f:
            return _typed.Source(f), shown
    if isinstance(source, io.TextIOBase):
        raise TypeError("kelvara needs a binary file object (opened with 'rb'), not a text file")
    name = getattr(source, "name", None) or getattr(source, "path", None)
    shown = os.fsdecode(name) if isinstance(name, (str, bytes)) else repr(source)
    if getattr(source, "closed", False):
        raise ValueError("I/O operation on closed file.")
    fd = _descriptor(source) if isinstance(source, io.IOBase) else None
    if fd is None:
        return _file_like_source(source, shown)
    if not source.readable():
        raise io.UnsupportedOperation("the file object is not open for reading")
    mode = os.fstat(fd).st_mode
    # A directory, a pipe, a socket or a device behind the descriptor is refused: none of them
    # holds a file's bytes at fixed places (a device such as /dev/zero may even seek and never end).
    _check_regular(mode, shown)
    return _typed.Source(source), shown

"""kelvara.write: sections into an ECLIPSE file, unformatted (big-endian) or formatted."""

from __future__ import annotations

import io
import os
from typing import Any, Iterable, List, Mapping, Sequence, Tuple, Union

import numpy as np

from ._kelvaraio import _write


class _Mess:
    """The value that writes a section of type MESS (no items)."""

    _instance = None

    def __new__(cls) -> "_Mess":
        if cls._instance is None:
            cls._instance = super().__new__(cls)
        return cls._instance

    def __repr__(self) -> str:
        return "kelvara.MESS"


MESS = _Mess()

Keywords = Union[Mapping[str, Any], Iterable[Tuple[str, Any]]]

_INT32 = np.iinfo(np.int32)


def _checked_name(name: Any) -> str:
    if not isinstance(name, str):
        raise TypeError(f"a section name is a str, not {type(name).__name__}")
    if not name.isascii():
        raise ValueError(f"section name {name!r} is not ASCII")
    if len(name) > 8:
        raise ValueError(f"section name {name!r} is longer than 8 characters")
    return name.ljust(8)


def _text_items(name: str, values: np.ndarray) -> Tuple[str, np.ndarray]:
    """Text values as Latin-1 bytes of one width, and the type: CHAR up to 8 characters, else
    C0nn with nn the longest item."""
    if values.dtype.kind == "O":
        if not all(isinstance(v, str) for v in values):
            raise TypeError(f"section {name.strip()!r}: an object array must hold str items only")
        values = values.astype(str) if values.size else np.empty(0, dtype="U1")
    if values.dtype.kind == "U":
        try:
            values = np.char.encode(values, "latin-1")
        except UnicodeEncodeError:
            raise ValueError(f"section {name.strip()!r}: a text item holds a character that is "
                             f"not Latin-1") from None
    longest = int(values.dtype.itemsize)
    if values.size:
        longest = int(np.char.str_len(values).max())
    if longest <= 8:
        return "CHAR", values.astype("S8")
    if longest > 99:
        raise ValueError(f"section {name.strip()!r}: a text item of {longest} characters (at "
                         f"most 99)")
    return f"C0{longest:02d}", values.astype(f"S{longest}")


def _items(name: str, value: Any, formatted: bool) -> Tuple[str, np.ndarray]:
    """The section type and the contiguous 1-D array that the native writer takes."""
    if value is MESS:
        return "MESS", np.empty(0, dtype=np.uint8)
    values = np.asarray(value)
    if values.ndim != 1:
        raise ValueError(f"section {name.strip()!r}: give a 1-D array, not {values.ndim}-D "
                         f"(ravel(order='F') gives a grid property in file order)")
    kind = values.dtype.kind
    if kind == "b":
        kind_type, out = "LOGI", values
    elif values.dtype == np.int32:
        kind_type, out = "INTE", values
    elif kind in "iu":
        if values.size and (values.min() < _INT32.min or values.max() > _INT32.max):
            raise ValueError(f"section {name.strip()!r}: integers beyond the range of int32")
        kind_type, out = "INTE", values.astype(np.int32)
    elif values.dtype == np.float32:
        kind_type, out = "REAL", values
    elif values.dtype == np.float64:
        kind_type, out = "DOUB", values
    elif kind in "USO":
        kind_type, out = _text_items(name, values)
    else:
        raise TypeError(f"section {name.strip()!r}: no section type for dtype {values.dtype} "
                        f"(int32, float32, float64, bool or str)")
    if formatted and kind_type in ("REAL", "DOUB") and not np.isfinite(out).all():
        raise ValueError(f"section {name.strip()!r}: a formatted file cannot hold NaN or "
                         f"infinite values")
    return kind_type, np.ascontiguousarray(out, dtype=out.dtype.newbyteorder("="))


def _pairs(keywords: Keywords) -> Iterable[Tuple[str, Any]]:
    if isinstance(keywords, Mapping):
        return keywords.items()
    return keywords


def _prepared(keywords: Keywords, formatted: bool) -> List[Tuple[str, str, np.ndarray]]:
    """(padded name, type, items) of every section, all checked before a byte is written, so
    that a bad one leaves no half-written file."""
    out = []
    for pair in _pairs(keywords):
        if not isinstance(pair, Sequence) or isinstance(pair, str) or len(pair) != 2:
            raise TypeError("keywords are a mapping or a sequence of (name, array) pairs")
        name = _checked_name(pair[0])
        out.append((name, *_items(name, pair[1], formatted)))
    return out


def _write_sections(writer: Any, sections: List[Tuple[str, str, np.ndarray]],
                    formatted: bool) -> None:
    for name, kind_type, items in sections:
        writer.section(name, kind_type, items, formatted)
    writer.flush()


def _fileno(target: Any) -> Union[int, None]:
    try:
        fd = int(target.fileno())
    except (AttributeError, OSError, ValueError, TypeError):
        return None
    try:
        return fd if target.seekable() else None
    except (AttributeError, OSError, ValueError):
        return None


def write(target: Union[str, "os.PathLike[Any]", Any], keywords: Keywords, *,
          formatted: bool = False) -> None:
    """Writes sections to an ECLIPSE file.

    ``target`` is a path (created or overwritten), a binary file object open for writing, or
    any object with a binary ``write`` (an ``io.BytesIO``); a file object is written from its
    present position and left at the end of what was written. ``keywords`` is a mapping or a
    sequence of ``(name, array)`` pairs, written in order; the type follows the dtype: int32
    ``INTE`` (other integer dtypes when the values fit), float32 ``REAL``, float64 ``DOUB``,
    bool ``LOGI``, text of at most 8 characters ``CHAR``, longer ``C0nn``; :data:`kelvara.MESS`
    writes a ``MESS`` section. Unformatted files are big-endian in blocks of 1000 items (105 for
    text) and read back bit for bit; formatted files hold 9 significant digits for ``REAL`` and
    17 for ``DOUB``, enough to read back exactly. A name longer than 8 characters or not ASCII
    raises ``ValueError``. The items are written without the interpreter's lock.
    """
    checked = _prepared(keywords, formatted)
    if isinstance(target, (str, bytes, os.PathLike)):
        with open(target, "wb") as f:
            _write_sections(_write.Writer(f.fileno()), checked, formatted)
        return
    if isinstance(target, io.TextIOBase):
        raise TypeError("kelvara.write needs a binary file object (opened with 'wb'), not a "
                        "text file")
    if not callable(getattr(target, "write", None)):
        raise TypeError(f"kelvara.write needs a path or a binary file object, not "
                        f"{type(target).__name__}")
    fd = _fileno(target)
    if fd is None:
        _write_sections(_write.Writer(target), checked, formatted)
        return
    # The descriptor is written at the object's position; the object is then moved past what
    # was written, so that its own buffer and position agree with the file.
    target.flush()
    os.lseek(fd, target.tell(), os.SEEK_SET)
    _write_sections(_write.Writer(fd), checked, formatted)
    target.seek(os.lseek(fd, 0, os.SEEK_CUR))

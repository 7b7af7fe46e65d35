"""Formatted (text) ECLIPSE files behind the catalogue of ``kelvara.open``.

A formatted file (``FEGRID``, ``FINIT``, ``FUNRST``, ``FSMSPEC``, ``FUNSMRY``, ``.Fnnnn``,
``.Annnn``) holds the same sections as its unformatted twin, each as a header line
``'NAME    '  count 'TYPE'`` followed by its values as text. It is known by its content: its
first character that is not blank is a quote. The native scanner gives the same table as the
unformatted one (header positions are the bytes where the header lines start); reads parse the
text straight into the typed array without the interpreter's lock.
"""

from __future__ import annotations

import struct
from typing import Optional, Tuple

import numpy as np

from ._kelvaraio import _formatted, _typed


class FormattedTable:
    """The native scanner of a formatted file and, once it has walked the file, the reads of
    its sections by index.

    ``scanner`` has the interface of ``_typed.Scanner`` (``step``, ``position``, ``file_size``,
    ``problem``, ``table()``). ``read_into(index, type, count, out)`` fills ``out`` (a C array
    of the type's dtype and ``count`` items) with the items of section ``index`` and gives
    ``None``, or ``(message, byte)`` when the text does not hold them; the message names the
    line.
    """

    def __init__(self, source: _typed.Source):
        self.source = source
        self.scanner = _formatted.Scanner(source)
        self._positions: Optional[np.ndarray] = None
        self._lines: Optional[np.ndarray] = None

    @classmethod
    def recognise(cls, source: _typed.Source) -> Optional["FormattedTable"]:
        """A table for a formatted file, ``None`` for any other file."""
        return cls(source) if _formatted.looks_formatted(source) else None

    def read_into(self, index: int, type_: str, count: int,
                  out: np.ndarray) -> Optional[Tuple[str, int]]:
        if self._positions is None:
            self._positions = self.scanner.table()[0]
            self._lines = self.scanner.lines()
        assert self._lines is not None
        return _formatted.read_into(self.source, int(self._positions[index]),
                                    int(self._lines[index]), type_, count, out)


# Items per block of the unformatted layout: 105 for text items, 1000 for the others.
def _block_items(type_: str) -> int:
    return 105 if type_ == "CHAR" or type_.startswith("C0") else 1000


def _item_bytes(type_: str) -> int:
    if type_ == "CHAR":
        return 8
    if type_.startswith("C0"):
        return int(type_[2:])
    return {"INTE": 4, "REAL": 4, "LOGI": 4, "DOUB": 8}.get(type_, 0)


def _big_endian_items(type_: str, values: np.ndarray) -> bytes:
    if type_ == "CHAR" or type_.startswith("C0"):
        width = _item_bytes(type_)
        return b"".join(str(v).encode("latin-1").ljust(width, b" ") for v in values.tolist())
    if type_ == "LOGI":
        return values.astype(">i4").tobytes()
    return values.astype(values.dtype.newbyteorder(">")).tobytes()


def unformatted_skeleton(f, needed: "set[str]", out) -> np.ndarray:
    """Writes into the binary file object ``out`` the unformatted twin of the formatted
    :class:`EclipseFile` ``f`` as far as a walk over its sections needs it: every header and
    every block frame, the items of the sections named in ``needed``, and holes (zeros, sparse
    on disk) for the items of the others. Gives the header position of each section in ``out``,
    in catalogue order. The grid scans of the unformatted layout read formatted grids through
    it without the text of their large sections being parsed."""
    positions = np.empty(len(f), dtype=np.int64)
    at = 0
    for i, k in enumerate(f.keywords):
        positions[i] = at
        head = (struct.pack(">i", 16) + k.name.encode("latin-1").ljust(8, b" ")
                + struct.pack(">i", k.count) + k.type.encode("latin-1") + struct.pack(">i", 16))
        out.seek(at)
        out.write(head)
        at += len(head)
        size, per_block = _item_bytes(k.type), _block_items(k.type)
        if size == 0 or k.count == 0:
            continue
        payload = _big_endian_items(k.type, k.read()) if k.name in needed else None
        for first in range(0, k.count, per_block):
            n = min(per_block, k.count - first) * size
            out.seek(at)
            out.write(struct.pack(">i", n))
            if payload is not None:
                out.write(payload[first * size:first * size + n])
            out.seek(at + 4 + n)
            out.write(struct.pack(">i", n))
            at += n + 8
    out.flush()
    return positions

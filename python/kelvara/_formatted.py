"""Formatted (text) ECLIPSE files behind the catalogue of ``kelvara.open``.

A formatted file (``FEGRID``, ``FINIT``, ``FUNRST``, ``FSMSPEC``, ``FUNSMRY``, ``.Fnnnn``,
``.Annnn``) holds the same sections as its unformatted twin, each as a header line
``'NAME    '  count 'TYPE'`` followed by its values as text. It is known by its content: its
first character that is not blank is a quote. The native scanner gives the same table as the
unformatted one (header positions are the bytes where the header lines start); reads parse the
text straight into the typed array without the interpreter's lock.
"""

from __future__ import annotations

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

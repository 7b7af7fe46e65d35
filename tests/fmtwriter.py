"""A writer of ECLIPSE formatted (text) files for the tests, in the layout simulators write.

Each section is a header line `` 'NAME    '          12 'INTE'`` and its values in blocks of
1000 items (105 for text items), each block ending its last line: INTE 6 a line, 12 wide; REAL
4 a line, 17 wide (``0.12345678E+01``); DOUB 3 a line, 23 wide (``0.12345678901234D+01``, a
three-digit exponent without its letter: ``0.34500000000000+106``); LOGI 25 a line, 3 wide;
CHAR 7 a line, quoted, 11 wide. The digits can be raised for exact round trips (9 for REAL, 17
for DOUB), and everything can be bent for tests: any count, raw lines.
"""

from __future__ import annotations

import math
from dataclasses import dataclass, field
from typing import List, Optional, Sequence

import numpy as np

# Items per line and column width of each type's first letter.
PER_LINE = {"I": (6, 12), "R": (4, 17), "D": (3, 23), "L": (25, 3), "C": (7, 11)}
# Significant digits simulators write.
REAL_DIGITS = 8
DOUB_DIGITS = 14


def real_text(value: float, digits: int, letter: str) -> str:
    """A number in the simulators' form 0.d...dE+xx (``letter`` E or D); an exponent of three
    digits is written without the letter."""
    if math.isnan(value) or math.isinf(value):
        raise ValueError("formatted files hold finite numbers")
    if value == 0:
        return ("-" if math.copysign(1, value) < 0 else "") + "0." + "0" * digits + letter + "+00"
    text = f"{abs(value):.{digits - 1}E}"
    mantissa, exponent = text.split("E")
    power = int(exponent) + 1
    tail = f"{power:+04d}" if abs(power) >= 100 else f"{letter}{power:+03d}"
    return ("-" if value < 0 else "") + "0." + mantissa.replace(".", "") + tail


def items_text(type_: str, values: Sequence, *, real_digits: int = REAL_DIGITS,
               doub_digits: int = DOUB_DIGITS) -> List[str]:
    """The items of a type as the texts that go into their columns."""
    letter = type_[0]
    if letter == "I":
        return [str(int(v)) for v in values]
    if letter == "R":
        return [real_text(float(np.float32(v)), real_digits, "E") for v in values]
    if letter == "D":
        return [real_text(float(v), doub_digits, "D") for v in values]
    if letter == "L":
        return ["T" if v else "F" for v in values]
    if letter == "C":
        width = 8 if type_ == "CHAR" else int(type_[2:])
        return [f"'{str(v).ljust(width)}'" for v in values]
    raise ValueError(f"no items for type {type_}")


def _column(text: str, width: int) -> str:
    # Right-aligned in its column; a text wider than the column (more digits than simulators
    # write) still gets a blank before it.
    return text.rjust(width) if len(text) < width else " " + text


def header_line(name: str, count: int, type_: str) -> str:
    return f" '{name.ljust(8)}' {count:11d} '{type_}'\n"


def section(name: str, type_: str, values: Sequence = (), *, count: Optional[int] = None,
            real_digits: int = REAL_DIGITS, doub_digits: int = DOUB_DIGITS) -> str:
    """A whole section; the header says ``count`` items when given, else as many as there are."""
    out = [header_line(name, len(values) if count is None else count, type_)]
    if type_ == "MESS" or len(values) == 0:
        return "".join(out)
    texts = items_text(type_, values, real_digits=real_digits, doub_digits=doub_digits)
    text_items = type_[0] == "C"
    per_line, width = PER_LINE[type_[0]]
    if text_items and type_ != "CHAR":
        width = int(type_[2:]) + 3
        per_line = max(1, 80 // width)
    block = 105 if text_items else 1000
    for start in range(0, len(texts), block):
        chunk = texts[start:start + block]
        for i in range(0, len(chunk), per_line):
            out.append("".join(_column(t, width) for t in chunk[i:i + per_line]) + "\n")
    return "".join(out)


@dataclass
class FmtFile:
    """Collects sections and raw text; ``positions`` and ``lines`` hold each section's header
    byte and 1-based line."""

    parts: list = field(default_factory=list)
    positions: list = field(default_factory=list)
    lines: list = field(default_factory=list)
    size: int = 0
    _line_ends: int = 0

    def add(self, name: str, type_: str, values: Sequence = (), **kw) -> "FmtFile":
        self.positions.append(self.size)
        self.lines.append(self._line_ends + 1)
        return self.raw(section(name, type_, values, **kw))

    def raw(self, text: str) -> "FmtFile":
        self.parts.append(text)
        self.size += len(text)  # one byte a character (Latin-1)
        self._line_ends += text.count("\n")
        return self

    def text(self) -> str:
        return "".join(self.parts)

    def write(self, path) -> "FmtFile":
        with open(path, "wb") as f:
            f.write(self.text().encode("latin-1"))
        return self


def formatted_twin(sections, **digits) -> FmtFile:
    """The formatted twin of a sequence of (name, type, values): the same sections as text."""
    out = FmtFile()
    for name, type_, values in sections:
        out.add(name, type_, list(values), **digits)
    return out

"""A small writer of ECLIPSE unformatted files for the tests.

A file is a sequence of sections: a 24-byte header (marker 16, 8-character name, item count,
4-character type, marker 16) followed by the items in length-framed blocks (length, payload,
length). Everything here can be bent for tests: either byte order per section, any split of the
items into blocks, any declared count, raw block lengths and raw trailing bytes.
"""

from __future__ import annotations

import struct
from dataclasses import dataclass, field
from typing import Iterable, Optional, Sequence, Union

# Item size in bytes and struct code per type letter.
ITEM_FORMATS = {"I": ("i", 4), "L": ("I", 4), "R": ("f", 4), "D": ("d", 8)}

BIG = ">"
LITTLE = "<"


def pack_items(type_: str, values: Sequence, order: str = BIG) -> bytes:
    """The payload bytes of items of the type's first letter, in the given byte order."""
    letter = type_[0]
    if letter == "C":
        width = item_size(type_)
        out = bytearray()
        for v in values:
            raw = v.encode("latin-1") if isinstance(v, str) else bytes(v)
            if len(raw) > width:
                raise ValueError(f"a text item holds at most {width} characters")
            out += raw.ljust(width, b" ")
        return bytes(out)
    code, _ = ITEM_FORMATS[letter]
    return struct.pack(order + code * len(values), *values)


def header(name: Union[str, bytes], count: int, type_: Union[str, bytes], order: str = BIG,
           marker: Optional[int] = None) -> bytes:
    """A 24-byte section header. name is padded with blanks to 8 bytes (not trimmed)."""
    raw_name = name.encode("latin-1") if isinstance(name, str) else name
    raw_type = type_.encode("latin-1") if isinstance(type_, str) else type_
    if len(raw_name) > 8 or len(raw_type) != 4:
        raise ValueError("name up to 8 bytes, type exactly 4")
    m = 16 if marker is None else marker
    return (struct.pack(order + "i", m) + raw_name.ljust(8, b" ") + struct.pack(order + "i", count)
            + raw_type + struct.pack(order + "i", m))


def frame(payload: bytes, order: str = BIG, length: Optional[int] = None,
          trailing: Optional[int] = None) -> bytes:
    """One block: leading length, payload, trailing length (both default to len(payload))."""
    lead = len(payload) if length is None else length
    trail = len(payload) if trailing is None else trailing
    return struct.pack(order + "i", lead) + payload + struct.pack(order + "i", trail)


def item_size(type_: str) -> int:
    """Bytes per item: C0nn text items are nn characters, other types go by their first letter."""
    if type_[:2] == "C0" and type_[2:].isdigit():
        return int(type_[2:])
    letter = type_[0]
    return {"C": 8, "D": 8, "I": 4, "L": 4, "R": 4, "M": 0}.get(letter, -1)


def section(name: str, type_: str, values: Sequence = (), order: str = BIG,
            blocks: Optional[Iterable[int]] = None, count: Optional[int] = None,
            block_items: Optional[int] = None) -> bytes:
    """A whole section.

    values: the items; their number is the header count unless count is given.
    blocks: the number of items in each block, in order (must add up to len(values));
            block_items: a fixed number per block (the last block takes the rest).
            By default all items go in one block. A type of unknown letter or MESS, or no items,
            writes no blocks.
    """
    n = len(values)
    out = bytearray(header(name, n if count is None else count, type_, order))
    size = item_size(type_)
    if size <= 0 or n == 0:
        return bytes(out)
    if blocks is None:
        step = block_items or n
        blocks = [min(step, n - i) for i in range(0, n, step)]
    blocks = list(blocks)
    if sum(blocks) != n:
        raise ValueError("blocks must add up to the number of values")
    i = 0
    for b in blocks:
        out += frame(pack_items(type_, values[i:i + b], order), order)
        i += b
    return bytes(out)


@dataclass
class EclFile:
    """Collects sections and raw bytes; offsets() gives each section's header position."""

    parts: list = field(default_factory=list)
    positions: list = field(default_factory=list)

    def add(self, name: str, type_: str, values: Sequence = (), **kw) -> "EclFile":
        self.positions.append(self.size)
        self.parts.append(section(name, type_, values, **kw))
        return self

    def raw(self, data: bytes) -> "EclFile":
        self.parts.append(bytes(data))
        return self

    @property
    def size(self) -> int:
        return sum(len(p) for p in self.parts)

    def bytes(self) -> bytes:
        return b"".join(self.parts)

    def write(self, path) -> "EclFile":
        with open(path, "wb") as f:
            f.write(self.bytes())
        return self


def standard_block_items(type_: str) -> int:
    """Items in a standard block: 105 for text types, 1000 for the others."""
    return 105 if type_[:1] == "C" else 1000


def write_sparse_section(f, name: str, type_: str, count: int, order: str = BIG,
                         block_items: Optional[int] = None, items: Optional[dict] = None) -> int:
    """Writes, at the position of the binary file f, a section of count items of which only the
    headers and the block frames are written: the payloads are left as holes, which read back
    as zeros, so that a file of gigabytes takes little room and time. A count beyond 2^31 - 1
    gets its X231 header first (minus the number of whole 2^31 items, then the header of the
    name with the rest). items maps item indices to values written in place. Blocks hold
    block_items items (standard blocks by default). Returns the position of the first header;
    f is left behind the section (the file grows to it even when it ends in a hole)."""
    start = f.tell()
    whole, rest = divmod(count, 1 << 31)
    if whole:
        f.write(header(name, -whole, "X231", order))
    f.write(header(name, rest, type_, order))
    size = item_size(type_)
    step = block_items or standard_block_items(type_)
    data = f.tell()
    for first in range(0, count, step):
        n = min(step, count - first)
        length = struct.pack(order + "i", n * size)
        f.seek(data)
        f.write(length)
        f.seek(data + 4 + n * size)
        f.write(length)
        data += n * size + 8
    for index, value in sorted((items or {}).items()):
        block, within = divmod(index, step)
        at = start + (48 if whole else 24) + block * (step * size + 8) + 4 + within * size
        f.seek(at)
        f.write(pack_items(type_, [value], order))
    f.seek(data)
    f.truncate(max(data, f.seek(0, 2)))
    f.seek(data)
    return start

"""A small writer of IMEX framed blocks for the tests.

A block is a payload in one of three frames, all frame words 32 bits wide:

- bare:   size (big-endian), payload;
- record: record length (size + 8), marker 7F FF FF FF, size, payload, trailing word;
- marked: marker, size, payload.

The payload's items and the record's words follow the chosen byte order; everything can be bent
for tests (record length, size word, trailing word, raw payload bytes).
"""

from __future__ import annotations

import struct
from typing import Optional, Sequence

import numpy as np

MARKER = b"\x7f\xff\xff\xff"
BIG = ">"
LITTLE = "<"

# numpy element code per type code.
ITEM_CODES = {"i": "i4", "d": "f8"}


def pack_items(type_: str, values: Sequence, order: str = BIG) -> bytes:
    """The items of type 'i' or 'd' in the given byte order."""
    return np.asarray(values, dtype=order + ITEM_CODES[type_]).tobytes()


def bare(payload: bytes, size: Optional[int] = None) -> bytes:
    """FRAME_BARE: a big-endian size word, then the payload."""
    return struct.pack(">I", len(payload) if size is None else size) + payload


def record(payload: bytes, order: str = BIG, size: Optional[int] = None,
           length: Optional[int] = None, trailing: bytes = b"\xaa\xbb\xcc\xdd") -> bytes:
    """FRAME_RECORD: record length (size + 8), marker, size, payload, trailing word."""
    size_ = len(payload) if size is None else size
    length_ = (size_ + 8) & 0xFFFFFFFF if length is None else length
    return (struct.pack(order + "I", length_) + MARKER + struct.pack(order + "I", size_)
            + payload + trailing)


def marked(payload: bytes, size: Optional[int] = None, order: str = "=") -> bytes:
    """FRAME_MARKED: marker, size in host order (or the order given), payload."""
    return MARKER + struct.pack(order + "I", len(payload) if size is None else size) + payload


def block(form: str, type_: str, values: Sequence, order: str = BIG) -> bytes:
    """A block of items in the frame form 'bare', 'record' or 'marked'. A bare block is always
    big-endian and a marked block always host order, whatever order says."""
    if form == "bare":
        return bare(pack_items(type_, values, BIG))
    if form == "record":
        return record(pack_items(type_, values, order), order)
    if form == "marked":
        return marked(pack_items(type_, values, "="))
    raise ValueError(form)


def header_size(form: str) -> int:
    return {"bare": 4, "record": 12, "marked": 8}[form]


def trailer_size(form: str) -> int:
    return 4 if form == "record" else 0

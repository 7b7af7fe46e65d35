"""A small writer of MoReS base-64 stretches for the tests: raw little-endian items as base-64
text, with or without padding, broken into lines, with stray bytes where a test wants them."""

from __future__ import annotations

import base64
from typing import Sequence

import numpy as np

ITEM_CODES = {"i": "<i4", "d": "<f8"}


def item_bytes(type_: str, values: Sequence) -> bytes:
    return np.asarray(values, dtype=ITEM_CODES[type_]).tobytes()


def encode(data: bytes, padding: bool = True) -> bytes:
    """Base-64 text of data; without padding the trailing '=' are left off."""
    text = base64.b64encode(data)
    return text if padding else text.rstrip(b"=")


def encode_items(type_: str, values: Sequence, padding: bool = True) -> bytes:
    return encode(item_bytes(type_, values), padding)


def with_line_ends(text: bytes, every: int, end: bytes = b"\n") -> bytes:
    """The text broken into lines of every characters."""
    return end.join(text[i:i + every] for i in range(0, len(text), every))


def decode_table_value(char: int) -> int:
    """The decoder's value of one byte: 0..63 in the alphabet, 0xFF outside it."""
    alphabet = b"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"
    return alphabet.index(char) if char in alphabet else 0xFF


def decode_quad(s0: int, s1: int, s2: int, s3: int) -> bytes:
    """The three bytes the decoder makes of four values (filling values included)."""
    return bytes([((s0 << 2) + ((s1 & 0x30) >> 4)) & 0xFF,
                  (((s1 & 0x0F) << 4) ^ ((s2 & 0x3C) >> 2)) & 0xFF,
                  (((s2 & 0x03) << 6) + s3) & 0xFF])


def expected(type_: str, text: bytes, count: int) -> np.ndarray:
    """What a feed of count characters of text delivers: an independent model of the decoder
    (whole groups of three items, the tail quad filled with values of 0xFF)."""
    width = 4 if type_ == "i" else 8
    taken = []
    for c in text[:max(count, 0)]:
        if decode_table_value(c) == 0xFF:
            break
        taken.append(decode_table_value(c))
    whole = len(taken) // 4 * 4
    data = b"".join(decode_quad(*taken[i:i + 4]) for i in range(0, whole, 4))
    group = 3 * width
    out = data[:len(data) // group * group]
    rest = data[len(out):]
    if len(taken) > whole:
        tail = taken[whole:] + [0xFF] * (4 - (len(taken) - whole))
        rest += decode_quad(*tail)
        out += rest[:len(rest) // width * width]
    return np.frombuffer(out, dtype=ITEM_CODES[type_]).astype(np.float64)

"""What the Python fuzz targets share: the fuzzed input as a file on disk, and a mutator that
keeps the length-framed records of an ECLIPSE file consistent while one record's bytes change
(now and then the whole input changes as bytes)."""

from __future__ import annotations

import os
import random
import struct
import tempfile

import atheris
import sys

PATH = os.path.join(tempfile.mkdtemp(prefix="kelvara-fuzz-"), "input")


def as_file(data: bytes) -> str:
    with open(PATH, "wb") as f:
        f.write(data)
    return PATH


def records(data: bytes):
    """(byte order, payloads, what follows the last whole record)."""
    order = ">" if len(data) < 4 or data[:4] <= data[3::-1] else "<"
    payloads, pos = [], 0
    while pos + 8 <= len(data):
        (n,) = struct.unpack_from(order + "i", data, pos)
        if n < 0 or pos + 8 + n > len(data) or struct.unpack_from(order + "i", data,
                                                                   pos + 4 + n)[0] != n:
            break
        payloads.append(data[pos + 4:pos + 4 + n])
        pos += 8 + n
    return order, payloads, data[pos:]


def mutate(data: bytes, max_size: int, seed: int) -> bytes:
    rng = random.Random(seed)
    order, payloads, tail = records(data)
    if not payloads or rng.random() < 0.15:
        return atheris.Mutate(data, max_size)
    i = rng.randrange(len(payloads))
    choice = rng.random()
    if choice < 0.5:
        payloads[i] = atheris.Mutate(payloads[i], len(payloads[i]) + 64)
    elif choice < 0.7 and len(payloads[i]) >= 4:
        at = rng.randrange(len(payloads[i]) // 4) * 4
        word = rng.choice([0, 1, -1, 2, -2**31, 2**31 - 1, 65535, 2048, 1 << 29])
        payloads[i] = payloads[i][:at] + struct.pack(order + "i", word) + payloads[i][at + 4:]
    elif choice < 0.85:
        payloads.insert(i, payloads[i])
    else:
        del payloads[i]
    out = b"".join(struct.pack(order + "i", len(p)) + p + struct.pack(order + "i", len(p))
                   for p in payloads) + tail
    return out[:max_size]


def fuzz(one_input) -> None:
    """Runs the target under libFuzzer. Fork mode starts its workers by the first argument, which
    for a script must be an executable: tools/fuzz gives a wrapper in KELVARA_FUZZ_ARGV0."""
    argv = [os.environ.get("KELVARA_FUZZ_ARGV0", sys.argv[0])] + sys.argv[1:]
    atheris.Setup(argv, one_input, custom_mutator=mutate)
    atheris.Fuzz()

#!/usr/bin/env python3
"""Benchmark of kelvara.open reading headers only, on a large unified restart file.

The file: --steps report steps (200 by default), each SEQNUM, INTEHEAD (411 INTE), DOUBHEAD
(229 DOUB) and four REAL sections of --cells cells (1 000 000 by default: PRESSURE, SWAT, SGAS,
RS), big-endian, in standard blocks (1000 items a block). About 3.2 GB at the defaults.

The reference is a NumPy reader that walks the headers with struct and the arithmetic of the
standard blocks, and reads PRESSURE of every step with np.fromfile, converted to native float32.
Targets, each side run in a fresh process with the page cache warm, best of --repeat:

  open       kelvara.open at most 0.05 x the reference's time;
  open+read  kelvara.open and EclipseFile.read of PRESSURE of every step at most 1.15 x the
             reference's time, the values equal to the reference's.

The exit status is 1 when a target or the comparison of values fails.

Usage: python bench/bench_open_headers.py [--steps 200] [--cells 1000000] [--repeat 5]
                                          [--path FILE] [--keep]
"""

from __future__ import annotations

import argparse
import hashlib
import json
import struct
import sys
import time
from pathlib import Path

from bench_load_to_feeder import warm_page_cache
from benchfiles import Verdicts, bench_file, run_child

OPEN_RATIO_TARGET = 0.05
READ_RATIO_TARGET = 1.15
BLOCK = 1000
FIELDS = ("PRESSURE", "SWAT", "SGAS", "RS")


def write_restart(path: Path, steps: int, cells: int) -> None:
    import numpy as np

    def header(name: str, count: int, type_: str) -> bytes:
        return struct.pack(">i8si4si", 16, name.encode().ljust(8), count, type_.encode(), 16)

    def blocks(values: np.ndarray) -> bytes:
        # Whole blocks through one structured array, the last block on its own.
        code = values.dtype.str
        n = len(values) // BLOCK
        framed = np.empty(n, dtype=[("lead", ">i4"), ("v", code, (BLOCK,)), ("trail", ">i4")])
        framed["lead"] = framed["trail"] = BLOCK * values.dtype.itemsize
        framed["v"] = values[:n * BLOCK].reshape(n, BLOCK)
        out = framed.tobytes()
        tail = values[n * BLOCK:]
        if len(tail):
            length = struct.pack(">i", tail.nbytes)
            out += length + tail.tobytes() + length
        return out

    base = np.random.default_rng(5).standard_normal(cells).astype(">f4")
    with open(path, "wb") as f:
        for step in range(steps):
            f.write(header("SEQNUM", 1, "INTE") + blocks(np.array([step], dtype=">i4")))
            f.write(header("INTEHEAD", 411, "INTE") + blocks(np.arange(411, dtype=">i4")))
            f.write(header("DOUBHEAD", 229, "DOUB") + blocks(np.linspace(0, 1, 229).astype(">f8")))
            for k, name in enumerate(FIELDS):
                f.write(header(name, cells, "REAL") + blocks(base + np.float32(step + k / 8)))


def digest(arrays) -> str:
    h = hashlib.sha1()
    for a in arrays:
        h.update(a.dtype.str.encode())
        h.update(a.tobytes())
    return h.hexdigest()


def numpy_reference(path: Path) -> list:
    """Walks the headers with struct and the standard block arithmetic; reads PRESSURE of every
    step with np.fromfile, converted to native float32."""
    import numpy as np

    sizes = {b"INTE": 4, b"REAL": 4, b"DOUB": 8, b"LOGI": 4, b"CHAR": 8, b"MESS": 0}
    out = []
    with open(path, "rb") as f:
        size = f.seek(0, 2)
        pos = 0
        while pos < size:
            f.seek(pos)
            _, name, count, type_, _ = struct.unpack(">i8si4si", f.read(24))
            per_block = 105 if type_[:1] == b"C" else BLOCK
            blocks = -(-count // per_block)
            data = pos + 24
            pos = data + count * sizes[type_] + 8 * blocks
            if name.rstrip() == b"PRESSURE":
                f.seek(data)
                whole = count // BLOCK
                framed = np.fromfile(f, dtype=[("lead", ">i4"), ("v", ">f4", (BLOCK,)),
                                               ("trail", ">i4")], count=whole)
                values = framed["v"].reshape(-1).astype(np.float32)
                rest = count - whole * BLOCK
                if rest:
                    tail = np.fromfile(f, dtype=">f4", count=rest + 2)[1:-1].astype(np.float32)
                    values = np.concatenate([values, tail])
                out.append(values)
    return out


def child(kind: str, path: Path) -> dict:
    import numpy as np  # noqa: F401  (imported before the clock by every side)
    import kelvara

    start = time.perf_counter()
    if kind == "numpy":
        values = numpy_reference(path)
    elif kind == "open":
        f = kelvara.open(path)
        values = []
    else:
        f = kelvara.open(path)
        values = [k.read() for k in f["PRESSURE"]]
    seconds = time.perf_counter() - start
    return {"seconds": seconds, "steps": len(values), "digest": digest(values)}


def main(argv=None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--steps", type=int, default=200)
    parser.add_argument("--cells", type=int, default=1_000_000)
    parser.add_argument("--repeat", type=int, default=5,
                        help="timed runs of each side, each in a fresh process (default 5)")
    parser.add_argument("--path", type=Path,
                        help="where to write the file (default: a temporary folder in bench/)")
    parser.add_argument("--keep", action="store_true", help="keep the file afterwards")
    parser.add_argument("--reuse", action="store_true",
                        help="use the file at --path as it is, without writing it")
    parser.add_argument("--child", choices=["numpy", "open", "read"], help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        print(json.dumps(child(args.child, args.path)))
        return 0

    verdict = Verdicts()
    with bench_file(args.path, "BENCH_HEADERS.UNRST", args.keep or args.reuse) as path:
        if not (args.reuse and path.exists()):
            start = time.perf_counter()
            write_restart(path, args.steps, args.cells)
            print(f"wrote {path} ({path.stat().st_size / 1e9:.2f} GB) in "
                  f"{time.perf_counter() - start:.1f} s")
        warm_page_cache(path)
        runs = {"numpy": [], "open": [], "read": []}
        for _ in range(args.repeat):
            for kind in runs:
                runs[kind].append(run_child(__file__, kind, "--path", str(path)))
    best = {}
    for kind, rs in runs.items():
        times = [r["seconds"] for r in rs]
        best[kind] = min(times)
        print(f"{kind:6s} best {best[kind]:.4f} s  runs: {', '.join(f'{t:.4f}' for t in times)}")
    open_ratio = best["open"] / best["numpy"]
    read_ratio = best["read"] / best["numpy"]
    verdict(open_ratio <= OPEN_RATIO_TARGET,
            f"open: best kelvara.open / best reference = {open_ratio:.4f} <= {OPEN_RATIO_TARGET}")
    verdict(read_ratio <= READ_RATIO_TARGET,
            f"open+read: best kelvara / best reference = {read_ratio:.3f} <= {READ_RATIO_TARGET}")
    want = runs["numpy"][0]
    verdict(want["steps"] == args.steps and
            all(r["digest"] == want["digest"] and r["steps"] == args.steps
                for kind in ("numpy", "read") for r in runs[kind]),
            f"values: PRESSURE of all {args.steps} steps equal on both sides in every run")
    return verdict.status()


if __name__ == "__main__":
    sys.exit(main())

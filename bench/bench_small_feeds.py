#!/usr/bin/env python3
"""Times many small feeds: LoadToFeeder of 300-item sections, each into a new ArrayFeeder.

The script writes an ECLIPSE unformatted file of 20 000 big-endian REAL sections of 300 items
(one block each), reads it once so that it sits in the page cache, and then times, each run in
a fresh subprocess:

  kelvara  a cursor walks the file: for each section a new ArrayFeeder, LoadToFeeder(feeder),
           then Advance(); the feeder is dropped;
  numpy    for each section, at its known position: np.fromfile of the 300 big-endian floats
           from the open file, and a cast to a native float64 array, which is dropped.
  buffer   for comparison only: os.pread of the 1200 bytes and np.frombuffer(...).astype.

Target: best kelvara time <= 2 x best numpy (np.fromfile) time. Every run checks the sum of all
values it read against the values written.

Usage: python bench/bench_small_feeds.py [--sections 20000] [--items 300] [--repeat 5]
"""

from __future__ import annotations

import argparse
import json
import os
import subprocess
import sys
import tempfile
import time
from pathlib import Path

RATIO_TARGET = 2.0
HEADER_BYTES = 24


def write_file(path: Path, sections: int, items: int) -> tuple:
    """Writes the sections and returns (positions, sum of all values as float64)."""
    import numpy as np

    rng = np.random.default_rng(7)
    values = rng.standard_normal((sections, items)).astype(">f4")
    head = np.zeros(sections, dtype=[("lead", ">i4"), ("name", "S8"), ("count", ">i4"),
                                     ("type", "S4"), ("trail", ">i4"), ("length", ">i4")])
    record = np.dtype([("head", head.dtype), ("values", ">f4", (items,)), ("end", ">i4")])
    data = np.zeros(sections, dtype=record)
    data["head"]["lead"] = data["head"]["trail"] = 16
    data["head"]["name"] = b"SMALL   "
    data["head"]["count"] = items
    data["head"]["type"] = b"REAL"
    data["head"]["length"] = data["end"] = 4 * items
    data["values"] = values
    data.tofile(path)
    positions = [i * record.itemsize for i in range(sections)]
    return positions, float(values.astype(np.float64).sum())


def warm(path: Path) -> None:
    with open(path, "rb", buffering=0) as f:
        while f.read(8 << 20):
            pass


def child_kelvara(path: Path, sections: int) -> dict:
    import numpy  # noqa: F401
    import kelvara

    total = 0.0
    with open(path, "rb") as f:
        section = kelvara.eclipse.Section(f, 0)
        start = time.perf_counter()
        for _ in range(sections):
            feeder = kelvara.ArrayFeeder()
            section.LoadToFeeder(feeder)
            section.Advance()
        seconds = time.perf_counter() - start
        # A second pass, untimed, checks the values.
        section.GoTo(0)
        for _ in range(sections):
            feeder = kelvara.ArrayFeeder()
            section.LoadToFeeder(feeder)
            total += float(feeder.to_numpy(copy=False).sum())
            section.Advance()
    return {"seconds": seconds, "total": total}


def child_numpy(path: Path, positions: list, items: int) -> dict:
    import numpy as np

    total = 0.0
    with open(path, "rb") as f:
        start = time.perf_counter()
        for position in positions:
            f.seek(position + HEADER_BYTES + 4)
            values = np.fromfile(f, dtype=">f4", count=items).astype(np.float64)
        seconds = time.perf_counter() - start
        del values
        for position in positions:
            f.seek(position + HEADER_BYTES + 4)
            total += float(np.fromfile(f, dtype=">f4", count=items).astype(np.float64).sum())
    return {"seconds": seconds, "total": total}


def child_buffer(path: Path, positions: list, items: int) -> dict:
    import numpy as np

    total = 0.0
    fd = os.open(path, os.O_RDONLY)
    try:
        start = time.perf_counter()
        for position in positions:
            raw = os.pread(fd, 4 * items, position + HEADER_BYTES + 4)
            values = np.frombuffer(raw, dtype=">f4").astype(np.float64)
        seconds = time.perf_counter() - start
        del values
        for position in positions:
            raw = os.pread(fd, 4 * items, position + HEADER_BYTES + 4)
            total += float(np.frombuffer(raw, dtype=">f4").astype(np.float64).sum())
    finally:
        os.close(fd)
    return {"seconds": seconds, "total": total}


def run_child(kind: str, path: Path, args) -> dict:
    cmd = [sys.executable, os.path.abspath(__file__), "--child", kind, "--path", str(path),
           "--sections", str(args.sections), "--items", str(args.items)]
    done = subprocess.run(cmd, stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(f"the {kind} run failed with status {done.returncode}")
    return json.loads(done.stdout.strip().splitlines()[-1])


def main(argv=None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--sections", type=int, default=20000)
    parser.add_argument("--items", type=int, default=300)
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--path", type=Path)
    parser.add_argument("--child", choices=["kelvara", "numpy", "buffer"],
                        help=argparse.SUPPRESS)
    args = parser.parse_args(argv)

    record = HEADER_BYTES + 8 + 4 * args.items
    positions = [i * record for i in range(args.sections)]
    if args.child:
        if args.child == "kelvara":
            run = child_kelvara(args.path, args.sections)
        elif args.child == "numpy":
            run = child_numpy(args.path, positions, args.items)
        else:
            run = child_buffer(args.path, positions, args.items)
        print(json.dumps(run))
        return 0

    tmpdir = None
    if args.path is None:
        tmpdir = tempfile.mkdtemp(prefix="kelvara-bench-")
        path = Path(tmpdir) / "SMALL.X0001"
    else:
        path = args.path
    try:
        written, expected = write_file(path, args.sections, args.items)
        assert written == positions
        warm(path)
        print(f"{path}: {args.sections} REAL sections of {args.items} items, "
              f"{path.stat().st_size} bytes")
        runs = {"kelvara": [], "numpy": [], "buffer": []}
        for _ in range(args.repeat):
            for kind in runs:
                runs[kind].append(run_child(kind, path, args))
        best = {}
        for kind, results in runs.items():
            times = [r["seconds"] for r in results]
            best[kind] = min(times)
            print(f"{kind:8s} best {best[kind]:.4f} s ({1e6 * best[kind] / args.sections:.2f} us a "
                  f"feed)  runs: {', '.join(f'{t:.4f}' for t in times)}")
        ratio = best["kelvara"] / best["numpy"]
        print(f"ratio kelvara/numpy (np.fromfile): {ratio:.3f}; kelvara/buffer: "
              f"{best['kelvara'] / best['buffer']:.3f}")
        failures = 0
        ok = ratio <= RATIO_TARGET
        failures += not ok
        print(f"{'PASS' if ok else 'FAIL'}  time: best kelvara / best numpy = {ratio:.3f} <= "
              f"{RATIO_TARGET}")
        same = all(abs(r["total"] - expected) <= 1e-6 * max(1.0, abs(expected))
                   for results in runs.values() for r in results)
        failures += not same
        print(f"{'PASS' if same else 'FAIL'}  values: every run read the values written")
        return 1 if failures else 0
    finally:
        path.unlink(missing_ok=True)
        if tmpdir is not None:
            os.rmdir(tmpdir)


if __name__ == "__main__":
    sys.exit(main())

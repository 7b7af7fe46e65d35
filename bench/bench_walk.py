#!/usr/bin/env python3
"""Times walking a large result file: Section.Advance over every section, and MapFileSections,
against np.fromfile reading the same file.

The script writes an ECLIPSE unformatted file of 200 report steps, each a SEQNUM section and
three REAL sections of 1 000 000 items (2.4 GB), reads it once so that it sits in the page
cache, and times, each run in a fresh subprocess (wall time; the processor time of each is
printed beside it):

  walk     Section(f, 0), then Advance() until it returns False;
  map      MapFileSections(f);
  numpy    np.fromfile(path, dtype=np.uint8): the whole file read into memory.

A walk reads only the length words of the blocks, so it must cost a small fraction of reading
the file. It runs three times: on a file in blocks of 1000 items, as simulators write them; on
one whose sections have blocks of 733, 1024 and 2000 items; and on one whose blocks have random
sizes from 1 to 2000 items. Only one of the files exists at a time.

Targets: best walk time and best MapFileSections time each <= 0.1 x best np.fromfile time, for
every block layout; both give every section at its position.

Usage: python bench/bench_walk.py [--steps 200] [--items 1000000] [--repeat 3] [--dir DIR]
"""

from __future__ import annotations

import argparse
import json
import os
import subprocess
import sys
import time
from pathlib import Path

RATIO_TARGET = 0.1
NAMES = [b"PRESSURE", b"SWAT    ", b"SGAS    "]


def header(name: bytes, count: int, type_: bytes) -> bytes:
    import struct

    return struct.pack(">i8si4si", 16, name, count, type_, 16)


UNIFORM_SIZES = [733, 1024, 2000]


def block_sizes(items: int, layout: str, seed: int):
    """Items per block: 1000 each (the last takes the rest); another fixed size per section
    (733, 1024, 2000); or random sizes from 1 to 2000."""
    import numpy as np

    if layout in ("regular", "uniform"):
        size = 1000 if layout == "regular" else UNIFORM_SIZES[seed % len(UNIFORM_SIZES)]
        full, rest = divmod(items, size)
        return [size] * full + ([rest] if rest else [])
    rng = np.random.default_rng(seed)
    sizes = []
    left = items
    while left:
        n = min(left, int(rng.integers(1, 2001)))
        sizes.append(n)
        left -= n
    return sizes


def framed_section(name: bytes, values, sizes) -> bytes:
    """One REAL section of big-endian values split into blocks of the given sizes."""
    import numpy as np

    out = [header(name, len(values), b"REAL")]
    raw = values.astype(">f4").tobytes()
    start = 0
    for n in sizes:
        length = np.array([4 * n], dtype=">i4").tobytes()
        out.append(length + raw[4 * start:4 * (start + n)] + length)
        start += n
    return b"".join(out)


def write_file(path: Path, steps: int, items: int, layout: str) -> list:
    """Writes the file and returns the (name, position) of every section in file order."""
    import numpy as np

    rng = np.random.default_rng(1)
    values = rng.standard_normal(items).astype(np.float32)
    # The sections of a report step differ only by name; each layout's blocks are made once.
    bodies = [framed_section(name, values, block_sizes(items, layout, k))
              for k, name in enumerate(NAMES)]
    sections = []
    position = 0
    with open(path, "wb") as f:
        for step in range(steps):
            seqnum = header(b"SEQNUM  ", 1, b"INTE") + (
                np.array([4, step + 1, 4], dtype=">i4").tobytes())
            f.write(seqnum)
            sections.append(("SEQNUM", position))
            position += len(seqnum)
            for name, body in zip(NAMES, bodies):
                f.write(body)
                sections.append((name.decode().strip(), position))
                position += len(body)
    return sections


def warm(path: Path) -> None:
    with open(path, "rb", buffering=0) as f:
        buf = bytearray(8 << 20)
        while f.readinto(buf):
            pass


def bytes_read_by_calls() -> int:
    """Bytes this process has read through system calls so far (rchar of /proc/self/io)."""
    with open("/proc/self/io") as f:
        for line in f:
            if line.startswith("rchar:"):
                return int(line.split()[1])
    return -1


def child(kind: str, path: Path) -> dict:
    import numpy as np
    import kelvara

    result = {}
    with open(path, "rb") as f:
        before = bytes_read_by_calls()
        cpu = time.process_time()
        start = time.perf_counter()
        if kind == "walk":
            section = kelvara.eclipse.Section(f, 0)
            walked = [(section.Name(), section.Position())]
            while section.Advance():
                walked.append((section.Name(), section.Position()))
            result["sections"] = walked
        elif kind == "map":
            catalogue = kelvara.eclipse.MapFileSections(f)
            result["sections"] = sorted((k, v.position) for k, v in catalogue.items())
        else:
            data = np.fromfile(path, dtype=np.uint8)
            result["size"] = int(data.size)
        result["seconds"] = time.perf_counter() - start
        result["cpu_seconds"] = time.process_time() - cpu
        result["bytes_read"] = bytes_read_by_calls() - before
    return result


def run_child(kind: str, path: Path) -> dict:
    cmd = [sys.executable, os.path.abspath(__file__), "--child", kind, "--path", str(path)]
    done = subprocess.run(cmd, stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(f"the {kind} run failed with status {done.returncode}")
    return json.loads(done.stdout.strip().splitlines()[-1])


def measure(path: Path, layout: str, args) -> int:
    start = time.perf_counter()
    sections = write_file(path, args.steps, args.items, layout)
    size = path.stat().st_size
    print(f"\n{layout} blocks: {path}, {len(sections)} sections, {size} bytes, written in "
          f"{time.perf_counter() - start:.1f} s")
    warm(path)
    runs = {"walk": [], "map": [], "numpy": []}
    for _ in range(args.repeat):
        for kind in runs:
            runs[kind].append(run_child(kind, path))
    best = {}
    for kind, results in runs.items():
        times = [r["seconds"] for r in results]
        best[kind] = min(times)
        read = min(r["bytes_read"] for r in results)
        cpu = min(r["cpu_seconds"] for r in results)
        print(f"  {kind:6s} best {best[kind]:.4f} s (cpu {cpu:.4f} s)  bytes read by system "
              f"calls {read:>12d}  runs: {', '.join(f'{t:.4f}' for t in times)}")
    failures = 0

    def verdict(ok: bool, text: str) -> None:
        nonlocal failures
        failures += not ok
        print(f"  {'PASS' if ok else 'FAIL'}  {text}")

    for kind in ("walk", "map"):
        ratio = best[kind] / best["numpy"]
        verdict(ratio <= RATIO_TARGET,
                f"{kind}: best {best[kind]:.4f} s / best np.fromfile {best['numpy']:.4f} s = "
                f"{ratio:.4f} <= {RATIO_TARGET}")
    expected_walk = [list(s) for s in sections]
    expected_map = sorted([list(s) for s in dict(sections).items()])
    verdict(all(r["sections"] == expected_walk for r in runs["walk"]),
            f"walk: all {len(sections)} sections at their positions")
    verdict(all(r["sections"] == expected_map for r in runs["map"]),
            "map: the last occurrence of each name at its position")
    verdict(all(r["size"] == size for r in runs["numpy"]), "numpy: the whole file read")
    return failures


def main(argv=None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--steps", type=int, default=200)
    parser.add_argument("--items", type=int, default=1000000)
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--dir", type=Path, default=Path(__file__).resolve().parent,
                        help="where the file is written while it is measured (default: bench/)")
    parser.add_argument("--child", choices=["walk", "map", "numpy"], help=argparse.SUPPRESS)
    parser.add_argument("--path", type=Path, help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        print(json.dumps(child(args.child, args.path)))
        return 0

    failures = 0
    for layout in ("regular", "uniform", "random"):
        path = args.dir / f"WALK-{layout}.UNRST"
        try:
            failures += measure(path, layout, args)
        finally:
            path.unlink(missing_ok=True)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

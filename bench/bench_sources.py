#!/usr/bin/env python3
"""Benchmark of sources: EclipseFile.read of one DOUB section of 512 MiB from an io.BytesIO
against the same read from the file's path.

The file is written once with kelvara.write (big-endian, blocks of 1000 items) and read once
to sit in the page cache. Each run is a fresh process; the BytesIO run first copies the file
into its BytesIO (not timed), then both time kelvara.open and the read of the section apart.
Target: best BytesIO read time <= 1.5 x best path read time. The values of both are compared
with what was written. Exit status 1 when a check fails.

Usage: python bench/bench_sources.py [--size-mib 512] [--repeat 3] [--path FILE] [--keep]
"""

from __future__ import annotations

import hashlib
import io
import json
import shutil
import sys
import time
from pathlib import Path

from benchfiles import Verdicts, bench_file, parser_for, run_child

RATIO_TARGET = 1.5
MIB = 1 << 20


def child(kind: str, path: Path) -> dict:
    import kelvara

    source = path
    if kind == "bytesio":
        source = io.BytesIO()
        with open(path, "rb") as f:
            shutil.copyfileobj(f, source, 16 * MIB)
    start = time.perf_counter()
    f = kelvara.open(source)
    opened = time.perf_counter()
    values = f.read("BENCHVAL")
    done = time.perf_counter()
    return {"open": opened - start, "seconds": done - opened,
            "digest": hashlib.sha1(values.tobytes()).hexdigest()}


def main() -> int:
    parser = parser_for(__doc__, 512, ["path", "bytesio"])
    args = parser.parse_args()
    if args.child:
        print(json.dumps(child(args.child, args.path)))
        return 0
    import numpy as np

    import kelvara

    verdict = Verdicts()
    with bench_file(args.path, "BENCH_SOURCES.X0001", args.keep) as path:
        values = np.arange(int(args.size_mib * MIB) // 8, dtype=np.float64) * 0.37
        kelvara.write(path, [("BENCHVAL", values)])
        digest = hashlib.sha1(values.tobytes()).hexdigest()
        del values
        with open(path, "rb") as f:
            while f.read(16 * MIB):
                pass
        runs = {"path": [], "bytesio": []}
        for _ in range(args.repeat):
            for kind in runs:
                runs[kind].append(run_child(__file__, kind, "--path", str(path)))
    best = {}
    for kind, rs in runs.items():
        best[kind] = min(r["seconds"] for r in rs)
        times = ", ".join(f"{r['seconds']:.3f}" for r in rs)
        print(f"{kind:8s} read best {best[kind]:.3f} s ({args.size_mib / best[kind]:.0f} MiB/s)"
              f"  runs {times}  open best {min(r['open'] for r in rs) * 1000:.1f} ms")
    ratio = best["bytesio"] / best["path"]
    verdict(ratio <= RATIO_TARGET,
            f"read from io.BytesIO {ratio:.2f} x read from the path (target <= {RATIO_TARGET})")
    verdict(all(r["digest"] == digest for rs in runs.values() for r in rs),
            "every read gives the values written")
    return verdict.status()


if __name__ == "__main__":
    sys.exit(main())

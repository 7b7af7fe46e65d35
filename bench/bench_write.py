#!/usr/bin/env python3
"""Benchmark of kelvara.write: one DOUB section of 512 MiB into a file, against NumPy's
values.astype('>f8').tofile(path) of the same values.

Each run is a fresh process that makes the values, then times the write alone (the file is
removed before each run; the written bytes stay in the page cache, no fsync on either side).
Target: best kelvara time <= 1.2 x best NumPy time. The file kelvara wrote last is read back
with kelvara.open and compared with the values bit for bit. Exit status 1 when a check fails.

Usage: python bench/bench_write.py [--size-mib 512] [--repeat 3] [--path FILE] [--keep]
"""

from __future__ import annotations

import json
import sys
import time
from pathlib import Path

from benchfiles import Verdicts, bench_file, parser_for, run_child

RATIO_TARGET = 1.2
MIB = 1 << 20


def values(size_mib: float):
    import numpy as np

    count = int(size_mib * MIB) // 8
    out = np.arange(count, dtype=np.float64)
    out *= 0.37
    out[::7777] = np.nan  # a few NaNs among the values
    return out


def child(kind: str, path: Path, size_mib: float) -> dict:
    import kelvara

    data = values(size_mib)
    path.unlink(missing_ok=True)
    start = time.perf_counter()
    if kind == "kelvara":
        kelvara.write(path, [("BENCHVAL", data)])
    else:
        data.astype(">f8").tofile(path)
    return {"seconds": time.perf_counter() - start}


def main() -> int:
    parser = parser_for(__doc__, 512, ["kelvara", "numpy"])
    args = parser.parse_args()
    if args.child:
        print(json.dumps(child(args.child, args.path, args.size_mib)))
        return 0
    verdict = Verdicts()
    with bench_file(args.path, "BENCH_WRITE.X0001", args.keep) as path:
        runs = {"kelvara": [], "numpy": []}
        for _ in range(args.repeat):
            for kind in runs:
                runs[kind].append(run_child(__file__, kind, "--path", str(path),
                                            "--size-mib", str(args.size_mib))["seconds"])
        # The last run was NumPy's: kelvara writes once more for the check of the bytes.
        import kelvara

        expected = values(args.size_mib)
        kelvara.write(path, [("BENCHVAL", expected)])
        with kelvara.open(path) as f:
            got = f.read("BENCHVAL")
        same = got.tobytes() == expected.tobytes()
    best = {kind: min(times) for kind, times in runs.items()}
    for kind, times in runs.items():
        print(f"{kind:8s} best {best[kind]:.3f} s  ({args.size_mib / best[kind]:.0f} MiB/s)  "
              f"runs {', '.join(f'{t:.3f}' for t in times)}")
    ratio = best["kelvara"] / best["numpy"]
    verdict(ratio <= RATIO_TARGET,
            f"kelvara.write {ratio:.2f} x astype('>f8').tofile (target <= {RATIO_TARGET})")
    verdict(same, "the written section reads back bit for bit")
    return verdict.status()


if __name__ == "__main__":
    sys.exit(main())

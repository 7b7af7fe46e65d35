#!/usr/bin/env python3
"""Times the grid catalogue against reading the same file with np.fromfile.

Two synthetic grid files are written under bench/ (or --dir), read once so that they sit in the
page cache, timed, and removed at the end (unless --keep):

  EGRID  a dual-porosity extended grid of 300 x 300 x 100 cells: FILEHEAD (dual porosity),
         GRIDHEAD, COORD, ZCORN, ACTNUM in blocks of 1000 items as simulators write them,
         ENDGRID, NNCHEAD and an NNC1/NNC2 pair of 1 000 000 connections (about 334 MB).
         kelvara: eclipse.MapExtGridFileSections(f) is timed.
  GRID   a plain grid of 100 x 100 x 100 cells, one COORDS (7 items) and one CORNERS (24 REAL
         items) section per cell (about 188 MB). kelvara: eclipse.ReadGridCornersSections(f,
         1000000, position of the first COORDS, ArrayFeeder()) is timed.

  numpy  np.fromfile(path, dtype=np.uint8) of the same file: the time to read its bytes.

Each run is a fresh process. Peak memory is the growth of ru_maxrss during the timed call over
the resident size just before it.

Targets: the EGRID catalogue takes at most 0.5 x the NumPy read of that file, and its peak
memory is at most the NNC lists (2 x 4 MB) + 64 MiB; the GRID corners read takes at most
2 x the NumPy read of that file. The catalogue and the corners are checked for what was written.
The exit status is 1 when a target or a check fails.

Usage: python bench/bench_grid_catalogue.py [--repeat 3] [--dir bench] [--keep]
"""

from __future__ import annotations

import argparse
import json
import os
import statistics
import struct
import subprocess
import sys
import time
from pathlib import Path

# The measuring helpers of the feed benchmark beside this script.
sys.path.insert(0, str(Path(__file__).resolve().parent))
from bench_load_to_feeder import current_rss_kib, max_rss_kib, warm_page_cache  # noqa: E402

MIB = 1 << 20
NX, NY, NZ = 300, 300, 100
NNC_COUNT = 1_000_000
PLAIN = (100, 100, 100)
BLOCK = 1000

SCAN_RATIO_TARGET = 0.5
CORNERS_RATIO_TARGET = 2.0
MEMORY_SLACK_MIB = 64


# --------------------------------------------------------------------------------------------
# Writing the files


def header(name: str, count: int, type_: str) -> bytes:
    return struct.pack(">i8si4si", 16, name.ljust(8).encode(), count, type_.encode(), 16)


def write_section(f, name: str, type_: str, values) -> None:
    """values: a NumPy array of the section's items; written big-endian in blocks of 1000."""
    import numpy as np

    code = {"INTE": ">i4", "REAL": ">f4"}[type_]
    values = np.asarray(values).astype(code)
    f.write(header(name, values.size, type_))
    full, tail = divmod(values.size, BLOCK)
    if full:
        framed = np.dtype([("lead", ">i4"), ("values", code, (BLOCK,)), ("trail", ">i4")])
        step = 4096
        for start in range(0, full, step):
            n = min(step, full - start)
            chunk = np.empty(n, dtype=framed)
            chunk["lead"] = chunk["trail"] = BLOCK * 4
            chunk["values"] = values[start * BLOCK:(start + n) * BLOCK].reshape(n, BLOCK)
            chunk.tofile(f)
    if tail:
        length = struct.pack(">i", tail * 4)
        f.write(length + values[full * BLOCK:].tobytes() + length)


def write_egrid(path: Path) -> None:
    import numpy as np

    cells = NX * NY * NZ
    rng = np.random.default_rng(7)
    with open(path, "wb") as f:
        filehead = np.zeros(100, dtype=np.int32)
        filehead[[0, 1, 5]] = [3, 2007, 1]
        write_section(f, "FILEHEAD", "INTE", filehead)
        gridhead = np.zeros(100, dtype=np.int32)
        gridhead[:5] = [1, NX, NY, NZ // 2, 0]  # nz of one half
        write_section(f, "GRIDHEAD", "INTE", gridhead)
        write_section(f, "COORD", "REAL", np.arange((NX + 1) * (NY + 1) * 6, dtype=np.float32))
        # ZCORN in slices, so that the writer's memory stays small.
        zcorn = 8 * cells
        f.write(header("ZCORN", zcorn, "REAL"))
        slice_items = 8 * NX * NY * 10  # a multiple of the block size
        framed = np.dtype([("lead", ">i4"), ("values", ">f4", (BLOCK,)), ("trail", ">i4")])
        for start in range(0, zcorn, slice_items):
            n = min(slice_items, zcorn - start) // BLOCK
            chunk = np.empty(n, dtype=framed)
            chunk["lead"] = chunk["trail"] = BLOCK * 4
            chunk["values"] = (np.arange(start, start + n * BLOCK, dtype=np.float64) % 4000.0
                               ).astype(np.float32).reshape(n, BLOCK)
            chunk.tofile(f)
        write_section(f, "ACTNUM", "INTE", rng.integers(0, 4, cells, dtype=np.int32))
        f.write(header("ENDGRID", 0, "INTE"))
        nnchead = np.zeros(10, dtype=np.int32)
        nnchead[0] = NNC_COUNT
        write_section(f, "NNCHEAD", "INTE", nnchead)
        nnc1, nnc2 = nnc_lists()
        write_section(f, "NNC1", "INTE", nnc1)
        write_section(f, "NNC2", "INTE", nnc2)


def nnc_lists():
    """Matrix cells connected to their fracture twins, and fault pairs in the matrix half."""
    import numpy as np

    half = NX * NY * (NZ // 2)
    rng = np.random.default_rng(11)
    nnc1 = rng.integers(1, half + 1, NNC_COUNT, dtype=np.int32)
    nnc2 = nnc1.copy()
    dual = NNC_COUNT * 3 // 4
    nnc2[:dual] += half  # matrix to fracture
    nnc2[dual:] = rng.integers(1, half + 1, NNC_COUNT - dual, dtype=np.int32)
    return nnc1, nnc2


def write_grid(path: Path) -> int:
    """The plain grid; returns the position of the first COORDS."""
    import numpy as np

    nx, ny, nz = PLAIN
    cells = nx * ny * nz
    with open(path, "wb") as f:
        dimens = header("DIMENS", 3, "INTE") + struct.pack(">i3ii", 12, nx, ny, nz, 12)
        f.write(dimens)
        cell = np.dtype([("coords_header", "V24"), ("coords_lead", ">i4"),
                         ("coords", ">i4", (7,)), ("coords_trail", ">i4"),
                         ("corners_header", "V24"), ("corners_lead", ">i4"),
                         ("corners", ">f4", (24,)), ("corners_trail", ">i4")])
        step = 100_000
        for start in range(0, cells, step):
            n = min(step, cells - start)
            chunk = np.zeros(n, dtype=cell)
            chunk["coords_header"] = np.frombuffer(header("COORDS", 7, "INTE"), dtype="V24")[0]
            chunk["corners_header"] = np.frombuffer(header("CORNERS", 24, "REAL"), dtype="V24")[0]
            chunk["coords_lead"] = chunk["coords_trail"] = 28
            chunk["corners_lead"] = chunk["corners_trail"] = 96
            index = np.arange(start, start + n)
            chunk["coords"][:, 4] = 1
            chunk["coords"][:, 6] = index + 1
            chunk["corners"] = (index[:, None] * 24 + np.arange(24)) % 1000
            chunk.tofile(f)
    return len(dimens)


# --------------------------------------------------------------------------------------------
# The child runs


def timed(call) -> dict:
    rss_before = current_rss_kib()
    start = time.perf_counter()
    result = call()
    seconds = time.perf_counter() - start
    return {"seconds": seconds, "peak_mib": (max_rss_kib() - rss_before) / 1024.0,
            "result": result}


def child(kind: str, path: Path, position: int) -> dict:
    import numpy as np
    import kelvara

    if kind == "numpy":
        run = timed(lambda: np.fromfile(path, dtype=np.uint8))
        run["result"] = int(run["result"].size)
        return run
    with open(path, "rb") as f:
        if kind == "scan":
            run = timed(lambda: kelvara.eclipse.MapExtGridFileSections(f))
            main = run["result"]["__grids__"]["Main Grid"]
            run["result"] = {k: main[k] for k in ("FaultNNCSize", "MatrixFaultNNCSize",
                                                  "DpDkNNCSize", "DpDkFrac2Matr")}
            run["result"]["sections"] = sorted(k for k in main if hasattr(main[k], "position"))
            return run
        feeder = kelvara.ArrayFeeder()
        run = timed(lambda: kelvara.eclipse.ReadGridCornersSections(
            f, PLAIN[0] * PLAIN[1] * PLAIN[2], position, feeder))
        values = feeder.to_numpy()
        run["result"] = [int(values.size), float(values[:24].sum()), float(values[-24:].sum())]
        return run


def run_child(kind: str, path: Path, position: int = 0) -> dict:
    cmd = [sys.executable, os.path.abspath(__file__), "--child", kind, "--path", str(path),
           "--position", str(position)]
    done = subprocess.run(cmd, stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(f"the {kind} run failed with status {done.returncode}")
    return json.loads(done.stdout.strip().splitlines()[-1])


def report(name: str, runs: list) -> dict:
    times = [r["seconds"] for r in runs]
    best, median = min(times), statistics.median(times)
    peak = max(r["peak_mib"] for r in runs)
    print(f"  {name:8s} best {best:7.3f} s  median {median:7.3f} s  peak memory {peak:7.1f} MiB"
          f"  runs: {', '.join(f'{t:.3f}' for t in times)}")
    return {"best": best, "peak_mib": peak, "result": runs[0]["result"]}


def verdict(ok: bool, text: str) -> bool:
    print(f"{'PASS' if ok else 'FAIL'}  {text}")
    return ok


def main(argv=None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--dir", type=Path, default=Path(__file__).resolve().parent)
    parser.add_argument("--keep", action="store_true")
    parser.add_argument("--child")
    parser.add_argument("--path", type=Path)
    parser.add_argument("--position", type=int, default=0)
    args = parser.parse_args(argv)
    if args.child == "write":
        write_egrid(args.path / "BENCH_DUAL.EGRID")
        print(json.dumps(write_grid(args.path / "BENCH_PLAIN.GRID")))
        return 0
    if args.child:
        print(json.dumps(child(args.child, args.path, args.position)))
        return 0

    egrid, grid = args.dir / "BENCH_DUAL.EGRID", args.dir / "BENCH_PLAIN.GRID"
    ok = True
    try:
        # Written by a child: a process inherits its parent's peak resident size, so the
        # parent stays small for the children's figures to hold.
        done = subprocess.run([sys.executable, os.path.abspath(__file__), "--child", "write",
                               "--path", str(args.dir)], stdout=subprocess.PIPE, text=True,
                              check=True)
        first_coords = json.loads(done.stdout.strip().splitlines()[-1])
        for path in (egrid, grid):
            warm_page_cache(path)
        print(f"EGRID {egrid.stat().st_size / MIB:.0f} MiB, GRID {grid.stat().st_size / MIB:.0f} MiB")

        print("EGRID catalogue")
        runs = {k: [] for k in ("scan", "numpy")}
        for _ in range(args.repeat):
            for kind in runs:
                runs[kind].append(run_child(kind, egrid))
        scan, numpy_ = report("kelvara", runs["scan"]), report("numpy", runs["numpy"])
        import numpy as np

        nnc1, nnc2 = nnc_lists()
        half = NX * NY * (NZ // 2)
        crossing = int(np.sum((nnc1 <= half) & (nnc2 > half)))
        expected = {"FaultNNCSize": NNC_COUNT - crossing,
                    "MatrixFaultNNCSize": int(np.sum((nnc1 <= half) & (nnc2 <= half))),
                    "DpDkNNCSize": crossing, "DpDkFrac2Matr": False,
                    "sections": sorted(["GRIDHEAD", "COORD", "ZCORN", "ACTNUM", "NNCHEAD",
                                        "NNC1", "NNC2"])}
        ok &= verdict(all(r["result"] == expected for r in runs["scan"]),
                      "catalogue: sections and NNC counters as written")
        ratio = scan["best"] / numpy_["best"]
        ok &= verdict(ratio <= SCAN_RATIO_TARGET,
                      f"time: scan / np.fromfile = {ratio:.3f} (target <= {SCAN_RATIO_TARGET})")
        limit = 2 * NNC_COUNT * 4 / MIB + MEMORY_SLACK_MIB
        ok &= verdict(scan["peak_mib"] <= limit,
                      f"memory: scan peak {scan['peak_mib']:.1f} MiB (target <= {limit:.1f} MiB)")

        print("GRID corners")
        runs = {k: [] for k in ("corners", "numpy")}
        for _ in range(args.repeat):
            runs["corners"].append(run_child("corners", grid, first_coords))
            runs["numpy"].append(run_child("numpy", grid))
        corners, numpy_ = report("kelvara", runs["corners"]), report("numpy", runs["numpy"])
        cells = PLAIN[0] * PLAIN[1] * PLAIN[2]
        last = ((cells - 1) * 24 + np.arange(24)) % 1000
        ok &= verdict(corners["result"] == [cells * 24, float(np.arange(24).sum()),
                                            float(last.sum())],
                      "corners: every value of every CORNERS section")
        ratio = corners["best"] / numpy_["best"]
        ok &= verdict(ratio <= CORNERS_RATIO_TARGET,
                      f"time: corners / np.fromfile = {ratio:.3f} "
                      f"(target <= {CORNERS_RATIO_TARGET})")
    finally:
        if not args.keep:
            for path in (egrid, grid):
                path.unlink(missing_ok=True)
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())

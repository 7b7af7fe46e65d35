#!/usr/bin/env python3
"""Benchmarks of kelvara.open_summary on a large synthetic case.

The case: 30 000 vectors (TIME and well vectors) and 5 000 time steps in 50 report steps, a
unified values file of about 600 MB (PARAMS in blocks of 1000 items, big-endian), written by this
script. Against each part: np.fromfile of the values file (its bytes into memory). Every run is a
fresh process, alternating, page cache warm.

  few    open_summary plus 4 vectors. Target: best time <= 0.1 x best np.fromfile time.
  all    every vector as one (time steps x keys) float32 array. Targets: best time <= 1.5 x
         best np.fromfile time; peak memory <= the result + 64 MiB.
  open   open_summary alone. Target: best time <= 50 ms.

The values are checked in every run: vector c at time step t holds c + t / 2 (exact in
float32), TIME holds t + 1.

Usage: python bench/bench_summary.py [--repeat 5] [--steps 5000] [--vectors 30000] [--dir DIR]
       [--keep]
"""

from __future__ import annotations

import argparse
import json
import os
import shutil
import statistics
import struct
import sys
import tempfile
import time
from pathlib import Path

from bench_load_to_feeder import current_rss_kib, max_rss_kib, warm_page_cache
from benchfiles import Verdicts, run_child

FEW_RATIO_TARGET = 0.1
ALL_RATIO_TARGET = 1.5
ALL_MEMORY_SLACK_MIB = 64
OPEN_SECONDS_TARGET = 0.05
REPORT_STEPS = 50
FAMILIES = ["WOPR", "WWPR", "WGPR", "WBHP", "WWCT"]
FEW_KEYS = 4


def key_of(column: int) -> str:
    if column == 0:
        return "TIME"
    return f"{FAMILIES[(column - 1) % len(FAMILIES)]}:W{(column - 1) // len(FAMILIES):05d}"


def section(name: str, type_: str, items, count: int) -> bytes:
    """A whole big-endian section in blocks of 1000 items (105 for CHAR)."""
    import numpy as np

    head = struct.pack(">i8si4si", 16, name.ljust(8).encode(), count, type_.encode(), 16)
    if type_ == "CHAR":
        raw = b"".join(s.ljust(8).encode() for s in items)
        per, size = 105, 8
    else:
        raw = np.asarray(items, dtype=">i4" if type_ == "INTE" else ">f4").tobytes()
        per, size = 1000, 4
    out = [head]
    for i in range(0, count, per):
        chunk = raw[i * size:(i + per) * size]
        out.append(struct.pack(">i", len(chunk)) + chunk + struct.pack(">i", len(chunk)))
    return b"".join(out)


def write_case(folder: Path, vectors: int, steps: int) -> Path:
    """Writes BENCH.SMSPEC and BENCH.UNSMRY; returns the UNSMRY path."""
    import numpy as np

    keywords = ["TIME"] + [FAMILIES[(c - 1) % len(FAMILIES)] for c in range(1, vectors)]
    names = [":+:+:+:+"] + [f"W{(c - 1) // len(FAMILIES):05d}" for c in range(1, vectors)]
    with open(folder / "BENCH.SMSPEC", "wb") as f:
        f.write(section("DIMENS", "INTE", [vectors, 10, 10, 10, 0, 0], 6))
        f.write(section("KEYWORDS", "CHAR", keywords, vectors))
        f.write(section("WGNAMES", "CHAR", names, vectors))
        f.write(section("NUMS", "INTE", [0] * vectors, vectors))
        f.write(section("UNITS", "CHAR", ["DAYS"] + ["SM3/DAY"] * (vectors - 1), vectors))
        f.write(section("STARTDAT", "INTE", [1, 1, 2000, 0, 0, 0], 6))
    # One time step: MINISTEP and PARAMS, as a structured record written many at a time.
    full, rest = divmod(vectors, 1000)
    fields = [("mhead", "V24"), ("mlead", ">i4"), ("ministep", ">i4"), ("mtrail", ">i4"),
              ("phead", "V24")]
    for b in range(full):
        fields += [(f"l{b}", ">i4"), (f"v{b}", ">f4", (1000,)), (f"t{b}", ">i4")]
    if rest:
        fields += [("lr", ">i4"), ("vr", ">f4", (rest,)), ("tr", ">i4")]
    record = np.dtype(fields)
    base = np.arange(vectors, dtype=np.float32)
    per_report = steps // REPORT_STEPS
    path = folder / "BENCH.UNSMRY"
    with open(path, "wb") as f:
        for r in range(REPORT_STEPS):
            f.write(section("SEQHDR", "INTE", [r + 1], 1))
            count = per_report if r < REPORT_STEPS - 1 else steps - per_report * r
            chunk = np.zeros(count, dtype=record)
            chunk["mhead"] = np.void(struct.pack(">i8si4si", 16, b"MINISTEP", 1, b"INTE", 16))
            chunk["mlead"] = chunk["mtrail"] = 4
            t = np.arange(per_report * r, per_report * r + count)
            chunk["ministep"] = t
            chunk["phead"] = np.void(struct.pack(">i8si4si", 16, b"PARAMS  ", vectors,
                                                 b"REAL", 16))
            values = base[None, :] + (t[:, None] / 2).astype(np.float32)
            values[:, 0] = t + 1
            for b in range(full):
                chunk[f"l{b}"] = chunk[f"t{b}"] = 4000
                chunk[f"v{b}"] = values[:, b * 1000:(b + 1) * 1000]
            if rest:
                chunk["lr"] = chunk["tr"] = rest * 4
                chunk["vr"] = values[:, full * 1000:]
            chunk.tofile(f)
    return path


def expected(steps: int, columns) -> "object":
    import numpy as np

    t = np.arange(steps)
    out = np.asarray(columns, dtype=np.float32)[None, :] + (t[:, None] / 2).astype(np.float32)
    for j, c in enumerate(columns):
        if c == 0:
            out[:, j] = t + 1
    return out


def few_columns(vectors: int):
    return [1, vectors // 3, 2 * vectors // 3 + 1, vectors - 1][:FEW_KEYS]


def child(kind: str, path: Path, vectors: int, steps: int) -> dict:
    import numpy as np
    import kelvara

    rss_before = current_rss_kib()
    start = time.perf_counter()
    result = {}
    if kind == "fromfile":
        data = np.fromfile(path, dtype=np.uint8)
        seconds = time.perf_counter() - start
        result["ok"] = data.size == os.path.getsize(path)
    elif kind == "open":
        s = kelvara.open_summary(path)
        seconds = time.perf_counter() - start
        result["ok"] = len(s) == vectors
    elif kind == "few":
        columns = few_columns(vectors)
        s = kelvara.open_summary(path)
        values = s.values([key_of(c) for c in columns])
        seconds = time.perf_counter() - start
        result["ok"] = bool(np.array_equal(values, expected(steps, columns)))
    else:
        s = kelvara.open_summary(path)
        values = s.values()
        seconds = time.perf_counter() - start
        peak = (max_rss_kib() - rss_before) / 1024.0
        result["result_mib"] = values.nbytes / (1 << 20)
        result["peak_mib"] = peak
        picks = [0, 1, vectors // 2, vectors - 1]
        rows = values[:, picks]
        result["ok"] = bool(values.shape == (steps, vectors)
                            and np.array_equal(rows, expected(steps, picks))
                            and np.array_equal(values[steps // 2, 1:],
                                               np.arange(1, vectors, dtype=np.float32)
                                               + np.float32((steps // 2) / 2)))
    result["seconds"] = seconds
    return result


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--steps", type=int, default=5000)
    parser.add_argument("--vectors", type=int, default=30000)
    parser.add_argument("--dir", type=Path, help="where to write the case (default: a "
                        "temporary folder in bench/)")
    parser.add_argument("--keep", action="store_true")
    parser.add_argument("--child", choices=["fromfile", "open", "few", "all"],
                        help=argparse.SUPPRESS)
    parser.add_argument("--path", type=Path, help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.child:
        print(json.dumps(child(args.child, args.path, args.vectors, args.steps)))
        return 0

    folder = Path(args.dir) if args.dir else Path(
        tempfile.mkdtemp(prefix="kelvara-bench-", dir=os.path.dirname(__file__)))
    folder.mkdir(parents=True, exist_ok=True)
    verdict = Verdicts()
    try:
        start = time.perf_counter()
        path = write_case(folder, args.vectors, args.steps)
        size = os.path.getsize(path)
        print(f"wrote {path} ({size / 1e6:.0f} MB) in {time.perf_counter() - start:.1f} s")
        warm_page_cache(path)
        warm_page_cache(folder / "BENCH.SMSPEC")
        runs = {k: [] for k in ("fromfile", "open", "few", "all")}
        extra = ["--path", str(path), "--vectors", str(args.vectors), "--steps",
                 str(args.steps)]
        for _ in range(args.repeat):
            for kind in runs:
                runs[kind].append(run_child(__file__, kind, *extra))
    finally:
        if not args.keep:
            shutil.rmtree(folder, ignore_errors=True)
        else:
            print(f"kept {folder}")
    best = {}
    for kind, rs in runs.items():
        times = [r["seconds"] for r in rs]
        best[kind] = min(times)
        peak = f"  peak {max(r['peak_mib'] for r in rs):.0f} MiB" if kind == "all" else ""
        print(f"{kind:9s} best {min(times) * 1000:8.1f} ms  median "
              f"{statistics.median(times) * 1000:8.1f} ms{peak}  runs: "
              f"{', '.join(f'{t * 1000:.0f}' for t in times)}")
    few = best["few"] / best["fromfile"]
    verdict(few <= FEW_RATIO_TARGET,
            f"(a) open + {FEW_KEYS} vectors / np.fromfile = {few:.3f} <= {FEW_RATIO_TARGET}")
    every = best["all"] / best["fromfile"]
    verdict(every <= ALL_RATIO_TARGET,
            f"(b) all vectors / np.fromfile = {every:.3f} <= {ALL_RATIO_TARGET}")
    result = runs["all"][0]["result_mib"]
    peak = max(r["peak_mib"] for r in runs["all"])
    verdict(peak <= result + ALL_MEMORY_SLACK_MIB,
            f"(b) peak memory {peak:.0f} MiB <= result {result:.0f} + "
            f"{ALL_MEMORY_SLACK_MIB} MiB")
    verdict(best["open"] <= OPEN_SECONDS_TARGET,
            f"(c) open alone {best['open'] * 1000:.1f} ms <= {OPEN_SECONDS_TARGET * 1000:.0f} ms")
    verdict(all(r["ok"] for rs in runs.values() for r in rs),
            "values: every run gives the values written")
    print("(a) against the common open readers: not measured (see bench/README.md)")
    return verdict.status()


if __name__ == "__main__":
    sys.exit(main())

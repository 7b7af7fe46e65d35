#!/usr/bin/env python3
"""Benchmarks of kelvara.open_ensemble on Dask.

An ensemble of 32 synthetic realizations (--realizations), each a summary case of 2 000 vectors
x 1 000 time steps in 50 report steps (BENCH.SMSPEC, an 8 MB BENCH.UNSMRY) and a restart file
BENCH.UNRST whose report step 1 holds a 1 000 000-cell PRESSURE (REAL, blocks of 1000 items).
Three parts, each with its target (run one with --part, or all):

  summary  4 vectors (report steps only) of every realization: Ensemble.summary(...).compute()
           on dask's threaded scheduler against a plain loop of open_summary(...).to_pandas(...)
           (the same dates and values, without the REAL column and the concatenation).
           Target: threads at least 1.5 times faster (two cores).
  cluster  the same frame on a dask.distributed LocalCluster of 2 worker processes (one thread
           each) against a LocalCluster of 1. Target: 2 processes at least 1.5 times faster.
  read     Ensemble.read("PRESSURE", step=1).compute() on threads against a plain loop of
           kelvara.open(...).read("PRESSURE", step=1). Target: threads at least 1.5 times
           faster.

Every timed run is a fresh process (imports, cluster start and the workers' first import of
kelvara are not timed); the files are read once beforehand so that the page cache is warm. The
results of both sides of each part are compared. The exit status is 1 when a target or a
comparison fails.

Usage: python bench/bench_ensemble.py [--part summary|cluster|read|all] [--repeat 3] [--dir DIR]
"""

from __future__ import annotations

import argparse
import json
import os
import shutil
import struct
import sys
import tempfile
import time
from pathlib import Path

from benchfiles import Verdicts, run_child

SPEEDUP_TARGET = 1.5
VECTORS = 2000
TIME_STEPS = 1000
REPORT_STEPS = 50
CELLS = 1_000_000
KEYS = ["FOPR", "WOPR:W0100", "WBHP:W0399", "WWCT:W0123"]
HERE = Path(__file__).resolve().parent


# --------------------------------------------------------------------------------------------
# the ensemble's files

def summary_case(name: str):
    """The SMSPEC and UNSMRY of one realization, written by the test suite's summary writer."""
    sys.path.insert(0, str(HERE.parent / "tests"))
    from summarywriter import Case, Column

    columns = [Column("TIME", unit="DAYS"), Column("FOPR", unit="SM3/DAY")]
    families = ["WOPR", "WBHP", "WWCT", "WGOR", "WWPR"]
    wells = (VECTORS - 2) // len(families) + 1
    for i in range(VECTORS - 2):
        columns.append(Column(families[i // wells], f"W{i % wells:04d}"))
    per_report = TIME_STEPS // REPORT_STEPS
    steps = [[float(r * per_report + t + 1) for t in range(per_report)]
             for r in range(REPORT_STEPS)]
    return Case(name, columns, steps)


def restart_bytes(seed: int) -> bytes:
    """A restart file: report steps 0 and 1, each SEQNUM and a PRESSURE of CELLS floats in
    big-endian blocks of 1000 items."""
    import numpy as np

    def section_header(name: bytes, count: int, type_: bytes) -> bytes:
        return struct.pack(">i8si4si", 16, name.ljust(8), count, type_, 16)

    def framed(values) -> bytes:
        blocks = np.empty(len(values) // 1000,
                          np.dtype([("l", ">i4"), ("v", ">f4", (1000,)), ("t", ">i4")]))
        blocks["l"] = blocks["t"] = 4000
        blocks["v"] = values.reshape(-1, 1000)
        return blocks.tobytes()

    out = bytearray()
    rng = np.random.default_rng(seed)
    for step in (0, 1):
        out += section_header(b"SEQNUM", 1, b"INTE") + struct.pack(">iii", 4, step, 4)
        out += section_header(b"PRESSURE", CELLS, b"REAL")
        out += framed(rng.uniform(100.0, 300.0, CELLS).astype(np.float32))
    return bytes(out)


def write_ensemble(root: Path, count: int) -> None:
    """Writes realization-0 with the summary writer and copies its summary to the others; each
    realization gets a restart file of its own values."""
    first = root / "realization-0"
    first.mkdir(parents=True)
    case = summary_case("BENCH")
    case.smspec().write(first / "BENCH.SMSPEC")
    case.unsmry().write(first / "BENCH.UNSMRY")
    for r in range(count):
        folder = root / f"realization-{r}"
        if r:
            folder.mkdir()
            for ext in ("SMSPEC", "UNSMRY"):
                shutil.copyfile(first / f"BENCH.{ext}", folder / f"BENCH.{ext}")
        (folder / "BENCH.UNRST").write_bytes(restart_bytes(r))


def warm(root: Path) -> None:
    for path in sorted(root.rglob("BENCH.*")):
        with open(path, "rb", buffering=0) as f:
            buf = bytearray(8 << 20)
            while f.readinto(buf):
                pass


# --------------------------------------------------------------------------------------------
# the timed runs, each in a fresh process

def digest(array) -> str:
    import hashlib
    import numpy as np
    return hashlib.sha256(np.ascontiguousarray(array).tobytes()).hexdigest()


def warm_worker() -> None:
    import dask.dataframe  # noqa: F401
    import pandas  # noqa: F401
    import kelvara  # noqa: F401


def child(kind: str, root: Path) -> dict:
    import numpy as np
    import kelvara
    import pandas  # noqa: F401  (imports are not timed: pandas and dask take about a second)
    if not kind.endswith("-loop"):
        import dask.array  # noqa: F401
        import dask.dataframe  # noqa: F401

    pattern = str(root / "realization-*" / "BENCH")
    if kind in ("summary-loop", "read-loop"):
        ens = kelvara.open_ensemble(pattern)  # the same realization order as the ensemble
        start = time.perf_counter()
        rows = []
        for path in ens.paths:
            if kind == "summary-loop":
                with kelvara.open_summary(path) as s:
                    rows.append(s.to_pandas(KEYS, report_only=True).to_numpy())
            else:
                with kelvara.open(path + ".UNRST") as f:
                    rows.append(f.read("PRESSURE", step=1))
        result = np.concatenate(rows) if kind == "summary-loop" else np.stack(rows)
        seconds = time.perf_counter() - start
    elif kind in ("summary-threads", "read-threads"):
        ens = kelvara.open_ensemble(pattern)
        start = time.perf_counter()
        if kind == "summary-threads":
            frame = ens.summary(KEYS).compute(scheduler="threads")
            result = frame[KEYS].to_numpy()
        else:
            result = ens.read("PRESSURE", step=1).compute(scheduler="threads").data
        seconds = time.perf_counter() - start
        assert not ens.failed, ens.failed
    elif kind in ("cluster-1", "cluster-2"):
        from distributed import Client, LocalCluster
        workers = int(kind[-1])
        with LocalCluster(n_workers=workers, threads_per_worker=1, processes=True,
                          dashboard_address=":0") as cluster, Client(cluster) as client:
            client.run(warm_worker)  # the workers' imports are not timed
            ens = kelvara.open_ensemble(pattern)
            start = time.perf_counter()
            frame = ens.summary(KEYS).compute()
            seconds = time.perf_counter() - start
            result = frame[KEYS].to_numpy()
            assert not ens.failed, ens.failed
    else:
        raise SystemExit(f"unknown run {kind}")
    return {"seconds": seconds, "digest": digest(result), "shape": list(result.shape)}


def compare(name: str, slow: str, fast: str, root: Path, repeat: int, verdict) -> None:
    runs = {slow: [], fast: []}
    for _ in range(repeat):  # alternating, so that load from elsewhere hits both sides alike
        for kind in (slow, fast):
            runs[kind].append(run_child(__file__, kind, "--dir", str(root)))
    best = {kind: min(r["seconds"] for r in runs[kind]) for kind in runs}
    for kind in (slow, fast):
        times = ", ".join(f"{r['seconds']:.3f}" for r in runs[kind])
        print(f"  {kind:16s} best {best[kind]:.3f} s  (runs: {times})")
    digests = {r["digest"] for kind in runs for r in runs[kind]}
    verdict(len(digests) == 1, f"{name}: both sides give the same values "
                               f"(shape {runs[fast][0]['shape']})")
    speedup = best[slow] / best[fast]
    verdict(speedup >= SPEEDUP_TARGET,
            f"{name}: {fast} {speedup:.2f}x faster than {slow} (target {SPEEDUP_TARGET}x)")


def main(argv=None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--part", choices=["summary", "cluster", "read", "all"], default="all")
    parser.add_argument("--repeat", type=int, default=3, help="fresh-process runs of each side")
    parser.add_argument("--realizations", type=int, default=32)
    parser.add_argument("--dir", type=Path, help="where the ensemble is written (default: a "
                        "temporary folder under bench/, removed at the end)")
    parser.add_argument("--keep", action="store_true", help="keep the ensemble afterwards")
    parser.add_argument("--child", help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        print(json.dumps(child(args.child, args.dir)))
        return 0

    verdict = Verdicts()

    root = args.dir or Path(tempfile.mkdtemp(prefix="kelvara-bench-", dir=HERE))
    try:
        if not (root / "realization-0").exists():
            start = time.perf_counter()
            write_ensemble(root, args.realizations)
            print(f"wrote {args.realizations} realizations in {time.perf_counter() - start:.1f} s")
        warm(root)
        parts = ["summary", "cluster", "read"] if args.part == "all" else [args.part]
        for part in parts:
            print(part)
            slow, fast = {"summary": ("summary-loop", "summary-threads"),
                          "cluster": ("cluster-1", "cluster-2"),
                          "read": ("read-loop", "read-threads")}[part]
            compare(part, slow, fast, root, args.repeat, verdict)
    finally:
        if args.dir is None and not args.keep:
            shutil.rmtree(root, ignore_errors=True)
        elif args.keep:
            print(f"kept {root}")
    return verdict.status()


if __name__ == "__main__":
    sys.exit(main())

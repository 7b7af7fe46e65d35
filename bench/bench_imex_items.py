#!/usr/bin/env python3
"""Times imex.Section.FeedItems('d') and GetItems('d') on one large byte-swapped FRAME_RECORD
block against plain NumPy.

The script writes one FRAME_RECORD block (record length, marker, size, payload, trailing word)
of big-endian doubles (512 MiB of values by default), so that every value must be byte-swapped
on a little-endian host, reads it once so that it sits in the page cache, and then times, each
run in a fresh subprocess:

  feed   open, Section(f, 0, False), ArrayFeeder(); only FeedItems('d', feeder) is timed;
  get    open, Section(f, 0, False); only GetItems('d') is timed (a NumPy float64 array);
  numpy  np.fromfile(path, '>f8', count, offset=12), then .astype('<f8') to native order; both
         steps are timed.

Every run reports its peak memory (growth of ru_maxrss over the resident size just before the
timed part) and hashes its values, which must equal the hash of the values written.

Targets: best feed and best get time <= 1.5 x best NumPy time; peak memory of get <= 1.25 x the
values + 64 MiB (it hands its array to NumPy with no second copy). The exit status is 1 when a
target or a comparison fails.

Usage: python bench/bench_imex_items.py [--size-mib 512] [--repeat 3] [--path FILE] [--keep]
"""

from __future__ import annotations

import hashlib
import json
import os
import struct
import sys
import time
from pathlib import Path

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import bench_load_to_feeder as common  # noqa: E402  (the shared measuring helpers)
import benchfiles  # noqa: E402

MIB = 1 << 20
HEADER = 12
RATIO_TARGET = 1.5
MEMORY_FACTOR = 1.25
MEMORY_SLACK_MIB = 64


def write_block(path: Path, count: int, seed: int = 2024) -> str:
    """One big-endian FRAME_RECORD block of count doubles; returns the SHA-256 of the values
    in native order."""
    import numpy as np

    size = count * 8
    if size + 8 > 0xFFFFFFFF:
        raise SystemExit("a block's size is a 32-bit number")
    rng = np.random.default_rng(seed)
    digest = hashlib.sha256()
    with open(path, "wb") as f:
        f.write(struct.pack(">I", size + 8) + b"\x7f\xff\xff\xff" + struct.pack(">I", size))
        done = 0
        while done < count:
            n = min(MIB, count - done)
            values = rng.standard_normal(n) * 1000.0
            digest.update(memoryview(values))
            f.write(values.astype(">f8").tobytes())
            done += n
        f.write(b"\xde\xad\xbe\xef")
    return digest.hexdigest()


def measured(body):
    """Runs body() with the resident-size and fault counters around it."""
    rss_before = common.current_rss_kib()
    maxrss_before = common.max_rss_kib()
    faults_before = common.minor_faults()
    start = time.perf_counter()
    values = body()
    seconds = time.perf_counter() - start
    run = {"seconds": seconds, "rss_before_kib": rss_before, "maxrss_before_kib": maxrss_before,
           "maxrss_after_kib": common.max_rss_kib(),
           "minor_faults": common.minor_faults() - faults_before}
    return run, values


def child(kind: str, path: Path) -> dict:
    import numpy as np
    import kelvara

    with open(path, "rb") as f:
        section = kelvara.imex.Section(f, 0, False)
        count = section.ItemsCount("d")
        if kind == "feed":
            feeder = kelvara.ArrayFeeder()
            run, ok = measured(lambda: section.FeedItems("d", feeder))
            assert ok is True
            values = feeder.to_numpy()
        elif kind == "get":
            run, values = measured(lambda: section.GetItems("d"))
        else:
            run, values = measured(
                lambda: np.fromfile(path, dtype=">f8", count=count, offset=HEADER).astype("<f8"))
    run.update(count=int(values.size), dtype=str(values.dtype),
               digest=common.values_digest(values), swapped=bool(section.SwapBytes()))
    return run


def main(argv=None) -> int:
    parser = benchfiles.parser_for(__doc__, 512, ["feed", "get", "numpy"])
    args = parser.parse_args(argv)
    if args.child:
        print(json.dumps(child(args.child, args.path)))
        return 0

    count = int(args.size_mib * MIB) // 8
    value_bytes = count * 8
    with benchfiles.bench_file(args.path, "BENCH.irf", args.keep) as path:
        print(f"writing {path}: one big-endian FRAME_RECORD block of {count} doubles "
              f"({value_bytes / MIB:.1f} MiB)")
        digest = write_block(path, count)
        print(f"  warm-up read in {common.warm_page_cache(path):.2f} s; transparent huge pages: "
              f"{common.transparent_huge_pages()}")
        runs = {"feed": [], "get": [], "numpy": []}
        for _ in range(args.repeat):
            for kind in runs:
                runs[kind].append(benchfiles.run_child(__file__, kind, "--path", str(path)))
        print()
        summary = {kind: common.summarize(kind, runs[kind], value_bytes) for kind in runs}
        print()
        verdict = benchfiles.Verdicts()
        for kind in ("feed", "get"):
            ratio = summary[kind]["best"] / summary["numpy"]["best"]
            verdict(ratio <= RATIO_TARGET,
                    f"time: best {kind} / best numpy = {ratio:.3f} <= {RATIO_TARGET}")
        limit = MEMORY_FACTOR * value_bytes / MIB + MEMORY_SLACK_MIB
        verdict(summary["get"]["peak_mib"] <= limit,
                f"memory: peak of GetItems {summary['get']['peak_mib']:.1f} MiB <= {limit:.1f} MiB")
        same = all(r["count"] == count and r["dtype"] == "float64" and r["digest"] == digest
                   for kind_runs in runs.values() for r in kind_runs)
        verdict(same, f"values: every run gives the {count} values written")
        verdict(all(r["swapped"] for kind_runs in runs.values() for r in kind_runs),
                "the block is read byte-swapped")
        return verdict.status()


if __name__ == "__main__":
    sys.exit(main())

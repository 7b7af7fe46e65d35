#!/usr/bin/env python3
"""Times mores.B64FeedArray('d') on one large base-64 stretch against NumPy with binascii.

The script writes a text file holding a short line of text, then one stretch of base-64 that
encodes 256 MiB of little-endian doubles (no line breaks, '=' padding), then a line end; it
reads the file once so that it sits in the page cache, and times, each run in a fresh
subprocess:

  kelvara  open, seek to the stretch, ArrayFeeder(); only B64FeedArray(f, 'd', count, feeder)
           is timed;
  numpy    open, seek to the stretch; f.read(count), binascii.a2b_base64 and
           np.frombuffer(..., '<f8') are timed together.

Every run hashes its values, which must equal the hash of the values written. Target: best
kelvara time <= 1.5 x best NumPy time. The exit status is 1 when the target or a comparison
fails.

Usage: python bench/bench_mores_b64.py [--size-mib 256] [--repeat 3] [--path FILE] [--keep]
"""

from __future__ import annotations

import argparse
import base64
import hashlib
import json
import os
import sys
import time
from pathlib import Path

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import bench_load_to_feeder as common  # noqa: E402  (the shared measuring helpers)
import benchfiles  # noqa: E402

MIB = 1 << 20
PREFIX = b"<array name=BENCH type=double>\n"
RATIO_TARGET = 1.5


def write_stretch(path: Path, count: int, seed: int = 77):
    """Writes the text file; returns the SHA-256 of the values and the stretch's length."""
    import numpy as np

    rng = np.random.default_rng(seed)
    digest = hashlib.sha256()
    written = 0
    with open(path, "wb") as f:
        f.write(PREFIX)
        done = 0
        # Chunks of a multiple of 3 values (24 bytes, 32 characters) encode with no padding
        # in between.
        step = 3 * (1 << 18)
        while done < count:
            n = min(step, count - done)
            values = rng.standard_normal(n) * 1000.0
            digest.update(memoryview(values))
            text = base64.b64encode(values.astype("<f8").tobytes())
            f.write(text)
            written += len(text)
            done += n
        f.write(b"\n</array>\n")
    return digest.hexdigest(), written


def child(kind: str, path: Path, chars: int) -> dict:
    import binascii

    import numpy as np
    import kelvara

    with open(path, "rb") as f:
        f.seek(len(PREFIX))
        rss_before = common.current_rss_kib()
        faults_before = common.minor_faults()
        start = time.perf_counter()
        if kind == "kelvara":
            feeder = kelvara.ArrayFeeder()
            kelvara.mores.B64FeedArray(f, "d", chars, feeder)
        else:
            values = np.frombuffer(binascii.a2b_base64(f.read(chars)), "<f8")
        # The peak of the timed part: the feeder's copy into NumPy below is not part of it.
        run = {"seconds": time.perf_counter() - start, "rss_before_kib": rss_before,
               "maxrss_after_kib": common.max_rss_kib(),
               "minor_faults": common.minor_faults() - faults_before}
        if kind == "kelvara":
            values = feeder.to_numpy()
    run.update(count=int(values.size), digest=common.values_digest(values))
    return run


def main(argv=None) -> int:
    parser = benchfiles.parser_for(__doc__, 256, ["kelvara", "numpy"])
    parser.add_argument("--chars", type=int, help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        print(json.dumps(child(args.child, args.path, args.chars)))
        return 0

    count = int(args.size_mib * MIB) // 8
    value_bytes = count * 8
    with benchfiles.bench_file(args.path, "BENCH.mrs", args.keep) as path:
        digest, chars = write_stretch(path, count)
        if chars > 2 ** 31 - 1:
            raise SystemExit("the character budget is a signed 32-bit number")
        print(f"wrote {path}: {count} doubles ({value_bytes / MIB:.1f} MiB) as {chars} "
              f"base-64 characters")
        print(f"  warm-up read in {common.warm_page_cache(path):.2f} s")
        runs = {"kelvara": [], "numpy": []}
        for _ in range(args.repeat):
            for kind in runs:
                runs[kind].append(benchfiles.run_child(__file__, kind, "--path", str(path),
                                                       "--chars", str(chars)))
        print()
        summary = {kind: common.summarize(kind, runs[kind], value_bytes) for kind in runs}
        print()
        verdict = benchfiles.Verdicts()
        ratio = summary["kelvara"]["best"] / summary["numpy"]["best"]
        verdict(ratio <= RATIO_TARGET,
                f"time: best kelvara / best numpy = {ratio:.3f} <= {RATIO_TARGET}")
        same = all(r["count"] == count and r["digest"] == digest
                   for kind_runs in runs.values() for r in kind_runs)
        verdict(same, f"values: every run gives the {count} values written")
        return verdict.status()


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Times Section.LoadToFeeder on one large big-endian DOUB section against plain NumPy.

The script writes an ECLIPSE unformatted file holding a single DOUB section (512 MiB of values
by default) in blocks of 1000 items, the way simulators write them, reads it once so that it
sits in the page cache, and then times, each run in a fresh subprocess:

  kelvara  open the file, Section(f, 0), LoadToFeeder(ArrayFeeder()); only the LoadToFeeder
           call is timed, to_numpy() is timed on its own;
  numpy    np.fromfile with a record dtype (length word, 1000 big-endian doubles, length word)
           for the whole blocks, the partial last block on its own, then one cast of the
           strided big-endian view into a native float64 array.

Every run reports its peak memory: the growth of ru_maxrss during the timed part over the
resident size just before it. Both readers' results are hashed in the child and compared with
the hash of the values as they were written.

Targets: best kelvara time <= 1.5 x best NumPy time, and peak feed memory <= 1.25 x the size
of the values + 64 MiB. The exit status is 1 when a target or a comparison fails.

Usage: python bench/bench_load_to_feeder.py [--size-mib 512] [--repeat 3] [--path FILE] [--keep]
"""

from __future__ import annotations

import argparse
import hashlib
import json
import os
import resource
import statistics
import struct
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SECTION_NAME = b"BENCHVAL"
HEADER_BYTES = 24
MIB = 1 << 20

RATIO_TARGET = 1.5
MEMORY_FACTOR = 1.25
MEMORY_SLACK_MIB = 64
HANDOVER_SLACK_MIB = 64


# --------------------------------------------------------------------------------------------
# Writing the file


def write_section_file(path: Path, count: int, block_items: int, seed: int = 12345) -> str:
    """Writes one big-endian DOUB section of count values in blocks of block_items items and
    returns the SHA-256 of the values in native float64 order."""
    import numpy as np

    if count > 2**31 - 1:
        raise SystemExit("the item count of a section is a signed 32-bit number")
    rng = np.random.default_rng(seed)
    digest = hashlib.sha256()
    framed = np.dtype([("lead", ">i4"), ("values", ">f8", (block_items,)), ("trail", ">i4")])
    # Whole blocks are generated this many at a time, to keep the writer's memory small.
    blocks_per_chunk = max(1, (8 * MIB) // framed.itemsize)
    with open(path, "wb") as f:
        f.write(struct.pack(">i8si4si", 16, SECTION_NAME, count, b"DOUB", 16))
        full_blocks, tail_items = divmod(count, block_items)
        done = 0
        while done < full_blocks:
            n = min(blocks_per_chunk, full_blocks - done)
            values = rng.standard_normal(n * block_items) * 1000.0
            digest.update(memoryview(values))
            chunk = np.empty(n, dtype=framed)
            chunk["lead"] = chunk["trail"] = block_items * 8
            chunk["values"] = values.reshape(n, block_items)
            chunk.tofile(f)
            done += n
        if tail_items:
            values = rng.standard_normal(tail_items) * 1000.0
            digest.update(memoryview(values))
            length = struct.pack(">i", tail_items * 8)
            f.write(length + values.astype(">f8").tobytes() + length)
    return digest.hexdigest()


def warm_page_cache(path: Path) -> float:
    start = time.perf_counter()
    with open(path, "rb", buffering=0) as f:
        buf = bytearray(8 * MIB)
        while f.readinto(buf):
            pass
    return time.perf_counter() - start


# --------------------------------------------------------------------------------------------
# The child runs


def current_rss_kib() -> int:
    with open("/proc/self/status") as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    raise RuntimeError("no VmRSS in /proc/self/status")


def max_rss_kib() -> int:
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss  # KiB on Linux


def minor_faults() -> int:
    return resource.getrusage(resource.RUSAGE_SELF).ru_minflt


def transparent_huge_pages() -> str:
    try:
        return Path("/sys/kernel/mm/transparent_hugepage/enabled").read_text().strip()
    except OSError:
        return "unknown"


def values_digest(values) -> str:
    import numpy as np

    values = np.ascontiguousarray(values, dtype=np.float64)
    return hashlib.sha256(memoryview(values)).hexdigest()


def child_kelvara(path: Path, handover: bool = False) -> dict:
    """The feed, timed alone, then to_numpy() timed on its own; or, with handover, the feed and
    to_numpy(copy=False) timed together, the peak memory covering the two."""
    import numpy as np  # noqa: F401  (imported before the baseline, as to_numpy needs it)
    import kelvara

    with open(path, "rb") as f:
        section = kelvara.eclipse.Section(f, 0)
        feeder = kelvara.ArrayFeeder()
        header = (section.Name(), section.Type(), section.Size())
        rss_before = current_rss_kib()
        maxrss_before = max_rss_kib()
        faults_before = minor_faults()

        start = time.perf_counter()
        section.LoadToFeeder(feeder)
        if handover:
            values = feeder.to_numpy(copy=False)
        feed_seconds = time.perf_counter() - start
        maxrss_feed = max_rss_kib()
        faults = minor_faults() - faults_before

        start = time.perf_counter()
        if not handover:
            values = feeder.to_numpy()
        to_numpy_seconds = time.perf_counter() - start
        maxrss_to_numpy = max_rss_kib()
        left = len(feeder)
    return {
        "header": header,
        "seconds": feed_seconds,
        "to_numpy_seconds": to_numpy_seconds,
        "rss_before_kib": rss_before,
        "maxrss_before_kib": maxrss_before,
        "maxrss_after_kib": maxrss_feed,
        "maxrss_after_to_numpy_kib": maxrss_to_numpy,
        "minor_faults": faults,
        "left_in_feeder": left,
        "count": int(values.size),
        "dtype": str(values.dtype),
        "digest": values_digest(values),
    }


def numpy_read(path: Path):
    """The idiomatic NumPy reader of one framed section: record dtype over the whole blocks,
    the partial last block on its own, one cast to native doubles."""
    import numpy as np

    with open(path, "rb") as f:
        header = f.read(HEADER_BYTES)
        (count,) = struct.unpack(">i", header[12:16])
        (length,) = struct.unpack(">i", f.read(4))
    block_items = length // 8
    full_blocks, tail_items = divmod(count, block_items)
    framed = np.dtype([("lead", ">i4"), ("values", ">f8", (block_items,)), ("trail", ">i4")])
    blocks = np.fromfile(path, dtype=framed, count=full_blocks, offset=HEADER_BYTES)
    if not ((blocks["lead"] == length).all() and (blocks["trail"] == length).all()):
        raise ValueError("block framing is broken")
    values = np.empty(count, dtype=np.float64)
    values[:full_blocks * block_items].reshape(full_blocks, block_items)[...] = blocks["values"]
    del blocks
    if tail_items:
        offset = HEADER_BYTES + full_blocks * framed.itemsize + 4
        values[full_blocks * block_items:] = np.fromfile(path, dtype=">f8", count=tail_items,
                                                         offset=offset)
    return values


def child_numpy(path: Path, huge_pages: bool) -> dict:
    import numpy as np

    if not huge_pages:
        # NumPy asks the kernel for transparent huge pages for its large arrays; this turns
        # that off, so that both readers fill 4 KiB pages.
        core = getattr(np, "_core", None) or np.core
        core.multiarray._set_madvise_hugepage(False)
    rss_before = current_rss_kib()
    maxrss_before = max_rss_kib()
    faults_before = minor_faults()
    start = time.perf_counter()
    values = numpy_read(path)
    seconds = time.perf_counter() - start
    maxrss_after = max_rss_kib()
    faults = minor_faults() - faults_before
    return {
        "minor_faults": faults,
        "seconds": seconds,
        "rss_before_kib": rss_before,
        "maxrss_before_kib": maxrss_before,
        "maxrss_after_kib": maxrss_after,
        "count": int(values.size),
        "dtype": str(values.dtype),
        "digest": values_digest(values),
    }


def run_child(kind: str, path: Path, extra=()) -> dict:
    cmd = [sys.executable, os.path.abspath(__file__), "--child", kind, "--path", str(path)]
    cmd += list(extra)
    done = subprocess.run(cmd, stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(f"the {kind} run failed with status {done.returncode}")
    return json.loads(done.stdout.strip().splitlines()[-1])


# --------------------------------------------------------------------------------------------
# Report


def feed_peak_mib(run: dict) -> float:
    """Growth of the peak resident size over the resident size just before the timed part."""
    return (run["maxrss_after_kib"] - run["rss_before_kib"]) / 1024.0


def summarize(name: str, runs: list, value_bytes: int) -> dict:
    times = [r["seconds"] for r in runs]
    best = min(times)
    median = statistics.median(times)
    peak = max(feed_peak_mib(r) for r in runs)
    faults = statistics.median(r["minor_faults"] for r in runs)
    print(f"{name} best {best:7.3f} s  median {median:7.3f} s  "
          f"{value_bytes / MIB / best:6.0f} MiB/s (best)  peak memory {peak:7.1f} MiB  "
          f"page faults {faults:7.0f}  runs: {', '.join(f'{t:.3f}' for t in times)}")
    return {"best": best, "median": median, "peak_mib": peak}


def main(argv=None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--size-mib", type=float, default=512.0,
                        help="size of the section's values in MiB (default 512)")
    parser.add_argument("--block-items", type=int, default=1000,
                        help="items per block (default 1000)")
    parser.add_argument("--repeat", type=int, default=3,
                        help="timed runs of each reader, each in a fresh process (default 3)")
    parser.add_argument("--path", type=Path,
                        help="where to write the file (default: a temporary directory)")
    parser.add_argument("--keep", action="store_true", help="keep the file afterwards")
    parser.add_argument("--numpy-no-hugepage", action="store_true",
                        help="stop NumPy from asking for transparent huge pages (for a "
                             "comparison on equal page sizes; not the default NumPy behaviour)")
    parser.add_argument("--child", choices=["kelvara", "handover", "numpy"],
                        help=argparse.SUPPRESS)
    args = parser.parse_args(argv)

    if args.child:
        if args.child == "kelvara":
            run = child_kelvara(args.path)
        elif args.child == "handover":
            run = child_kelvara(args.path, handover=True)
        else:
            run = child_numpy(args.path, huge_pages=not args.numpy_no_hugepage)
        print(json.dumps(run))
        return 0

    count = int(args.size_mib * MIB) // 8
    value_bytes = count * 8
    tmpdir = None
    if args.path is None:
        tmpdir = tempfile.mkdtemp(prefix="kelvara-bench-")
        path = Path(tmpdir) / "BENCH.X0001"
    else:
        path = args.path
    try:
        print(f"writing {path}: one DOUB section, {count} values ({value_bytes / MIB:.1f} MiB), "
              f"{args.block_items} items a block")
        start = time.perf_counter()
        written_digest = write_section_file(path, count, args.block_items)
        print(f"  written in {time.perf_counter() - start:.2f} s, "
              f"{path.stat().st_size} bytes on disk")
        print(f"  warm-up read in {warm_page_cache(path):.2f} s")
        print(f"  transparent huge pages: {transparent_huge_pages()}; NumPy huge pages "
              f"{'off' if args.numpy_no_hugepage else 'as NumPy decides'}")

        numpy_extra = ["--numpy-no-hugepage"] if args.numpy_no_hugepage else []
        kelvara_runs, handover_runs, numpy_runs = [], [], []
        for _ in range(args.repeat):
            kelvara_runs.append(run_child("kelvara", path))
            handover_runs.append(run_child("handover", path))
            numpy_runs.append(run_child("numpy", path, numpy_extra))

        print()
        k = summarize("kelvara", kelvara_runs, value_bytes)
        n = summarize("numpy", numpy_runs, value_bytes)
        h = summarize("kelvara feed + to_numpy(copy=False)", handover_runs, value_bytes)
        to_numpy = [r["to_numpy_seconds"] for r in kelvara_runs]
        print(f"kelvara to_numpy(): best {min(to_numpy):.3f} s, median "
              f"{statistics.median(to_numpy):.3f} s (not part of the feed time)")
        first = kelvara_runs[0]
        print(f"kelvara baseline before the feed: resident {first['rss_before_kib'] / 1024:.1f} MiB,"
              f" peak so far {first['maxrss_before_kib'] / 1024:.1f} MiB; peak after to_numpy "
              f"{first['maxrss_after_to_numpy_kib'] / 1024:.1f} MiB")
        ratio = k["best"] / n["best"]
        print(f"ratio kelvara/numpy: best {ratio:.3f}, median {k['median'] / n['median']:.3f}")
        print()

        failures = 0

        def verdict(ok: bool, text: str) -> None:
            nonlocal failures
            failures += not ok
            print(f"{'PASS' if ok else 'FAIL'}  {text}")

        verdict(ratio <= RATIO_TARGET,
                f"time: best kelvara / best numpy = {ratio:.3f} <= {RATIO_TARGET}")
        limit = MEMORY_FACTOR * value_bytes / MIB + MEMORY_SLACK_MIB
        verdict(k["peak_mib"] <= limit,
                f"memory: peak feed {k['peak_mib']:.1f} MiB <= {MEMORY_FACTOR} x "
                f"{value_bytes / MIB:.1f} + {MEMORY_SLACK_MIB} = {limit:.1f} MiB")
        limit = value_bytes / MIB + HANDOVER_SLACK_MIB
        verdict(h["peak_mib"] <= limit,
                f"hand-over: peak of feed and to_numpy(copy=False) {h['peak_mib']:.1f} MiB <= "
                f"{value_bytes / MIB:.1f} + {HANDOVER_SLACK_MIB} = {limit:.1f} MiB")
        verdict(all(r["left_in_feeder"] == 0 for r in handover_runs),
                "hand-over: the feeder is empty after to_numpy(copy=False)")
        results = ([("kelvara", r) for r in kelvara_runs] + [("numpy", r) for r in numpy_runs]
                   + [("handover", r) for r in handover_runs])
        same = all(r["count"] == count and r["dtype"] == "float64" and
                   r["digest"] == written_digest for _, r in results)
        verdict(same, "values: every run of both readers gives the values written "
                      f"({count} float64, sha256 {written_digest[:16]}...)")
        header_ok = all(tuple(r["header"]) == (SECTION_NAME.decode(), "DOUB", count)
                        for r in kelvara_runs + handover_runs)
        verdict(header_ok, "header: the cursor reads the section's name, type and count")
        return 1 if failures else 0
    finally:
        if not args.keep:
            path.unlink(missing_ok=True)
            if tmpdir is not None:
                os.rmdir(tmpdir)
        else:
            print(f"kept {path}")


if __name__ == "__main__":
    sys.exit(main())

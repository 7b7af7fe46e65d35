"""Pieces shared by the benchmarks of the IMEX and MoReS readers: the benchmark file's
lifetime, the fresh-process runs and the PASS/FAIL lines."""

from __future__ import annotations

import argparse
import contextlib
import json
import os
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Iterator, Optional


@contextlib.contextmanager
def bench_file(path: Optional[Path], name: str, keep: bool) -> Iterator[Path]:
    """The benchmark file's path: path when given, else name in a temporary folder under
    bench/. The file (and the folder) are removed at the end unless keep is set."""
    tmpdir = None
    if path is None:
        tmpdir = tempfile.mkdtemp(prefix="kelvara-bench-", dir=os.path.dirname(__file__))
        path = Path(tmpdir) / name
    try:
        yield path
    finally:
        if keep:
            print(f"kept {path}")
        else:
            path.unlink(missing_ok=True)
            if tmpdir is not None:
                os.rmdir(tmpdir)


def parser_for(doc: str, size_mib: float, children) -> argparse.ArgumentParser:
    """The command line every benchmark takes: --size-mib, --repeat, --path, --keep, and the
    hidden --child of the fresh-process runs."""
    parser = argparse.ArgumentParser(description=doc.split("\n\n")[0])
    parser.add_argument("--size-mib", type=float, default=size_mib,
                        help=f"size of the values in MiB (default {size_mib:g})")
    parser.add_argument("--repeat", type=int, default=3,
                        help="timed runs of each reader, each in a fresh process (default 3)")
    parser.add_argument("--path", type=Path,
                        help="where to write the file (default: a temporary folder in bench/)")
    parser.add_argument("--keep", action="store_true", help="keep the file afterwards")
    parser.add_argument("--child", choices=list(children), help=argparse.SUPPRESS)
    return parser


def run_child(script: str, kind: str, *args: str) -> dict:
    """Runs script --child kind ARGS in a fresh interpreter; its last line of output is JSON."""
    cmd = [sys.executable, os.path.abspath(script), "--child", kind, *args]
    done = subprocess.run(cmd, stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(f"the {kind} run failed with status {done.returncode}")
    return json.loads(done.stdout.strip().splitlines()[-1])


class Verdicts:
    """Prints PASS or FAIL per check and counts the failures."""

    def __init__(self) -> None:
        self.failures = 0

    def __call__(self, ok: bool, text: str) -> None:
        self.failures += not ok
        print(f"{'PASS' if ok else 'FAIL'}  {text}")

    def status(self) -> int:
        return 1 if self.failures else 0

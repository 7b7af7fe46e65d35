"""The ``kelvara`` command: list the sections of an ECLIPSE file, show one, describe a grid."""

from __future__ import annotations

import argparse
import contextlib
import os
import sys
from typing import Iterator, List, Optional, TextIO

import numpy as np

from . import _gridviews
from ._api import EclipseFile, ProgressCallback
from ._errors import FormatError
from ._summary_cli import add_command as _add_summary_command

# Files at least this large show a progress bar while they are walked (on a terminal).
PROGRESS_MIN_BYTES = 64 << 20

# Items turned into text at a time by kelvara show.
_PRINT_SLICE = 1 << 16

EXIT_OK = 0
EXIT_ERROR = 1  # the file could not be read, or holds no such section or step
EXIT_USAGE = 2  # the command line is wrong (argparse's own code)


@contextlib.contextmanager
def _progress(path: str, stream: TextIO) -> Iterator[Optional[ProgressCallback]]:
    """A progress callback that drives a bar on stream for large files on a terminal."""
    try:
        size = os.stat(path).st_size
    except (OSError, TypeError, ValueError):
        size = 0
    if size < PROGRESS_MIN_BYTES or not stream.isatty():
        yield None
        return
    from tqdm import tqdm

    with tqdm(total=size, unit="B", unit_scale=True, unit_divisor=1024, file=stream,
              desc=os.path.basename(path), leave=False) as bar:
        def advance(done: int, total: int) -> None:
            bar.update(done - bar.n)
        yield advance


def _open(path: str) -> EclipseFile:
    with _progress(path, sys.stderr) as progress:
        return EclipseFile(path, progress=progress)


def _ls(args: argparse.Namespace) -> int:
    with _open(args.file) as f:
        out = sys.stdout
        out.write(f"{'index':>7}  {'name':<8}  {'type':<4}  {'count':>11}  {'position':>14}\n")
        for k in f:
            out.write(f"{k.index:>7}  {k.name:<8}  {k.type:<4}  {k.count:>11}  "
                      f"{k.position:>14}\n")
    return EXIT_OK


def _stats(values: np.ndarray) -> List[str]:
    lines = [f"count  {values.size}"]
    if values.size == 0:
        return lines
    if values.dtype.kind == "b":
        lines.append(f"true   {int(np.count_nonzero(values))}")
        lines.append(f"false  {int(values.size - np.count_nonzero(values))}")
    elif values.dtype.kind == "U":
        lines.append(f"unique {len(np.unique(values))}")
        lines.append(f"blank  {int(np.count_nonzero(values == ''))}")
    else:
        wide = values.astype(np.float64)
        finite = wide[np.isfinite(wide)]
        # str() of a NumPy scalar is the shortest text of its own type (0.1, not 0.100000001).
        lines.append("min    " + str(np.nanmin(values) if finite.size else values.min()))
        lines.append("max    " + str(np.nanmax(values) if finite.size else values.max()))
        if finite.size:
            lines.append(f"mean   {finite.mean():.10g}")
            lines.append(f"std    {finite.std():.10g}")
            lines.append(f"sum    {finite.sum():.10g}")
        lines.append(f"nan    {int(np.count_nonzero(np.isnan(wide)))}")
    return lines


def _show(args: argparse.Namespace) -> int:
    with _open(args.file) as f:
        keyword = f.find(args.name, args.occurrence, args.step)
        values = keyword.read()
    out = sys.stdout
    out.write(f"# {keyword.name} {keyword.type} count={keyword.count} "
              f"occurrence={keyword.occurrence} position={keyword.position}\n")
    if args.stats:
        out.write("\n".join(_stats(values)) + "\n")
        return EXIT_OK
    # In slices, so that a large section never becomes text all at once; floats in the shortest
    # text that gives back the same value of their own type.
    for start in range(0, values.size, _PRINT_SLICE):
        part = values[start:start + _PRINT_SLICE]
        texts = part.astype(str) if part.dtype.kind == "f" else part
        out.writelines(f"{v}\n" for v in texts.tolist())
    return EXIT_OK


def _grid(args: argparse.Namespace) -> int:
    from ._grid import describe_grid, open_grid

    with _progress(args.file, sys.stderr) as progress:
        grid = open_grid(args.file, progress=progress)
    if _gridviews.wanted(args):
        _gridviews.run(args, grid)
        return EXIT_OK
    sys.stdout.write(describe_grid(grid))
    return EXIT_OK


def _example(args: argparse.Namespace) -> int:
    from ._example import example

    for path in example(args.directory).values():
        sys.stdout.write(f"{path}\n")
    return EXIT_OK


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="kelvara",
        description="Look into ECLIPSE unformatted files (INIT, UNRST, Xnnnn, EGRID, GRID, ...).",
        epilog="Exit status: 0 done, 1 the file could not be read or holds no such section "
               "or step, 2 a wrong command line.")
    commands = parser.add_subparsers(dest="command", metavar="COMMAND", required=True)

    ls = commands.add_parser("ls", help="list every section of a file",
                             description="List every section of FILE in file order: index, "
                                         "name, type, item count, byte position of its header.")
    ls.add_argument("file", metavar="FILE")
    ls.set_defaults(run=_ls)

    show = commands.add_parser(
        "show", help="print the items of one section",
        description="Print the items of section NAME of FILE, one a line, after a line that "
                    "describes the section. The first occurrence unless --occurrence or --step "
                    "says otherwise.")
    show.add_argument("file", metavar="FILE")
    show.add_argument("name", metavar="NAME")
    which = show.add_mutually_exclusive_group()
    which.add_argument("--occurrence", "-n", type=int, default=0, metavar="N",
                       help="the N-th section of that name (from 0; negative counts from the "
                            "end)")
    which.add_argument("--step", "-s", type=int, default=None, metavar="S",
                       help="the first section of that name in report step S of a restart file")
    show.add_argument("--stats", action="store_true",
                      help="print count, min, max, mean, std, sum instead of the items")
    show.set_defaults(run=_show)

    grid = commands.add_parser("grid", help="describe the grids of an EGRID or GRID file",
                               description="Describe the grids of FILE (EGRID or GRID): "
                                           "dimensions, active cells, local grids, NNCs; "
                                           "or write it as a VTK file or a layer map.")
    grid.add_argument("file", metavar="FILE")
    _gridviews.add_arguments(grid)
    grid.set_defaults(run=_grid)

    example = commands.add_parser(
        "example", help="write a small synthetic case to try the commands on",
        description="Write the synthetic case CASE (CASE.EGRID, .INIT, .UNRST, .SMSPEC, "
                    ".UNSMRY) into DIRECTORY, made when missing, and print the paths.")
    example.add_argument("directory", metavar="DIRECTORY")
    example.set_defaults(run=_example)

    _add_summary_command(commands)
    return parser


def main(argv: Optional[List[str]] = None) -> int:
    """Runs the command line; returns the exit status."""
    args = _parser().parse_args(argv)
    try:
        return args.run(args)
    except (FormatError, OSError, IndexError, KeyError, ValueError, TypeError) as error:
        if isinstance(error, BrokenPipeError):
            # The reader went away (kelvara show ... | head): nothing more to say.
            devnull = os.open(os.devnull, os.O_WRONLY)
            os.dup2(devnull, sys.stdout.fileno())
            return EXIT_OK
        text = f"no section {error.args[0]!r}" if isinstance(error, KeyError) else str(error)
        if isinstance(error, OSError) and error.filename is not None and error.strerror:
            text = f"{os.fsdecode(error.filename)}: {error.strerror}"
        sys.stderr.write(f"kelvara: error: {text}\n")
        return EXIT_ERROR


def run() -> None:
    """The console script's entry."""
    sys.exit(main())


if __name__ == "__main__":
    run()

"""``kelvara summary``: the keys of a case, or its vectors as a table, a CSV file or a picture."""

from __future__ import annotations

import argparse
import csv
import sys
from typing import Any, List, TextIO

import numpy as np

from ._summary import Summary, open_summary

EXIT_OK = 0
EXIT_ERROR = 1


def add_command(commands: Any) -> None:
    """Adds ``summary`` to the subcommands of the ``kelvara`` parser."""
    summary = commands.add_parser(
        "summary", help="list the keys of a summary case, or print, save or plot vectors",
        description="Without KEY: every key of CASE with its unit. With keys (shell patterns "
                    "allowed): a table of DATE and one column a key, or a CSV file (--csv), or "
                    "a picture of the vectors against date (--plot, needs matplotlib).")
    summary.add_argument("case", metavar="CASE",
                         help="the case: CASE, CASE.SMSPEC, CASE.UNSMRY or CASE.DATA")
    summary.add_argument("keys", metavar="KEY", nargs="*")
    summary.add_argument("--report-only", action="store_true",
                         help="only the last time step of each report step")
    summary.add_argument("--csv", metavar="FILE", help="write the table to FILE as CSV")
    summary.add_argument("--plot", metavar="FILE.png", help="draw the vectors to a PNG file")
    summary.set_defaults(run=run)


def _expand(s: Summary, patterns: List[str]) -> List[str]:
    """Keys as given, each pattern replaced by the keys it matches (KeyError for a key or a
    pattern that names none)."""
    keys: List[str] = []
    for pattern in patterns:
        if any(c in pattern for c in "*?[") and pattern not in s:
            found = s.keys(pattern)
            if not found:
                raise KeyError(f"{pattern!r}: no key matches")
            keys.extend(found)
        else:
            s.unit(pattern)  # KeyError naming close keys
            keys.append(pattern)
    return keys


def _date_texts(dates: np.ndarray) -> List[str]:
    """Dates as ISO text, to the day when every one is at midnight, else to the second or
    millisecond."""
    ms = dates.astype(np.int64)
    unit = "D" if not np.any(ms % 86_400_000) else ("s" if not np.any(ms % 1000) else "ms")
    return list(np.datetime_as_string(dates, unit=unit))


def _table(out: TextIO, header: List[str], dates: List[str], values: np.ndarray) -> None:
    widths = [max(len(header[0]), max((len(d) for d in dates), default=0))]
    texts = values.astype(str)
    for j, key in enumerate(header[1:]):
        widths.append(max(len(key), max((len(t) for t in texts[:, j]), default=0)))
    out.write("  ".join(h.rjust(w) if i else h.ljust(w) for i, (h, w)
                        in enumerate(zip(header, widths))) + "\n")
    for i, date in enumerate(dates):
        cells = [date.ljust(widths[0])] + [t.rjust(w) for t, w in zip(texts[i], widths[1:])]
        out.write("  ".join(cells) + "\n")


def plot(path: str, dates: np.ndarray, keys: List[str], values: np.ndarray,
         units: List[str], title: str) -> None:
    """Draws the vectors against date into a PNG file."""
    import matplotlib

    matplotlib.use("Agg")
    from matplotlib.figure import Figure

    figure = Figure(figsize=(8, 4.5), dpi=100)
    axes = figure.add_subplot()
    for j, key in enumerate(keys):
        unit = f" [{units[j]}]" if units[j] else ""
        axes.plot(dates, values[:, j], label=key + unit)
    axes.set_xlabel("DATE")
    axes.set_title(title)
    axes.grid(True, alpha=0.3)
    axes.legend(loc="best", fontsize="small")
    figure.autofmt_xdate()
    figure.savefig(path, format="png")


def run(args: argparse.Namespace) -> int:
    out = sys.stdout
    try:
        with open_summary(args.case) as s:
            if not args.keys:
                keys = s.keys()
                width = max((len(k) for k in keys), default=0)
                out.writelines(f"{k.ljust(width)}  {s.unit(k)}\n" for k in keys)
                return EXIT_OK
            keys = _expand(s, args.keys)
            values = s.values(keys, report_only=args.report_only)
            dates = s.dates
            if args.report_only:
                dates = dates[s._report_rows()]
            units = [s.unit(k) for k in keys]
            title = s.cases[-1]
    except KeyError as error:
        sys.stderr.write(f"kelvara: error: {error.args[0]}\n")
        return EXIT_ERROR
    texts = _date_texts(dates)
    if args.csv:
        with open(args.csv, "w", newline="") as f:
            writer = csv.writer(f)
            writer.writerow(["DATE"] + keys)
            for date, row in zip(texts, values.astype(str).tolist()):
                writer.writerow([date] + row)
    if args.plot:
        plot(args.plot, dates, keys, values, units, title)
    if not args.csv and not args.plot:
        _table(out, ["DATE"] + keys, texts, values)
    return EXIT_OK

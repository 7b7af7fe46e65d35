"""A writer of summary cases for the tests, on top of eclwriter.

A case is a header file (``CASE.SMSPEC``: what each column is) and the values of every time step,
one ``PARAMS`` record a time step, either unified (``CASE.UNSMRY``: ``SEQHDR`` opens each report
step, ``MINISTEP``/``PARAMS`` pairs follow) or numbered (``CASE.S0001``, ... one file per report
step). Everything here can be bent for tests: byte order, block splits of ``PARAMS``, a last
``PARAMS`` cut short, a wrong ``PARAMS`` length, any ``STARTDAT``, restart chains whose cases
order their columns differently, and every key family.

The values of column c at time step t default to ``value(t, c)``, so that a test can tell what it
reads without keeping the arrays around.
"""

from __future__ import annotations

import os
from dataclasses import dataclass, field
from typing import Callable, List, Optional, Sequence, Tuple

import numpy as np

from eclwriter import BIG, EclFile
from fmtwriter import formatted_twin

DUMMY_NAME = ":+:+:+:+"


@dataclass
class Sections(EclFile):
    """An EclFile that also keeps each section as (name, type, values), for its formatted twin."""

    sections: list = field(default_factory=list)

    def add(self, name: str, type_: str, values: Sequence = (), **kw) -> "Sections":
        self.sections.append((name, type_, list(values)))
        super().add(name, type_, values, **kw)
        return self

    def data(self, formatted: bool) -> bytes:
        """The file's bytes, or its formatted twin's text."""
        if formatted:
            return formatted_twin(self.sections).text().encode("latin-1")
        return self.bytes()


@dataclass
class Column:
    """One column of a summary: keyword, name (well, group, node or LGR well), number (region,
    cell, segment, aquifer), unit, and for local vectors the LGR name and local cell."""

    keyword: str
    name: str = ""
    num: int = 0
    unit: str = ""
    lgr: str = ""
    local: Tuple[int, int, int] = (0, 0, 0)


def value(step: int, column: int) -> float:
    """The default value of a column at a time step (exact in float32)."""
    return float(step * 1000 + column % 1000) + 0.25


def block_num(i: int, j: int, k: int, dims: Tuple[int, int, int]) -> int:
    """The 1-based global cell number of the 1-based cell (i, j, k)."""
    nx, ny, _ = dims
    return i + (j - 1) * nx + (k - 1) * nx * ny


def region_pair(r1: int, r2: int) -> int:
    """The NUMS entry of a region-to-region vector between regions r1 and r2."""
    return r1 + 32768 * (r2 + 10)


@dataclass
class Case:
    """A summary case: its columns, grid size, start and (for a restart) the case and report step
    it restarts from. ``steps`` gives, for each report step in order, the times (days) of its
    time steps; the ``TIME`` column, when present, takes them, every other column
    ``values(t, c)``."""

    name: str
    columns: List[Column]
    steps: List[List[float]]
    dims: Tuple[int, int, int] = (10, 10, 3)
    start: Sequence[int] = (1, 1, 2000)
    restart: str = ""
    restart_step: int = 0
    first_step: int = 0  # the time step number that the first PARAMS of this case gets
    first_report: int = 1  # the report step of the first SEQHDR (numbered files: the file number)
    names_keyword: str = "WGNAMES"
    name_type: str = "CHAR"
    order: str = BIG
    values: Callable[[int, int], float] = value
    extra_smspec: List[Tuple[str, str, Sequence]] = field(default_factory=list)

    # -- the header ------------------------------------------------------------------------

    def smspec(self, *, dimens: Optional[Sequence[int]] = None,
               keywords_count: Optional[int] = None) -> Sections:
        """The SMSPEC file's sections."""
        n = len(self.columns)
        f = Sections()
        f.add("INTEHEAD", "INTE", [1, 100], order=self.order)
        restart = self.restart.ljust(72)[:72]
        f.add("RESTART", "CHAR", [restart[i:i + 8] for i in range(0, 72, 8)], order=self.order)
        nx, ny, nz = self.dims
        f.add("DIMENS", "INTE",
              list(dimens) if dimens is not None else [n, nx, ny, nz, 0, self.restart_step],
              order=self.order)
        keywords = [c.keyword for c in self.columns]
        if keywords_count is not None:
            keywords = keywords[:keywords_count]
        f.add("KEYWORDS", "CHAR", keywords, order=self.order, block_items=105)
        f.add(self.names_keyword, self.name_type, [c.name for c in self.columns],
              order=self.order, block_items=105)
        f.add("NUMS", "INTE", [c.num for c in self.columns], order=self.order, block_items=1000)
        if any(c.lgr for c in self.columns):
            f.add("LGRS", "CHAR", [c.lgr for c in self.columns], order=self.order,
                  block_items=105)
            for axis, kw in enumerate(("NUMLX", "NUMLY", "NUMLZ")):
                f.add(kw, "INTE", [c.local[axis] for c in self.columns], order=self.order,
                      block_items=1000)
        f.add("UNITS", "CHAR", [c.unit for c in self.columns], order=self.order, block_items=105)
        f.add("STARTDAT", "INTE", list(self.start), order=self.order)
        for name, type_, items in self.extra_smspec:
            f.add(name, type_, items, order=self.order)
        return f

    # -- the values ------------------------------------------------------------------------

    def row(self, step: int, time: float) -> List[float]:
        """The PARAMS items of a time step."""
        out = []
        for c, col in enumerate(self.columns):
            out.append(time if col.keyword == "TIME" else self.values(step, c))
        return out

    def time_steps(self) -> List[Tuple[int, int, float]]:
        """(report step, time step number, time) of every time step, in order."""
        out = []
        t = self.first_step
        for r, times in enumerate(self.steps):
            for time in times:
                out.append((self.first_report + r, t, time))
                t += 1
        return out

    def matrix(self) -> np.ndarray:
        """Every time step's PARAMS as a float32 (time steps, columns) array."""
        return np.array([self.row(t, time) for _, t, time in self.time_steps()],
                        dtype=np.float32).reshape(-1, len(self.columns))

    def _params(self, f: Sections, step: int, time: float, block_items: int,
                params_count: Optional[int]) -> None:
        items = self.row(step, time)
        if params_count is not None:
            items = (items * (params_count // max(len(items), 1) + 1))[:params_count]
        f.add("MINISTEP", "INTE", [step], order=self.order)
        f.add("PARAMS", "REAL", items, order=self.order, block_items=block_items)

    def unsmry(self, *, block_items: int = 1000,
               bad_count: Optional[Tuple[int, int]] = None) -> Sections:
        """The unified file's sections. ``bad_count`` (time step index, count) writes that
        PARAMS with a wrong number of items."""
        f = Sections()
        index = 0
        for r, times in enumerate(self.steps):
            f.add("SEQHDR", "INTE", [self.first_report + r], order=self.order)
            for time in times:
                count = bad_count[1] if bad_count and bad_count[0] == index else None
                self._params(f, self.first_step + index, time, block_items, count)
                index += 1
        return f

    def numbered(self, *, block_items: int = 1000) -> List[Sections]:
        """One file a report step, for CASE.S0001, CASE.S0002, ..."""
        files = []
        index = 0
        for r, times in enumerate(self.steps):
            f = Sections()
            f.add("SEQHDR", "INTE", [self.first_report + r], order=self.order)
            for time in times:
                self._params(f, self.first_step + index, time, block_items, None)
                index += 1
            files.append(f)
        return files

    # -- to disk ---------------------------------------------------------------------------

    def write(self, folder, *, unified: bool = True, cut: int = 0, block_items: int = 1000,
              bad_count: Optional[Tuple[int, int]] = None, smspec_ext: str = ".SMSPEC",
              unsmry_ext: str = ".UNSMRY", numbered_ext: str = ".S",
              formatted: bool = False) -> str:
        """Writes the case into folder and returns the path of its SMSPEC. ``cut`` bytes are
        taken off the end of the (last) values file, as for a run still being written.
        ``formatted`` writes the formatted twins (FSMSPEC, FUNSMRY, .A0001, ...) instead."""
        os.makedirs(folder, exist_ok=True)
        base = os.path.join(os.fspath(folder), self.name)
        if formatted:
            smspec_ext, unsmry_ext, numbered_ext = ".FSMSPEC", ".FUNSMRY", ".A"
        _write(base + smspec_ext, self.smspec().data(formatted))
        if unified:
            data = self.unsmry(block_items=block_items, bad_count=bad_count).data(formatted)
            _write(base + unsmry_ext, data[:len(data) - cut])
        else:
            files = self.numbered(block_items=block_items)
            for r, f in enumerate(files):
                data = f.data(formatted)
                if r == len(files) - 1:
                    data = data[:len(data) - cut]
                _write(f"{base}{numbered_ext}{self.first_report + r:04d}", data)
        return base + smspec_ext


def _write(path: str, data: bytes) -> None:
    with open(path, "wb") as f:
        f.write(data)


def every_family(dims: Tuple[int, int, int] = (10, 10, 3)) -> List[Column]:
    """Columns of every key family, with the key each is known by (None: left out)."""
    return [c for c, _ in every_family_with_keys(dims)]


def every_family_with_keys(dims: Tuple[int, int, int] = (10, 10, 3)
                           ) -> List[Tuple[Column, Optional[str]]]:
    """Columns of every key family paired with the key they are known by, or None for the
    columns that are left out."""
    nx, ny, nz = dims
    return [
        (Column("TIME", unit="DAYS"), "TIME"),
        (Column("YEARS", unit="YEARS"), "YEARS"),
        (Column("FOPR", unit="SM3/DAY"), "FOPR"),
        (Column("FOPT", name="FIELD", unit="SM3"), "FOPT"),
        (Column("NEWTON"), "NEWTON"),
        (Column("NLINEARS"), "NLINEARS"),
        (Column("ELAPSED", unit="SECONDS"), "ELAPSED"),
        (Column("STEPTYPE"), "STEPTYPE"),
        (Column("MAXDPR"), "MAXDPR"),
        (Column("SUMTHIN"), "SUMTHIN"),
        (Column("SEPARATE"), "SEPARATE"),
        (Column("#WSTAT", name="OP_1", num=7), "#WSTAT"),
        (Column("WOPR", name="OP_1", unit="SM3/DAY"), "WOPR:OP_1"),
        (Column("WOPR", name="INJ", unit="SM3/DAY"), "WOPR:INJ"),
        (Column("WOPRL__1", name="W"), "WOPRL__1:W"),
        (Column("WWCT", name=DUMMY_NAME), None),
        (Column("WWCT", name=""), None),
        (Column("GOPR", name="G1", unit="SM3/DAY"), "GOPR:G1"),
        (Column("GOPR", name=DUMMY_NAME), None),
        (Column("NPR", name="NODE", unit="BARSA"), "NPR:NODE"),
        (Column("RPR", num=2, unit="BARSA"), "RPR:2"),
        (Column("RPR", num=-1, unit="BARSA"), None),
        (Column("RWFT", num=region_pair(1, 2), unit="SM3"), "RWFT:1-2"),
        (Column("BPR", num=block_num(nx, ny, nz, dims), unit="BARSA"), f"BPR:{nx},{ny},{nz}"),
        (Column("BPR", num=block_num(2, 3, 1, dims), unit="BARSA"), "BPR:2,3,1"),
        (Column("BPR", num=nx * ny * nz + 1), None),
        (Column("BPR", num=0), None),
        (Column("CWIT", name="INJ", num=block_num(5, 5, 3, dims), unit="SM3"), "CWIT:INJ:5,5,3"),
        (Column("CWIT", name="INJ", num=nx * ny * nz + 5), None),
        (Column("CWIT", name=DUMMY_NAME, num=1), None),
        (Column("SOFR", name="WELL", num=12, unit="SM3/DAY"), "SOFR:WELL:12"),
        (Column("SOFR", name="", num=3), None),
        (Column("SOFR", name="WELL", num=-3), None),
        (Column("AAQR", num=1, unit="SM3/DAY"), "AAQR:1"),
        (Column("LBPR", lgr="LGR1", local=(1, 2, 3), unit="BARSA"), "LBPR:LGR1:1,2,3"),
        (Column("LWOPR", name="OP_1", lgr="LGR1", unit="SM3/DAY"), "LWOPR:LGR1:OP_1"),
        (Column("LCWIT", name="W", lgr="LGR1", local=(1, 1, 1)), "LCWIT:LGR1:W:1,1,1"),
        (Column("WBHP", name="OP_1", unit="BARSA"), "WBHP:OP_1"),
        (Column("WBHP", name="OP_1", unit="PSIA"), "WBHP:OP_1"),
    ]

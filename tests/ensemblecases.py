"""Small ensembles of synthetic realizations for the ensemble tests, written with eclwriter.

Realization ``r`` lives in ``<root>/realization-<r>/CASE.*``. Its restart file ``CASE.UNRST``
holds report steps 0, 1 and 2, each ``SEQNUM``, ``PRESSURE`` (REAL), ``SGAS`` (DOUB),
``FLAGS`` (LOGI) and ``REGION`` (INTE; twice in step 2); ``CASE.INIT`` holds ``PORO`` and
``CASE.EGRID`` holds ``ACTNUM``. The values tell realization, step and item apart, so that a
row in the wrong place is seen. Odd realizations are written little-endian, sections are split
over several blocks.
"""

from __future__ import annotations

from pathlib import Path
from typing import Iterable

from eclwriter import BIG, LITTLE, EclFile

CELLS = 12
STEPS = (0, 1, 2)


def pressure(r: int, step: int) -> list:
    return [float(r * 100 + step * 10) + 0.5 * i for i in range(CELLS)]


def sgas(r: int, step: int) -> list:
    return [r + step / 8 + i / 1024 for i in range(CELLS)]


def flags(r: int, step: int) -> list:
    return [(i + r + step) % 3 == 0 for i in range(CELLS)]


def region(r: int, step: int, occurrence: int = 0) -> list:
    return [r * 1000 + step * 100 + occurrence * 50 + i for i in range(CELLS)]


def poro(r: int) -> list:
    return [0.1 + r / 100 + i / 1000 for i in range(CELLS)]


def actnum(r: int) -> list:
    return [int((i + r) % 4 != 0) for i in range(CELLS)]


def unrst(r: int, cells: int = CELLS) -> EclFile:
    order = LITTLE if r % 2 else BIG
    f = EclFile()
    for step in STEPS:
        f.add("SEQNUM", "INTE", [step], order=order)
        f.add("PRESSURE", "REAL", pressure(r, step)[:cells], order=order, block_items=5)
        f.add("SGAS", "DOUB", sgas(r, step)[:cells], order=order, block_items=7)
        f.add("FLAGS", "LOGI", [int(v) for v in flags(r, step)][:cells], order=order)
        f.add("REGION", "INTE", region(r, step)[:cells], order=order)
        if step == 2:
            f.add("REGION", "INTE", region(r, step, 1)[:cells], order=order)
    return f


def write_realization(root: Path, r: int, files: Iterable[str] = ("UNRST", "INIT", "EGRID"),
                      cells: int = CELLS) -> Path:
    """Writes realization r's files and gives its case path (without extension)."""
    folder = root / f"realization-{r}"
    folder.mkdir(parents=True, exist_ok=True)
    case = folder / "CASE"
    order = LITTLE if r % 2 else BIG
    if "UNRST" in files:
        unrst(r, cells).write(f"{case}.UNRST")
    if "INIT" in files:
        EclFile().add("PORO", "REAL", poro(r)[:cells], order=order).write(f"{case}.INIT")
    if "EGRID" in files:
        EclFile().add("ACTNUM", "INTE", actnum(r)[:cells], order=order).write(f"{case}.EGRID")
    return case


def write_ensemble(root: Path, realizations: Iterable[int]) -> list:
    """Writes every realization and gives their case paths."""
    return [write_realization(root, r) for r in realizations]


# -- summaries -----------------------------------------------------------------------------------

SUMMARY_KEYS = ["FOPR", "WOPR:OP_1", "WBHP:OP_1", "GOPR:G1"]


def summary_case(r: int, name: str = "CASE"):
    """Realization r's summary: TIME and four vectors whose values tell realization, time step
    and column apart; realization r has 2 + r % 3 report steps, so lengths differ."""
    from summarywriter import Case, Column

    columns = [Column("TIME", unit="DAYS"), Column("FOPR", unit="SM3/DAY"),
               Column("WOPR", "OP_1", unit="SM3/DAY"), Column("WBHP", "OP_1", unit="BARSA"),
               Column("GOPR", "G1", unit="SM3/DAY")]
    steps = [[10.0 * s + 1.0, 10.0 * s + 5.0] for s in range(2 + r % 3)]
    order = LITTLE if r % 2 else BIG
    return Case(name, columns, steps, order=order, start=(1 + r, 2, 2001),
                values=lambda t, c: float(r * 1000 + t * 10 + c) + 0.5)


def write_summary(root: Path, r: int, **kw) -> Path:
    """Writes realization r's summary (unified for even r, numbered for odd r unless given) and
    gives its case path (without extension)."""
    folder = root / f"realization-{r}"
    kw.setdefault("unified", r % 2 == 0)
    summary_case(r).write(folder, **kw)
    return folder / "CASE"

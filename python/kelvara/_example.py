"""kelvara.example: a small synthetic case, written with kelvara.write, to try every command on.

The case is a 10 x 8 x 4 corner-point grid of a tilted oil reservoir with two faults and a few
inactive cells, one water injector and two producers, run for five monthly report steps: its
EGRID, INIT, UNRST, SMSPEC and UNSMRY hold the sections that real runs write, with values that
follow a simple but plausible depletion.
"""

from __future__ import annotations

import os
from typing import Any, Dict, List, Tuple, Union

import numpy as np

from ._write import MESS, write

NI, NJ, NK = 10, 8, 4
DX, DY, DZ = 100.0, 100.0, 10.0
START = (1, 1, 2024)  # day, month, year
REPORT_DAYS = [0.0, 31.0, 60.0, 91.0, 121.0, 152.0]
WELLS = {"INJ1": (1, 1), "PROD1": (9, 7), "PROD2": (8, 2)}  # 1-based i, j of each well
BLOCK = (5, 4, 2)  # 1-based cell of the block vector

Sections = List[Tuple[str, Any]]


def _month_day(days: float) -> Tuple[int, int, int]:
    date = np.datetime64("2024-01-01") + np.timedelta64(int(days), "D")
    year, month, day = (int(x) for x in str(date).split("-"))
    return day, month, year


def _throw(i: np.ndarray, j: np.ndarray) -> np.ndarray:
    """Metres each cell column is moved down: a fault between i = 5 and 6 (1-based) throws the
    east block down 12 m, a second between j = 4 and 5, west of it, throws the north 6 m."""
    return np.where(i >= 5, 12.0, 0.0) + np.where((j >= 4) & (i < 5), 6.0, 0.0)


def _grid_sections() -> Tuple[Sections, np.ndarray, np.ndarray]:
    """The EGRID's sections, the active flags (ni, nj, nk) and the cell centre depths."""
    px, py = np.meshgrid(np.arange(NI + 1) * DX, np.arange(NJ + 1) * DY)  # (nj+1, ni+1)
    top = 2000.0 + 0.02 * px + 0.01 * py  # the top surface dips to the east and north
    coord = np.stack([px, py, top - 50.0, px, py, top + 100.0], axis=-1)
    # ZCORN: for each layer, the top corners then the bottom ones; in each, the rows of cells
    # (j), each row's south then north corners, each cell's west then east corner.
    k, tb, j, ys, i, xs = np.meshgrid(np.arange(NK), np.arange(2), np.arange(NJ), np.arange(2),
                                      np.arange(NI), np.arange(2), indexing="ij")
    zcorn = top[j + ys, i + xs] + (k + tb) * DZ + _throw(i, j)
    actnum = np.ones((NI, NJ, NK), dtype=np.int32)
    actnum[0:2, 6:8, :] = 0      # a corner outside the reservoir
    actnum[6, 3, 1] = 0          # a cell of no pore volume
    actnum[3:5, 2:4, 3] = 0      # a shale patch in the lowest layer
    cells_i, cells_j, cells_k = np.meshgrid(np.arange(NI), np.arange(NJ), np.arange(NK),
                                            indexing="ij")
    depth = (top[cells_j, cells_i] + top[cells_j + 1, cells_i + 1]) / 2 + (cells_k + 0.5) * DZ \
        + _throw(cells_i, cells_j)
    filehead = np.zeros(100, dtype=np.int32)
    filehead[0], filehead[1], filehead[6] = 3, 2007, 1
    gridhead = np.zeros(100, dtype=np.int32)
    gridhead[0:4] = (1, NI, NJ, NK)
    gridhead[24] = 1
    sections: Sections = [
        ("FILEHEAD", filehead),
        ("MAPUNITS", np.array(["METRES"])),
        ("GRIDUNIT", np.array(["METRES", ""])),
        ("GRIDHEAD", gridhead),
        ("COORD", coord.astype(np.float32).ravel()),
        ("ZCORN", zcorn.astype(np.float32).ravel()),
        ("ACTNUM", actnum.ravel(order="F")),
        ("ENDGRID", np.zeros(0, dtype=np.int32)),
    ]
    return sections, actnum.astype(bool), depth


def _intehead(active: int, day: int, month: int, year: int) -> np.ndarray:
    head = np.zeros(411, dtype=np.int32)
    head[1] = 201802   # the version of the writer
    head[2] = 1        # metric units
    head[8:12] = (NI, NJ, NK, active)
    head[14] = 3       # oil and water
    head[16] = len(WELLS)
    head[64:67] = (day, month, year)
    head[94] = 100     # the simulator
    return head


def _doubhead(days: float) -> np.ndarray:
    head = np.zeros(229, dtype=np.float64)
    head[0] = days
    return head


def _init_sections(active: np.ndarray, depth: np.ndarray, rng: np.random.Generator) -> Sections:
    flat = active.ravel(order="F")
    n = int(flat.sum())
    layer = np.broadcast_to(np.arange(NK), (NI, NJ, NK)).ravel(order="F")
    poro_all = np.clip(0.22 - 0.02 * layer + rng.normal(0, 0.02, flat.size), 0.05, 0.35)
    perm_all = 10 ** (1.5 + 8 * poro_all + rng.normal(0, 0.15, flat.size))
    ntg_all = np.clip(0.9 - 0.05 * layer + rng.normal(0, 0.03, flat.size), 0.3, 1.0)
    porv = np.where(flat, poro_all * ntg_all * DX * DY * DZ, 0.0)
    logihead = np.zeros(121, dtype=bool)
    logihead[[0, 1, 3]] = True
    return [
        ("INTEHEAD", _intehead(n, *START)),
        ("LOGIHEAD", logihead),
        ("DOUBHEAD", _doubhead(0.0)),
        ("PORV", porv.astype(np.float32)),
        ("DEPTH", depth.ravel(order="F")[flat].astype(np.float32)),
        ("DX", np.full(n, DX, dtype=np.float32)),
        ("DY", np.full(n, DY, dtype=np.float32)),
        ("DZ", np.full(n, DZ, dtype=np.float32)),
        ("PORO", poro_all[flat].astype(np.float32)),
        ("PERMX", perm_all[flat].astype(np.float32)),
        ("PERMY", perm_all[flat].astype(np.float32)),
        ("PERMZ", (0.1 * perm_all[flat]).astype(np.float32)),
        ("NTG", ntg_all[flat].astype(np.float32)),
        ("FIPNUM", np.where(layer[flat] < 2, 1, 2).astype(np.int32)),
        ("SATNUM", np.ones(n, dtype=np.int32)),
    ]


def _restart_sections(active: np.ndarray, depth: np.ndarray) -> Sections:
    flat = active.ravel(order="F")
    n = int(flat.sum())
    cells = np.argwhere(active.transpose(2, 1, 0))[:, ::-1]  # (i, j, k) of active cells, file order
    inj = np.array(WELLS["INJ1"]) - 1
    reach = np.hypot(cells[:, 0] - inj[0], cells[:, 1] - inj[1])
    hydrostatic = 200.0 + 0.09 * (depth.ravel(order="F")[flat] - 2000.0)
    out: Sections = []
    for step, days in enumerate(REPORT_DAYS):
        drop = 25.0 * (1 - np.exp(-days / 60.0))
        front = 1.2 * step  # cells reached by the injected water
        swat = 0.2 + 0.6 / (1 + np.exp(2.0 * (reach - front)))
        swat[cells[:, 2] == 0] = np.minimum(swat[cells[:, 2] == 0], 0.5)
        out += [
            ("SEQNUM", np.array([step], dtype=np.int32)),
            ("INTEHEAD", _intehead(n, *_month_day(days))),
            ("DOUBHEAD", _doubhead(days)),
            ("STARTSOL", MESS),
            ("PRESSURE", (hydrostatic - drop + 4.0 * np.exp(-reach / 3.0) * step)
             .astype(np.float32)),
            ("SWAT", swat.astype(np.float32)),
            ("ENDSOL", MESS),
        ]
    return out


def _summary_vectors() -> List[Tuple[str, str, int, str]]:
    """(keyword, well or group name, number, unit) of every vector, in SMSPEC order."""
    block = BLOCK[0] + (BLOCK[1] - 1) * NI + (BLOCK[2] - 1) * NI * NJ
    return [
        ("TIME", ":+:+:+:+", -32767, "DAYS"),
        ("YEARS", ":+:+:+:+", -32767, "YEARS"),
        ("FOPR", "FIELD", 0, "SM3/DAY"),
        ("FOPT", "FIELD", 0, "SM3"),
        ("FWPR", "FIELD", 0, "SM3/DAY"),
        ("FWIR", "FIELD", 0, "SM3/DAY"),
        ("FPR", "FIELD", 0, "BARSA"),
        ("WOPR", "PROD1", 0, "SM3/DAY"),
        ("WOPR", "PROD2", 0, "SM3/DAY"),
        ("WWCT", "PROD1", 0, ""),
        ("WWCT", "PROD2", 0, ""),
        ("WBHP", "PROD1", 0, "BARSA"),
        ("WBHP", "PROD2", 0, "BARSA"),
        ("WWIR", "INJ1", 0, "SM3/DAY"),
        ("WBHP", "INJ1", 0, "BARSA"),
        ("BPR", ":+:+:+:+", block, "BARSA"),
    ]


def _summary_values(days: float) -> Dict[str, float]:
    decline = np.exp(-days / 200.0)
    wct1 = min(0.9, max(0.0, (days - 40.0) / 200.0))
    wct2 = min(0.9, max(0.0, (days - 90.0) / 250.0))
    wopr1 = 600.0 * decline * (1 - wct1)
    wopr2 = 400.0 * decline * (1 - wct2)
    fopr = wopr1 + wopr2
    fwpr = 600.0 * decline * wct1 + 400.0 * decline * wct2
    # FOPT: the rate's integral from the start, 1000 * 200 * (1 - e^(-t/200)) less the water.
    fopt = 200.0 * 1000.0 * (1 - decline) * (1 - (wct1 + wct2) / 4)
    fpr = 230.0 - 25.0 * (1 - np.exp(-days / 60.0))
    return {
        "TIME": days, "YEARS": days / 365.25, "FOPR": fopr, "FOPT": fopt, "FWPR": fwpr,
        "FWIR": 1.1 * (fopr + fwpr), "FPR": fpr, "WOPR:PROD1": wopr1, "WOPR:PROD2": wopr2,
        "WWCT:PROD1": wct1, "WWCT:PROD2": wct2, "WBHP:PROD1": fpr - 40.0,
        "WBHP:PROD2": fpr - 35.0, "WWIR:INJ1": 1.1 * (fopr + fwpr), "WBHP:INJ1": fpr + 60.0,
        "BPR": fpr + 3.0,
    }


def _summary_sections() -> Tuple[Sections, Sections]:
    vectors = _summary_vectors()
    keys = [f"{kw}:{name}" if name not in (":+:+:+:+", "FIELD") else kw
            for kw, name, _, _ in vectors]
    smspec: Sections = [
        ("INTEHEAD", np.array([1, 100], dtype=np.int32)),
        ("RESTART", np.array([""] * 9)),
        ("DIMENS", np.array([len(vectors), NI, NJ, NK, 0, -1], dtype=np.int32)),
        ("KEYWORDS", np.array([v[0] for v in vectors])),
        ("WGNAMES", np.array([v[1] for v in vectors])),
        ("NUMS", np.array([v[2] for v in vectors], dtype=np.int32)),
        ("UNITS", np.array([v[3] for v in vectors])),
        ("STARTDAT", np.array([*START, 0, 0, 0], dtype=np.int32)),
    ]
    unsmry: Sections = []
    ministep = 0
    for step in range(1, len(REPORT_DAYS)):
        unsmry.append(("SEQHDR", np.array([step], dtype=np.int32)))
        begin, end = REPORT_DAYS[step - 1], REPORT_DAYS[step]
        for days in (begin + (end - begin) / 2, end):  # two time steps a report step
            values = _summary_values(days)
            unsmry.append(("MINISTEP", np.array([ministep], dtype=np.int32)))
            unsmry.append(("PARAMS", np.array([values[key] for key in keys],
                                              dtype=np.float32)))
            ministep += 1
    return smspec, unsmry


def example(directory: Union[str, "os.PathLike[str]"]) -> Dict[str, str]:
    """Writes the synthetic case CASE (CASE.EGRID, .INIT, .UNRST, .SMSPEC, .UNSMRY) into
    ``directory``, made when missing, and returns the paths by extension. The same case is
    written every time."""
    os.makedirs(directory, exist_ok=True)
    rng = np.random.default_rng(2024)
    grid, active, depth = _grid_sections()
    smspec, unsmry = _summary_sections()
    files = {
        "EGRID": grid,
        "INIT": _init_sections(active, depth, rng),
        "UNRST": _restart_sections(active, depth),
        "SMSPEC": smspec,
        "UNSMRY": unsmry,
    }
    paths = {}
    for extension, sections in files.items():
        path = os.path.join(os.fspath(directory), f"CASE.{extension}")
        write(path, sections)
        paths[extension] = path
    return paths

"""The grid scans and the dual-porosity readers on grid files written by simulators.

Every GRID and EGRID file under DATA_DIR is catalogued by kelvara and by an independent scan
written here on the decoder of test_real_files (struct and NumPy only): grid names and order,
every section's position, name, type and size per grid, file-level and unknown sections, and
every NNC counter, recomputed with NumPy from the NNC1/NNC2/NNCL items."""

from __future__ import annotations

import numpy as np
import pytest

from kelvara import ArrayFeeder, eclipse
from conftest import DATA_DIR
from test_real_files import FILES, decoded

pytestmark = pytest.mark.skipif(not DATA_DIR.is_dir(),
                                reason=f"real simulator files not found in {DATA_DIR}")

EGRIDS = [p for p in FILES if p.suffix.upper() == ".EGRID"]
GRIDS = [p for p in FILES if p.suffix.upper() == ".GRID"]
DUAL_EGRIDS = [p for p in EGRIDS if p.name in ("DUAL.EGRID", "TEST_DP.EGRID",
                                                "TEST_DPDK.EGRID", "COARSE_SCALE_2_E100.EGRID")]


def ids(paths):
    return [p.relative_to(DATA_DIR).as_posix() for p in paths]


def ints(section):
    """The items of a numeric section as int64, REAL and DOUB truncated towards zero."""
    return np.trunc(section.raw_values().astype(np.float64)).astype(np.int64)


def record(section):
    return (section.position, section.name, section.type, section.count)


class Grid:
    def __init__(self):
        self.sections = []
        self.counters = {"FaultNNCSize": 0, "MatrixFaultNNCSize": 0, "FractureFaultNNCSize": 0,
                         "DpDkNNCSize": 0, "DpDkFrac2Matr": False, "MatrixExternalNNCSize": 0,
                         "FractureExternalNNCSize": 0}
        self.mask = None


def fracture(cells, dims):
    """True for the cells of the fracture half: layer (n - 1) / (nx * ny), truncated towards
    zero, at nz or beyond."""
    nx, ny, nz = dims
    layers = np.fix((np.asarray(cells, dtype=np.int64) - 1) / (nx * ny)).astype(np.int64)
    return layers >= nz


def classify_dual(grid, dims, nnc1, nnc2):
    f1, f2 = fracture(nnc1, dims), fracture(nnc2[:len(nnc1)], dims)
    mm, ff = int(np.sum(~f1 & ~f2)), int(np.sum(f1 & f2))
    mf, fm = int(np.sum(~f1 & f2)), int(np.sum(f1 & ~f2))
    grid.counters["MatrixFaultNNCSize"], grid.counters["FractureFaultNNCSize"] = mm, ff
    grid.counters["DpDkFrac2Matr"] = not mf > 0
    grid.counters["DpDkNNCSize"] = mf if mf > 0 else fm
    grid.counters["FaultNNCSize"] = len(nnc1) - grid.counters["DpDkNNCSize"]


def classify_external(grid, dims, items):
    frac = fracture(items, dims)
    grid.mask = frac.astype(np.int8)
    grid.counters["MatrixExternalNNCSize"] = int(np.sum(~frac))
    grid.counters["FractureExternalNNCSize"] = int(np.sum(frac))


def independent_scan(path, extended, dual):
    """names, grids (name -> Grid), file-level and unknown sections, by the layouts' rules."""
    names, grids, file_level, unknown = [], {}, [], []
    current_name, current = "Main Grid", None
    dims_by_key, names_by_id, nnc_dims = {}, {}, None
    nnc1 = nnc2 = np.zeros(0, dtype=np.int64)
    divisor = 2 if (not extended and dual > 0) else 1
    levels = ({"FILEHEAD", "MAPUNITS", "MAPAXES", "GRIDUNIT"} if extended
              else {"BOXORIG", "MAPAXES", "MAPUNITS", "GRIDUNIT"})

    def open_grid(name):
        names.append(name)
        grids[name] = Grid()
        return grids[name]

    for s in decoded(path):
        n = s.name
        if n in levels:
            if n == "FILEHEAD":
                dual = int(ints(s)[5])
            file_level.append(record(s))
        elif extended and n in ("ENDGRID", "ENDLGR"):
            current_name, current = "", None
        elif n == "LGR":
            current_name = s.texts()[0]
            current = open_grid(current_name)
        elif not extended and n == "DIMENS" and current_name == "Main Grid":
            v = ints(s)
            dims_by_key[len(dims_by_key)] = (v[0], v[1], v[2] // divisor)
            current = open_grid(current_name)
            current.sections.append(record(s))
        elif not extended and n == "LGRILG":
            v = ints(s)
            dims_by_key[len(dims_by_key)] = (v[8], v[9], v[10] // divisor)
            current.sections.append(record(s))
        elif extended and n == "GRIDHEAD":
            v = ints(s)
            dims_by_key[v[4]] = (v[1], v[2], v[3])
            names_by_id[v[4]] = current_name
            if current_name == "Main Grid":
                assert v[4] == 0
                current = open_grid(current_name)
            current.sections.append(record(s))
        elif n == "NNCHEAD":
            v = ints(s)
            current_name = names_by_id[v[1]] if extended else names[v[1]]
            current = grids[current_name]
            current.counters["FaultNNCSize"] = int(v[0])
            current.sections.append(record(s))
            nnc_dims = dims_by_key[v[1]]
        elif n == "NNC1" and dual > 0:
            current.sections.append(record(s))
            nnc1 = ints(s)
        elif n == "NNC2" and dual > 0:
            current.sections.append(record(s))
            nnc2 = ints(s)
            classify_dual(current, nnc_dims, nnc1, nnc2)
        elif extended and n == "NNCL":
            current.sections.append(record(s))
            if dual > 1:
                classify_external(current, nnc_dims, ints(s))
            else:
                current.counters["MatrixExternalNNCSize"] = 0
                current.counters["FractureExternalNNCSize"] = s.count
        elif not extended and n in ("COORDS", "CORNERS"):
            pass
        elif current is not None:
            current.sections.append(record(s))
        else:
            assert extended, f"{n} before any grid"
            unknown.append(record(s))
    return names, grids, file_level, unknown


def entries(part):
    return {k: (v.position, v.name, v.type, v.size) for k, v in part.items()
            if hasattr(v, "position")}


def by_name(records):
    out = {}
    for r in records:
        out[r[1]] = r
    return out


def check(path, extended, dual=0):
    with open(path, "rb") as f:
        d = eclipse.MapExtGridFileSections(f) if extended else eclipse.MapGridFileSections(f, dual)
        assert f.tell() == path.stat().st_size
    names, grids, file_level, unknown = independent_scan(path, extended, dual)
    assert d["__grid_names__"] == names
    assert list(d["__grids__"]) == sorted(grids, key=lambda s: s.encode("latin-1"))
    assert entries(d) == by_name(file_level)
    assert entries(d["__unknowns__"]) == by_name(unknown)
    keys = (["FaultNNCSize", "MatrixFaultNNCSize", "FractureFaultNNCSize", "DpDkNNCSize",
             "DpDkFrac2Matr", "MatrixExternalNNCSize", "FractureExternalNNCSize"] if extended
            else ["FaultNNCSize", "DpDkNNCSize", "DpDkFrac2Matr"])
    for name, grid in grids.items():
        got = d["__grids__"][name]
        assert entries(got) == by_name(grid.sections), name
        assert {k: got[k] for k in keys} == {k: grid.counters[k] for k in keys}, name
        assert [k for k in got if not hasattr(got[k], "position")] == keys + (
            ["DpDkExternalNNCMask"] if grid.mask is not None else [])
        if grid.mask is not None:
            assert got["DpDkExternalNNCMask"].to_numpy().tolist() == grid.mask.tolist()
    return d


@pytest.mark.parametrize("path", EGRIDS, ids=ids(EGRIDS))
def test_extended_catalogue(path):
    check(path, extended=True)


@pytest.mark.parametrize("dual", [0, 1])
@pytest.mark.parametrize("path", GRIDS, ids=ids(GRIDS))
def test_plain_catalogue(path, dual):
    check(path, extended=False, dual=dual)


def test_the_file_set_has_what_the_catalogue_tests_need():
    names = {p.name for p in FILES}
    # local grids, nested local grids, dual porosity, dual permeability, plain files with NNCs
    for wanted in ("SIMPLE_SUMMARY2.EGRID", "CARFIN-NESTED.EGRID", "DUAL.EGRID",
                   "TEST_DPDK.EGRID", "E300_BO.GRID", "LGR_NESTED.GRID"):
        assert wanted in names
    assert len(DUAL_EGRIDS) == 4


def test_classification_is_exercised():
    d = check(DATA_DIR / "xtgeo-testdata" / "TEST_DPDK.EGRID", extended=True)
    assert d["__grids__"]["Main Grid"]["DpDkNNCSize"] == 9
    d = check(DATA_DIR / "xtgeo-testdata" / "E300_BO.GRID", extended=False, dual=1)
    assert d["__grids__"]["Main Grid"]["NNC1"].size == 3


@pytest.mark.parametrize("path", DUAL_EGRIDS, ids=ids(DUAL_EGRIDS))
def test_dual_activity(path):
    sections = decoded(path)
    index = next(i for i, s in enumerate(sections) if s.name == "ACTNUM")
    actnum = sections[index]
    end = sections[index + 1].position if index + 1 < len(sections) else path.stat().st_size
    words = ints(actnum)
    with open(path, "rb") as f:
        counts = eclipse.DpDkExtGridActiveCellsCount(f, actnum.position)
        assert f.tell() == end
        matrix, fracture_ = ArrayFeeder(), ArrayFeeder()
        eclipse.ReadExtGridDpDkActnumSections(f, 0, actnum.position, True, matrix)
        eclipse.ReadExtGridDpDkActnumSections(f, 0, actnum.position, False, fracture_)
    assert counts == (int(np.sum(words & 1)), int(np.sum((words >> 1) & 1)))
    assert matrix.to_numpy().tolist() == (words & 1).astype(float).tolist()
    assert fracture_.to_numpy().tolist() == ((words >> 1) & 1).astype(float).tolist()


@pytest.mark.parametrize("path", GRIDS, ids=ids(GRIDS))
def test_plain_activity_walks(path):
    sections = decoded(path)
    coords = [s for s in sections if s.name == "COORDS"]
    if not coords:
        pytest.skip("no COORDS sections")
    words = np.array([ints(s)[4] if s.count > 4 else 1 for s in coords], dtype=np.int64)
    for matrix, expected in ((True, words & 1), (False, (words >> 1) & 1)):
        feeder = ArrayFeeder()
        with open(path, "rb") as f:
            eclipse.ReadGridDpDkActnumSections(f, len(coords), coords[0].position, matrix, feeder)
        assert feeder.to_numpy().tolist() == expected.astype(float).tolist()

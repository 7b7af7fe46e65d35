"""kelvara.open_grid: grids of extended (EGRID) and plain (GRID) files, made by the test writer
and written by simulators; bad grid files raise FormatError and never end the process."""

from __future__ import annotations

import struct

import numpy as np
import pytest

import kelvara
from conftest import DATA_DIR
from eclwriter import BIG, LITTLE
from gridwriter import GridFile
from test_real_files import FILES, decoded

ORDERS = [pytest.param(BIG, id="big"), pytest.param(LITTLE, id="little")]


@pytest.fixture(autouse=True)
def nothing_on_stderr(capfd):
    yield
    assert capfd.readouterr().err == ""


def extended(order=BIG, dual=0):
    g = GridFile()
    g.filehead(dual, order=order)
    g.add("GRIDUNIT", "CHAR", ["METRES", ""], order=order)
    g.gridhead(3, 2, 2, 0, order=order)
    g.geometry(3, 2, 2, actnum=[1, 0, 1, 1, 1, 1, 0, 0, 1, 1, 1, 2], order=order)
    g.endgrid(order=order)
    g.lgr("LGR1", order=order)
    g.add("LGRPARNT", "CHAR", [""], order=order)
    g.gridhead(2, 1, 1, 1, order=order)
    g.geometry(2, 1, 1, order=order)
    g.add("HOSTNUM", "INTE", [4, 5], order=order)
    g.endgrid(order=order)
    g.endlgr(order=order)
    g.nnchead(2, 0, order=order)
    g.nnc([1, 2], [7, 12], order=order)
    g.nnchead(1, 1, order=order)
    g.nnc([1], [2], order=order)
    g.nncl([1, 2], order=order)
    g.add("NNCG", "INTE", [4, 5], order=order)
    return g


@pytest.mark.parametrize("order", ORDERS)
def test_extended_grid(write_ecl, order):
    path = write_ecl(extended(order), "CASE.EGRID")
    grid = kelvara.open_grid(path)
    assert isinstance(grid, kelvara.Grid)
    assert grid.name == "Main Grid" and grid.dimensions == (3, 2, 2) and grid.dual == 0
    assert grid.actnum.dtype == np.int32 and grid.actnum.shape == (3, 2, 2)
    # i runs fastest in the file: item 1 is cell (1, 0, 0), item 6 is (0, 0, 1).
    assert grid.actnum[1, 0, 0] == 0 and grid.actnum[0, 0, 1] == 0 and grid.actnum[2, 1, 1] == 2
    assert grid.active_cells == 9
    assert grid.parent is None and grid.host_cells is None
    assert list(grid.local_grids) == ["LGR1"]
    lgr = grid.local_grids["LGR1"]
    assert lgr.dimensions == (2, 1, 1) and lgr.actnum.tolist() == [[[1]], [[1]]]
    assert lgr.parent is None  # a blank parent: the main grid
    assert lgr.host_cells.reshape(-1, order="F").tolist() == [4, 5]
    assert grid.nnc["NNC1"].tolist() == [1, 2] and grid.nnc["NNC2"].tolist() == [7, 12]
    assert grid.nnc["FaultNNCSize"] == 2
    assert lgr.nnc["NNC1"].tolist() == [1] and lgr.nnc["NNCL"].tolist() == [1, 2]
    assert lgr.nnc["NNCG"].tolist() == [4, 5] and lgr.nnc["FractureExternalNNCSize"] == 2
    assert repr(grid) == "<Grid 'Main Grid' 3x2x2 active=9 local_grids=['LGR1']>"
    assert repr(lgr) == "<Grid 'LGR1' 2x1x1 active=2>"


def test_extended_grid_from_a_file_object_leaves_it_where_it_stood(write_ecl):
    path = write_ecl(extended(), "CASE.EGRID")
    with open(path, "rb") as handle:
        handle.seek(7)
        grid = kelvara.open_grid(handle)
        assert handle.tell() == 7 and not handle.closed
    assert grid.dimensions == (3, 2, 2)


def test_dual_porosity_classes(write_ecl):
    g = GridFile().filehead(1).gridhead(2, 1, 1, 0).geometry(2, 1, 1, actnum=[3, 1]).endgrid()
    g.nnchead(2, 0).nnc([1, 2, 3], [3, 4, 4])  # cells 3, 4 lie in the fracture half
    grid = kelvara.open_grid(write_ecl(g, "DUAL.EGRID"))
    assert grid.dual == 1
    assert grid.nnc["DpDkNNCSize"] == 2 and grid.nnc["DpDkFrac2Matr"] is False
    assert grid.nnc["FractureFaultNNCSize"] == 1 and grid.nnc["FaultNNCSize"] == 1
    with pytest.raises(ValueError, match="dual mode 1"):
        kelvara.open_grid(write_ecl(g, "DUAL.EGRID"), dual=0)


@pytest.mark.parametrize("order", ORDERS)
def test_plain_grid(write_ecl, order):
    g = GridFile()
    g.dimens(2, 2, 1, order=order)
    g.add("GRIDUNIT", "CHAR", ["METRES", ""], order=order)
    g.cell((1, 1, 1, 1, 1, 0, 0), order=order)
    g.cell((2, 1, 1, 2, 0, 0, 0), order=order)  # inactive
    g.cell((2, 2, 1, 4, 1, 0, 0), order=order)  # cell (1, 2, 1) is not written
    g.add("LGR", "CHAR", ["FINE", "Main"], order=order)
    g.lgrilg(1, 2, 1, order=order)
    g.cell((1, 1, 1, 1, 1, 1, 0), order=order)
    g.cell((1, 2, 1, 2, 1, 4, 0), order=order)
    g.nnchead(1, 0, order=order)
    g.nnc([1], [4], order=order)
    grid = kelvara.open_grid(write_ecl(g, "CASE.GRID"))
    assert grid.dimensions == (2, 2, 1) and grid.dual == 0
    assert grid.actnum[:, :, 0].tolist() == [[1, 0], [0, 1]]
    assert grid.nnc["NNC1"].tolist() == [1] and grid.nnc["NNC2"].tolist() == [4]
    fine = grid.local_grids["FINE"]
    assert fine.dimensions == (1, 2, 1) and fine.parent == "Main"
    assert fine.actnum.reshape(-1).tolist() == [1, 1]
    assert fine.host_cells.reshape(-1).tolist() == [1, 4]


def test_plain_dual_grid_halves_the_layers(write_ecl):
    g = GridFile().dimens(1, 1, 2).cell((1, 1, 1, 1, 1, 0, 0)).cell((1, 1, 2, 2, 1, 0, 0))
    g.nnchead(1, 0).nnc([1], [2])
    grid = kelvara.open_grid(write_ecl(g, "CASE.GRID"), dual=1)
    assert grid.dimensions == (1, 1, 1) and grid.dual == 1
    assert grid.actnum.shape == (1, 1, 2)  # the file stores both halves
    assert grid.nnc["DpDkNNCSize"] == 1


@pytest.mark.parametrize("dual", [1, 2])
def test_plain_dual_grid_dimensions_give_one_half_and_actnum_both(write_ecl, dual):
    # DIMENS 2 x 1 x 4: two layers a half; the matrix half first, the fracture half behind it.
    g = GridFile().dimens(2, 1, 4)
    for k in range(1, 5):
        for i in range(1, 3):
            g.cell((i, 1, k, i + 2 * (k - 1), int(k > 2 and i == 2), 0, 0))
    grid = kelvara.open_grid(write_ecl(g, "HALVES.GRID"), dual=dual)
    assert grid.dimensions == (2, 1, 2)
    assert grid.actnum.shape == (2, 1, 4)
    ni, nj, nk = grid.dimensions
    assert not grid.actnum[:, :, :nk].any()  # matrix half
    assert grid.actnum[:, :, nk:].tolist() == [[[0, 0]], [[1, 1]]]  # fracture half


@pytest.mark.parametrize("build, match", [
    (lambda: GridFile().add("INTEHEAD", "INTE", [1, 2]), "not a grid file"),
    (lambda: GridFile().filehead().add("ZLONG", "C012", ["LONGER NAME"]), "type C012"),
    (lambda: GridFile().filehead().add("GRIDHEAD", "INTE", [1, 2, 3]), "fewer than 5"),
    (lambda: GridFile().filehead().add("GRIDHEAD", "MESS"), "not numbers"),
    (lambda: GridFile().filehead().gridhead(1, 1, 1).geometry(1, 1, 1).endgrid().nnchead(1, 4),
     "no GRIDHEAD declares"),
    (lambda: GridFile().filehead(1).gridhead(2, 1, 1).geometry(2, 1, 1).endgrid()
     .nnchead(2, 0).add("NNC1", "INTE", [1, 2]).add("NNC2", "INTE", [3]), "NNC2 list of 1"),
    (lambda: GridFile().filehead(1).gridhead(0, 1, 1).endgrid().nnchead(1, 0).nnc([1], [1]),
     "without cells"),
    (lambda: GridFile().filehead().lgr("L").gridhead(1, 1, 1, 1), "without a main grid"),
    (lambda: GridFile().filehead().gridhead(1, 1, 1, 3), "refuses.*ID != 0"),
    (lambda: GridFile().filehead().add("LGR", "INTE", [1]), "names no grid"),
    (lambda: GridFile().add("DIMENS", "INTE", [1, 1]), "fewer than 3"),
    (lambda: GridFile().dimens(1, 1, 1).lgr("L").add("LGRILG", "INTE", [1] * 5),
     "fewer than 11"),
    (lambda: GridFile().dimens(1, 1, 1).cell().nnchead(1, 3), "does not hold"),
    (lambda: GridFile().dimens(1, 1, 1).cell((2, 1, 1, 1, 1, 0, 0)), "outside the grid"),
    (lambda: GridFile().dimens(2, 1, 1).add("ACTNUM", "INTE", [1]).gridhead(2, 2, 2)
     .geometry(2, 2, 2, actnum=[1] * 3), "ACTNUM of 3 items"),
])
def test_bad_grid_files(write_ecl, build, match):
    path = write_ecl(build(), "BAD.EGRID")
    with pytest.raises(kelvara.FormatError, match=match) as info:
        kelvara.open_grid(path)
    assert str(path) in str(info.value)


def test_open_grid_sources(tmp_path, write_ecl):
    with pytest.raises(FileNotFoundError):
        kelvara.open_grid(tmp_path / "none.EGRID")
    with pytest.raises(IsADirectoryError):
        kelvara.open_grid(tmp_path)
    with pytest.raises(kelvara.FormatError, match="empty"):
        kelvara.open_grid(write_ecl(b"", "E.EGRID"))


# --------------------------------------------------------------------------------------------
# Real files, against the independent decoder

GRID_FILES = [p for p in FILES if p.suffix in (".EGRID", ".GRID")]


def items(section):
    code = {"INTE": "i4", "REAL": "f4", "DOUB": "f8", "LOGI": "u4"}[section.type]
    return np.frombuffer(section.payload, dtype=section.order + code)


def texts(section):
    return [section.payload[i:i + 8].strip(b" ").decode("latin-1")
            for i in range(0, len(section.payload), 8)]


def expected_extended(sections):
    """name -> dims, ACTNUM, NNC1, NNC2 by the sections: each GRIDHEAD opens a grid named by the
    LGR before it, NNCHEAD item 1 names the grid of the NNC lists after it."""
    grids, by_id, current, nnc_grid = {}, {}, "Main Grid", None
    for s in sections:
        if s.name == "LGR":
            current = texts(s)[0]
        elif s.name == "GRIDHEAD":
            head = items(s)
            grids[current] = {"dims": tuple(int(v) for v in head[1:4]), "open": True}
            by_id[int(head[4])] = current
        elif s.name == "ACTNUM" and current in grids and grids[current]["open"]:
            grids[current]["ACTNUM"] = items(s)
        elif s.name in ("ENDGRID", "ENDLGR"):
            for g in grids.values():
                g["open"] = False
            current = None
        elif s.name == "NNCHEAD":
            nnc_grid = by_id[int(items(s)[1])]
        elif s.name in ("NNC1", "NNC2") and nnc_grid is not None:
            grids[nnc_grid][s.name] = items(s)
    return grids


@pytest.mark.skipif(not DATA_DIR.is_dir(), reason="no real files")
@pytest.mark.parametrize("path", GRID_FILES, ids=[p.name for p in GRID_FILES])
def test_real_grid_files(path):
    sections = decoded(path)
    grid = kelvara.open_grid(path)
    every = {"Main Grid": grid, **grid.local_grids}
    if path.suffix == ".EGRID":
        want = expected_extended(sections)
        assert list(every) == list(want)
        filehead = [s for s in sections if s.name == "FILEHEAD"]
        assert grid.dual == (int(items(filehead[0])[5]) if filehead else 0)
        for name, g in every.items():
            assert g.dimensions == want[name]["dims"], name
            assert g.actnum.shape == g.dimensions
            if "ACTNUM" in want[name]:
                assert np.array_equal(g.actnum.reshape(-1, order="F"), want[name]["ACTNUM"])
            for key in ("NNC1", "NNC2"):
                if key in want[name]:
                    assert np.array_equal(g.nnc[key], want[name][key]), (name, key)
                else:
                    assert key not in g.nnc
    else:
        dimens = items(next(s for s in sections if s.name == "DIMENS"))
        assert grid.dimensions == tuple(int(v) for v in dimens)
        # The main grid's cells: the COORDS records up to the first LGR.
        actnum = np.zeros(grid.dimensions, dtype=np.int32)
        for s in sections:
            if s.name == "LGR":
                break
            if s.name == "COORDS":
                c = items(s)
                actnum[c[0] - 1, c[1] - 1, c[2] - 1] = c[4] if len(c) > 4 else 1
        assert np.array_equal(grid.actnum, actnum)
        lgrs = [texts(s)[0] for s in sections if s.name == "LGR"]
        assert list(grid.local_grids) == list(dict.fromkeys(lgrs))
        nnc = [s for s in sections if s.name in ("NNC1", "NNC2")]
        for s in nnc:
            assert np.array_equal(grid.nnc[s.name], items(s))

"""kelvara.open_grid on formatted grid files: the same grids as from the unformatted twin, for
the grids of the test suite and for every real grid file turned into text."""

from __future__ import annotations

import numpy as np
import pytest

import kelvara
from conftest import DATA_DIR
from fmtwriter import formatted_twin
from gridwriter import GridFile
from test_open_grid import GRID_FILES, extended


def twin_of(path, out):
    """Writes the formatted twin of an unformatted file, with exact digits."""
    with kelvara.open(path) as f:
        sections = [(k.name, k.type, k.read().tolist()) for k in f]
    formatted_twin(sections, real_digits=9, doub_digits=17).write(out)
    return out


def same_grid(a, b):
    assert (a.name, a.dimensions, a.dual, a.parent) == (b.name, b.dimensions, b.dual, b.parent)
    assert a.actnum.dtype == b.actnum.dtype and np.array_equal(a.actnum, b.actnum)
    assert (a.host_cells is None) == (b.host_cells is None)
    if a.host_cells is not None:
        assert np.array_equal(a.host_cells, b.host_cells)
    assert a.nnc.keys() == b.nnc.keys()
    for key, value in a.nnc.items():
        if isinstance(value, np.ndarray):
            assert np.array_equal(value, b.nnc[key]), key
        else:
            assert value == b.nnc[key], key
    assert list(a.local_grids) == list(b.local_grids)
    for name in a.local_grids:
        same_grid(a.local_grids[name], b.local_grids[name])


def plain_with_lgr():
    g = GridFile().dimens(2, 2, 1)
    g.cell((1, 1, 1, 1, 1, 0, 0)).cell((2, 1, 1, 2, 0, 0, 0)).cell((2, 2, 1, 4, 1, 0, 0))
    g.add("LGR", "CHAR", ["FINE", "Main"]).lgrilg(1, 2, 1)
    g.cell((1, 1, 1, 1, 1, 1, 0)).cell((1, 2, 1, 2, 1, 4, 0))
    return g.nnchead(1, 0).nnc([1], [4])


def dual():
    g = GridFile().filehead(1).gridhead(2, 1, 1, 0).geometry(2, 1, 1, actnum=[3, 1]).endgrid()
    return g.nnchead(2, 0).nnc([1, 2, 3], [3, 4, 4])


@pytest.mark.parametrize("build, name", [(extended, "CASE.EGRID"), (dual, "DUAL.EGRID"),
                                         (plain_with_lgr, "CASE.GRID")])
def test_formatted_grid_equals_its_twin(tmp_path, build, name):
    path = tmp_path / name
    build().write(path)
    text = twin_of(path, tmp_path / ("F" + name.split(".")[1]))
    assert text.read_bytes().lstrip().startswith(b"'")
    same_grid(kelvara.open_grid(text), kelvara.open_grid(path))
    with open(text, "rb") as handle:
        handle.seek(5)
        same_grid(kelvara.open_grid(handle), kelvara.open_grid(path))
        assert handle.tell() == 5


def test_broken_formatted_grid(tmp_path):
    path = tmp_path / "CASE.FEGRID"
    path.write_text(" 'FILEHEAD'           3 'INTE'\n 3 2007 0\n")
    with pytest.raises(kelvara.FormatError, match="FILEHEAD section of 3 items, fewer than 6"):
        kelvara.open_grid(path)


@pytest.mark.skipif(not DATA_DIR.is_dir(), reason="no real files")
@pytest.mark.parametrize("path", GRID_FILES, ids=[p.name for p in GRID_FILES])
def test_every_real_grid_file_as_text(tmp_path, path):
    text = twin_of(path, tmp_path / "TWIN")
    same_grid(kelvara.open_grid(text), kelvara.open_grid(path))


REAL_FEGRIDS = [(DATA_DIR / "xtgeo-testdata" / "E100_BO.FEGRID",
                 DATA_DIR / "xtgeo-testdata" / "E100_BO.EGRID")]


@pytest.mark.skipif(not DATA_DIR.is_dir(), reason="no real files")
def test_real_formatted_grids():
    for text, twin in REAL_FEGRIDS:
        same_grid(kelvara.open_grid(text), kelvara.open_grid(twin))
    # A hand-edited grid without ACTNUM: every cell active.
    grid = kelvara.open_grid(DATA_DIR / "formatted" / "opm-common" / "EGRID_NO_ACTNUM.FEGRID")
    assert grid.dimensions == (2, 2, 2) and grid.active_cells == 8
    assert grid.actnum.dtype == np.int32

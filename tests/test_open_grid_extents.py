"""kelvara.open_grid and the extents a grid file declares: an extent below 0, or a grid of more
cells than the file could hold an item for, is a FormatError at the grid's header section,
before any array of the grid's cells is made."""

import pytest

import kelvara

from gridwriter import BIG, LITTLE, GridFile


def plain(dims, order):
    return GridFile().dimens(*dims, order=order)


def plain_local(dims, order):
    g = GridFile().dimens(1, 1, 1, order=order).cell(order=order)
    return g.lgr("L", order=order).lgrilg(*dims, order=order)


def extended(dims, order, actnum=None):
    g = GridFile().filehead(order=order).gridhead(*dims, order=order)
    if actnum is not None:
        g.add("ACTNUM", "INTE", actnum, order=order)
    return g.endgrid(order=order)


def extended_local(dims, order):
    g = GridFile().filehead(order=order).gridhead(1, 1, 1, order=order)
    g.geometry(1, 1, 1, order=order).endgrid(order=order)
    return g.lgr("L", order=order).gridhead(*dims, 1, order=order).endgrid(order=order).endlgr(
        order=order)


LAYOUTS = {
    "DIMENS": (plain, "GRID", 0),
    "LGRILG": (plain_local, "GRID", 0),
    "GRIDHEAD": (extended, "EGRID", 0),
    "GRIDHEAD of a local grid": (extended_local, "EGRID", 1),
}


def refused(tmp_path, g, suffix, section, occurrence, match):
    path = tmp_path / f"case.{suffix}"
    g.write(path)
    with kelvara.open(path) as f:
        header = f[section][occurrence].position
    with pytest.raises(kelvara.FormatError, match=match) as caught:
        kelvara.open_grid(path)
    error = caught.value
    assert (error.path, error.section) == (str(path), section)
    assert error.position == error.section_position == header
    assert f"header at byte {header}" in str(error)


@pytest.mark.parametrize("order", [BIG, LITTLE])
@pytest.mark.parametrize("layout", LAYOUTS)
@pytest.mark.parametrize("dims", [(-1, 2, 2), (2, -1, 1), (1, 1, -3), (-2, -2, 1)])
def test_extent_below_zero(tmp_path, layout, dims, order):
    make, suffix, occurrence = LAYOUTS[layout]
    shown = " x ".join(map(str, dims))
    refused(tmp_path, make(dims, order), suffix, layout.split()[0], occurrence,
            f"a grid of {shown} cells, an extent below 0")


def test_extent_below_zero_with_an_actnum_of_matching_size(tmp_path):
    # -1 x -1 x 1 "cells" and one ACTNUM item: the sizes agree, the shape cannot be made.
    refused(tmp_path, extended((-1, -1, 1), BIG, actnum=[1]), "EGRID", "GRIDHEAD", 0,
            "a grid of -1 x -1 x 1 cells, an extent below 0")


@pytest.mark.parametrize("order", [BIG, LITTLE])
@pytest.mark.parametrize("layout", LAYOUTS)
def test_grid_larger_than_the_file(tmp_path, layout, order):
    # A few hundred bytes declaring 2^30 cells: 4 GiB of ACTNUM from a count alone.
    make, suffix, occurrence = LAYOUTS[layout]
    g = make((2048, 2048, 256), order)
    size = len(g.bytes())
    refused(tmp_path, g, suffix, layout.split()[0], occurrence,
            f"a grid of 2048 x 2048 x 256 cells, more than a file of {size} bytes can hold")


def test_dual_grid_larger_than_the_file(tmp_path):
    g = GridFile().dimens(1000, 1000, 2).cell()
    path = tmp_path / "dual.GRID"
    g.write(path)
    with pytest.raises(kelvara.FormatError, match="a grid of 1000 x 1000 x 2 cells, more than"):
        kelvara.open_grid(path, dual=1)


def test_sparse_grid_the_file_could_hold_opens(tmp_path):
    # 16 cells of which the file stores one: the file could hold an item for each of them.
    g = GridFile().dimens(4, 4, 1).cell((2, 3, 1, 1, 1, 0, 0))
    path = tmp_path / "sparse.GRID"
    g.write(path)
    assert path.stat().st_size >= 16 * 4
    grid = kelvara.open_grid(path)
    assert grid.dimensions == (4, 4, 1) and grid.actnum.sum() == 1 and grid.actnum[1, 2, 0] == 1


def test_44_byte_grid_file(tmp_path):
    # One DIMENS of 2048 x 2048 x 256 and nothing else: the file of the report.
    g = GridFile().dimens(2048, 2048, 256)
    assert len(g.bytes()) == 44
    refused(tmp_path, g, "GRID", "DIMENS", 0, "more than a file of 44 bytes can hold")

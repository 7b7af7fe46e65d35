"""imex.Loader under hostile files: grids without cells among refinements, ranges of grids far
behind in the cell numbering, items of -2^31, extents at the edge of 32 bits, counts the file
cannot hold and packed cells that name inactive cells. Each a clear result or a RuntimeError,
never a crash, an overflow or an allocation from a count alone."""

import numpy as np
import pytest

import kelvara
from kelvara import imex

from imexmodel import Model
from loaderfixtures import open_loader, small_model, write_blocks
from test_imex_loader_abort import assert_aborted, run_child, write_model, LOADER

INT_MIN = -2 ** 31


def load_blocks(tmp_path, dims, icstps=(1,), ipstcs=(1,), icstcg=(0,)):
    ni, nj, nk = zip(*dims)
    path = tmp_path / "m.bin"
    table = write_blocks(path, [("IGNTID", "i", ni), ("IGNTJD", "i", nj), ("IGNTKD", "i", nk),
                                ("ICSTPS", "i", icstps), ("IPSTCS", "i", ipstcs),
                                ("ICSTCG", "i", icstcg)])
    with open(path, "rb") as f:
        return imex.Loader(imex.Section(f, 0, False), table)


# A grid without cells among the refinements ------------------------------------------------

def empty_grid_model():
    """Grid 1 of 2 x 1 x 1, grid 2 of no cells (0 x 1 x 1), grid 3 of 2 x 1 x 1 and grid 4
    (1 x 1 x 1) in cell 2 of grid 3."""
    dims = [(2, 1, 1), (0, 1, 1), (2, 1, 1), (1, 1, 1)]
    icstcg = np.array([0, 0, 0, 4, 0], np.int32)
    return Model(dims, np.ones(5, np.int32), np.arange(1, 6, dtype=np.int32), icstcg)


def test_grid_without_cells_is_passed_over_by_the_refinement_walk(tmp_path):
    loader, f, _, _ = open_loader(tmp_path, empty_grid_model())
    with f:
        child = loader.GridInfo(3)
        assert (child.hostGrid, child.hostCell) == (2, 1)
        assert loader.GridInfo(2).childGrids == {1: 3}
        assert loader.GridInfo(1).childGrids == {}
        assert loader.HostCellIJK(3) == (1, 0, 0)


def test_host_cell_of_a_host_without_cells_is_a_clear_error(tmp_path):
    loader, f, _, _ = open_loader(tmp_path, empty_grid_model())
    with f:
        loader.GridInfo(3).hostGrid = 1  # a record that says grid 2, of no cells, hosts it
        with pytest.raises(RuntimeError, match="HostCellIJK: grid 4 has as its host grid 2, "
                                               r"which has no layer of cells \(0 x 1\)"):
            loader.HostCellIJK(3)


def test_host_cell_in_a_host_of_65535_x_65535(tmp_path):
    # The layer of such a host has more than 2^31 cells: its cell numbers lie in layer 0.
    loader, f, _, _ = open_loader(tmp_path, small_model())
    with f:
        host = loader.GridInfo(0)
        host.ni = host.nj = 65535
        loader.GridInfo(1).hostCell = 2 ** 31 - 1
        assert loader.HostCellIJK(1) == (32767, 32768, 0)


# Ranges of a grid far behind in the cell numbering -----------------------------------------

@pytest.mark.parametrize("feed, begin", [("corners", 2 ** 29), ("deltas", 1431655766)])
def test_feed_of_a_grid_far_behind(tmp_path, feed, begin):
    # Grid 2's range starts at item begin * (values per cell), beyond 2^32 and far past every
    # block: the feed fails rather than wrap round to item 0 or 2, among grid 1's values.
    model = small_model()
    model.extra["CORNERS"] = ("d", np.arange(30 * 24.0))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        grid = loader.GridInfo(1)
        grid.cellBegin, grid.cellEnd = begin, begin + 4
        if feed == "corners":
            out = kelvara.CompleteCornersBuilder(2, 2, 1)
            assert loader.FeedCorners(1, out) is False
            assert out.to_numpy().size == 0
        else:
            dx, dy = kelvara.Array1DBuilderDouble(), kelvara.Array1DBuilderDouble()
            dz = kelvara.Array3DBuilderDouble(2, 2, 1, -1)
            assert loader.FeedDeltas(1, dx, dy, dz) is False
            assert len(dx) == len(dy) == 0 and (dz.to_numpy() == -1).all()


# Items of -2^31 and extents at the edge of 32 bits ------------------------------------------

def test_packed_cell_of_minus_2_to_the_31(tmp_path):
    model = small_model()
    model.ipstcs = model.ipstcs.copy()
    model.ipstcs[0] = INT_MIN
    with pytest.raises(RuntimeError, match="IPSTCS: packed cell 1 of grid 1 names cell "
                                           "-2147483648, outside the grid"):
        open_loader(tmp_path, model)


@pytest.mark.parametrize("list_, what", [("ICTPS1", "ICTPS1 cell inside IPSTCS"),
                                         ("ICTPS2", "ICTPS2 cell inside IPSTCS"),
                                         ("ICSTGN", "grid index inside gridList")])
def test_connection_items_of_minus_2_to_the_31(tmp_path, list_, what):
    # An index outside its list: the checked-container path, reached without an overflow.
    model = small_model()
    first, second = np.array([1], np.int32), np.array([2], np.int32)
    if list_ == "ICTPS1":
        first[0] = INT_MIN
    elif list_ == "ICTPS2":
        second[0] = INT_MIN
    else:
        model.icstgn = model.grid_of_cell().copy()
        model.icstgn[model.ipstcs[0] - 1] = INT_MIN
    model.connections = (first, second)
    path, table = write_model(tmp_path, model)
    assert_aborted(run_child(LOADER + "loader.SetupConnections()\nprint('after')", path, table),
                   what)


def test_grid_of_65535_x_65535_x_0(tmp_path):
    # No cells, but a layer of more than 2^31: its cell count, and the steps of a connection
    # that the file books under it, are exact.
    dims = [(2, 1, 1), (65535, 65535, 0)]
    model = Model(dims, np.ones(2, np.int32), np.array([1, 2], np.int32), np.zeros(2, np.int32))
    model.icstgn = np.array([2, 2], np.int32)
    model.connections = (np.array([1, 2], np.int32), np.array([2, 1], np.int32))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        wide = loader.GridInfo(1)
        assert (wide.cellBegin, wide.cellEnd, wide.activeCount) == (2, 2, 0)
        loader.SetupConnections()
        refs = [(r.grid, r.kind, r.index) for r in loader.GetGridAssembly().connectionSequence]
        # Local cells -2 and -1 of grid 2: a step of 1 along i, and its reverse, no neighbour.
        assert refs == [(1, 0, 0), (1, 3, 0)]
        info = loader.GetGridAssembly().connectionInfos[1]
        assert list(info.nnc1) == [-1] and list(info.nnc2) == [-2]


@pytest.mark.parametrize("extents", [(2 ** 31 - 1, 2 ** 31 - 1, 2 ** 31 - 1),
                                     (INT_MIN, INT_MIN, INT_MIN), (INT_MIN, 2 ** 31 - 1, 2)])
def test_extents_near_2_to_the_31(tmp_path, extents):
    with pytest.raises(RuntimeError, match="extents must lie in 0 to 65535"):
        load_blocks(tmp_path, [extents])


# Counts the file cannot hold ------------------------------------------------------------

@pytest.mark.parametrize("dims, grid", [([(2048, 2048, 256)], 1),
                                        ([(1, 1, 1), (2048, 2048, 256)], 2),
                                        ([(1, 1, 1), (100, 1, 1)], 2)])
def test_grid_larger_than_the_file(tmp_path, dims, grid):
    ni, nj, nk = dims[grid - 1]
    with pytest.raises(RuntimeError, match=f"^ICSTPS: grid {grid} of {ni} x {nj} x {nk} cells, "
                                           "more than the rest of the file can hold$"):
        load_blocks(tmp_path, dims, icstps=[1] * len(dims))


def test_grid_the_rest_of_the_file_could_fill_is_made(tmp_path):
    # 20 cells behind ICSTPS's first item fit in the blocks that follow it, short as ICSTPS is.
    loader = load_blocks(tmp_path, [(1, 1, 1), (5, 4, 1)], icstps=[1] * 3,
                         icstcg=[0] * 21)
    assert loader.GridInfo(1).activeMask.to_numpy().shape == (5, 4, 1)
    assert loader.GridInfo(1).selection is None


# Packed cells that name inactive cells ----------------------------------------------------

@pytest.mark.parametrize("slot, cell, grid, number", [(0, 1, 1, 1), (5, 21, 1, 6), (21, 26, 2, 2)])
def test_packed_cell_naming_an_inactive_cell(tmp_path, slot, cell, grid, number):
    model = small_model()
    assert model.icstps[cell - 1] <= 0
    model.ipstcs = model.ipstcs.copy()
    model.ipstcs[slot] = cell
    with pytest.raises(RuntimeError, match=f"^IPSTCS: packed cell {number} of grid {grid} names "
                                           f"cell {cell}, which is inactive$"):
        open_loader(tmp_path, model)

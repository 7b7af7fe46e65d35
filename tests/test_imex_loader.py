"""imex.Loader: the grid hierarchy built from the named blocks, in all three frame forms."""

import numpy as np
import pytest

import kelvara
from kelvara import imex

from imexmodel import Model, Rec, random_model
from loaderfixtures import FORMS, open_loader, small_model


def check_records(loader, model):
    assert loader.GridCount() == len(model.dims)
    begins = model.cell_begins
    active = model.active_begins()
    host, children = model.hosts()
    ox, oy = model.origins()
    for g, (ni, nj, nk) in enumerate(model.dims):
        grid = loader.GridInfo(g)
        assert (grid.ni, grid.nj, grid.nk) == (ni, nj, nk)
        assert grid.gridIndex == g
        assert (grid.cellBegin, grid.cellEnd) == (begins[g], begins[g + 1])
        assert (grid.activeBegin, grid.activeEnd) == (active[g], active[g + 1])
        assert grid.activeCount == model.active_counts()[g]
        assert isinstance(grid.selection, kelvara.ReservoirSelectionTopology)
        assert grid.selection.cell_count == grid.activeCount
        assert grid.selection.grid_shape == (ni, nj, nk)
        mask = grid.activeMask.to_numpy().ravel(order="F")
        np.testing.assert_array_equal(mask, model.masks()[g])
        expected = model.packed_to_handle(g)
        if expected is None:
            assert grid.packedToHandle is None
        else:
            np.testing.assert_array_equal(grid.packedToHandle, expected)
        assert (grid.hostGrid, grid.hostCell) == host[g]
        assert grid.childGrids == children[g]
        assert grid.originX == pytest.approx(ox[g])
        assert grid.originY == pytest.approx(oy[g])


@pytest.mark.parametrize("form", FORMS)
def test_small_model(tmp_path, form):
    model = small_model()
    loader, f, _, _ = open_loader(tmp_path, model, form)
    with f:
        check_records(loader, model)
        assert loader.GridInfo(1).hostCell == 5
        assert loader.GridInfo(2).hostGrid == 1
        assert loader.HostCellIJK(1) == (1, 1, 0)
        assert loader.HostCellIJK(0) is None


@pytest.mark.parametrize("seed", range(12))
@pytest.mark.parametrize("form", FORMS)
def test_random_models_against_numpy(tmp_path, form, seed):
    rng = np.random.default_rng(seed)
    model = random_model(rng, refinements=int(rng.integers(1, 4)), nested=bool(seed % 2),
                         empty_grid=seed % 3 == 0)
    loader, f, _, _ = open_loader(tmp_path, model, form)
    with f:
        check_records(loader, model)


def test_origin_walk_changes_grid_one_cell_late(tmp_path):
    # Grid 2 (3 x 1 x 1) refines cell 1 of grid 1 (2 x 1 x 1); grid 3 refines local cell 1 of
    # grid 2. Grid 2's first cell is still walked under grid 1, and its walk then restarts at its
    # origin one cell late: its local cell 1 is placed where its cell 0 lies, at x = 10, rather
    # than at 10 + 1.
    dims = [(2, 1, 1), (3, 1, 1), (1, 1, 1)]
    icstps = np.ones(6, np.int32)
    icstcg = np.array([0, 2, 0, 3, 0, 0], np.int32)
    sizes = np.array([[10, 1, 1], [20, 1, 1], [1, 1, 1], [2, 1, 1], [4, 1, 1], [8, 1, 1]], float)
    model = Model(dims, icstps, np.arange(1, 7, dtype=np.int32), icstcg, sizes)
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        assert (loader.GridInfo(1).originX, loader.GridInfo(1).originY) == (10.0, 0.0)
        assert (loader.GridInfo(2).originX, loader.GridInfo(2).originY) == (10.0, 0.0)
        assert model.origins() == ([0.0, 10.0, 10.0], [0.0, 0.0, 0.0])


def test_origin_walk_in_rows(tmp_path):
    # A 2 x 2 x 1 host: cell 3 lies behind cell 2 along i (x = 7) and one row up, where a row
    # advances y by the j size of the previous row's last cell (6).
    dims = [(2, 2, 1), (1, 1, 1)]
    icstcg = np.array([0, 0, 0, 2, 0], np.int32)
    sizes = np.array([[3, 5, 1], [4, 6, 1], [7, 8, 1], [9, 9, 1], [1, 1, 1]], float)
    model = Model(dims, np.ones(5, np.int32), np.arange(1, 6, dtype=np.int32), icstcg, sizes)
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        assert (loader.GridInfo(1).originX, loader.GridInfo(1).originY) == (7.0, 6.0)


def test_no_blocksize_leaves_origins_at_zero(tmp_path):
    model = small_model(blocksize=False)
    loader, f, table, _ = open_loader(tmp_path, model)
    with f:
        assert "BLOCKSIZE" not in table
        for g in range(loader.GridCount()):
            grid = loader.GridInfo(g)
            assert (grid.originX, grid.originY) == (0.0, 0.0)


def test_one_grid_without_refinement(tmp_path):
    model = Model([(3, 2, 1)], np.ones(6, np.int32), np.arange(1, 7, dtype=np.int32),
                  np.zeros(6, np.int32))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        grid = loader.GridInfo(0)
        assert grid.hostGrid == -1 and grid.childGrids == {}
        assert loader.HostCellIJK(0) is None


def test_grid_without_active_cells_is_passed_over(tmp_path):
    dims = [(2, 2, 1), (2, 1, 1), (1, 2, 1)]
    icstps = np.array([1, 0, 1, 1, 0, 0, 1, 1], np.int32)
    ipstcs = np.array([4, 1, 3, 8, 7], np.int32)
    model = Model(dims, icstps, ipstcs, np.array([0, 2, 0, 3, 0, 0, 0, 0], np.int32))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        empty = loader.GridInfo(1)
        assert empty.activeCount == 0
        assert empty.activeBegin == empty.activeEnd == 3
        assert empty.packedToHandle is None
        assert list(loader.GridInfo(2).packedToHandle) == [1, 0]
        assert not loader.FeedPackedGridFunction(1, 0, "x", kelvara.Array1DBuilderDouble())


@pytest.mark.parametrize("dims", [[(2, 1, 1), (2, 1, 1)], [(0, 1, 1), (2, 1, 1)]])
def test_first_grid_without_active_cells_is_refused(tmp_path, dims):
    # Grid 1 has no active cell (or no cell at all): the packing walk would have no room for the
    # first packed cell, and grid 2's packed map would come out shifted.
    cells = sum(a * b * c for a, b, c in dims)
    icstps = np.zeros(cells, np.int32)
    icstps[-2:] = 1
    model = Model(dims, icstps, np.array([cells, cells - 1], np.int32), np.zeros(cells, np.int32))
    with pytest.raises(RuntimeError, match="^IMEX grid 1 has no active cell while it comes "
                                           "first"):
        open_loader(tmp_path, model)


def test_first_grid_whose_activity_never_completes_is_not_refused(tmp_path):
    # A short ICSTPS block: grid 1 has no selection yet, nor has any grid after it, so nothing
    # can be shifted and the loader is made, partly filled.
    dims = [(2, 1, 1), (2, 1, 1)]
    model = Model(dims, np.array([1], np.int32), np.array([1], np.int32), np.zeros(4, np.int32))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        assert loader.GridInfo(0).selection is None
        assert loader.GridInfo(1).packedToHandle is None


def test_negative_activity_is_inactive(tmp_path):
    model = small_model()
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        mask = loader.GridInfo(0).activeMask.to_numpy()
        assert model.icstps[20] == -1
        assert mask[0, 2, 1] == 0  # cell 20 = (0, 2, 1)


def test_geometry_names(tmp_path):
    model = small_model()
    model.extra["CORNERS"] = ("d", np.zeros(30 * 24))
    model.extra["BLOCKDEPTH"] = ("d", np.zeros(30))
    model.extra["BLOCKPVOL"] = ("d", np.zeros(30))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        assert loader.GetGeometryArrayNames() == ["CORNERS", "BLOCKPVOL"]
        assert loader.HasGeometryArray("ICSTPS")
        assert loader.HasGeometryArray("BLOCKPVOL")
        assert not loader.HasGeometryArray("NOSUCH")


def test_geometry_names_without_corners(tmp_path):
    model = small_model()
    model.extra["BLOCKDEPTH"] = ("d", np.zeros(30))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        assert loader.GetGeometryArrayNames() == ["BLOCKSIZE", "BLOCKDEPTH"]


def test_geometry_names_with_only_pore_volume(tmp_path):
    model = small_model(blocksize=False)
    model.extra["BLOCKPVOL"] = ("d", np.zeros(30))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        assert loader.GetGeometryArrayNames() == ["BLOCKPVOL"]


def test_moving_the_hosts_section_does_not_move_the_loader(tmp_path):
    model = small_model()
    path = tmp_path / "m.bin"
    table, positions = model.write(path, results=[("d", np.arange(26.0))])
    with open(path, "rb") as f:
        section = imex.Section(f, 0, False)
        loader = imex.Loader(section, table)
        section.GoTo(table["ICSTCG"].mrf_pos)
        builder = kelvara.Array1DBuilderDouble(24)
        assert loader.FeedPackedGridFunction(0, positions[0], "d", builder)
        assert section.start_pos == table["ICSTCG"].mrf_pos
        assert f.tell() == 0


def test_missing_name_raises_the_mappings_key_error(tmp_path):
    model = small_model()
    with pytest.raises(KeyError, match="ICSTCG"):
        open_loader(tmp_path, model, skip=("ICSTCG",))


def test_table_of_any_mapping(tmp_path):
    class Table:
        def __init__(self, positions):
            self.positions = positions
            self.asked = []

        def __getitem__(self, name):
            self.asked.append(name)
            return self.positions[name]

        def __contains__(self, name):
            return name in self.positions

    model = small_model()
    path = tmp_path / "m.bin"
    table, _ = model.write(path)
    mapping = Table(table)
    with open(path, "rb") as f:
        loader = imex.Loader(imex.Section(f, 0, False), mapping)
        assert mapping.asked[:6] == ["IGNTID", "IGNTJD", "IGNTKD", "ICSTPS", "IPSTCS", "ICSTCG"]
        assert loader.GridCount() == 3


def test_loader_needs_a_section(tmp_path):
    with pytest.raises(TypeError):
        imex.Loader(None, {})


def test_assembly_is_shared(tmp_path):
    model = small_model()
    model.connections = (np.array([1], np.int32), np.array([2], np.int32))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        assembly = loader.GetGridAssembly()
        assert assembly.connectionInfos == []
        loader.SetupConnections()
        assert len(assembly.connectionInfos) == 3
        assert assembly.gridList[1].hostCell == 5

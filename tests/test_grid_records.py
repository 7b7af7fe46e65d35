"""The grid description records made by a host: defaults, masks and packed maps, and the
classification of connections by AddConnection."""

import numpy as np
import pytest

import kelvara
from kelvara import GridFunction, SGridInfo, SGridInfoAssembly, TConnectionRef


def assembly_of(*dims):
    assembly = SGridInfoAssembly()
    for ni, nj, nk in dims:
        grid = SGridInfo()
        grid.ni, grid.nj, grid.nk = ni, nj, nk
        assembly.AddGrid(grid)
    assembly.CreateConnectionInfos()
    return assembly


def kinds(refs):
    return [(r.grid, r.kind, r.index) for r in refs]


def test_default_grid_info():
    grid = SGridInfo()
    assert (grid.ni, grid.nj, grid.nk) == (-1, -1, -1)
    assert grid.activeCount == 0
    assert (grid.gridIndex, grid.hostGrid, grid.hostCell) == (-1, -1, -1)
    assert grid.childGrids == {}
    assert (grid.originX, grid.originY) == (0.0, 0.0)
    assert grid.activeMask is None and grid.selection is None and grid.packedToHandle is None


def test_add_grid_sets_places():
    assembly = assembly_of((2, 2, 1), (1, 1, 1), (3, 1, 1))
    assert [g.gridIndex for g in assembly.gridList] == [0, 1, 2]
    infos = assembly.connectionInfos
    assert len(infos) == 3
    assert [info.grid.gridIndex for info in infos] == [0, 1, 2]
    assert infos[1].nncCount == 0 and len(infos[1].nnc1) == 0 and infos[1].externalNNC == []


def test_mask_selection_and_packed_map():
    grid = SGridInfo()
    grid.ni, grid.nj, grid.nk = 3, 2, 2
    grid.CreateActiveMask()
    mask = grid.activeMask.to_numpy()
    assert mask.dtype == np.uint8 and mask.shape == (3, 2, 2) and not mask.any()
    mask[1, 0, 0] = 1
    mask[2, 1, 1] = 1
    grid.activeMask = kelvara.Array(mask)
    grid.CreateSelection()
    assert grid.activeCount == 2
    grid.CreatePackedMap()
    assert grid.packedToHandle.dtype == np.int32
    assert list(grid.packedToHandle) == [0, 0]


def test_mask_is_shared_with_the_record():
    grid = SGridInfo()
    grid.ni, grid.nj, grid.nk = 2, 1, 1
    grid.CreateActiveMask()
    # Two views of the record's mask see one storage: a write through one shows in the other.
    first, second = grid.activeMask, grid.activeMask
    assert first.shares_storage(second)
    assert first.to_numpy().tolist() == [[[0]], [[0]]]
    GridFunction(first).set_value((1, 0, 0), 1)
    assert second.to_numpy()[1, 0, 0] == 1
    assert grid.activeMask.to_numpy()[:, 0, 0].tolist() == [0, 1]
    assert grid.activeMask.scalar_type == "uint8" and grid.activeMask.dimensions == 3
    with pytest.raises(TypeError, match="uint8 and rank 3"):
        grid.activeMask = kelvara.Array(np.zeros(3))


def test_packed_map_of_no_active_cell_stays_none():
    grid = SGridInfo()
    grid.ni, grid.nj, grid.nk = 2, 2, 1
    grid.CreateActiveMask()
    grid.CreateSelection()
    assert grid.activeCount == 0
    grid.CreatePackedMap()
    assert grid.packedToHandle is None


@pytest.mark.parametrize("cell2,kind,index", [(6, 0, 5), (9, 1, 5), (17, 2, 5), (7, 3, 0)])
def test_neighbour_kinds_in_4_3_2(cell2, kind, index):
    assembly = assembly_of((4, 3, 2))
    ref = assembly.AddConnection(5, 0, cell2, 0)
    assert (ref.grid, ref.kind, ref.index) == (0, kind, index)
    assert kinds(assembly.connectionSequence) == [(0, kind, index)]


def test_reversed_pair_is_no_neighbour():
    assembly = assembly_of((4, 3, 2))
    assert kinds([assembly.AddConnection(6, 0, 5, 0)]) == [(0, 3, 0)]
    info = assembly.connectionInfos[0]
    assert info.nncCount == 1 and list(info.nnc1) == [6] and list(info.nnc2) == [5]


def test_step_of_one_with_ni_1_is_kind_1():
    assembly = assembly_of((1, 5, 5))
    assert kinds([assembly.AddConnection(2, 0, 3, 0)]) == [(0, 1, 2)]


def test_external_kinds_in_order_of_first_meeting():
    assembly = assembly_of((2, 2, 1), (1, 1, 1), (1, 1, 1))
    refs = [assembly.AddConnection(0, 0, 0, 2), assembly.AddConnection(1, 0, 0, 1),
            assembly.AddConnection(3, 0, 0, 2)]
    assert kinds(refs) == [(0, 4, 0), (0, 5, 0), (0, 4, 1)]
    ext = assembly.connectionInfos[0].externalNNC
    assert [(e.fromGrid, e.toGrid, e.connectionCount) for e in ext] == [(0, 2, 2), (0, 1, 1)]
    assert list(ext[0].fromCells) == [0, 3] and list(ext[0].toCells) == [0, 0]


def test_directions_between_grids_land_in_different_records():
    assembly = assembly_of((2, 1, 1), (2, 1, 1))
    assembly.AddConnection(0, 1, 1, 0)
    assembly.AddConnection(1, 0, 0, 1)
    first, second = assembly.connectionInfos
    assert [(e.fromGrid, e.toGrid) for e in first.externalNNC] == [(0, 1)]
    assert [(e.fromGrid, e.toGrid) for e in second.externalNNC] == [(1, 0)]
    assert kinds(assembly.connectionSequence) == [(1, 4, 0), (0, 4, 0)]


def test_connection_ref_values():
    ref = TConnectionRef(3, 5, 7)
    assert (ref.grid, ref.kind, ref.index) == (3, 5, 7)
    assert ref == TConnectionRef(3, 5, 7)
    assert "kind=5" in repr(ref)


def test_add_grid_refuses_none():
    with pytest.raises(TypeError):
        SGridInfoAssembly().AddGrid(None)

"""Bad input to imex.Loader: short blocks, counts and positions past the file, surplus packed
cells, impossible extents. Never a crash or a hang: a loader partly filled, or a RuntimeError."""

import struct

import numpy as np
import pytest

import kelvara
from kelvara import Array1DBuilderDouble, Array3DBuilderDouble, imex

from imexmodel import Model, Rec
from imexwriter import record
from loaderfixtures import open_loader, small_model, write_blocks


def test_short_activity_block_leaves_later_grids_without_selection(tmp_path):
    model = small_model()
    model.icstps = model.icstps[:26]  # grid 2 misses its last two cells, grid 3 all
    model.ipstcs = model.ipstcs[:20]
    loader, f, _, _ = open_loader(tmp_path, model, results=[("d", np.arange(26.0))])
    with f:
        assert loader.GridInfo(0).activeCount == 20
        for g in (1, 2):
            grid = loader.GridInfo(g)
            assert grid.activeCount == 0 and grid.selection is None
            assert grid.packedToHandle is None
            assert grid.activeBegin == grid.activeEnd == 20
            assert loader.FeedPackedGridFunction(g, 0, "d", Array1DBuilderDouble()) is False
        # Grid 2's mask holds what arrived.
        assert list(loader.GridInfo(1).activeMask.to_numpy().ravel(order="F")) == [1, 0, 0, 0]


def test_selection_of_a_grid_without_mask_is_a_clear_error():
    grid = kelvara.SGridInfo()
    grid.ni = grid.nj = grid.nk = 2
    with pytest.raises(RuntimeError, match="no active mask"):
        grid.CreateSelection()


def test_packed_block_longer_than_the_active_cells(tmp_path):
    model = small_model()
    expected = [model.packed_to_handle(g) for g in range(3)]
    model.ipstcs = np.concatenate([model.ipstcs, [1, 2, 3, 999]]).astype(np.int32)
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        for g in range(3):
            np.testing.assert_array_equal(loader.GridInfo(g).packedToHandle, expected[g])


def test_packed_cell_outside_its_grid(tmp_path):
    model = small_model()
    model.ipstcs = model.ipstcs.copy()
    model.ipstcs[0] = 29  # a cell of grid 3 among those of grid 1
    with pytest.raises(RuntimeError, match="IPSTCS: packed cell 1 of grid 1 names cell 29"):
        open_loader(tmp_path, model)


def test_block_claiming_more_than_the_file(tmp_path):
    model = small_model()
    path = tmp_path / "m.bin"
    table, _ = model.write(path)
    data = bytearray(path.read_bytes())
    pos = table["IGNTJD"].mrf_pos
    struct.pack_into(">I", data, pos + 8, 0x7FFFFFF0)  # the size word of the record frame
    path.write_bytes(bytes(data))
    with open(path, "rb") as f:
        with pytest.raises(RuntimeError, match="more than the rest of the file"):
            imex.Loader(imex.Section(f, 0, False), table)


@pytest.mark.parametrize("position", ["past", "before"])
def test_packed_feed_at_a_position_outside_the_file(tmp_path, position):
    # The failed GoTo isn't looked at: the cursor keeps the block it stood on, the last one the
    # constructor read ("BLOCKSIZE"), and the grid's packed range is read from there.
    model = small_model()
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        size = (tmp_path / "model.bin").stat().st_size
        out = Array1DBuilderDouble(20, -1)
        at = size + 5000 if position == "past" else -5000
        assert loader.FeedPackedGridFunction(0, at, "d", out)
        expected = np.empty(20)
        expected[model.packed_to_handle(0)] = model.blocksize.ravel()[:20]
        np.testing.assert_array_equal(out.to_numpy(), expected)


def test_named_block_past_the_end_of_the_file(tmp_path):
    model = small_model()
    model.extra["BLOCKPVOL"] = ("d", np.arange(30.0))
    loader, f, table, _ = open_loader(tmp_path, model)
    with f:
        size = (tmp_path / "model.bin").stat().st_size
        # No block can be read there: the cursor keeps the last block it read ("BLOCKSIZE").
        table["BLOCKPVOL"] = Rec(size + 1000)
        out = Array3DBuilderDouble(4, 3, 2)
        assert loader.FeedGridArray("BLOCKPVOL", 0, out)
        np.testing.assert_array_equal(out.to_numpy().ravel(order="F"),
                                      model.blocksize.ravel()[:24])


@pytest.mark.parametrize("dims", [[(-1, 2, 2)], [(70000, 1, 1)], [(2, 2, 2), (60000, 60000, 1)]])
def test_impossible_extents(tmp_path, dims):
    ni, nj, nk = zip(*dims)
    path = tmp_path / "m.bin"
    table = write_blocks(path, [("IGNTID", "i", ni), ("IGNTJD", "i", nj), ("IGNTKD", "i", nk),
                                ("ICSTPS", "i", [1]), ("IPSTCS", "i", [1]),
                                ("ICSTCG", "i", [0])])
    with open(path, "rb") as f:
        with pytest.raises(RuntimeError, match="extents must lie in 0 to 65535"):
            imex.Loader(imex.Section(f, 0, False), table)


def test_empty_model(tmp_path):
    model = Model([], np.zeros(0, np.int32), np.zeros(0, np.int32), np.zeros(0, np.int32),
                  np.zeros((0, 3)))
    model.connections = (np.zeros(0, np.int32), np.zeros(0, np.int32))
    path = tmp_path / "m.bin"
    data = bytearray(b"\0" * 16)
    table = {}
    for name in ["IGNTID", "IGNTJD", "IGNTKD", "ICSTPS", "IPSTCS", "ICSTCG", "ICSTGN", "ICTPS1",
                 "ICTPS2", "BLOCKSIZE"]:
        table[name] = Rec(len(data))
        data += record(b"")
    path.write_bytes(bytes(data))
    with open(path, "rb") as f:
        loader = imex.Loader(imex.Section(f, 0, False), table)
        assert loader.GridCount() == 0
        loader.SetupConnections()
        assert loader.GetGridAssembly().connectionSequence == []

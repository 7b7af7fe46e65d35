"""imex.Loader feeds of grid arrays: corners, depths, deltas, activity, named arrays and
packed results, with the feeder tries of each."""

import numpy as np
import pytest

import kelvara
from kelvara import (Array1DBuilderDouble, Array1DBuilderFloat, Array1DBuilderInt,
                     Array3DBuilderDouble, Array3DBuilderFloat, Array3DBuilderUChar, ArrayFeeder,
                     CompleteCornersBuilder)

from imexmodel import Model, random_model
from loaderfixtures import FORMS, open_loader, open_recording, small_model

INVALID_TYPE = "Invalid section type must be 'i' or 'd'!"


def with_arrays(model):
    n = sum(model.cell_counts)
    model.extra["CORNERS"] = ("d", np.arange(n * 24) * 0.25)
    model.extra["BLOCKDEPTH"] = ("d", np.arange(n) + 100.0)
    model.extra["BLOCKPVOL"] = ("d", np.arange(n) * 2.0)
    return model


def dims_of(loader, g):
    grid = loader.GridInfo(g)
    return grid.ni, grid.nj, grid.nk


def packed_results(model):
    n = len(model.ipstcs)
    return [("d", np.arange(n) * 1.5 + 0.25), ("i", np.arange(n, dtype=np.int32) * 3 - 7)]


def unpacked(model, g, values, fill=-1.0):
    """The packed values of grid g stored at their selection handles."""
    handles = model.packed_to_handle(g)
    a = model.active_begins()
    out = np.full(model.active_counts()[g], fill)
    out[handles] = values[a[g]:a[g + 1]]
    return out


@pytest.mark.parametrize("form", FORMS)
@pytest.mark.parametrize("seed", range(6))
def test_every_feed_of_random_models(tmp_path, form, seed):
    rng = np.random.default_rng(100 + seed)
    model = with_arrays(random_model(rng, refinements=2, nested=bool(seed % 2),
                                     empty_grid=seed == 3))
    results = packed_results(model)
    loader, f, _, positions = open_loader(tmp_path, model, form, results=results)
    b = model.cell_begins
    with f:
        for g in range(loader.GridCount()):
            ni, nj, nk = dims_of(loader, g)
            cells = slice(b[g], b[g + 1])
            corners = CompleteCornersBuilder(ni, nj, nk)
            assert loader.FeedCorners(g, corners)
            np.testing.assert_array_equal(corners.to_numpy(),
                                          model.extra["CORNERS"][1][b[g] * 24:b[g + 1] * 24])
            depth = Array3DBuilderFloat(ni, nj, nk)
            assert loader.FeedPayDepth(g, depth)
            np.testing.assert_array_equal(depth.to_numpy().ravel(order="F"),
                                          model.extra["BLOCKDEPTH"][1][cells].astype(np.float32))
            pvol = Array3DBuilderDouble(ni, nj, nk)
            assert loader.FeedGridArray("BLOCKPVOL", g, pvol)
            np.testing.assert_array_equal(pvol.to_numpy().ravel(order="F"),
                                          model.extra["BLOCKPVOL"][1][cells])
            actnum = Array3DBuilderUChar(ni, nj, nk)
            assert loader.FeedActnum(g, actnum)
            np.testing.assert_array_equal(actnum.to_numpy().ravel(order="F"),
                                          (model.icstps[cells] != 0).astype(np.uint8))
            dx, dy, dz = Array1DBuilderDouble(), Array1DBuilderDouble(), Array3DBuilderDouble(
                ni, nj, nk)
            assert loader.FeedDeltas(g, dx, dy, dz)
            ex, ey, ez = model.deltas(g)
            np.testing.assert_array_equal(dx.to_numpy(), ex)
            np.testing.assert_array_equal(dy.to_numpy(), ey)
            np.testing.assert_array_equal(dz.to_numpy().ravel(order="F"), ez)
            for (type_, values), position in zip(results, positions):
                for cls in (Array1DBuilderFloat, Array1DBuilderDouble, Array1DBuilderInt):
                    out = cls(model.active_counts()[g], -1)
                    fed = loader.FeedPackedGridFunction(g, position, type_, out)
                    if model.active_counts()[g] == 0:
                        assert fed is False
                        continue
                    assert fed
                    got = out.to_numpy()
                    np.testing.assert_array_equal(got, unpacked(model, g, values).astype(got.dtype))


def test_packed_feed_into_cells_of_the_grid(tmp_path):
    # Unpacking into a builder of the grid's selection: inactive cells are never touched.
    model = small_model()
    n = len(model.ipstcs)
    loader, f, _, (position,) = open_loader(tmp_path, model, results=[("d", np.arange(n) + 1.0)])
    with f:
        out = Array1DBuilderDouble(loader.GridInfo(0).activeCount, -5.0)
        assert loader.FeedPackedGridFunction(0, position, "d", out)
        expected = np.empty(20)
        expected[loader.GridInfo(0).packedToHandle] = np.arange(20) + 1.0
        np.testing.assert_array_equal(out.to_numpy(), expected)


def test_deltas_of_one_cell(tmp_path):
    model = Model([(1, 1, 1)], np.ones(1, np.int32), np.array([1], np.int32),
                  np.zeros(1, np.int32), np.array([[2.0, 3.0, 4.0]]))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        dx, dy, dz = Array1DBuilderDouble(), Array1DBuilderDouble(), Array3DBuilderDouble(1, 1, 1)
        assert loader.FeedDeltas(0, dx, dy, dz)
        assert list(dx.to_numpy()) == [2.0] and list(dy.to_numpy()) == [3.0]
        assert list(dz.to_numpy().ravel()) == [4.0]


def test_deltas_of_4_5_2_and_the_dy_rule(tmp_path):
    n = 40
    sizes = np.column_stack([np.arange(n) + 0.0, np.arange(n) + 1000.0, np.arange(n) + 5000.0])
    model = Model([(4, 5, 2)], np.ones(n, np.int32), np.arange(1, n + 1, dtype=np.int32),
                  np.zeros(n, np.int32), sizes)
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        dx, dy, dz = Array1DBuilderFloat(), Array1DBuilderFloat(), Array3DBuilderFloat(4, 5, 2)
        assert loader.FeedDeltas(0, dx, dy, dz)
        assert list(dx.to_numpy()) == [0, 1, 2, 3]
        assert list(dy.to_numpy()) == [1000, 1004, 1009, 1013, 1017]
        assert dz.filled == 40 and dz.overflow == 0
        np.testing.assert_array_equal(dz.to_numpy().ravel(order="F"), np.arange(n) + 5000.0)


def test_deltas_of_the_second_grid_start_afresh(tmp_path):
    model = small_model()
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        dx, dy, dz = Array1DBuilderDouble(), Array1DBuilderDouble(), Array3DBuilderDouble(2, 2, 1)
        assert loader.FeedDeltas(1, dx, dy, dz)
        # Grid 2 starts at cell 24: its triples begin at item 3 * 24.
        assert list(dx.to_numpy()) == [25.0, 26.0]
        assert list(dy.to_numpy()) == [2.0 + 24 * 0.5, 2.0 + 26 * 0.5]


def test_deltas_with_mixed_precision_fit_no_try(tmp_path):
    model = small_model()
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        assert loader.FeedDeltas(0, Array1DBuilderFloat(), Array1DBuilderDouble(),
                                 Array3DBuilderDouble(4, 3, 2)) is False
        assert loader.FeedDeltas(0, Array1DBuilderDouble(), Array1DBuilderDouble(),
                                 Array3DBuilderFloat(4, 3, 2)) is False


def test_corners_with_the_wrong_class_raise(tmp_path):
    model = with_arrays(small_model())
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        with pytest.raises(Exception, match="CompleteCornersBuilder"):
            loader.FeedCorners(0, Array3DBuilderDouble(4, 3, 2))
        assert loader.FeedPayDepth(0, CompleteCornersBuilder(4, 3, 2)) is False


def test_actnum_flags_minus_one_as_active(tmp_path):
    model = small_model()
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        actnum = Array3DBuilderDouble(4, 3, 2)
        assert loader.FeedActnum(0, actnum)
        values = actnum.to_numpy().ravel(order="F")
        assert values[20] == 1.0 and values[0] == 0.0
        assert loader.FeedActnum(0, Array3DBuilderFloat(4, 3, 2)) is False


def test_grid_array_feeder_kinds_and_missing_names(tmp_path):
    model = with_arrays(small_model())
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        assert loader.FeedGridArray("NOSUCH", 0, Array3DBuilderDouble(4, 3, 2)) is False
        assert loader.FeedGridArray("BLOCKPVOL", 0, Array1DBuilderFloat()) is False
        assert loader.FeedGridArray("NOSUCH", 0, Array1DBuilderFloat()) is False


def test_grid_array_of_a_feeder_of_no_kind_does_not_look_at_the_table(tmp_path):
    model = small_model()
    loader, f, table = open_recording(tmp_path / "m.bin", model)
    with f:
        assert loader.FeedGridArray("BLOCKPVOL", 0, Array1DBuilderFloat()) is False
        assert table.asked == []
        assert loader.FeedGridArray("BLOCKPVOL", 0, Array3DBuilderFloat(4, 3, 2)) is False
        assert table.asked == [("has", "BLOCKPVOL")]


def test_packed_feed_feeder_tries(tmp_path):
    model = small_model()
    n = len(model.ipstcs)
    loader, f, _, (position,) = open_loader(tmp_path, model, results=[("d", np.arange(n) * 1.0)])
    with f:
        for bad in (Array3DBuilderDouble(4, 3, 2), None, object()):
            with pytest.raises(RuntimeError, match="^Invalid Feeder type!$"):
                loader.FeedPackedGridFunction(0, position, "x", bad)
        assert loader.FeedPackedGridFunction(0, position, "d", ArrayFeeder()) is False
        with pytest.raises(RuntimeError) as error:
            loader.FeedPackedGridFunction(0, position, "x", Array1DBuilderDouble())
        assert str(error.value) == INVALID_TYPE


def test_packed_feed_past_the_block_is_false(tmp_path):
    model = small_model()
    loader, f, _, (position,) = open_loader(tmp_path, model, results=[("d", np.arange(5.0))])
    with f:
        out = Array1DBuilderDouble(20)
        assert loader.FeedPackedGridFunction(0, position, "d", out) is False


def test_packed_feed_in_record_frame_may_reach_into_the_trailing_word(tmp_path):
    # Grid 3's range ends 4 bytes behind the payload: inside the trailing word of the record.
    model = small_model()
    n = len(model.ipstcs)  # 26 packed cells, grid 3 owns the last 2
    loader, f, _, (position,) = open_loader(tmp_path, model, form="record",
                                            results=[("i", np.arange(n - 1, dtype=np.int32))])
    with f:
        out = Array1DBuilderInt(2, -1)
        assert loader.FeedPackedGridFunction(2, position, "i", out)


def test_named_feed_of_a_short_block_is_false_with_values_so_far(tmp_path):
    model = small_model()
    model.extra["BLOCKPVOL"] = ("d", np.arange(10.0))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        out = Array3DBuilderDouble(4, 3, 2)
        assert loader.FeedGridArray("BLOCKPVOL", 0, out) is False

"""Connections of an IMEX model: their sorting into kinds by SetupConnections, the connection
feeder, FeedConnectionGridFunctions and mores.B64FeedConnectionArray."""

import numpy as np
import pytest

import kelvara
from kelvara import (Array1DBuilderDouble, Array1DBuilderFloat, Array1DBuilderInt, ArrayFeeder,
                     SConnectionArrayFeeder, SGridInfo, SGridInfoAssembly, imex, mores)

from b64writer import encode_items
from imexmodel import Model, random_model
from loaderfixtures import FORMS, open_loader, open_recording, small_model

INVALID_TYPE = "Invalid section type must be 'i' or 'd'!"


def refs_of(assembly):
    return [(r.grid, r.kind, r.index) for r in assembly.connectionSequence]


def connect(model, pairs):
    """Connections between global cells given as (cell1, cell2), from 0."""
    packed_of_cell = {int(c) - 1: p + 1 for p, c in enumerate(model.ipstcs)}
    model.connections = (np.array([packed_of_cell[a] for a, _ in pairs], np.int32),
                         np.array([packed_of_cell[b] for _, b in pairs], np.int32))
    return model


def full_model():
    """Three grids, all cells active, cells packed in cell order."""
    dims = [(4, 3, 2), (2, 2, 1), (1, 1, 2)]
    n = 30
    icstcg = np.zeros(n, np.int32)
    icstcg[5] = 2
    icstcg[7] = 3
    return Model(dims, np.ones(n, np.int32), np.arange(1, n + 1, dtype=np.int32), icstcg)


def targets_for(assembly, packed, cls=Array1DBuilderDouble, skip=()):
    """A table of fresh builders for every grid and kind that the assembly uses."""
    table = []
    for g, info in enumerate(assembly.connectionInfos):
        row = [cls(packed, -1) for _ in range(3)]
        row.append(None if (g, 3) in skip else cls(info.nncCount, -1))
        row += [cls(e.connectionCount, -1) for e in info.externalNNC]
        table.append(row)
    return table


def routed(refs, values, n_grids, packed, counts):
    """What each target must hold: values[n] at index of connection n."""
    out = {}
    for (g, kind, index), v in zip(refs, values):
        size = packed if kind < 3 else counts[(g, kind)]
        out.setdefault((g, kind), np.full(size, -1.0))[index] = v
    return out


@pytest.mark.parametrize("form", FORMS)
@pytest.mark.parametrize("seed", range(8))
def test_random_connections_against_numpy(tmp_path, form, seed):
    rng = np.random.default_rng(500 + seed)
    model = random_model(rng, refinements=int(rng.integers(1, 4)), nested=bool(seed % 2),
                         connections=300)
    n = len(model.connections[0])
    results = [("d", rng.uniform(-5, 5, n).round(3)), ("i", rng.integers(-99, 99, n))]
    loader, f, _, positions = open_loader(tmp_path, model, form, results=results)
    with f:
        loader.SetupConnections()
        assembly = loader.GetGridAssembly()
        refs, nnc, ext = model.connection_kinds()
        assert refs_of(assembly) == refs
        for g, info in enumerate(assembly.connectionInfos):
            assert info.grid.gridIndex == g
            assert info.nncCount == len(nnc[g][0])
            assert list(info.nnc1) == nnc[g][0] and list(info.nnc2) == nnc[g][1]
            assert [(e.fromGrid, e.toGrid, list(e.fromCells), list(e.toCells))
                    for e in info.externalNNC] == [(g, t, a, b) for t, a, b in ext[g]]
        counts = {}
        for g, info in enumerate(assembly.connectionInfos):
            counts[(g, 3)] = info.nncCount
            for place, e in enumerate(info.externalNNC):
                counts[(g, 4 + place)] = e.connectionCount
        packed = len(model.ipstcs)
        for (type_, values), position in zip(results, positions):
            table = targets_for(assembly, packed)
            feeder = SConnectionArrayFeeder(assembly, table)
            assert loader.FeedConnectionGridFunctions(position, type_, feeder)
            assert feeder.cursor == n
            expected = routed(refs, values, len(model.dims), packed, counts)
            for (g, kind), want in expected.items():
                np.testing.assert_array_equal(table[g][kind].to_numpy(), want)


def test_neighbour_kinds_and_indices(tmp_path):
    # Packed order reversed inside each grid, so that a neighbour's index (the packed cell of
    # its first cell, from 0) differs from the cell.
    model = small_model()
    packed_of_cell = {int(c) - 1: p for p, c in enumerate(model.ipstcs)}
    model = connect(model, [(1, 2), (2, 6), (2, 14), (1, 9), (2, 1), (24, 3), (26, 28)])
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        loader.SetupConnections()
        assembly = loader.GetGridAssembly()
        assert packed_of_cell[1] != 1
        assert refs_of(assembly) == [
            (0, 0, packed_of_cell[1]),   # along i
            (0, 1, packed_of_cell[2]),   # along j
            (0, 2, packed_of_cell[2]),   # along k
            (0, 3, 0),                   # 2 ni apart
            (0, 3, 1),                   # reversed pair
            (1, 4, 0),                   # grid 2 to grid 1
            (1, 5, 0),                   # grid 2 to grid 3
        ]
        info = assembly.connectionInfos[0]
        assert list(info.nnc1) == [1, 2] and list(info.nnc2) == [9, 1]
        ext = assembly.connectionInfos[1].externalNNC
        assert [(e.toGrid, list(e.fromCells), list(e.toCells)) for e in ext] == \
            [(0, [0], [3]), (2, [2], [0])]


def test_two_grids_make_kinds_4_and_5(tmp_path):
    model = connect(full_model(), [(0, 24), (1, 28), (2, 25), (3, 3)])
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        loader.SetupConnections()
        assembly = loader.GetGridAssembly()
        assert refs_of(assembly)[:3] == [(0, 4, 0), (0, 5, 0), (0, 4, 1)]
        ext = assembly.connectionInfos[0].externalNNC
        assert [(e.toGrid, list(e.fromCells), list(e.toCells)) for e in ext] == \
            [(1, [0, 2], [0, 1]), (2, [1], [0])]


def test_pair_of_one_cell_is_no_neighbour(tmp_path):
    model = connect(full_model(), [(3, 3)])
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        loader.SetupConnections()
        assert refs_of(loader.GetGridAssembly()) == [(0, 3, 0)]


def test_second_setup_reads_nothing(tmp_path):
    model = connect(full_model(), [(0, 1), (0, 4)])
    loader, f, table = open_recording(tmp_path / "m.bin", model)
    with f:
        loader.SetupConnections()
        assert table.asked == [("get", n) for n in ("IPSTCS", "ICSTGN", "ICTPS1", "ICTPS2")]
        before = refs_of(loader.GetGridAssembly())
        infos = loader.GetGridAssembly().connectionInfos
        table.asked.clear()
        loader.SetupConnections()
        assert table.asked == []
        assert refs_of(loader.GetGridAssembly()) == before
        assert len(loader.GetGridAssembly().connectionInfos) == len(infos) == 3


def test_no_connections_still_counts_as_done(tmp_path):
    model = full_model()
    model.connections = (np.zeros(0, np.int32), np.zeros(0, np.int32))
    loader, f, _, _ = open_loader(tmp_path, model)
    with f:
        loader.SetupConnections()
        assembly = loader.GetGridAssembly()
        assert assembly.connectionSequence == [] and len(assembly.connectionInfos) == 3


def test_missing_connection_block_raises_before_anything_is_added(tmp_path):
    model = connect(full_model(), [(0, 1)])
    loader, f, _, _ = open_loader(tmp_path, model, skip=("ICTPS2",))
    with f:
        with pytest.raises(KeyError, match="ICTPS2"):
            loader.SetupConnections()
        assert loader.GetGridAssembly().connectionInfos == []


def test_empty_target_passes_its_values_over(tmp_path):
    model = connect(full_model(), [(0, 1), (0, 5), (1, 2), (0, 9), (2, 3)])
    values = [1.0, 2.0, 3.0, 4.0, 5.0]
    loader, f, _, (position,) = open_loader(tmp_path, model, results=[("d", values)])
    with f:
        loader.SetupConnections()
        assembly = loader.GetGridAssembly()
        assert [r.kind for r in assembly.connectionSequence] == [0, 3, 0, 3, 0]
        table = targets_for(assembly, 30, skip={(0, 3)})
        feeder = SConnectionArrayFeeder(assembly, table)
        assert loader.FeedConnectionGridFunctions(position, "d", feeder)
        assert feeder.cursor == 5
        along_i = table[0][0].to_numpy()
        assert (along_i[0], along_i[1], along_i[2]) == (1.0, 3.0, 5.0)
        assert feeder.targets[0][3] is None


def test_connection_feed_with_a_bad_type_raises(tmp_path):
    model = connect(full_model(), [(0, 1)])
    loader, f, _, (position,) = open_loader(tmp_path, model, results=[("d", [1.0])])
    with f:
        loader.SetupConnections()
        feeder = SConnectionArrayFeeder(loader.GetGridAssembly(),
                                        targets_for(loader.GetGridAssembly(), 30))
        with pytest.raises(RuntimeError) as error:
            loader.FeedConnectionGridFunctions(position, "q", feeder)
        assert str(error.value) == INVALID_TYPE
        assert feeder.cursor == 0
        with pytest.raises(TypeError):
            loader.FeedConnectionGridFunctions(position, "d", ArrayFeeder())


def test_short_connection_block_leaves_the_cursor_short(tmp_path):
    model = connect(full_model(), [(0, 1), (1, 2), (2, 3)])
    loader, f, _, (position,) = open_loader(tmp_path, model, results=[("i", [7, 8])])
    with f:
        loader.SetupConnections()
        table = targets_for(loader.GetGridAssembly(), 30, cls=Array1DBuilderInt)
        feeder = SConnectionArrayFeeder(loader.GetGridAssembly(), table)
        assert loader.FeedConnectionGridFunctions(position, "i", feeder)
        assert feeder.cursor == 2
        assert list(table[0][0].to_numpy()[:3]) == [7, 8, -1]


def host_assembly():
    assembly = SGridInfoAssembly()
    for dims in [(4, 3, 2), (1, 1, 1)]:
        grid = SGridInfo()
        grid.ni, grid.nj, grid.nk = dims
        assembly.AddGrid(grid)
    assembly.CreateConnectionInfos()
    assembly.AddConnection(0, 0, 1, 0)   # kind 0, index 0
    assembly.AddConnection(5, 0, 7, 0)   # kind 3, index 0
    assembly.AddConnection(2, 0, 0, 1)   # kind 4, index 0
    assembly.AddConnection(6, 0, 7, 0)   # kind 0, index 6
    return assembly


def test_connection_feeder_made_by_the_host():
    assembly = host_assembly()
    along_i, nnc, external = Array1DBuilderFloat(8, -1), None, Array1DBuilderInt(1, -1)
    feeder = SConnectionArrayFeeder(assembly, [[along_i, None, None, nnc, external]])
    for v in (1.5, 2.5, 3.5, 4.5):
        feeder.InsertNextValue(v)
    assert feeder.cursor == 4
    assert list(along_i.to_numpy()) == [1.5, -1, -1, -1, -1, -1, 4.5, -1]
    assert list(external.to_numpy()) == [3]


def test_connection_feeder_refuses_other_targets():
    with pytest.raises(TypeError, match="connection target"):
        SConnectionArrayFeeder(host_assembly(), [[ArrayFeeder()]])
    with pytest.raises(TypeError):
        SConnectionArrayFeeder(None, [])


@pytest.mark.parametrize("type_", ["i", "d"])
def test_b64_feed_connection_array(tmp_path, type_):
    assembly = host_assembly()
    along_i, external = Array1DBuilderDouble(8, -1), Array1DBuilderDouble(1, -1)
    feeder = SConnectionArrayFeeder(assembly, [[along_i, None, None, None, external]])
    text = encode_items(type_, [10, 20, 30, 40])
    path = tmp_path / "b.txt"
    path.write_bytes(text)
    with open(path, "rb") as f:
        assert mores.B64FeedConnectionArray(f, type_, len(text), feeder) is True
    assert feeder.cursor == 4
    assert along_i.to_numpy()[0] == 10 and along_i.to_numpy()[6] == 40
    assert list(external.to_numpy()) == [30]


def test_b64_feed_connection_array_messages(tmp_path):
    path = tmp_path / "b.txt"
    path.write_bytes(b"AQAAAA==")
    with open(path, "rb") as f:
        for bad in (ArrayFeeder(), None):
            with pytest.raises(RuntimeError) as error:
                mores.B64FeedConnectionArray(f, "x", 8, bad)
            assert str(error.value) == "Unknown Connection Array Feeder"
        feeder = SConnectionArrayFeeder(host_assembly(), [[None] * 5])
        with pytest.raises(RuntimeError) as error:
            mores.B64FeedConnectionArray(f, "x", 8, feeder)
        assert str(error.value) == "Invalid data type"
        assert feeder.cursor == 0

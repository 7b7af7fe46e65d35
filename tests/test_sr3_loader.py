"""Real IMEX grids: the grid blocks and packed results of the SR3 (HDF5) files in the shared data
folder, written as framed blocks with a table, loaded by imex.Loader and checked against the
SR3 arrays."""

from __future__ import annotations

import numpy as np
import pytest

from kelvara import Array1DBuilderDouble, Array3DBuilderUChar, imex
from imexmodel import Model
from loaderfixtures import FORMS
from test_sr3_arrays import SR3_FILES, SR3_IDS, pytestmark  # noqa: F401 (skips without data)


def read_sr3(path):
    h5py = pytest.importorskip("h5py")
    with h5py.File(path, "r") as f:
        grid = f["SpatialProperties/000000/GRID"]
        blocks = {name: np.asarray(grid[name][()]).ravel() for name in grid
                  if isinstance(grid[name], h5py.Dataset)}
        results = {}
        for step in f["SpatialProperties"]:
            group = f["SpatialProperties"][step]
            if isinstance(group, h5py.Group) and "PRES" in group:
                results[step] = np.asarray(group["PRES"][()]).astype(np.float64)
    return blocks, results


@pytest.mark.parametrize("form", FORMS)
@pytest.mark.parametrize("path", SR3_FILES, ids=SR3_IDS)
def test_sr3_grid_through_the_loader(path, form, tmp_path):
    blocks, results = read_sr3(path)
    dims = list(zip(blocks["IGNTID"], blocks["IGNTJD"], blocks["IGNTKD"]))
    cells = sum(int(a) * int(b) * int(c) for a, b, c in dims)
    sizes = blocks["BLOCKSIZE"].reshape(-1, 3) if blocks["BLOCKSIZE"].size == 3 * cells else None
    model = Model([tuple(int(v) for v in d) for d in dims], blocks["ICSTPS"], blocks["IPSTCS"],
                  blocks["ICSTCG"], sizes, icstgn=blocks["ICSTGN"])
    model.connections = (blocks["ICTPS1"], blocks["ICTPS2"])
    # A dual-porosity file holds a fracture half behind the grids' cells ("IGNTNC"); the loader
    # walks the grids' cells and passes over the rest, and so do the expectations.
    active = int((blocks["ICSTPS"][:cells] > 0).sum())
    expected = Model(model.dims, blocks["ICSTPS"][:cells], blocks["IPSTCS"][:active],
                     blocks["ICSTCG"][:cells])
    steps = sorted(results)
    table, positions = model.write(tmp_path / "real.irf", form=form,
                                   results=[("d", results[s]) for s in steps])
    with open(tmp_path / "real.irf", "rb") as f:
        loader = imex.Loader(imex.Section(f, 0, form == "bare"), table)
        assert loader.GridCount() == len(dims)
        assert sum(loader.GridInfo(g).activeCount for g in range(len(dims))) == active
        for g in range(loader.GridCount()):
            grid = loader.GridInfo(g)
            np.testing.assert_array_equal(grid.packedToHandle, expected.packed_to_handle(g))
            actnum = Array3DBuilderUChar(grid.ni, grid.nj, grid.nk)
            assert loader.FeedActnum(g, actnum)
            b = model.cell_begins
            np.testing.assert_array_equal(actnum.to_numpy().ravel(order="F"),
                                          blocks["ICSTPS"][b[g]:b[g + 1]] != 0)
        # Unpacked pressure of the main grid, cell by cell, against the SR3 array.
        main = loader.GridInfo(0)
        active_cells = np.nonzero(main.activeMask.to_numpy().ravel(order="F"))[0]
        for step, position in zip(steps, positions):
            out = Array1DBuilderDouble(main.activeCount, np.nan)
            assert loader.FeedPackedGridFunction(0, position, "d", out)
            by_cell = np.full(main.ni * main.nj * main.nk, np.nan)
            by_cell[active_cells] = out.to_numpy()
            packed = results[step][:main.activeCount]
            np.testing.assert_array_equal(by_cell[model.ipstcs[:main.activeCount] - 1], packed)
        # Connections sorted as NumPy sorts them.
        loader.SetupConnections()
        refs, _, _ = model.connection_kinds()
        assert [(r.grid, r.kind, r.index) for r in loader.GetGridAssembly().connectionSequence] \
            == refs

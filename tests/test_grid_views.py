"""Looking at grids: .vtu files read back with meshio (cell count, corner order, cell data),
layer maps as PNG (size, and that they change with the values), and the command line's
``kelvara grid --vtk / --png``."""

from __future__ import annotations

import struct

import numpy as np
import pytest

import kelvara
from conftest import DATA_DIR
from kelvara._cli import main
from test_geometry import box_pillars, egrid, layered_zcorn

meshio = pytest.importorskip("meshio")
pytest.importorskip("matplotlib")

# VTK's hexahedron goes around the bottom face, then around the top one.
VTK_ORDER = [0, 1, 3, 2, 4, 5, 7, 6]


@pytest.fixture
def small(write_ecl):
    """A 3 x 2 x 2 grid with sloping layers and two inactive cells."""
    ni, nj, nk = 3, 2, 2
    zcorn = layered_zcorn(ni, nj, [10, 12, 15]).reshape((2 * ni, 2 * nj, 2 * nk), order="F")
    zcorn = zcorn + np.arange(2 * ni)[:, None, None] * 0.5  # dipping along i
    actnum = np.ones((ni, nj, nk), dtype=int)
    actnum[1, 0, 0] = actnum[2, 1, 1] = 0
    g = egrid(ni, nj, nk, box_pillars([0, 1, 2, 3], [0, 2, 4], 0, 30),
              zcorn.ravel(order="F"), actnum.ravel(order="F"))
    return kelvara.open_grid(write_ecl(g, "small.EGRID"))


def png_size(path):
    data = path.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    return struct.unpack(">II", data[16:24])


# -- VTK --------------------------------------------------------------------------------------

def test_vtk_of_active_cells_reads_back(small, tmp_path):
    path = tmp_path / "g.vtu"
    per_cell = np.arange(12, dtype=np.float64)
    per_active = np.arange(10, dtype=np.int32) * 10
    small.to_vtk(path, cell_data={"CELL": per_cell, "ACT": per_active})
    mesh = meshio.read(path)
    assert [block.type for block in mesh.cells] == ["hexahedron"]
    hexes = mesh.cells[0].data
    active = small.actnum.ravel(order="F") != 0
    assert len(hexes) == 10
    corners = small.corners().transpose(2, 1, 0, 3, 4).reshape(-1, 8, 3)[active]
    np.testing.assert_array_equal(mesh.points[hexes], corners[:, VTK_ORDER])
    np.testing.assert_array_equal(mesh.cell_data["CELL"][0], per_cell[active])
    np.testing.assert_array_equal(mesh.cell_data["ACT"][0], per_active)
    assert mesh.cell_data["ACT"][0].dtype == np.int32


def test_vtk_of_all_cells_fills_inactive_ones_with_nan(small, tmp_path):
    path = tmp_path / "g.vtu"
    small.to_vtk(path, cell_data={"ACT": np.arange(10.0)}, active_only=False)
    mesh = meshio.read(path)
    assert len(mesh.cells[0].data) == 12
    values = mesh.cell_data["ACT"][0]
    active = small.actnum.ravel(order="F") != 0
    assert np.isnan(values[~active]).all()
    np.testing.assert_array_equal(values[active], np.arange(10.0))


def test_vtk_hexahedra_in_vtk_order_enclose_the_grid_volumes(small, tmp_path):
    # Only corners in VTK's order split into the five tetrahedra below by VTK's corner numbers
    # and fill the cell; the cells have plane faces, so the split is exact.
    path = tmp_path / "g.vtu"
    small.to_vtk(path, active_only=False)
    mesh = meshio.read(path)
    points = mesh.points[mesh.cells[0].data]
    tets = [(0, 1, 3, 4), (1, 2, 3, 6), (1, 4, 5, 6), (3, 4, 6, 7), (1, 3, 4, 6)]
    total = sum(np.abs(np.einsum("ij,ij->i", points[:, b] - points[:, a],
                                 np.cross(points[:, c] - points[:, a],
                                          points[:, d] - points[:, a]))) / 6
                for a, b, c, d in tets)
    np.testing.assert_allclose(total, small.volumes().ravel(order="F"), rtol=1e-12)


def test_vtk_refuses_values_of_the_wrong_length(small, tmp_path):
    with pytest.raises(ValueError, match=r"X: 7 values for a grid of 12 cells, 10 active"):
        small.to_vtk(tmp_path / "g.vtu", cell_data={"X": np.zeros(7)})
    assert not (tmp_path / "g.vtu").exists()


@pytest.mark.skipif(not DATA_DIR.is_dir(), reason="no real files")
def test_vtk_of_a_dual_porosity_grid_takes_the_matrix_values(tmp_path):
    grid = kelvara.open_grid(DATA_DIR / "xtgeo-testdata" / "DUAL.EGRID")
    with kelvara.open(DATA_DIR / "xtgeo-testdata" / "DUAL.INIT") as f:
        poro = f.read("PORO")
    assert poro.size == 2 * grid.active_cells
    grid.to_vtk(tmp_path / "d.vtu", cell_data={"PORO": poro})
    mesh = meshio.read(tmp_path / "d.vtu")
    np.testing.assert_array_equal(mesh.cell_data["PORO"][0], poro[:grid.active_cells])


# -- PNG --------------------------------------------------------------------------------------

def test_layer_map(small, tmp_path):
    first, second = tmp_path / "a.png", tmp_path / "b.png"
    small.plot_layer(0, np.arange(12.0), first, label="X")
    small.plot_layer(0, np.arange(12.0)[::-1], second, label="X")
    assert png_size(first) == png_size(second) == (800, 650)
    from matplotlib.image import imread

    a, b = imread(first), imread(second)
    assert a.shape == b.shape and not np.array_equal(a, b)


def test_layer_map_refuses_a_layer_that_is_not_there(small, tmp_path):
    with pytest.raises(IndexError, match=r"no layer 2 \(layers 0 to 1\)"):
        small.plot_layer(2, np.arange(12.0), tmp_path / "a.png")


@pytest.mark.skipif(not DATA_DIR.is_dir(), reason="no real files")
def test_layer_map_of_a_real_grid(tmp_path):
    grid = kelvara.open_grid(DATA_DIR / "xtgeo-testdata" / "B.GRID")
    with kelvara.open(DATA_DIR / "xtgeo-testdata" / "B.INIT") as f:
        permx = f.read("PERMX")
    grid.plot_layer(3, permx, tmp_path / "b.png", label="PERMX")
    assert png_size(tmp_path / "b.png") == (800, 650)


# -- command line -----------------------------------------------------------------------------

def real(name):
    return str(DATA_DIR / "xtgeo-testdata" / name)


@pytest.mark.skipif(not DATA_DIR.is_dir(), reason="no real files")
def test_command_writes_vtk_with_init_and_restart_properties(tmp_path, capsys):
    out = tmp_path / "e.vtu"
    assert main(["grid", real("E100_BO.EGRID"), "--vtk", str(out), "--init", real("E100_BO.INIT"),
                 "--restart", real("E100_BO.UNRST"), "--step", "1"]) == 0
    mesh = meshio.read(out)
    with kelvara.open(real("E100_BO.UNRST")) as f:
        swat = f.read("SWAT", step=1)
    with kelvara.open(real("E100_BO.INIT")) as f:
        poro = f.read("PORO")
    assert len(mesh.cells[0].data) == 22
    np.testing.assert_array_equal(mesh.cell_data["SWAT"][0], swat)
    np.testing.assert_array_equal(mesh.cell_data["PORO"][0], poro)
    assert "INTEHEAD" not in mesh.cell_data
    assert capsys.readouterr().err == ""


@pytest.mark.skipif(not DATA_DIR.is_dir(), reason="no real files")
def test_command_draws_a_layer(tmp_path):
    out = tmp_path / "e.png"
    assert main(["grid", real("E100_BO.EGRID"), "--png", str(out), "--layer", "3",
                 "--property", "PORO", "--init", real("E100_BO.INIT")]) == 0
    assert png_size(out) == (800, 650)


@pytest.mark.skipif(not DATA_DIR.is_dir(), reason="no real files")
@pytest.mark.parametrize("extra, message", [
    (["--layer", "0", "--property", "PORO", "--init", real("E100_BO.INIT")],
     "no layer 0: the grid has layers 1 to 3"),
    (["--layer", "4", "--property", "PORO", "--init", real("E100_BO.INIT")],
     "no layer 4: the grid has layers 1 to 3"),
    (["--layer", "1", "--property", "NOPE", "--init", real("E100_BO.INIT")],
     f"no cell property 'NOPE' in {real('E100_BO.INIT')}"),
    (["--layer", "1", "--property", "SWAT", "--restart", real("E100_BO.UNRST"), "--step", "7"],
     f"{real('E100_BO.UNRST')}: no report step 7 (report steps: 0, 1)"),
    (["--layer", "1", "--property", "SWAT", "--restart", real("E100_BO.UNRST")],
     "--restart and --step go together"),
    (["--property", "PORO", "--init", real("E100_BO.INIT")],
     "--png needs --layer and --property"),
])
def test_command_refuses_in_one_line(tmp_path, capsys, extra, message):
    out = tmp_path / "e.png"
    assert main(["grid", real("E100_BO.EGRID"), "--png", str(out)] + extra) == 1
    err = capsys.readouterr().err
    assert err == f"kelvara: error: {message}\n"
    assert not out.exists()


def test_the_readme_example(write_ecl, tmp_path, monkeypatch, capsys):
    import re
    from pathlib import Path

    from eclwriter import EclFile

    readme = (Path(__file__).resolve().parents[1] / "README.md").read_text()
    block = next(b for b in re.findall(r"```python\n(.*?)```", readme, re.S) if "to_vtk" in b)
    ni, nj, nk = 2, 2, 1
    g = egrid(ni, nj, nk, box_pillars([0, 1, 2], [0, 1, 2]), layered_zcorn(ni, nj, [5, 7]),
              [1, 1, 0, 1], mapaxes=[0, 1, 0, 0, 1, 0])
    write_ecl(g, "CASE.EGRID")
    write_ecl(EclFile().add("PORO", "REAL", [0.1, 0.2, 0.3]), "CASE.INIT")
    monkeypatch.chdir(tmp_path)
    exec(compile(block, "README.md", "exec"), {})
    assert capsys.readouterr().out.splitlines() == [
        "(2, 2, 1, 3) (2, 2, 1)", "[0. 1. 0. 0. 1. 0.] METRES"]
    assert len(meshio.read(tmp_path / "case.vtu").cells[0].data) == 3
    assert png_size(tmp_path / "layer1.png") == (800, 650)


def test_vtk_of_a_grid_with_broken_geometry_leaves_no_file(write_ecl, tmp_path):
    grid = kelvara.open_grid(write_ecl(egrid(2, 1, 1, box_pillars([0, 1, 2], [0, 1]),
                                             [0.0] * 15), "g.EGRID"))
    with pytest.raises(kelvara.FormatError, match="ZCORN of 15 items"):
        grid.to_vtk(tmp_path / "g.vtu")
    assert not (tmp_path / "g.vtu").exists()

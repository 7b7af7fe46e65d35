"""Grid geometry: corners, centres, depths and volumes of cells of grids made by the test writer
(boxes, sheared, one-corner-moved and collapsed cells with volumes worked out by hand) and of
every grid file written by simulators, held against a second computation in NumPy."""

from __future__ import annotations

import numpy as np
import pytest

import kelvara
from conftest import DATA_DIR
from eclwriter import BIG, LITTLE
from geometryref import pillar_corners, trilinear_volumes
from gridwriter import GridFile

ORDERS = [pytest.param(BIG, id="big"), pytest.param(LITTLE, id="little")]


def box_pillars(xs, ys, top=0.0, bottom=1.0, shift=(0.0, 0.0)):
    """COORD of pillars at every (x, y), from depth top to depth bottom, the bottom shifted."""
    coord = []
    for y in ys:
        for x in xs:
            coord += [x, y, top, x + shift[0], y + shift[1], bottom]
    return coord


def layered_zcorn(ni, nj, depths):
    """ZCORN of flat layers: layer k from depths[k] to depths[k + 1]."""
    z = np.empty((2 * ni, 2 * nj, 2 * (len(depths) - 1)))
    for k in range(len(depths) - 1):
        z[:, :, 2 * k], z[:, :, 2 * k + 1] = depths[k], depths[k + 1]
    return z.ravel(order="F")


def egrid(ni, nj, nk, coord, zcorn, actnum=None, order=BIG, mapaxes=None, **kw):
    g = GridFile().filehead(0, order=order)
    if mapaxes is not None:
        g.mapaxes(mapaxes, order=order)
    g.add("GRIDUNIT", "CHAR", ["METRES", ""], order=order)
    g.gridhead(ni, nj, nk, 0, order=order)
    return g.pillars(coord, zcorn, actnum, order=order, **kw).endgrid(order=order)


def open_written(write_ecl, g):
    return kelvara.open_grid(write_ecl(g, "g.EGRID"))


# -- analytic grids --------------------------------------------------------------------------

@pytest.mark.parametrize("order", ORDERS)
def test_a_box(write_ecl, order):
    g = open_written(write_ecl, egrid(1, 1, 1, box_pillars([0, 2], [0, 3], 10, 20),
                                      [10] * 4 + [14] * 4, order=order))
    assert g.volumes().shape == (1, 1, 1)
    assert g.volumes()[0, 0, 0] == pytest.approx(24.0, rel=1e-14)
    corners = g.corners()
    assert corners.shape == (1, 1, 1, 8, 3) and corners.dtype == np.float64
    expected = [[x, y, z] for z in (10, 14) for y in (0, 3) for x in (0, 2)]
    np.testing.assert_array_equal(corners[0, 0, 0], expected)
    np.testing.assert_allclose(g.centers()[0, 0, 0], [1, 1.5, 12])
    assert g.depths()[0, 0, 0] == pytest.approx(12)


def test_boxes_of_several_layers_in_file_order(write_ecl):
    ni, nj, depths = 3, 2, [100, 101, 103, 106]
    g = open_written(write_ecl, egrid(ni, nj, 3, box_pillars([0, 1, 2, 3], [0, 10, 20]),
                                      layered_zcorn(ni, nj, depths), type_="DOUB"))
    volumes = g.volumes()
    assert volumes.shape == (3, 2, 3)
    for k, height in enumerate(np.diff(depths)):
        np.testing.assert_allclose(volumes[:, :, k], 10.0 * height, rtol=1e-14)
    centres = g.centers()
    np.testing.assert_allclose(centres[2, 1, 1], [2.5, 15, 102])
    np.testing.assert_allclose(g.depths()[:, :, 2], 104.5)


def test_a_sheared_cell_keeps_the_volume_of_its_box(write_ecl):
    # Pillars leaning by (3, -2) over their height: a parallelepiped of base 2 x 3 and height 4.
    g = open_written(write_ecl, egrid(1, 1, 1, box_pillars([0, 2], [0, 3], 0, 4, (3, -2)),
                                      [0] * 4 + [4] * 4))
    assert g.volumes()[0, 0, 0] == pytest.approx(24.0, rel=1e-14)
    np.testing.assert_allclose(g.corners()[0, 0, 0, 7], [2 + 3, 3 - 2, 4])


@pytest.mark.parametrize("d", [1.0, 0.5, -0.5])
def test_one_corner_moved_down(write_ecl, d):
    # The unit cube with corner 111 lowered by d: z = w (1 + d u v), so the volume is 1 + d / 4.
    zcorn = [0] * 4 + [1, 1, 1, 1 + d]
    g = open_written(write_ecl, egrid(1, 1, 1, box_pillars([0, 1], [0, 1], 0, 1), zcorn))
    assert g.volumes()[0, 0, 0] == pytest.approx(1 + d / 4, rel=1e-14)
    assert g.centers()[0, 0, 0, 2] == pytest.approx((4 + d) / 8)


def test_one_corner_moved_sideways_in_a_grid_file(write_ecl):
    # Corner 100 moved from (1, 0, 0) to (1 + e, 0, 0): det J = 1 + e (1 - v)(1 - w), so the
    # volume is 1 + e / 4. Only a plain grid file can move a corner off its pillar.
    e = 0.8
    corners = [[x, y, z] for z in (0, 1) for y in (0, 1) for x in (0, 1)]
    corners[1][0] += e
    g = GridFile().dimens(1, 1, 1).corner_cell((1, 1, 1), np.ravel(corners))
    grid = kelvara.open_grid(write_ecl(g, "g.GRID"))
    assert grid.volumes()[0, 0, 0] == pytest.approx(1 + e / 4, rel=1e-7)
    np.testing.assert_allclose(grid.corners()[0, 0, 0], corners, rtol=1e-7)


def test_the_volume_is_exact_for_twisted_cells(write_ecl):
    # Cells with every corner moved at random: the determinant then has every term of degree 2
    # in each coordinate, which only an exact rule integrates right.
    rng = np.random.default_rng(7)
    base = np.array([[x, y, z] for z in (0, 1) for y in (0, 1) for x in (0, 1)], dtype=float)
    g = GridFile().dimens(3, 1, 1)
    cells = []
    for i in range(3):
        c = base + rng.uniform(-0.3, 0.3, base.shape)
        c = c.astype(np.float32).astype(np.float64)
        cells.append(c)
        g.corner_cell((i + 1, 1, 1), c.ravel(), order=LITTLE if i % 2 else BIG)
    grid = kelvara.open_grid(write_ecl(g, "g.GRID"))
    np.testing.assert_allclose(grid.volumes()[:, 0, 0], trilinear_volumes(np.array(cells)),
                               rtol=1e-12)


def test_a_collapsed_cell_has_no_volume(write_ecl):
    # Layer 2 has no thickness; its corners lie on those of layer 1's bottom.
    g = open_written(write_ecl, egrid(2, 1, 2, box_pillars([0, 1, 2], [0, 1], 0, 10),
                                      layered_zcorn(2, 1, [5, 6, 6])))
    volumes = g.volumes()
    np.testing.assert_array_equal(volumes[:, :, 1], 0.0)
    np.testing.assert_allclose(volumes[:, :, 0], 1.0)


def test_pillars_whose_ends_coincide_give_their_top_without_dividing(write_ecl):
    # Every pillar has its top and bottom at one point; the corners stand on the pillars' tops at
    # the ZCORN depths.
    coord = []
    for y in (0, 1):
        for x in (0, 1):
            coord += [x, y, 7, x, y, 7]
    g = open_written(write_ecl, egrid(1, 1, 1, coord, [7] * 4 + [9] * 4))
    corners = g.corners()[0, 0, 0]
    assert np.isfinite(corners).all()
    np.testing.assert_array_equal(corners[:, 2], [7] * 4 + [9] * 4)
    np.testing.assert_array_equal(corners[:, :2], [[0, 0], [1, 0], [0, 1], [1, 1]] * 2)
    assert g.volumes()[0, 0, 0] == pytest.approx(2.0)


def test_mapaxes(write_ecl):
    # Origin (10, 20); the x axis points north (0, 1), the y axis west (-1, 0).
    mapaxes = [9, 20, 10, 20, 10, 21]
    g = open_written(write_ecl, egrid(1, 1, 1, box_pillars([0, 2], [0, 3]), [0] * 4 + [1] * 4,
                                      mapaxes=mapaxes))
    np.testing.assert_array_equal(g.mapaxes, mapaxes)
    assert g.mapaxes.dtype == np.float64
    plain, mapped = g.corners(), g.corners(mapaxes=True)
    np.testing.assert_allclose(mapped[..., 0], 10 - plain[..., 1])
    np.testing.assert_allclose(mapped[..., 1], 20 + plain[..., 0])
    np.testing.assert_array_equal(mapped[..., 2], plain[..., 2])


def test_no_mapaxes(write_ecl):
    g = open_written(write_ecl, egrid(1, 1, 1, box_pillars([0, 1], [0, 1]), [0] * 4 + [1] * 4))
    assert g.mapaxes is None
    with pytest.raises(ValueError, match="no MAPAXES"):
        g.corners(mapaxes=True)


def test_sections_split_over_blocks_and_float32_zcorn(write_ecl):
    ni, nj, nk = 4, 3, 2
    rng = np.random.default_rng(1)
    coord = box_pillars(np.arange(ni + 1.0), np.arange(nj + 1.0), 0, 50, (0.5, 0.25))
    zcorn = np.sort(rng.uniform(10, 20, (2 * ni, 2 * nj, 2 * nk)), axis=2).ravel(order="F")
    g = open_written(write_ecl, egrid(ni, nj, nk, coord, zcorn, order=LITTLE, block_items=7))
    expected = pillar_corners(np.float32(coord), np.float32(zcorn), ni, nj, nk)
    np.testing.assert_allclose(g.corners(), expected, rtol=1e-12)
    np.testing.assert_allclose(g.volumes(), trilinear_volumes(expected), rtol=1e-10)


def test_a_grid_without_geometry(write_ecl):
    g = GridFile().filehead(0).gridhead(1, 1, 1, 0).add("ACTNUM", "INTE", [1]).endgrid()
    grid = kelvara.open_grid(write_ecl(g, "g.EGRID"))
    with pytest.raises(ValueError, match="gives no geometry"):
        grid.volumes()


def test_a_short_zcorn_is_a_format_error_when_the_geometry_is_asked_for(write_ecl):
    g = egrid(2, 1, 1, box_pillars([0, 1, 2], [0, 1]), [0.0] * 15)
    grid = kelvara.open_grid(write_ecl(g, "g.EGRID"))
    with pytest.raises(kelvara.FormatError, match="ZCORN of 15 items .* needs 16 numbers"):
        grid.corners()


def test_cells_a_grid_file_leaves_out_are_nan(write_ecl):
    corners = np.array([[x, y, z] for z in (0, 1) for y in (0, 1) for x in (0, 1)], float)
    g = GridFile().dimens(2, 1, 1).corner_cell((2, 1, 1), (corners + [1, 0, 0]).ravel())
    grid = kelvara.open_grid(write_ecl(g, "g.GRID"))
    volumes = grid.volumes()
    assert np.isnan(volumes[0, 0, 0]) and volumes[1, 0, 0] == pytest.approx(1.0)
    assert np.isnan(grid.corners()[0, 0, 0]).all()


def test_a_file_object_stays_where_it_stood(open_file):
    f = open_file(egrid(1, 1, 1, box_pillars([0, 1], [0, 1]), [0] * 4 + [3] * 4), "g.EGRID")
    grid = kelvara.open_grid(f)
    f.seek(5)
    assert grid.volumes()[0, 0, 0] == pytest.approx(3.0)
    assert f.tell() == 5 and not f.closed


# -- real grids --------------------------------------------------------------------------------

def real_grid_files():
    if not DATA_DIR.is_dir():
        return []
    return sorted(p for pattern in ("*.EGRID", "*.GRID") for p in DATA_DIR.rglob(pattern))


def grids_in_file_order(main):
    return [main] + list(main.local_grids.values())


def reference_corners(path, grids):
    """Corners of each grid computed from the file's own sections, read one by one."""
    out = []
    with kelvara.open(path) as f:
        if "ZCORN" in f:
            for n, g in enumerate(grids):
                out.append(pillar_corners(f.read("COORD", n), f.read("ZCORN", n), *g.dimensions))
            return out
        # A plain file: a CORNERS section after each COORDS, grid after grid in file order.
        cells = {g.name: np.full(g.dimensions + (8, 3), np.nan) for g in grids}
        name = grids[0].name
        keywords = f.keywords
        for n, k in enumerate(keywords):
            if k.name == "LGR":
                name = str(k.read()[0])
            elif (k.name == "COORDS" and n + 1 < len(keywords)
                  and keywords[n + 1].name == "CORNERS"):
                i, j, kk = k.read()[:3] - 1
                grid = cells.get(name)
                if grid is not None and kk < grid.shape[2]:
                    grid[i, j, kk] = keywords[n + 1].read().reshape(8, 3)
        return [cells[g.name] for g in grids]


@pytest.mark.parametrize("path", real_grid_files(), ids=lambda p: p.name)
def test_real_grids_against_numpy(path):
    main = kelvara.open_grid(path)
    grids = grids_in_file_order(main)
    for g, expected in zip(grids, reference_corners(path, grids)):
        corners = g.corners()
        assert corners.shape == g.dimensions + (8, 3)
        np.testing.assert_allclose(corners, expected, rtol=1e-12, atol=1e-9, equal_nan=True,
                                   err_msg=g.name)
        np.testing.assert_allclose(g.volumes(), trilinear_volumes(expected), rtol=1e-9,
                                   atol=1e-6, equal_nan=True, err_msg=g.name)
        np.testing.assert_allclose(g.centers(), expected.mean(axis=3), rtol=1e-12, atol=1e-9,
                                   equal_nan=True)
        assert (np.isnan(g.volumes()) | (g.volumes() >= 0)).all()


@pytest.mark.skipif(not DATA_DIR.is_dir(), reason="no real files")
@pytest.mark.parametrize("case", ["E100_BO", "E300_BO", "IX_BO"])
def test_grid_and_egrid_twins_agree_on_active_cells(case):
    extended = kelvara.open_grid(DATA_DIR / "xtgeo-testdata" / f"{case}.EGRID")
    plain = kelvara.open_grid(DATA_DIR / "xtgeo-testdata" / f"{case}.GRID")
    active = plain.actnum != 0
    assert active.any()
    np.testing.assert_allclose(plain.corners()[active], extended.corners()[active], rtol=1e-6)
    np.testing.assert_allclose(plain.volumes()[active], extended.volumes()[active], rtol=1e-6)


@pytest.mark.skipif(not DATA_DIR.is_dir(), reason="no real files")
def test_real_mapaxes():
    g = kelvara.open_grid(DATA_DIR / "ResInsight" / "BRUGGE_0000.EGRID")
    assert g.mapaxes is not None and g.mapaxes.shape == (6,)
    assert g.units == "FEET"
    with kelvara.open(DATA_DIR / "ResInsight" / "BRUGGE_0000.EGRID") as f:
        np.testing.assert_array_equal(g.mapaxes, f.read("MAPAXES").astype(np.float64))
    plain, mapped = g.corners(), g.corners(mapaxes=True)
    # A rigid map: distances between corners stay.
    a, b = plain[10, 10, 0], mapped[10, 10, 0]
    np.testing.assert_allclose(np.linalg.norm(a[7] - a[0]), np.linalg.norm(b[7] - b[0]))
    assert not np.allclose(a, b)

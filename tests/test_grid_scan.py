"""The grid file scans: MapGridFileSections (plain layout) and MapExtGridFileSections (extended
layout), the shape of their dict, and the rules by which sections go to grids."""

import pytest

from kelvara import ArrayFeeder, CharVector, eclipse

from gridwriter import BIG, LITTLE, GridFile, section_entries

ORDERS = pytest.mark.parametrize("order", [BIG, LITTLE], ids=["big", "little"])

PLAIN_COUNTERS = ["FaultNNCSize", "DpDkNNCSize", "DpDkFrac2Matr"]
EXT_COUNTERS = ["FaultNNCSize", "MatrixFaultNNCSize", "FractureFaultNNCSize", "DpDkNNCSize",
                "DpDkFrac2Matr", "MatrixExternalNNCSize", "FractureExternalNNCSize"]


def scan_plain(open_file, grid_file, dual=0):
    return eclipse.MapGridFileSections(open_file(grid_file), dual)


def scan_ext(open_file, grid_file):
    return eclipse.MapExtGridFileSections(open_file(grid_file))


def sections_of(grid_dict):
    return {k: v for k, v in grid_dict.items() if hasattr(v, "position")}


# ----------------------------------------------------------------------------------------------
# Plain layout


def plain_with_lgr(order=BIG):
    g = GridFile()
    g.dimens(2, 1, 1, order=order).add("GRIDUNIT", "CHAR", ["METRES", ""], order=order)
    g.add("RADIAL", "CHAR", ["FALSE"], order=order)
    g.cells(2, order=order)
    g.lgr("LGR1", order=order).lgrilg(0, 0, 0, order=order)
    g.add("DIMENS", "INTE", [1, 1, 1], order=order)  # inside a local grid: an ordinary section
    g.cells(1, order=order)
    return g


@ORDERS
def test_plain_catalogue(open_file, order):
    g = plain_with_lgr(order)
    d = scan_plain(open_file, g)
    assert list(d) == ["__grids__", "__unknowns__", "__grid_names__", "GRIDUNIT"]
    assert d["__grid_names__"] == ["Main Grid", "LGR1"]
    assert d["__unknowns__"] == {}
    assert section_entries({"GRIDUNIT": d["GRIDUNIT"]}) == {
        "GRIDUNIT": (g.positions[1], "GRIDUNIT", "CHAR", 2)}
    # Grids in byte order of their names.
    assert list(d["__grids__"]) == ["LGR1", "Main Grid"]
    main = d["__grids__"]["Main Grid"]
    assert list(main) == ["DIMENS", "RADIAL"] + PLAIN_COUNTERS
    assert section_entries(main) == {
        "DIMENS": (g.positions[0], "DIMENS", "INTE", 3),
        "RADIAL": (g.positions[2], "RADIAL", "CHAR", 1)}
    lgr = d["__grids__"]["LGR1"]
    # The LGR section itself is recorded nowhere; a DIMENS inside the local grid is ordinary.
    assert list(lgr) == ["LGRILG", "DIMENS"] + PLAIN_COUNTERS
    assert lgr["LGRILG"].position == g.positions[8]
    assert lgr["DIMENS"].position == g.positions[9]
    for grid in (main, lgr):
        assert grid["FaultNNCSize"] == 0 and grid["DpDkNNCSize"] == 0
        assert grid["DpDkFrac2Matr"] is False


def test_plain_leaves_out_coords_and_corners(open_file):
    g = GridFile().dimens(1, 1, 3).cells(3)
    d = scan_plain(open_file, g)
    assert list(sections_of(d["__grids__"]["Main Grid"])) == ["DIMENS"]


def test_plain_dual_mode_halves_nz(open_file):
    # DIMENS 10 10 7 with dualMode 1: nz is 3, so cell 300 (layer 2) is matrix and cell 301
    # (layer 3) fracture. Unhalved, both would be matrix.
    g = GridFile().dimens(10, 10, 7).nnchead(1, 0).nnc([300], [301])
    d = scan_plain(open_file, g, dual=1)
    main = d["__grids__"]["Main Grid"]
    assert main["DpDkNNCSize"] == 1
    assert main["DpDkFrac2Matr"] is False
    assert main["FaultNNCSize"] == 0
    # The dict holds no dimensions.
    assert list(main) == ["DIMENS", "NNCHEAD", "NNC1", "NNC2"] + PLAIN_COUNTERS


def test_plain_dual_mode_halves_lgrilg_nz(open_file):
    # LGRILG 2 1 4 with dualMode 1: nz 2; the local grid is ordinal 1 for NNCHEAD.
    g = GridFile().dimens(1, 1, 2).cells(2).lgr("L").lgrilg(2, 1, 4)
    g.nnchead(9, 1).nnc([4, 5, 1], [5, 4, 2])
    d = scan_plain(open_file, g, dual=1)
    lgr = d["__grids__"]["L"]
    # Cells 1-4 are layers 0-1 (matrix), 5 is layer 2 (fracture): one M->F, one F->M.
    assert (lgr["DpDkNNCSize"], lgr["DpDkFrac2Matr"], lgr["FaultNNCSize"]) == (1, False, 2)
    assert d["__grids__"]["Main Grid"]["DpDkNNCSize"] == 0


def test_plain_dual_mode_zero_keeps_nnc_as_sections(open_file):
    g = GridFile().dimens(2, 2, 2).cells(1).nnchead(7, 0).nnc([1, 2], [5, 6])
    d = scan_plain(open_file, g, dual=0)
    main = d["__grids__"]["Main Grid"]
    assert main["FaultNNCSize"] == 7
    assert main["DpDkNNCSize"] == 0
    assert main["NNC1"].position == g.positions[-2]
    assert main["NNC2"].position == g.positions[-1]


def test_plain_fault_nnc_size_without_nnchead_is_zero(open_file):
    d = scan_plain(open_file, GridFile().dimens(1, 1, 1).cells(1), dual=1)
    assert d["__grids__"]["Main Grid"]["FaultNNCSize"] == 0


def test_plain_nnchead_names_the_grid_by_ordinal(open_file):
    g = GridFile().dimens(1, 1, 1).cells(1).lgr("A").lgrilg(1, 1, 1).cells(1)
    g.lgr("B").lgrilg(1, 1, 1).cells(1)
    g.nnchead(5, 1).add("TRANNNC", "REAL", [1.0]).nnchead(6, 0).add("EXTRA", "INTE", [1])
    d = scan_plain(open_file, g)
    assert d["__grid_names__"] == ["Main Grid", "A", "B"]
    a, main = d["__grids__"]["A"], d["__grids__"]["Main Grid"]
    assert a["FaultNNCSize"] == 5 and "TRANNNC" in a
    assert main["FaultNNCSize"] == 6 and "EXTRA" in main
    assert "EXTRA" not in d["__grids__"]["B"]


def test_plain_dimens_after_nnchead_of_main_reopens_it(open_file):
    # NNCHEAD makes "Main Grid" current again, so a later DIMENS opens it once more.
    g = GridFile().dimens(1, 1, 1).lgr("L").lgrilg(1, 1, 1).nnchead(3, 0).dimens(1, 1, 1)
    d = scan_plain(open_file, g)
    assert d["__grid_names__"] == ["Main Grid", "L", "Main Grid"]
    main = d["__grids__"]["Main Grid"]
    assert list(sections_of(main)) == ["DIMENS"]
    assert main["DIMENS"].position == g.positions[-1]
    assert main["FaultNNCSize"] == 0


# ----------------------------------------------------------------------------------------------
# Both layouts


def test_file_level_name_inside_a_grid_goes_to_the_file(open_file):
    g = GridFile().dimens(1, 1, 1).cells(1).add("MAPAXES", "REAL", [0.0] * 6).add("BOXORIG", "INTE", [1, 1, 1])
    d = scan_plain(open_file, g)
    assert d["MAPAXES"].position == g.positions[3]
    assert d["BOXORIG"].position == g.positions[4]
    assert "MAPAXES" not in d["__grids__"]["Main Grid"]

    e = GridFile().filehead().gridhead(1, 1, 1).add("MAPUNITS", "CHAR", ["METRES"])
    e.add("GRIDUNIT", "CHAR", ["METRES", ""]).geometry(1, 1, 1).endgrid()
    d = scan_ext(open_file, e)
    assert [k for k in d if not k.startswith("__")] == ["FILEHEAD", "MAPUNITS", "GRIDUNIT"]
    assert d["MAPUNITS"].position == e.positions[2]
    assert "MAPUNITS" not in d["__grids__"]["Main Grid"]


def test_plain_and_extended_file_level_names_differ(open_file):
    # BOXORIG is file-level only in the plain layout, FILEHEAD only in the extended one.
    e = GridFile().filehead().gridhead(1, 1, 1).add("BOXORIG", "INTE", [1, 1, 1]).endgrid()
    d = scan_ext(open_file, e)
    assert "BOXORIG" in d["__grids__"]["Main Grid"] and "BOXORIG" not in d
    g = GridFile().dimens(1, 1, 1).add("FILEHEAD", "INTE", [0] * 6)
    d = scan_plain(open_file, g)
    assert "FILEHEAD" in d["__grids__"]["Main Grid"] and "FILEHEAD" not in d


def test_lgr_twice_with_one_name_resets_the_record(open_file):
    g = GridFile().dimens(1, 1, 1).lgr("L").lgrilg(1, 1, 1).add("FIRST", "INTE", [1])
    g.nnchead(4, 1).lgr("L").add("SECOND", "INTE", [2])
    d = scan_plain(open_file, g)
    assert d["__grid_names__"] == ["Main Grid", "L", "L"]
    assert len(d["__grids__"]) == 2
    lgr = d["__grids__"]["L"]
    assert list(sections_of(lgr)) == ["SECOND"]
    assert lgr["FaultNNCSize"] == 0

    e = GridFile().filehead().gridhead(1, 1, 1).endgrid()
    e.lgr("L").gridhead(1, 1, 1, 1).add("FIRST", "INTE", [1]).endgrid().endlgr()
    e.lgr("L").gridhead(1, 1, 1, 2).add("SECOND", "INTE", [1]).endgrid().endlgr()
    d = scan_ext(open_file, e)
    assert d["__grid_names__"] == ["Main Grid", "L", "L"]
    assert list(sections_of(d["__grids__"]["L"])) == ["GRIDHEAD", "SECOND"]


def test_two_gridheads_of_the_main_grid_reset_it(open_file):
    e = GridFile().filehead().gridhead(1, 1, 1).add("FIRST", "INTE", [1])
    e.gridhead(2, 2, 2).add("SECOND", "INTE", [1]).endgrid()
    d = scan_ext(open_file, e)
    assert d["__grid_names__"] == ["Main Grid", "Main Grid"]
    main = d["__grids__"]["Main Grid"]
    assert list(sections_of(main)) == ["GRIDHEAD", "SECOND"]
    assert main["GRIDHEAD"].position == e.positions[3]


def test_section_named_twice_in_a_grid_keeps_the_later(open_file):
    e = GridFile().filehead().gridhead(1, 1, 1).add("X", "INTE", [1]).add("X", "INTE", [1, 2])
    d = scan_ext(open_file, e.endgrid())
    assert d["__grids__"]["Main Grid"]["X"].position == e.positions[3]
    assert d["__grids__"]["Main Grid"]["X"].size == 2


# ----------------------------------------------------------------------------------------------
# Extended layout


def ext_with_lgrs(order=BIG):
    e = GridFile()
    e.add("GDORIENT", "CHAR", ["INC"], order=order)  # before the first GRIDHEAD: unknown
    e.filehead(0, order=order).add("MAPUNITS", "CHAR", ["METRES"], order=order)
    e.gridhead(2, 2, 1, order=order).geometry(2, 2, 1, order=order, block_items=3)
    e.endgrid(order=order)
    e.add("AFTEREND", "INTE", [1], order=order)  # after ENDGRID: unknown
    e.lgr("LGR1", order=order).add("LGRPARNT", "CHAR", [""], order=order)
    e.gridhead(2, 2, 2, 1, order=order).geometry(2, 2, 2, order=order)
    e.add("HOSTNUM", "INTE", [1] * 8, order=order).endgrid(order=order).endlgr(order=order)
    e.nnchead(3, 0, order=order).nnc([1, 2, 3], [2, 3, 4], order=order)
    e.nnchead(2, 1, order=order).nnc([1, 2], [3, 4], order=order)
    e.nncl([1, 2, 3], order=order).add("NNCG", "INTE", [1, 2, 3], order=order)
    return e


@ORDERS
def test_extended_catalogue(open_file, order):
    e = ext_with_lgrs(order)
    d = scan_ext(open_file, e)
    assert list(d) == ["__grids__", "__unknowns__", "__grid_names__", "FILEHEAD", "MAPUNITS"]
    assert d["__grid_names__"] == ["Main Grid", "LGR1"]
    assert section_entries(d["__unknowns__"]) == {
        "GDORIENT": (e.positions[0], "GDORIENT", "CHAR", 1),
        "AFTEREND": (e.positions[8], "AFTEREND", "INTE", 1)}
    main, lgr = d["__grids__"]["Main Grid"], d["__grids__"]["LGR1"]
    assert list(main) == ["GRIDHEAD", "COORD", "ZCORN", "ACTNUM", "NNCHEAD", "NNC1", "NNC2"] \
        + EXT_COUNTERS
    assert section_entries(main)["ZCORN"] == (e.positions[5], "ZCORN", "REAL", 32)
    assert list(lgr) == ["LGRPARNT", "GRIDHEAD", "COORD", "ZCORN", "ACTNUM", "HOSTNUM",
                         "NNCHEAD", "NNC1", "NNC2", "NNCL", "NNCG"] + EXT_COUNTERS
    assert main["FaultNNCSize"] == 3 and lgr["FaultNNCSize"] == 2
    # Single porosity: NNCL counts as fracture, with no mask.
    assert (lgr["MatrixExternalNNCSize"], lgr["FractureExternalNNCSize"]) == (0, 3)
    assert "DpDkExternalNNCMask" not in lgr
    assert main["DpDkFrac2Matr"] is False


def test_extended_sections_before_gridhead_are_unknown(open_file):
    e = GridFile().add("EARLY", "INTE", [1]).filehead().add("GDORIENT", "CHAR", ["INC"])
    e.gridhead(1, 1, 1).endgrid()
    d = scan_ext(open_file, e)
    assert list(d["__unknowns__"]) == ["EARLY", "GDORIENT"]
    assert d["__unknowns__"]["EARLY"].position == 0


@pytest.mark.parametrize("dual", [0, 1])
def test_nncl_without_dual_permeability_counts_as_fracture(open_file, dual):
    e = GridFile().filehead(dual).gridhead(2, 1, 1).endgrid().nnchead(0, 0)
    e.nncl([1, 2, 3, 4, 5])
    main = scan_ext(open_file, e)["__grids__"]["Main Grid"]
    assert main["FractureExternalNNCSize"] == 5
    assert main["MatrixExternalNNCSize"] == 0
    assert "DpDkExternalNNCMask" not in main


def test_extended_dual_mode_zero_keeps_nnc_as_sections(open_file):
    e = GridFile().filehead(0).gridhead(2, 2, 1).endgrid().nnchead(11, 0).nnc([1, 2], [3, 4])
    main = scan_ext(open_file, e)["__grids__"]["Main Grid"]
    assert main["FaultNNCSize"] == 11
    assert (main["MatrixFaultNNCSize"], main["DpDkNNCSize"]) == (0, 0)
    assert main["NNC1"].position == e.positions[-2]
    assert main["NNC2"].position == e.positions[-1]


def test_extended_fault_nnc_size_without_nnchead_is_zero(open_file):
    e = GridFile().filehead(1).gridhead(1, 1, 1).geometry(1, 1, 1).endgrid()
    assert scan_ext(open_file, e)["__grids__"]["Main Grid"]["FaultNNCSize"] == 0


def test_extended_coords_and_corners_are_ordinary(open_file):
    e = GridFile().filehead().gridhead(1, 1, 1).cells(1).endgrid()
    main = scan_ext(open_file, e)["__grids__"]["Main Grid"]
    assert "COORDS" in main and "CORNERS" in main


def test_main_grid_with_nonzero_id_raises(open_file):
    e = GridFile().filehead().gridhead(1, 1, 1, grid_id=3).endgrid()
    f = open_file(e)
    with pytest.raises(RuntimeError, match=r"^Found a Main Grid with an ID != 0!$"):
        eclipse.MapExtGridFileSections(f)
    # The host object is left where the scan stopped: behind the GRIDHEAD's data.
    assert f.tell() == e.positions[2]


def test_local_grid_id_binds_the_name_for_nnchead(open_file):
    # Ids need not follow the order of the grids.
    e = GridFile().filehead().gridhead(1, 1, 1).endgrid()
    e.lgr("B").gridhead(1, 1, 1, 7).endgrid().endlgr()
    e.lgr("A").gridhead(1, 1, 1, 2).endgrid().endlgr()
    e.nnchead(4, 7).nnchead(5, 2)
    d = scan_ext(open_file, e)
    assert d["__grids__"]["B"]["FaultNNCSize"] == 4
    assert d["__grids__"]["A"]["FaultNNCSize"] == 5
    assert d["__grid_names__"] == ["Main Grid", "B", "A"]


# ----------------------------------------------------------------------------------------------
# Positions of the host object, and the mask as a LoadToFeeder mask


@pytest.mark.parametrize("plain", [True, False], ids=["plain", "extended"])
def test_scan_starts_at_zero_and_leaves_the_host_at_the_end(open_file, plain):
    g = plain_with_lgr() if plain else ext_with_lgrs()
    f = open_file(g)
    f.seek(g.positions[3])
    d = eclipse.MapGridFileSections(f, 0) if plain else eclipse.MapExtGridFileSections(f)
    assert d["__grid_names__"][0] == "Main Grid"
    assert f.tell() == g.size


def test_mask_feeds_the_fracture_entries_of_nncl(open_file):
    e = GridFile().filehead(2).gridhead(2, 1, 1).endgrid().nnchead(0, 0)
    e.nncl([1, 3, 2, 4, 0], blocks=[2, 3])
    f = open_file(e)
    main = eclipse.MapExtGridFileSections(f)["__grids__"]["Main Grid"]
    mask = main["DpDkExternalNNCMask"]
    assert isinstance(mask, CharVector)
    assert mask.to_numpy().tolist() == [0, 1, 0, 1, 0]
    fracture, matrix = ArrayFeeder(), ArrayFeeder()
    section = eclipse.Section(f, main["NNCL"].position)
    section.LoadToFeeder(mask, 1, fracture)
    section.LoadToFeeder(mask, 0, matrix)
    assert fracture.to_numpy().tolist() == [3.0, 4.0]
    assert matrix.to_numpy().tolist() == [1.0, 2.0, 0.0]


def test_not_a_file_is_refused():
    with pytest.raises(TypeError, match=r"^First argument must be a file object!$"):
        eclipse.MapExtGridFileSections(object())
    with pytest.raises(TypeError, match=r"^First argument must be a file object!$"):
        eclipse.MapGridFileSections("GRID", 0)


def test_empty_file_gives_an_empty_catalogue(open_file):
    for d in (eclipse.MapGridFileSections(open_file(b"", "a"), 1),
              eclipse.MapExtGridFileSections(open_file(b"", "b"))):
        assert d == {"__grids__": {}, "__unknowns__": {}, "__grid_names__": []}

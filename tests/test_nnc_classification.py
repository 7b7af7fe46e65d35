"""The NNC classes of dual models, as the extended and plain scans report them: NNC1/NNC2 pairs
by the halves of their ends, NNCL entries by their half with a per-entry mask."""

import pytest

from kelvara import eclipse

from gridwriter import BIG, LITTLE, GridFile

ORDERS = pytest.mark.parametrize("order", [BIG, LITTLE], ids=["big", "little"])


def dual_grid(nnc1, nnc2, dims=(2, 3, 1), dual=1, fault=99, order=BIG, **kw):
    """An extended dual grid of dims (nz is one half) with one NNC1/NNC2 pair of lists."""
    e = GridFile().filehead(dual, order=order).gridhead(*dims, order=order).endgrid(order=order)
    return e.nnchead(fault, 0, order=order).nnc(nnc1, nnc2, order=order, **kw)


def main_of(open_file, grid_file):
    return eclipse.MapExtGridFileSections(open_file(grid_file))["__grids__"]["Main Grid"]


def counters(grid):
    return {k: grid[k] for k in ("FaultNNCSize", "MatrixFaultNNCSize", "FractureFaultNNCSize",
                                 "DpDkNNCSize", "DpDkFrac2Matr")}


def test_empty_nnc1(open_file):
    grid = main_of(open_file, dual_grid([], [], fault=42))
    assert counters(grid) == {"FaultNNCSize": 0, "MatrixFaultNNCSize": 0,
                              "FractureFaultNNCSize": 0, "DpDkNNCSize": 0, "DpDkFrac2Matr": True}


@ORDERS
def test_layer_threshold(open_file, order):
    # nx 2, ny 3, nz 1: cell 6 is layer 0 (matrix), cell 7 layer 1 (fracture).
    grid = main_of(open_file, dual_grid([6], [7], order=order))
    assert (grid["DpDkNNCSize"], grid["DpDkFrac2Matr"], grid["FaultNNCSize"]) == (1, False, 0)
    grid = main_of(open_file, dual_grid([6, 7], [6, 7], order=order))
    assert (grid["MatrixFaultNNCSize"], grid["FractureFaultNNCSize"]) == (1, 1)
    assert (grid["DpDkNNCSize"], grid["DpDkFrac2Matr"], grid["FaultNNCSize"]) == (0, True, 2)


def test_all_fracture_to_matrix(open_file):
    grid = main_of(open_file, dual_grid([7, 8, 12], [1, 2, 6], block_items=2))
    assert (grid["DpDkFrac2Matr"], grid["DpDkNNCSize"], grid["FaultNNCSize"]) == (True, 3, 0)


def test_both_directions_matrix_to_fracture_wins(open_file, capfd):
    grid = main_of(open_file, dual_grid([1, 2, 3, 7, 8], [7, 8, 9, 1, 2]))
    assert (grid["DpDkFrac2Matr"], grid["DpDkNNCSize"], grid["FaultNNCSize"]) == (False, 3, 2)
    assert capfd.readouterr().err == ""


def test_cell_numbers_of_zero_and_below_are_matrix(open_file):
    grid = main_of(open_file, dual_grid([0, -5, -100], [7, 7, 1]))
    assert (grid["DpDkNNCSize"], grid["DpDkFrac2Matr"]) == (2, False)
    assert grid["MatrixFaultNNCSize"] == 1


def test_longer_nnc2_surplus_is_not_looked_at(open_file):
    grid = main_of(open_file, dual_grid([1], [7, 8, 9, 10]))
    assert (grid["DpDkNNCSize"], grid["FaultNNCSize"]) == (1, 0)


def test_classification_replaces_nnchead_count(open_file):
    grid = main_of(open_file, dual_grid([1, 2], [3, 4], fault=500))
    assert grid["FaultNNCSize"] == 2


def test_real_nnc_items_are_truncated(open_file):
    e = GridFile().filehead(1).gridhead(2, 3, 1).endgrid().nnchead(2, 0)
    e.add("NNC1", "REAL", [6.9, 7.0]).add("NNC2", "DOUB", [7.5, 1.2])
    grid = main_of(open_file, e)
    # 6.9 -> 6 (matrix) to 7 (fracture); 7 (fracture) to 1 (matrix).
    assert (grid["DpDkNNCSize"], grid["DpDkFrac2Matr"], grid["FaultNNCSize"]) == (1, False, 1)


def test_plain_layout_classifies_too(open_file):
    # DIMENS 2 3 2 with dualMode 2: nz 1, the same threshold as above.
    g = GridFile().dimens(2, 3, 2).cells(2).nnchead(9, 0).nnc([7, 8, 1], [1, 2, 3])
    grid = eclipse.MapGridFileSections(open_file(g), 2)["__grids__"]["Main Grid"]
    assert (grid["DpDkNNCSize"], grid["DpDkFrac2Matr"], grid["FaultNNCSize"]) == (2, True, 1)


# The four diagnostics are composed and dropped: for each condition the results are those of
# the counting rules alone, and nothing is raised or printed.
@pytest.mark.parametrize("dual, nnc1, nnc2, expected", [
    # matrix-to-matrix pairs in a dual-permeability model
    (2, [1, 2], [3, 4], (2, 0, 0, True, 2)),
    # crossing in one direction only
    (1, [1], [7], (0, 0, 1, False, 0)),
    (1, [7], [1], (0, 0, 1, True, 0)),
    # no crossing pair at all
    (1, [7], [8], (0, 1, 0, True, 1)),
], ids=["matrix-internal", "m-to-f-only", "f-to-m-only", "none-crossing"])
def test_diagnostics_change_nothing(open_file, capfd, dual, nnc1, nnc2, expected):
    grid = main_of(open_file, dual_grid(nnc1, nnc2, dual=dual))
    assert (grid["MatrixFaultNNCSize"], grid["FractureFaultNNCSize"], grid["DpDkNNCSize"],
            grid["DpDkFrac2Matr"], grid["FaultNNCSize"]) == expected
    captured = capfd.readouterr()
    assert captured.err == "" and captured.out == ""


# ----------------------------------------------------------------------------------------------
# NNCL


def dpdk_nncl(*lists, dims=(2, 3, 1), order=BIG):
    e = GridFile().filehead(2, order=order).gridhead(*dims, order=order).endgrid(order=order)
    e.nnchead(0, 0, order=order)
    for items in lists:
        e.nncl(items, order=order)
    return e


@ORDERS
def test_nncl_mask_and_counts(open_file, order):
    grid = main_of(open_file, dpdk_nncl([6, 7, 1, 12, 13, 0], order=order))
    assert grid["DpDkExternalNNCMask"].to_numpy().tolist() == [0, 1, 0, 1, 1, 0]
    assert (grid["MatrixExternalNNCSize"], grid["FractureExternalNNCSize"]) == (3, 3)


def test_nncl_twice_the_second_replaces(open_file, capfd):
    grid = main_of(open_file, dpdk_nncl([7, 8, 9], [1, 7]))
    assert grid["DpDkExternalNNCMask"].to_numpy().tolist() == [0, 1]
    assert (grid["MatrixExternalNNCSize"], grid["FractureExternalNNCSize"]) == (1, 1)
    assert capfd.readouterr().err == ""


def test_empty_nncl_gives_an_empty_mask(open_file):
    grid = main_of(open_file, dpdk_nncl([]))
    assert "DpDkExternalNNCMask" in grid
    assert len(grid["DpDkExternalNNCMask"]) == 0
    assert (grid["MatrixExternalNNCSize"], grid["FractureExternalNNCSize"]) == (0, 0)


def test_nncl_of_a_type_with_no_items_complains_and_gives_an_empty_mask(open_file, capfd):
    e = GridFile().filehead(2).gridhead(2, 3, 1).endgrid().nnchead(0, 0)
    e.add("NNCL", "MESS", []).add("AFTER", "INTE", [1])
    grid = main_of(open_file, e)
    assert capfd.readouterr().err == "Invalid Feed section type:M\n"
    assert len(grid["DpDkExternalNNCMask"]) == 0
    assert "AFTER" in grid

"""MapFileSections and the grid section walks (CORNERS, COORDS activity, COORDS host number).

A plain grid file has one COORDS and one CORNERS section per cell; the files here are written
by eclwriter in either byte order, in mixed order, and with sections bent on purpose.
"""

import io

import numpy as np
import pytest

import kelvara
from kelvara import ArrayFeeder, eclipse

from eclwriter import BIG, LITTLE, EclFile, header

ORDERS = pytest.mark.parametrize("order", [BIG, LITTLE], ids=["big", "little"])


def corners_of(cell):
    """24 corner coordinates of a cell, distinct per cell, exact in single precision."""
    return [cell * 100.0 + k + 0.5 for k in range(24)]


def coords_of(cell, active=1, host=0):
    return [cell + 1, 1, 1, cell + 1, active, host, 0]


def grid_file(cells, orders=(BIG,), coords_type="INTE", tail=True):
    """A grid file of cells (COORDS, CORNERS per cell); section i takes orders[i % len]."""
    ecl = EclFile()
    ecl.add("DIMENS", "INTE", [len(cells), 1, 1], order=orders[0])
    n = 1
    for cell, (coords, corners) in enumerate(cells):
        ecl.add("COORDS", coords_type, coords, order=orders[n % len(orders)])
        n += 1
        ecl.add("CORNERS", "REAL", corners, order=orders[n % len(orders)], blocks=[10, 14])
        n += 1
    if tail:
        ecl.add("ENDGRID", "INTE", [0], order=orders[n % len(orders)])
    return ecl


def standard_cells(n, **kw):
    return [(coords_of(c, **kw), corners_of(c)) for c in range(n)]


def fed(walk, f, count, position):
    feeder = ArrayFeeder()
    walk(f, count, position, feeder)
    return feeder.to_numpy().tolist()


# ---------------------------------------------------------------------------------------------
# MapFileSections


def test_map_keeps_last_occurrence_of_each_name(open_file):
    ecl = (EclFile().add("SEQNUM", "INTE", [1])
           .add("PRESSURE", "REAL", [1.0, 2.0, 3.0], blocks=[1, 2])
           .add("SEQNUM", "INTE", [2])
           .add("PRESSURE", "REAL", [4.0, 5.0, 6.0, 7.0], order=LITTLE))
    catalogue = eclipse.MapFileSections(open_file(ecl))
    assert sorted(catalogue) == ["PRESSURE", "SEQNUM"]
    assert catalogue["SEQNUM"].position == ecl.positions[2]
    assert catalogue["PRESSURE"].position == ecl.positions[3]
    assert catalogue["PRESSURE"].size == 4
    assert catalogue["PRESSURE"].type == "REAL"
    assert catalogue["SEQNUM"].name == "SEQNUM"


def test_map_seeks_to_start_wherever_the_host_stands(open_file):
    ecl = (EclFile().add("FIRST", "INTE", [1, 2])
           .add("SECOND", "DOUB", [1.0])
           .add("THIRD", "CHAR", ["A"]))
    f = open_file(ecl)
    f.seek(ecl.positions[2])
    catalogue = eclipse.MapFileSections(f)
    assert {k: v.position for k, v in catalogue.items()} == {
        "FIRST": ecl.positions[0], "SECOND": ecl.positions[1], "THIRD": ecl.positions[2]}
    f.seek(ecl.size - 3)
    assert sorted(eclipse.MapFileSections(f)) == ["FIRST", "SECOND", "THIRD"]
    # The walk ends at the end of the file, and so does the host object.
    assert f.tell() == ecl.size


def test_map_values_are_section_data_records(open_file):
    ecl = (EclFile().add(" AB", "INTE", [1, 2, 3])
           .add("DEPTH", "D   ", [1.0, 2.0], order=LITTLE)
           .add("NAMES", "CHAR", ["X", "Y", "Z", "W"], blocks=[3, 1])
           .add("START", "MESS")
           .add("EMPTY", "REAL", []))
    catalogue = eclipse.MapFileSections(open_file(ecl))
    assert sorted(catalogue) == ["AB", "DEPTH", "EMPTY", "NAMES", "START"]
    expected = {
        "AB": (ecl.positions[0], "INTE", 3),
        "DEPTH": (ecl.positions[1], "D   ", 2),
        "NAMES": (ecl.positions[2], "CHAR", 4),
        "START": (ecl.positions[3], "MESS", 0),
        "EMPTY": (ecl.positions[4], "REAL", 0),
    }
    for key, (position, type_, size) in expected.items():
        data = catalogue[key]
        assert isinstance(data, eclipse.SectionData)
        assert (data.position, data.name, data.type, data.size) == (position, key, type_, size)


def test_map_is_case_sensitive_and_exact(open_file):
    ecl = (EclFile().add("swat", "REAL", [1.0]).add("SWAT", "REAL", [2.0])
           .add("SWAT ", "REAL", [3.0]))
    catalogue = eclipse.MapFileSections(open_file(ecl))
    assert sorted(catalogue) == ["SWAT", "swat"]
    assert catalogue["swat"].position == ecl.positions[0]
    # "SWAT " is trimmed to "SWAT" and replaces the earlier one.
    assert catalogue["SWAT"].position == ecl.positions[2]


def test_map_stops_at_unknown_type(open_file, capfd):
    ecl = (EclFile().add("FIRST", "INTE", [1, 2])
           .add("ODD", "XXXX", count=2)
           .add("LATER", "INTE", [3]))
    f = open_file(ecl)
    capfd.readouterr()
    catalogue = eclipse.MapFileSections(f)
    assert sorted(catalogue) == ["FIRST", "ODD"]
    assert catalogue["ODD"].position == ecl.positions[1]
    assert catalogue["ODD"].type == "XXXX"
    assert catalogue["ODD"].size == 2
    assert capfd.readouterr().err == "Unknown section type:XXXX\nError on JumpItems: 0 X -2\n"


def test_map_passes_unknown_type_of_count_zero(open_file, capfd):
    ecl = (EclFile().add("FIRST", "INTE", [1, 2])
           .add("ODD", "XXXX", count=0)
           .add("LATER", "INTE", [3]))
    capfd.readouterr()
    catalogue = eclipse.MapFileSections(open_file(ecl))
    assert sorted(catalogue) == ["FIRST", "LATER", "ODD"]
    assert catalogue["LATER"].position == ecl.positions[2]
    assert capfd.readouterr().err == "Unknown section type:XXXX\n"


@pytest.mark.parametrize("content", [b"", b"\x00\x00\x00\x10ABC", header("NAME", 1, "INTE")[:23]],
                         ids=["empty", "10 bytes", "23 bytes"])
def test_map_of_file_without_complete_header(open_file, content):
    catalogue = eclipse.MapFileSections(open_file(content))
    assert list(catalogue) == [""]
    assert catalogue[""].position == 0
    assert catalogue[""].name == ""


def test_map_stops_at_truncated_header_after_sections(open_file):
    ecl = EclFile().add("FIRST", "INTE", [1, 2]).add("SECOND", "REAL", [1.0])
    ecl.raw(header("THIRD", 1, "INTE")[:20])
    catalogue = eclipse.MapFileSections(open_file(ecl))
    assert sorted(catalogue) == ["FIRST", "SECOND"]


def test_map_of_mixed_byte_orders(open_file):
    ecl = (EclFile().add("A", "INTE", list(range(1000)), order=BIG, blocks=[600, 400])
           .add("B", "DOUB", [1.0, 2.0], order=LITTLE, blocks=[1, 1])
           .add("C", "CHAR", ["X"], order=BIG)
           .add("D", "LOGI", [1, 0, 1], order=LITTLE))
    catalogue = eclipse.MapFileSections(open_file(ecl))
    assert [(k, v.position, v.size) for k, v in sorted(catalogue.items())] == [
        ("A", ecl.positions[0], 1000), ("B", ecl.positions[1], 2),
        ("C", ecl.positions[2], 1), ("D", ecl.positions[3], 3)]


def test_map_refuses_what_is_no_file():
    with pytest.raises(TypeError) as info:
        eclipse.MapFileSections(io.BytesIO(b""))
    assert str(info.value) == "First argument must be a file object!"


# ---------------------------------------------------------------------------------------------
# COORDS walks: activity and host number


def test_actnum_of_short_and_zero_activity_coords(open_file):
    ecl = EclFile()
    ecl.add("COORDS", "INTE", [1, 1, 1, 1])             # too short to hold item 4
    ecl.add("CORNERS", "REAL", corners_of(0))
    ecl.add("COORDS", "INTE", [2, 1, 1, 2, 0])          # item 4 is 0
    ecl.add("CORNERS", "REAL", corners_of(1))
    ecl.add("COORDS", "INTE", [3, 1, 1, 3])             # short again: item 4 forced to 1
    ecl.add("COORDS", "INTE", [4, 1, 1, 4, 5, 0, 0])
    assert fed(eclipse.ReadGridActnumSections, open_file(ecl), 4, 0) == [1.0, 0.0, 1.0, 5.0]


def test_hostnum_gives_item_five(open_file):
    cells = [(coords_of(0, host=12), corners_of(0)), (coords_of(1, host=-3), corners_of(1))]
    f = open_file(grid_file(cells))
    assert fed(eclipse.ReadGridHostnumSections, f, 2, 0) == [12.0, -3.0]


def test_hostnum_refuses_first_coords_without_host_number(open_file):
    ecl = EclFile()
    ecl.add("COORDS", "INTE", [1, 1, 1, 1, 1])
    ecl.add("COORDS", "INTE", [2, 1, 1, 2, 1, 12, 0])
    feeder = ArrayFeeder()
    with pytest.raises(RuntimeError) as info:
        eclipse.ReadGridHostnumSections(open_file(ecl), 2, 0, feeder)
    assert str(info.value) == "The file COORDS sequence has no Hostnum data!"
    assert len(feeder) == 0


def test_hostnum_tests_only_the_first_coords(open_file):
    ecl = EclFile()
    ecl.add("DIMENS", "INTE", [3, 1, 1])
    ecl.add("COORDS", "INTE", [1, 1, 1, 1, 1, 7, 0])
    ecl.add("COORDS", "INTE", [2, 1, 1, 2, 1])          # 5 items: item 5 stays from before
    ecl.add("COORDS", "INTE", [3, 1, 1, 3, 1, 9, 0])
    assert fed(eclipse.ReadGridHostnumSections, open_file(ecl), 3, 0) == [7.0, 7.0, 9.0]


def test_hostnum_without_any_coords(open_file):
    ecl = EclFile().add("DIMENS", "INTE", [1, 1, 1]).add("CORNERS", "REAL", corners_of(0))
    f = open_file(ecl)
    assert fed(eclipse.ReadGridHostnumSections, f, 0, 0) == []
    with pytest.raises(RuntimeError) as info:
        fed(eclipse.ReadGridHostnumSections, f, 1, 0)
    assert str(info.value) == "Number of section error"


def test_coords_record_is_zeroed_once_per_walk(open_file):
    ecl = EclFile()
    ecl.add("COORDS", "INTE", [10, 11, 12, 13, 0, 15, 16])
    ecl.add("COORDS", "INTE", [20, 21, 22])             # keeps items 3, 5, 6; item 4 is 1
    ecl.add("COORDS", "INTE", [30, 31, 32, 33, 34])     # keeps item 5
    f = open_file(ecl)
    assert fed(eclipse.ReadGridActnumSections, f, 3, 0) == [0.0, 1.0, 34.0]
    assert fed(eclipse.ReadGridHostnumSections, f, 3, 0) == [15.0, 15.0, 15.0]


def test_coords_record_starts_at_zero_in_each_walk(open_file):
    ecl = EclFile()
    ecl.add("COORDS", "INTE", [10, 11, 12, 13, 1, 15, 16])
    ecl.add("COORDS", "INTE", [20, 21, 22, 23, 1, 25, 26])
    f = open_file(ecl)
    assert fed(eclipse.ReadGridHostnumSections, f, 1, 0) == [15.0]
    # A second walk from the second section does not see the first walk's record.
    assert fed(eclipse.ReadGridHostnumSections, f, 1, ecl.positions[1]) == [25.0]


@pytest.mark.parametrize("type_", ["REAL", "DOUB"])
@ORDERS
def test_coords_of_floating_kind_are_truncated(open_file, order, type_):
    ecl = EclFile()
    ecl.add("COORDS", type_, [1.5, 1.0, 1.0, 1.0, 2.75, 12.9, 0.0], order=order)
    ecl.add("COORDS", type_, [2.0, 1.0, 1.0, 2.0, -1.5, -3.75, 0.0], order=order)
    f = open_file(ecl)
    assert fed(eclipse.ReadGridActnumSections, f, 2, 0) == [2.0, -1.0]
    assert fed(eclipse.ReadGridHostnumSections, f, 2, 0) == [12.0, -3.0]


def test_coords_of_logical_kind(open_file):
    ecl = EclFile().add("COORDS", "LOGI", [1, 1, 1, 1, 0xFFFFFFFF, 0xFFFFFFFE, 0])
    f = open_file(ecl)
    assert fed(eclipse.ReadGridActnumSections, f, 1, 0) == [-1.0]
    assert fed(eclipse.ReadGridHostnumSections, f, 1, 0) == [-2.0]


@ORDERS
def test_coords_split_in_blocks(open_file, order):
    ecl = EclFile().add("COORDS", "INTE", [1, 2, 3, 4, 0, 6, 7], order=order, blocks=[4, 1, 2])
    f = open_file(ecl)
    assert fed(eclipse.ReadGridActnumSections, f, 1, 0) == [0.0]
    assert fed(eclipse.ReadGridHostnumSections, f, 1, 0) == [6.0]


# ---------------------------------------------------------------------------------------------
# CORNERS walk, counts and positions


@ORDERS
def test_corners_of_three_cells(open_file, order):
    cells = standard_cells(3)
    ecl = grid_file(cells, orders=(order,))
    f = open_file(ecl)
    expected = [v for _, corners in cells for v in corners]
    assert fed(eclipse.ReadGridCornersSections, f, 3, 0) == expected
    # The walk stops on the third CORNERS: the host stands behind it, at the next header.
    assert f.tell() == ecl.positions[-1]


def test_corners_stop_at_count_in_middle_of_file(open_file, capfd):
    cells = standard_cells(4)
    ecl = grid_file(cells, tail=False)
    # A section that could not be passed, and would complain if its header were read.
    ecl.add("ODD", "XXXX", count=5)
    ecl.add("CORNERS", "REAL", corners_of(9))
    f = open_file(ecl)
    capfd.readouterr()
    expected = [v for _, corners in cells[:2] for v in corners]
    assert fed(eclipse.ReadGridCornersSections, f, 2, 0) == expected
    # Right behind the second CORNERS: the third cell's COORDS.
    assert f.tell() == ecl.positions[5]
    assert capfd.readouterr().err == ""


def test_corners_count_beyond_file_raises_after_feeding(open_file):
    cells = standard_cells(3)
    ecl = grid_file(cells)
    f = open_file(ecl)
    feeder = ArrayFeeder()
    with pytest.raises(RuntimeError) as info:
        eclipse.ReadGridCornersSections(f, 4, 0, feeder)
    assert str(info.value) == "Number of section error"
    assert feeder.to_numpy().tolist() == [v for _, corners in cells for v in corners]


def test_corners_walk_ended_by_unpassable_section(open_file, capfd):
    ecl = EclFile()
    ecl.add("CORNERS", "REAL", corners_of(0))
    ecl.add("ODD", "XXXX", count=1)
    ecl.add("CORNERS", "REAL", corners_of(1))
    f = open_file(ecl)
    feeder = ArrayFeeder()
    capfd.readouterr()
    with pytest.raises(RuntimeError) as info:
        eclipse.ReadGridCornersSections(f, 2, 0, feeder)
    assert str(info.value) == "Number of section error"
    assert feeder.to_numpy().tolist() == corners_of(0)
    assert capfd.readouterr().err == "Unknown section type:XXXX\nError on JumpItems: 0 X -1\n"


def test_grid_big_endian_equals_little_endian_and_mixed(open_file):
    cells = [(coords_of(c, active=c % 2, host=c + 40), corners_of(c)) for c in range(3)]
    results = []
    for name, orders in [("big", (BIG,)), ("little", (LITTLE,)), ("mixed", (BIG, LITTLE)),
                         ("mixed2", (LITTLE, LITTLE, BIG))]:
        f = open_file(grid_file(cells, orders=orders), name=name + ".bin")
        results.append((fed(eclipse.ReadGridCornersSections, f, 3, 0),
                         fed(eclipse.ReadGridActnumSections, f, 3, 0),
                         fed(eclipse.ReadGridHostnumSections, f, 3, 0)))
    assert results[0][0] == [v for _, corners in cells for v in corners]
    assert results[0][1] == [0.0, 1.0, 0.0]
    assert results[0][2] == [40.0, 41.0, 42.0]
    for other in results[1:]:
        assert other == results[0]


def test_count_zero_without_match_succeeds(open_file):
    ecl = grid_file(standard_cells(2))
    f = open_file(ecl)
    # From the last cell's CORNERS on there is no COORDS.
    assert fed(eclipse.ReadGridActnumSections, f, 0, ecl.positions[4]) == []
    assert f.tell() == ecl.size
    # From ENDGRID on there is no CORNERS.
    assert fed(eclipse.ReadGridCornersSections, f, 0, ecl.positions[5]) == []


def test_count_zero_with_match_raises_after_processing(open_file):
    cells = standard_cells(2, active=0)
    ecl = grid_file(cells)
    f = open_file(ecl)
    feeder = ArrayFeeder()
    with pytest.raises(RuntimeError) as info:
        eclipse.ReadGridActnumSections(f, 0, ecl.positions[3], feeder)
    assert str(info.value) == "Number of section error"
    assert feeder.to_numpy().tolist() == [0.0]

    feeder = ArrayFeeder()
    with pytest.raises(RuntimeError) as info:
        eclipse.ReadGridCornersSections(f, 0, 0, feeder)
    assert str(info.value) == "Number of section error"
    assert feeder.to_numpy().tolist() == corners_of(0)


def test_negative_count_with_match_raises_at_first_match(open_file):
    cells = standard_cells(3)
    f = open_file(grid_file(cells))
    feeder = ArrayFeeder()
    with pytest.raises(RuntimeError) as info:
        eclipse.ReadGridCornersSections(f, -1, 0, feeder)
    assert str(info.value) == "Number of section error"
    assert feeder.to_numpy().tolist() == corners_of(0)


def test_negative_position_reads_where_the_host_stands(open_file):
    cells = [(coords_of(c, active=c % 2, host=20 + c), corners_of(c)) for c in range(3)]
    ecl = grid_file(cells)
    f = open_file(ecl)
    f.seek(ecl.positions[3])        # the second cell's COORDS
    assert fed(eclipse.ReadGridActnumSections, f, 2, -1) == [1.0, 0.0]
    f.seek(ecl.positions[3])
    assert fed(eclipse.ReadGridHostnumSections, f, 1, -5) == [21.0]
    f.seek(ecl.positions[4])        # the second cell's CORNERS
    assert fed(eclipse.ReadGridCornersSections, f, 2, -1) == corners_of(1) + corners_of(2)
    assert f.tell() == ecl.positions[-1]


def test_position_argument_overrides_host_position(open_file):
    cells = standard_cells(3)
    ecl = grid_file(cells)
    f = open_file(ecl)
    f.seek(ecl.positions[5])
    assert fed(eclipse.ReadGridCornersSections, f, 1, ecl.positions[2]) == corners_of(0)
    assert f.tell() == ecl.positions[3]


def test_walks_refuse_what_is_no_file_or_no_feeder(open_file):
    f = open_file(grid_file(standard_cells(1)))
    walks = [eclipse.ReadGridCornersSections, eclipse.ReadGridActnumSections,
             eclipse.ReadGridHostnumSections]
    for walk in walks:
        with pytest.raises(TypeError) as info:
            walk(io.BytesIO(b""), 1, 0, ArrayFeeder())
        assert str(info.value) == "First argument must be a file object!"
        # The file is looked at before the feeder.
        with pytest.raises(TypeError) as info:
            walk(io.BytesIO(b""), 1, 0, object())
        assert str(info.value) == "First argument must be a file object!"
        for bad in (kelvara.Array3DBuilderDouble(1, 1, 1), kelvara.CompleteCornersBuilder(1, 1, 1),
                    object()):
            with pytest.raises(RuntimeError) as info:
                walk(f, 1, 0, bad)
            assert str(info.value) == (
                "Unable to cast Python instance of type %s to C++ type "
                "'ostrel::builder::ArrayFeeder'" % type(bad))


def test_walks_into_one_dimensional_builders(open_file):
    cells = [(coords_of(c, active=c % 2, host=c + 7), corners_of(c)) for c in range(2)]
    f = open_file(grid_file(cells))
    actnum = kelvara.Array1DBuilderInt()
    eclipse.ReadGridActnumSections(f, 2, 0, actnum)
    assert actnum.to_numpy().tolist() == [0, 1]
    corners = kelvara.Array1DBuilderFloat()
    eclipse.ReadGridCornersSections(f, 2, 0, corners)
    assert corners.to_numpy().tolist() == corners_of(0) + corners_of(1)
    assert corners.to_numpy().dtype == np.float32

"""The activity of the two halves of dual models: DpDkExtGridActiveCellsCount,
ReadExtGridDpDkActnumSections (one section of words) and ReadGridDpDkActnumSections (item 4 of
each COORDS section of a plain grid file)."""

import pytest

from kelvara import ArrayFeeder, eclipse

from gridwriter import BIG, LITTLE, GridFile

ORDERS = pytest.mark.parametrize("order", [BIG, LITTLE], ids=["big", "little"])


def values(feeder):
    return feeder.to_numpy().tolist()


@ORDERS
def test_counts_of_words(open_file, order):
    f = open_file(GridFile().add("ACTNUM", "INTE", [0, 1, 2, 3], order=order, blocks=[3, 1]))
    assert eclipse.DpDkExtGridActiveCellsCount(f, 0) == (2, 2)


def test_counts_of_real_words_are_truncated(open_file):
    f = open_file(GridFile().add("ACTNUM", "REAL", [2.9, 1.0]))
    assert eclipse.DpDkExtGridActiveCellsCount(f, 0) == (1, 1)


def test_counts_use_the_two_low_bits(open_file):
    f = open_file(GridFile().add("X", "INTE", [0]).add("ACTNUM", "INTE", [4, 5, 6, 7, 8]))
    assert eclipse.DpDkExtGridActiveCellsCount(f, 24 + 12) == (2, 2)


def test_counts_at_a_negative_position_read_where_the_host_stands(open_file):
    g = GridFile().add("X", "INTE", [3, 3, 3]).add("ACTNUM", "INTE", [1, 1, 2])
    f = open_file(g)
    f.seek(g.positions[1])
    assert eclipse.DpDkExtGridActiveCellsCount(f, -1) == (2, 1)
    assert f.tell() == g.size


def test_counts_of_a_section_of_no_numbers_complain(open_file, capfd):
    f = open_file(GridFile().add("ACTNUM", "CHAR", ["A", "B"]))
    assert eclipse.DpDkExtGridActiveCellsCount(f, 0) == (0, 0)
    assert capfd.readouterr().err == "Invalid Feed section type:C\n"


@ORDERS
@pytest.mark.parametrize("matrix, expected", [(True, [0.0, 1.0, 0.0, 1.0]),
                                              (False, [0.0, 0.0, 1.0, 1.0])])
def test_ext_feed_ignores_the_count(open_file, order, matrix, expected):
    g = GridFile().add("ACTNUM", "INTE", [0, 1, 2, 3], order=order, blocks=[1, 2, 1])
    feeder = ArrayFeeder()
    f = open_file(g)
    eclipse.ReadExtGridDpDkActnumSections(f, 99, 0, matrix, feeder)
    assert values(feeder) == expected
    assert f.tell() == g.size


def test_ext_feed_of_a_section_of_no_numbers_complains(open_file, capfd):
    feeder = ArrayFeeder()
    eclipse.ReadExtGridDpDkActnumSections(open_file(GridFile().add("A", "MESS", [])), 0, 0,
                                          True, feeder)
    assert len(feeder) == 0
    assert capfd.readouterr().err == "Invalid Feed section type:M\n"


def coords_walk(order=BIG):
    g = GridFile()
    g.add("COORDS", "INTE", [1, 1, 1, 1, 3], order=order)
    g.add("CORNERS", "REAL", [0.0] * 4, order=order)
    g.add("COORDS", "INTE", [2, 1, 1, 2, 2], order=order)
    g.add("CORNERS", "REAL", [0.0] * 4, order=order)
    g.add("COORDS", "INTE", [3, 1, 1, 3, 1], order=order)
    return g


@ORDERS
def test_plain_walk_stops_at_the_count(open_file, order):
    g = coords_walk(order)
    f = open_file(g)
    bit0, bit1 = ArrayFeeder(), ArrayFeeder()
    eclipse.ReadGridDpDkActnumSections(f, 2, 0, True, bit0)
    # The walk stands behind the second COORDS; the third stays unread.
    assert f.tell() == g.positions[3]
    eclipse.ReadGridDpDkActnumSections(f, 2, 0, False, bit1)
    assert values(bit0) == [1.0, 0.0]
    assert values(bit1) == [1.0, 1.0]


def test_plain_walk_goes_forward_to_the_first_coords(open_file):
    g = coords_walk()
    feeder = ArrayFeeder()
    eclipse.ReadGridDpDkActnumSections(open_file(g), 2, g.positions[1], True, feeder)
    assert values(feeder) == [0.0, 1.0]


def test_plain_walk_short_coords_is_matrix_active(open_file):
    g = GridFile().add("COORDS", "INTE", [1, 1, 1, 1]).add("COORDS", "INTE", [1, 1, 1, 1, 2])
    g.add("COORDS", "INTE", [1, 1])
    bit0, bit1 = ArrayFeeder(), ArrayFeeder()
    eclipse.ReadGridDpDkActnumSections(open_file(g, "a"), 3, 0, True, bit0)
    eclipse.ReadGridDpDkActnumSections(open_file(g, "b"), 3, 0, False, bit1)
    assert values(bit0) == [1.0, 0.0, 1.0]
    assert values(bit1) == [0.0, 1.0, 0.0]


def test_plain_walk_with_too_few_coords_raises_after_feeding(open_file):
    feeder = ArrayFeeder()
    with pytest.raises(RuntimeError, match=r"^Number of section error$"):
        eclipse.ReadGridDpDkActnumSections(open_file(coords_walk()), 4, 0, True, feeder)
    assert values(feeder) == [1.0, 0.0, 1.0]


def test_plain_walk_with_count_zero_raises_at_the_first_match(open_file):
    feeder = ArrayFeeder()
    with pytest.raises(RuntimeError, match=r"^Number of section error$"):
        eclipse.ReadGridDpDkActnumSections(open_file(coords_walk()), 0, 0, False, feeder)
    assert values(feeder) == [1.0]


def test_plain_walk_coords_of_no_numbers(open_file, capfd):
    # The load is refused: item 4 stays 1, so bit 0 is 1.0 and bit 1 is 0.0.
    g = GridFile().add("COORDS", "MESS", [])
    bit0, bit1 = ArrayFeeder(), ArrayFeeder()
    eclipse.ReadGridDpDkActnumSections(open_file(g, "a"), 1, 0, True, bit0)
    eclipse.ReadGridDpDkActnumSections(open_file(g, "b"), 1, 0, False, bit1)
    assert values(bit0) == [1.0] and values(bit1) == [0.0]
    assert capfd.readouterr().err == "Invalid Feed section type:M\n" * 2


def test_arguments_are_checked(open_file):
    f = open_file(coords_walk())
    for call in (lambda x: eclipse.DpDkExtGridActiveCellsCount(x, 0),
                 lambda x: eclipse.ReadGridDpDkActnumSections(x, 1, 0, True, ArrayFeeder()),
                 lambda x: eclipse.ReadExtGridDpDkActnumSections(x, 1, 0, True, ArrayFeeder())):
        with pytest.raises(TypeError, match=r"^First argument must be a file object!$"):
            call(object())
    with pytest.raises(RuntimeError, match="Unable to cast Python instance"):
        eclipse.ReadGridDpDkActnumSections(f, 1, 0, True, [])
    with pytest.raises(RuntimeError, match="Unable to cast Python instance"):
        eclipse.ReadExtGridDpDkActnumSections(f, 1, 0, False, None)

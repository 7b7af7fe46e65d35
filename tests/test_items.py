"""Item decoding and feeding of eclipse.Section: LoadItems and the three forms of LoadToFeeder.

Every file here is written by eclwriter, mostly in both byte orders and with the items split
into blocks of different lengths, so that the block walk of each loop is exercised.
"""

import struct
import subprocess
import sys

import numpy as np
import pytest

import kelvara
from kelvara import (
    Array1DBuilderDouble,
    Array1DBuilderFloat,
    Array1DBuilderInt,
    ArrayFeeder,
    CharVector,
    eclipse,
)

from eclwriter import BIG, LITTLE, EclFile, frame, header

ORDERS = pytest.mark.parametrize("order", [BIG, LITTLE], ids=["big", "little"])
NUMERIC_TYPES = ["INTE", "LOGI", "REAL", "DOUB"]
INT32_MIN = -2147483648


def feed_all(section, feeder=None):
    feeder = ArrayFeeder() if feeder is None else feeder
    section.LoadToFeeder(feeder)
    return feeder.to_numpy().tolist()


def feed_range(section, start, count, skip):
    feeder = ArrayFeeder()
    section.LoadToFeeder(feeder, start, count, skip)
    return feeder.to_numpy().tolist()


def feed_masked(section, mask, value):
    feeder = ArrayFeeder()
    section.LoadToFeeder(mask, value, feeder)
    return feeder.to_numpy().tolist()


def sample_values(type_, n):
    """n distinct values that each type stores exactly, item i recognisable from its value."""
    if type_ == "INTE":
        return [(-1) ** i * (10 * i + 3) for i in range(n)]
    if type_ == "LOGI":
        return [10 * i + 3 for i in range(n)]
    # Halves are exact in single and double precision.
    return [(-1) ** i * (10 * i + 0.5) for i in range(n)]


def as_fed(type_, values):
    """What a feeder receives for the values written under type_."""
    if type_ == "REAL":
        return np.asarray(values, dtype=np.float32).astype(np.float64).tolist()
    return [float(v) for v in values]


def as_listed(type_, values):
    """What LoadItems gives for the values written under type_."""
    if type_ == "INTE":
        return [int(v) for v in values]
    if type_ == "LOGI":
        return [struct.unpack("<i", struct.pack("<I", v))[0] for v in values]
    return as_fed(type_, values)


# ---------------------------------------------------------------------------------------------
# Conversions per item kind and byte order


def test_big_endian_real_and_little_endian_twin_feed_the_same_doubles(open_file):
    values = [1.5, -2.25, 3.1, 1.0e-3, 6.0e7, -0.0, 7.75]
    expected = np.asarray(values, dtype=np.float32).astype(np.float64).tolist()
    fed = {}
    for order in (BIG, LITTLE):
        f = open_file(EclFile().add("PRESSURE", "REAL", values, order=order, blocks=[2, 4, 1]),
                      name="real%s.bin" % ("big" if order == BIG else "little"))
        fed[order] = feed_all(eclipse.Section(f))
    assert fed[BIG] == expected
    assert fed[LITTLE] == expected
    # -0.0 keeps its sign through both byte orders.
    assert np.signbit(fed[BIG][5]) and np.signbit(fed[LITTLE][5])


@ORDERS
def test_doub_feeds_doubles_unchanged(open_file, order):
    values = [1.0 / 3.0, -2.5e300, 5e-324, 42.0, -7.125]
    f = open_file(EclFile().add("DEPTH", "DOUB", values, order=order, blocks=[1, 3, 1]))
    assert feed_all(eclipse.Section(f)) == values
    assert eclipse.Section(f).LoadItems() == values


@ORDERS
def test_inte_one_and_minus_one_feed_as_doubles(open_file, order):
    f = open_file(EclFile().add("SEQNUM", "INTE", [1, -1], order=order))
    fed = feed_all(eclipse.Section(f))
    assert fed == [1.0, -1.0]
    assert all(isinstance(v, float) for v in fed)


@ORDERS
def test_inte_extremes_across_blocks(open_file, order):
    values = [2147483647, INT32_MIN, 0, -5, 123456]
    f = open_file(EclFile().add("ICON", "INTE", values, order=order, blocks=[1, 3, 1]))
    assert feed_all(eclipse.Section(f)) == [float(v) for v in values]
    listed = eclipse.Section(f).LoadItems()
    assert listed == values
    assert all(type(v) is int for v in listed)


@ORDERS
def test_logi_true_word_feeds_unsigned_but_lists_signed(open_file, order):
    f = open_file(EclFile().add("LOGIHEAD", "LOGI", [1, 0xFFFFFFFF, 0], order=order,
                                blocks=[1, 2]))
    assert feed_all(eclipse.Section(f)) == [1.0, 4294967295.0, 0.0]
    listed = eclipse.Section(f).LoadItems()
    assert listed == [1, -1, 0]
    assert all(type(v) is int for v in listed)


@ORDERS
def test_real_lists_as_host_floats(open_file, order):
    values = [0.1, -2.5, 3.0]
    f = open_file(EclFile().add("SWAT", "REAL", values, order=order, blocks=[2, 1]))
    listed = eclipse.Section(f).LoadItems()
    assert listed == np.asarray(values, dtype=np.float32).astype(np.float64).tolist()
    assert all(type(v) is float for v in listed)


@ORDERS
@pytest.mark.parametrize("type_", NUMERIC_TYPES)
def test_numeric_kind_through_every_load(open_file, order, type_):
    values = sample_values(type_, 7)
    f = open_file(EclFile().add("DATA", type_, values, order=order, blocks=[3, 1, 3])
                  .add("NEXT", "INTE", [99], order=order))
    section = eclipse.Section(f)
    assert section.Type() == type_
    assert section.LoadItems() == as_listed(type_, values)
    assert section.LoadItems(2, 3) == as_listed(type_, values[2:5])
    assert feed_all(section) == as_fed(type_, values)
    # Items 2, 3 of the first block, then items 4, 5, 6 of the later blocks (stride 1).
    assert feed_range(section, 1, 5, 1) == as_fed(type_, values[1:6])
    mask = CharVector([1, 0, 0, 1, 1, 0, 1])
    assert feed_masked(section, mask, 1) == as_fed(type_, [values[i] for i in (0, 3, 4, 6)])
    assert feed_masked(section, mask, 0) == as_fed(type_, [values[i] for i in (1, 2, 5)])


# ---------------------------------------------------------------------------------------------
# Refused letters: C, M and unknown ones


def refused_loads():
    """The feed operations, each as a function of a section; none accepts C, M or unknown."""
    return {
        "whole": lambda s, fd: s.LoadToFeeder(fd),
        "range": lambda s, fd: s.LoadToFeeder(fd, 0, 2, 1),
        "mask": lambda s, fd: s.LoadToFeeder(CharVector([1] * 8), 1, fd),
    }


@ORDERS
@pytest.mark.parametrize("form", ["whole", "range", "mask"])
def test_feeding_char_complains_and_feeds_nothing(open_file, capfd, order, form):
    f = open_file(EclFile().add("KEYWORDS", "CHAR", ["AB", "CD", "EF"], order=order,
                                blocks=[1, 2]))
    section = eclipse.Section(f)
    feeder = ArrayFeeder()
    feeder.InsertNextValue(5.0)
    capfd.readouterr()
    refused_loads()[form](section, feeder)
    assert capfd.readouterr().err == "Invalid Feed section type:C\n"
    assert feeder.to_numpy().tolist() == [5.0]


@ORDERS
@pytest.mark.parametrize("form", ["whole", "range", "mask"])
def test_feeding_mess_complains_and_feeds_nothing(open_file, capfd, order, form):
    f = open_file(EclFile().add("STARTSOL", "MESS", order=order, count=2)
                  .add("PRESSURE", "REAL", [1.0, 2.0, 3.0], order=order))
    section = eclipse.Section(f)
    feeder = ArrayFeeder()
    capfd.readouterr()
    refused_loads()[form](section, feeder)
    assert capfd.readouterr().err == "Invalid Feed section type:M\n"
    assert len(feeder) == 0
    # The refused load stays at the data, which for a message is the next header.
    assert section.Advance()
    assert section.Name() == "PRESSURE"


@pytest.mark.parametrize("form", ["whole", "range", "mask"])
def test_feeding_unknown_letter_complains_with_that_letter(open_file, capfd, form):
    f = open_file(EclFile().add("ODD", "ZABC", count=2).add("NEXT", "INTE", [1, 2, 3, 4]))
    section = eclipse.Section(f)
    feeder = ArrayFeeder()
    capfd.readouterr()
    refused_loads()[form](section, feeder)
    assert capfd.readouterr().err == "Invalid Feed section type:Z\n"
    assert len(feeder) == 0


@ORDERS
def test_load_items_on_mess_gives_empty_slots_of_its_count(open_file, capfd, order):
    f = open_file(EclFile().add("ENDSOL", "MESS", order=order, count=3)
                  .add("PRESSURE", "REAL", [1.0, 2.0, 3.0, 4.0], order=order))
    section = eclipse.Section(f)
    capfd.readouterr()
    assert section.LoadItems() == [None, None, None]
    assert capfd.readouterr().err == "Invalid Feed section type:M\n"
    assert section.LoadItems(1, 2) == [None, None]
    assert capfd.readouterr().err == "Invalid Feed section type:M\n"


def test_load_items_on_unknown_letter_complains_and_lists_nothing(open_file, capfd):
    f = open_file(EclFile().add("ODD", "QQQQ", count=2).add("NEXT", "INTE", [1, 2, 3, 4]))
    section = eclipse.Section(f)
    capfd.readouterr()
    assert section.LoadItems() == [None, None]
    assert capfd.readouterr().err == "Invalid Feed section type:Q\n"


# ---------------------------------------------------------------------------------------------
# Text items


@ORDERS
def test_load_items_char_trims_blanks(open_file, order):
    f = open_file(EclFile().add("NAMES", "CHAR", ["AB", ""], order=order))
    assert eclipse.Section(f).LoadItems() == ["AB", ""]


@ORDERS
def test_load_items_char_across_blocks(open_file, order):
    items = ["  AB", "WELL-1", "12345678", "", "X", " Y Z "]
    f = open_file(EclFile().add("ZWEL", "CHAR", items, order=order, blocks=[2, 1, 3]))
    assert eclipse.Section(f).LoadItems() == ["AB", "WELL-1", "12345678", "", "X", "Y Z"]


def test_load_items_char_ends_at_nul_and_keeps_latin1(open_file):
    f = open_file(EclFile().add("NAMES", "CHAR", [b"A\x00B", b"\xe9t\xe9", b"\tTAB"]))
    assert eclipse.Section(f).LoadItems() == ["A", "\xe9t\xe9", "\tTAB"]


@ORDERS
@pytest.mark.parametrize("blocks", [[b"ABCDEFGH" + b"IJKL"], [b"AAAAAAAA", b"BBBBBBBBCCCC"]],
                         ids=["first-block", "later-block"])
def test_char_block_of_no_whole_items_fails_whole_load(open_file, order, blocks):
    content = (header("NAMES", len(blocks) + 1, "CHAR", order)
               + b"".join(frame(b, order) for b in blocks)
               + EclFile().add("NEXT", "INTE", [1, 2, 3], order=order).bytes())
    section = eclipse.Section(open_file(content))
    with pytest.raises(RuntimeError) as info:
        section.LoadItems()
    assert str(info.value) == "Wrong pack size reading char section items"


@ORDERS
def test_wrong_pack_size_leaves_the_section_loaded(open_file, capfd, order):
    # The load stops behind the bad block's leading length and stays loaded: Advance reads its
    # next header right there, out of the items, as after any partial load.
    content = (header("NAMES", 3, "CHAR", order) + frame(b"AAAAAAAA", order)
               + frame(b"BBBBBBBBCCCC", order)
               + EclFile().add("NEXT", "INTE", [1, 2, 3], order=order).bytes())
    section = eclipse.Section(open_file(content))
    with pytest.raises(RuntimeError):
        section.LoadItems()
    section.Advance()
    assert section.Position() == 24 + 16 + 4
    capfd.readouterr()  # the bytes read as a header there have no known type
    # A fresh cursor walks the blocks instead: 8 and 12 bytes, then the next header's marker
    # taken for a length of 16 overshoots the 24 bytes.
    fresh = eclipse.Section(open_file(content, "again.bin"))
    assert not fresh.Advance()
    assert fresh.Position() == 0
    assert capfd.readouterr().err == "Error on JumpItems: 36 X 24\n"


@ORDERS
def test_char_range_tests_later_blocks_but_not_the_first(open_file, order):
    # First block of 12 bytes: the range load takes its whole item and does not complain.
    first_odd = (header("NAMES", 1, "CHAR", order) + frame(b"ABCDEFGH" + b"IJKL", order)
                 + EclFile().add("NEXT", "INTE", [1, 2, 3], order=order).bytes())
    assert eclipse.Section(open_file(first_odd, "a.bin")).LoadItems(0, 1) == ["ABCDEFGH"]

    later_odd = (header("NAMES", 3, "CHAR", order) + frame(b"AAAAAAAA", order)
                 + frame(b"BBBBBBBBCCCC", order)
                 + EclFile().add("NEXT", "INTE", [1, 2, 3], order=order).bytes())
    section = eclipse.Section(open_file(later_odd, "b.bin"))
    with pytest.raises(RuntimeError) as info:
        section.LoadItems(0, 3)
    assert str(info.value) == "Wrong pack size reading char section items"
    # Inside the first block nothing is tested.
    assert section.LoadItems(0, 1) == ["AAAAAAAA"]


@ORDERS
def test_char_range_delivers_last_block_whole_but_keeps_count_entries(open_file, order):
    items = ["C0", "C1", "C2", "C3", "C4", "C5", "C6"]
    f = open_file(EclFile().add("NAMES", "CHAR", items, order=order, blocks=[2, 3, 2])
                  .add("NEXT", "INTE", [1], order=order))
    section = eclipse.Section(f)
    assert section.LoadItems(1, 2) == ["C1", "C2"]
    assert section.LoadItems(0, 4) == ["C0", "C1", "C2", "C3"]
    assert section.LoadItems(3, 4) == ["C3", "C4", "C5", "C6"]
    assert section.LoadItems(2, 1) == ["C2"]
    assert section.LoadItems(0, 7) == items


# ---------------------------------------------------------------------------------------------
# Cursor state around loads


@ORDERS
def test_load_items_after_advance_and_again_gives_the_same_list(open_file, order):
    values = [1.5, 2.5, 3.5, 4.5, 5.5]
    f = open_file(EclFile().add("FIRST", "INTE", [7, 8], order=order, blocks=[1, 1])
                  .add("SECOND", "DOUB", values, order=order, blocks=[3, 2])
                  .add("THIRD", "INTE", [1], order=order))
    section = eclipse.Section(f)
    assert section.Advance()
    assert section.Name() == "SECOND"
    first = section.LoadItems()
    second = section.LoadItems()
    assert first == values
    assert second == values
    # A partial load in between does not change what the next whole load gives.
    assert feed_range(section, 1, 1, 1) == [2.5]
    assert section.LoadItems() == values
    assert feed_all(section) == values


@ORDERS
@pytest.mark.parametrize("type_", NUMERIC_TYPES)
def test_range_stride_starts_at_second_block(open_file, order, type_):
    values = sample_values(type_, 8)
    f = open_file(EclFile().add("DATA", type_, values, order=order, block_items=3))
    section = eclipse.Section(f)
    # Items 1, 2 of the first block whole, then every second item: 3, 5, 7.
    assert feed_range(section, 1, 5, 2) == as_fed(type_, [values[i] for i in (1, 2, 3, 5, 7)])


@ORDERS
def test_range_phase_runs_on_across_blocks(open_file, order):
    values = list(range(100, 110))
    f = open_file(EclFile().add("DATA", "INTE", values, order=order, blocks=[2, 4, 1, 3]))
    section = eclipse.Section(f)
    # First block: item 1. Then items 2..9 with stride 3, the phase not reset per block: 2, 5, 8.
    assert feed_range(section, 1, 4, 3) == [101.0, 102.0, 105.0, 108.0]


@ORDERS
def test_range_starting_on_block_end_strides_from_the_next_block(open_file, order):
    values = list(range(100, 110))
    f = open_file(EclFile().add("DATA", "INTE", values, order=order, blocks=[2, 4, 1, 3]))
    section = eclipse.Section(f)
    # Item 2 starts the second block: the first block gives nothing, the stride applies at once.
    assert feed_range(section, 2, 3, 2) == [102.0, 104.0, 106.0]


@ORDERS
def test_range_negative_skip_acts_like_its_absolute_value(open_file, order):
    values = [10, 11, 12, 13, 14, 15, 16, 17]
    f = open_file(EclFile().add("DATA", "INTE", values, order=order, block_items=3))
    section = eclipse.Section(f)
    assert feed_range(section, 1, 5, -2) == [11.0, 12.0, 13.0, 15.0, 17.0]
    assert feed_range(section, 0, 4, -1) == [10.0, 11.0, 12.0, 13.0]


@ORDERS
def test_range_within_first_block_delivers_every_item(open_file, order):
    values = [10, 11, 12, 13, 14, 15, 16, 17]
    f = open_file(EclFile().add("DATA", "INTE", values, order=order, blocks=[5, 3]))
    section = eclipse.Section(f)
    assert feed_range(section, 1, 4, 3) == [11.0, 12.0, 13.0, 14.0]
    # A skip of 0 does not matter while the range stays in its first block.
    assert feed_range(section, 0, 5, 0) == [10.0, 11.0, 12.0, 13.0, 14.0]


@ORDERS
def test_range_skip_zero_beyond_first_block_raises(open_file, order):
    f = open_file(EclFile().add("DATA", "INTE", list(range(8)), order=order, block_items=3))
    section = eclipse.Section(f)
    feeder = ArrayFeeder()
    with pytest.raises(RuntimeError) as info:
        section.LoadToFeeder(feeder, 1, 5, 0)
    assert str(info.value) == "A skip of 0 cannot stride beyond the first block of the range"


@ORDERS
def test_range_count_minus_one_feeds_the_rest(open_file, order):
    values = [float(10 + i) for i in range(10)]
    f = open_file(EclFile().add("DATA", "DOUB", values, order=order, blocks=[4, 3, 3]))
    section = eclipse.Section(f)
    assert feed_range(section, 2, -1, 1) == values[2:]
    assert feed_range(section, 0, -1, 1) == values
    assert feed_range(section, 10, -1, 1) == []


@ORDERS
def test_load_items_with_negative_count_does_not_succeed(open_file, order):
    f = open_file(EclFile().add("DATA", "INTE", list(range(10)), order=order, blocks=[4, 3, 3]))
    section = eclipse.Section(f)
    with pytest.raises(ValueError) as info:
        section.LoadItems(2, -1)
    assert str(info.value) == "LoadItems needs a count of 0 or more"


@ORDERS
def test_range_beyond_section_raises_and_leaves_cursor_fresh(open_file, order):
    ecl = (EclFile().add("DATA", "INTE", list(range(10)), order=order, blocks=[4, 3, 3])
           .add("NEXT", "REAL", [1.0], order=order))
    section = eclipse.Section(open_file(ecl))
    feeder = ArrayFeeder()
    with pytest.raises(RuntimeError) as info:
        section.LoadToFeeder(feeder, 8, 3, 1)
    assert str(info.value) == "Requested items exceed section items count"
    assert len(feeder) == 0
    # Nothing was loaded: Advance walks the blocks to the next header.
    assert section.Advance()
    assert section.Name() == "NEXT"
    assert section.Position() == ecl.positions[1]


@ORDERS
def test_range_check_of_load_items(open_file, order):
    ecl = (EclFile().add("DATA", "INTE", list(range(10)), order=order, blocks=[4, 3, 3])
           .add("NEXT", "REAL", [1.0], order=order))
    section = eclipse.Section(open_file(ecl))
    with pytest.raises(RuntimeError) as info:
        section.LoadItems(8, 3)
    assert str(info.value) == "Requested items exceed section items count"
    assert section.Advance()
    assert section.Position() == ecl.positions[1]


@ORDERS
def test_range_ending_on_last_item_is_allowed(open_file, order):
    f = open_file(EclFile().add("DATA", "INTE", list(range(10)), order=order, blocks=[4, 3, 3]))
    section = eclipse.Section(f)
    assert feed_range(section, 7, 3, 1) == [7.0, 8.0, 9.0]
    assert section.LoadItems(7, 3) == [7, 8, 9]
    assert section.LoadItems(10, 0) == []


@ORDERS
def test_range_with_negative_start_reads_what_precedes_the_data(open_file, order):
    # Item -1 is the block's leading length word (40 bytes), then item 0 follows.
    f = open_file(EclFile().add("DATA", "INTE", list(range(10)), order=order))
    section = eclipse.Section(f)
    assert section.LoadItems(-1, 2) == [40, 0]
    assert feed_range(section, -1, 2, 1) == [40.0, 0.0]
    # A count of -1 takes the rest: the length word and all ten items.
    assert feed_range(section, -1, -1, 1) == [40.0] + [float(v) for v in range(10)]


@ORDERS
def test_range_with_negative_start_reaches_into_the_header(open_file, order):
    # Section at byte 0: item -7 is the header's leading marker (16) at byte 0 itself.
    f = open_file(EclFile().add("DATA", "INTE", [5, 6, 7], order=order))
    section = eclipse.Section(f)
    assert section.LoadItems(-7, 1) == [16]
    assert feed_range(section, -7, 1, 1) == [16.0]


@ORDERS
def test_range_starting_before_the_file_raises(open_file, order):
    ecl = EclFile().add("DATA", "INTE", [5, 6, 7], order=order).add("NEXT", "INTE", [1], order=order)
    f = open_file(ecl)
    for position, start in [(0, -8), (0, -100), (ecl.positions[1], -(ecl.positions[1] + 28) // 4 - 1)]:
        section = eclipse.Section(f, position)
        feeder = ArrayFeeder()
        with pytest.raises(RuntimeError) as info:
            section.LoadToFeeder(feeder, start, 2, 1)
        assert str(info.value) == "Requested items start before the file"
        assert len(feeder) == 0
        with pytest.raises(RuntimeError) as info:
            section.LoadItems(start, 2)
        assert str(info.value) == "Requested items start before the file"
    # One item later, the range starts on byte 0.
    section = eclipse.Section(f, ecl.positions[1])
    assert section.LoadItems(-(ecl.positions[1] + 28) // 4, 1) == [16]


@ORDERS
def test_advance_after_whole_feed_reads_next_header_at_once(open_file, capfd, order):
    # The header declares 2 items but the block holds 3: a block walk cannot end on the total,
    # a whole load ends behind the block and so at the next header.
    ecl = (EclFile().add("DATA", "INTE", [1, 2, 3], order=order, count=2)
           .add("NEXT", "INTE", [4], order=order))
    f = open_file(ecl)

    walking = eclipse.Section(f)
    capfd.readouterr()
    assert not walking.Advance()
    assert capfd.readouterr().err == "Error on JumpItems: 12 X 8\n"

    section = eclipse.Section(f)
    assert feed_all(section) == [1.0, 2.0, 3.0]
    assert section.Advance()
    assert section.Name() == "NEXT"
    assert section.Position() == ecl.positions[1]


@ORDERS
def test_advance_after_load_items_reads_next_header_at_once(open_file, order):
    ecl = (EclFile().add("DATA", "REAL", [1.0, 2.0, 3.0], order=order, count=2)
           .add("NEXT", "INTE", [4], order=order))
    section = eclipse.Section(open_file(ecl))
    # The list has the count's size; the block's third item finds no slot.
    assert section.LoadItems() == [1.0, 2.0]
    assert section.Advance()
    assert section.Name() == "NEXT"


@ORDERS
def test_whole_load_delivers_a_block_whole(open_file, order):
    f = open_file(EclFile().add("DATA", "INTE", [1, 2, 3], order=order, count=2)
                  .add("NEXT", "INTE", [4], order=order))
    assert feed_all(eclipse.Section(f)) == [1.0, 2.0, 3.0]

    f = open_file(EclFile().add("DATA", "DOUB", [1.0, 2.0, 3.0, 4.0, 5.0, 6.0], order=order,
                                blocks=[3, 3], count=4)
                  .add("NEXT", "INTE", [4], order=order), name="g.bin")
    assert feed_all(eclipse.Section(f)) == [1.0, 2.0, 3.0, 4.0, 5.0, 6.0]


@ORDERS
def test_partial_load_needs_goto_position_before_advance(open_file, order):
    ecl = (EclFile().add("DATA", "INTE", list(range(10)), order=order, blocks=[3, 4, 3])
           .add("NEXT", "REAL", [2.0], order=order))
    f = open_file(ecl)

    section = eclipse.Section(f)
    assert feed_range(section, 0, 1, 1) == [0.0]
    assert section.GoTo(section.Position())
    assert section.Advance()
    assert section.Name() == "NEXT"
    assert section.Position() == ecl.positions[1]

    # Without the GoTo the next header is read where the partial load stopped: behind the
    # first item of the first block.
    section = eclipse.Section(f)
    assert feed_range(section, 0, 1, 1) == [0.0]
    section.Advance()
    assert section.Position() == 24 + 4 + 4
    assert section.Position() != ecl.positions[1]


@ORDERS
def test_count_zero_section(open_file, order):
    ecl = (EclFile().add("EMPTY", "INTE", [], order=order)
           .add("NEXT", "DOUB", [3.5, 4.5], order=order))
    f = open_file(ecl)
    whole_loads = [
        lambda s: s.LoadItems() == [],
        lambda s: feed_all(s) == [],
        lambda s: feed_masked(s, CharVector(), 1) == [],
    ]
    for load in whole_loads:
        section = eclipse.Section(f)
        assert section.Size() == 0
        assert load(section)
        # A whole load of no items leaves the stream at the data, which is the next header.
        assert section.Advance()
        assert section.Name() == "NEXT"
        assert section.LoadItems() == [3.5, 4.5]
    range_loads = [
        lambda s: s.LoadItems(0, 0) == [],
        lambda s: feed_range(s, 0, 0, 1) == [],
        lambda s: feed_range(s, 0, -1, 1) == [],
    ]
    for load in range_loads:
        section = eclipse.Section(f)
        assert load(section)
        assert section.GoTo(section.Position())
        assert section.Advance()
        assert section.Name() == "NEXT"


# ---------------------------------------------------------------------------------------------
# Masks


@ORDERS
def test_mask_picks_items_equal_to_value(open_file, order):
    f = open_file(EclFile().add("DATA", "REAL", [1.5, 2.5, 3.5], order=order))
    section = eclipse.Section(f)
    assert feed_masked(section, CharVector([1, 0, 1]), 1) == [1.5, 3.5]
    assert feed_masked(section, CharVector([1, 0, 1]), 0) == [2.5]
    assert feed_masked(section, CharVector([1, 0, 1]), 2) == []


@ORDERS
def test_mask_index_runs_on_across_blocks(open_file, order):
    values = [10, 11, 12, 13, 14, 15, 16]
    f = open_file(EclFile().add("DATA", "INTE", values, order=order, blocks=[2, 4, 1]))
    section = eclipse.Section(f)
    mask = CharVector([0, 1, 0, 1, 1, 0, 1])
    assert feed_masked(section, mask, 1) == [11.0, 13.0, 14.0, 16.0]
    # A mask longer than the section is fine: the extra entries are not looked at.
    long_mask = CharVector([3, 0, 0, 0, 0, 0, 3, 3, 3, 3])
    assert feed_masked(section, long_mask, 3) == [10.0, 16.0]


@pytest.mark.parametrize("make_mask", [
    lambda: CharVector(b"\xff\x00\xff"),
    lambda: CharVector([255, 0, 255]),
    lambda: CharVector([-1, 0, -1]),
    lambda: CharVector(np.array([255, 0, 255], dtype=np.uint8)),
    lambda: CharVector(np.array([-1, 0, -1], dtype=np.int8)),
], ids=["bytes", "list255", "list-1", "uint8", "int8"])
@ORDERS
def test_mask_byte_with_all_bits_set_matches_minus_one_only(open_file, order, make_mask):
    f = open_file(EclFile().add("DATA", "INTE", [7, 8, 9], order=order, blocks=[1, 2]))
    section = eclipse.Section(f)
    assert feed_masked(section, make_mask(), -1) == [7.0, 9.0]
    assert feed_masked(section, make_mask(), 255) == []
    assert feed_masked(section, make_mask(), 0) == [8.0]


def test_mask_high_bytes_are_signed(open_file):
    f = open_file(EclFile().add("DATA", "INTE", [1, 2, 3, 4]))
    section = eclipse.Section(f)
    mask = CharVector([128, 127, 200, -56])
    assert feed_masked(section, mask, -128) == [1.0]
    assert feed_masked(section, mask, 127) == [2.0]
    assert feed_masked(section, mask, -56) == [3.0, 4.0]
    assert feed_masked(section, mask, 200) == []


@ORDERS
def test_advance_after_masked_feed_reads_next_header_at_once(open_file, order):
    ecl = (EclFile().add("DATA", "INTE", [1, 2, 3], order=order, count=2)
           .add("NEXT", "INTE", [4], order=order))
    section = eclipse.Section(open_file(ecl))
    assert feed_masked(section, CharVector([1, 1, 0]), 1) == [1.0, 2.0]
    assert section.Advance()
    assert section.Name() == "NEXT"


@pytest.mark.parametrize("mask", [[1, 0, 1], b"\x01\x00\x01", np.array([1, 0, 1], np.int8),
                                  "abc", 3],
                         ids=["list", "bytes", "array", "str", "int"])
def test_mask_that_is_no_char_vector_raises_type_error(open_file, mask):
    section = eclipse.Section(open_file(EclFile().add("DATA", "INTE", [1, 2, 3])))
    feeder = ArrayFeeder()
    with pytest.raises(TypeError) as info:
        section.LoadToFeeder(mask, 1, feeder)
    assert str(info.value) == "Section mask must be std::vector<char>!"
    assert len(feeder) == 0


def test_mask_is_checked_before_the_feeder(open_file):
    section = eclipse.Section(open_file(EclFile().add("DATA", "INTE", [1, 2, 3])))
    with pytest.raises(TypeError) as info:
        section.LoadToFeeder([1, 0, 1], 1, kelvara.Array3DBuilderDouble(3, 1, 1))
    assert str(info.value) == "Section mask must be std::vector<char>!"
    with pytest.raises(TypeError) as info:
        section.LoadToFeeder(b"\x01", 1, object())
    assert str(info.value) == "Section mask must be std::vector<char>!"


def test_mask_of_none_raises_type_error(write_ecl):
    # Run apart: a mask that is mistaken for a vector could end the interpreter.
    path = write_ecl(EclFile().add("DATA", "INTE", [1, 2, 3]))
    code = (
        "import sys, kelvara\n"
        "f = open(sys.argv[1], 'rb')\n"
        "s = kelvara.eclipse.Section(f)\n"
        "fd = kelvara.ArrayFeeder()\n"
        "try:\n"
        "    s.LoadToFeeder(None, 1, fd)\n"
        "except TypeError as e:\n"
        "    print('TypeError:', e, len(fd))\n"
    )
    result = subprocess.run([sys.executable, "-c", code, str(path)], capture_output=True,
                            text=True, timeout=60)
    assert result.returncode == 0, result.stderr
    assert result.stdout == "TypeError: Section mask must be std::vector<char>! 0\n"


# ---------------------------------------------------------------------------------------------
# Feeders of other kinds and repeated loads


@ORDERS
def test_one_dimensional_builders_take_feeds_narrowed(open_file, order):
    values = [2.75, -2.75, 1.0e10, 0.1, -0.5]
    f = open_file(EclFile().add("DATA", "DOUB", values, order=order, blocks=[2, 3]))
    section = eclipse.Section(f)

    as_double = Array1DBuilderDouble()
    section.LoadToFeeder(as_double)
    assert as_double.to_numpy().dtype == np.float64
    assert as_double.to_numpy().tolist() == values

    as_float = Array1DBuilderFloat()
    section.LoadToFeeder(as_float)
    assert as_float.to_numpy().dtype == np.float32
    assert as_float.to_numpy().tolist() == np.asarray(values, np.float32).tolist()

    as_int = Array1DBuilderInt()
    section.LoadToFeeder(as_int)
    assert as_int.to_numpy().dtype == np.int32
    assert as_int.to_numpy().tolist() == [2, -2, INT32_MIN, 0, 0]


@ORDERS
def test_one_dimensional_builders_in_range_and_mask_forms(open_file, order):
    f = open_file(EclFile().add("DATA", "LOGI", [1, 0xFFFFFFFF, 0, 7], order=order,
                                blocks=[2, 2]))
    section = eclipse.Section(f)
    as_int = Array1DBuilderInt()
    section.LoadToFeeder(as_int, 1, 3, 1)
    # The true word arrives as 4294967295.0, beyond int: the smallest int.
    assert as_int.to_numpy().tolist() == [INT32_MIN, 0, 7]

    as_double = Array1DBuilderDouble(6, -1.0)
    section.LoadToFeeder(CharVector([1, 0, 1, 1]), 1, as_double)
    # The append cursor starts at 0 and overwrites what the builder held there.
    assert as_double.to_numpy().tolist() == [1.0, 0.0, 7.0, -1.0, -1.0, -1.0]


@ORDERS
def test_loads_into_one_feeder_line_up(open_file, order):
    f = open_file(EclFile().add("A", "INTE", [1, 2, 3], order=order, blocks=[2, 1])
                  .add("B", "REAL", [4.5, 5.5], order=order))
    section = eclipse.Section(f)
    feeder = ArrayFeeder()
    section.LoadToFeeder(feeder)
    section.LoadToFeeder(feeder, 1, 1, 1)
    assert section.GoTo(section.Position())
    assert section.Advance()
    section.LoadToFeeder(CharVector([0, 1]), 1, feeder)
    assert feeder.to_numpy().tolist() == [1.0, 2.0, 3.0, 2.0, 5.5]


def test_many_items_in_many_blocks(open_file):
    n = 100_000
    values = np.arange(n, dtype=np.float64) * 0.25 - 1000.0
    ecl = EclFile().add("BIG", "DOUB", values.tolist(), order=BIG, block_items=1000)
    ecl.add("LITTLE", "INTE", list(range(n)), order=LITTLE, blocks=[1, 49_999, 50_000])
    section = eclipse.Section(open_file(ecl))
    feeder = ArrayFeeder()
    section.LoadToFeeder(feeder)
    assert np.array_equal(feeder.to_numpy(), values)
    assert section.Advance()
    as_int = Array1DBuilderInt()
    section.LoadToFeeder(as_int)
    assert np.array_equal(as_int.to_numpy(), np.arange(n, dtype=np.int32))
    assert section.LoadItems(49_990, 20) == list(range(49_990, 50_010))

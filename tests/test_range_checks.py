"""The order of the tests that a range meets in LoadItems(start, count) and LoadToFeeder.

A range is first tested against the section ("Requested items exceed section items count"),
before the stream moves; only a range inside the section is then tested against what the rest
of the file could hold, so the answer to a range past the section never depends on what follows
the section.
"""

import pytest

import kelvara
from kelvara import ArrayFeeder, eclipse

from eclwriter import BIG, LITTLE, EclFile, frame, header, pack_items

ORDERS = pytest.mark.parametrize("order", [BIG, LITTLE], ids=["big", "little"])
BEHIND = pytest.mark.parametrize("behind", [False, True], ids=["last", "followed"])
EXCEED = "Requested items exceed section items count"


def claims_text(name, count):
    return 'Section "%s" claims %d items, more than the rest of the file can hold' % (name, count)


def ten_items(order, behind):
    ecl = EclFile().add("X", "INTE", list(range(10)), order=order, blocks=[4, 6])
    if behind:
        ecl.add("NEXT", "INTE", list(range(3)), order=order).add("MORE", "DOUB", [1.0], order=order)
    return ecl


@ORDERS
@BEHIND
@pytest.mark.parametrize("start,count", [(0, 100), (0, 11), (9, 2), (10, 1), (5, 2 ** 31 - 1)])
def test_range_past_the_section_is_refused_first(open_file, order, behind, start, count):
    ecl = ten_items(order, behind)
    section = eclipse.Section(open_file(ecl))
    with pytest.raises(RuntimeError) as info:
        section.LoadItems(start, count)
    assert str(info.value) == EXCEED
    feeder = ArrayFeeder()
    with pytest.raises(RuntimeError) as info:
        section.LoadToFeeder(feeder, start, count, 1)
    assert str(info.value) == EXCEED
    assert len(feeder) == 0
    # The stream did not move and nothing was loaded: Advance walks the blocks.
    assert section.Advance() == behind
    if behind:
        assert (section.Name(), section.Position()) == ("NEXT", ecl.positions[1])


@ORDERS
@BEHIND
def test_range_inside_the_section_that_the_file_cannot_hold_is_refused_second(open_file, order,
                                                                              behind):
    # The header claims 1000 items; the file holds three, and perhaps a small section behind.
    data = header("CLAIMS", 1000, "INTE", order) + frame(pack_items("INTE", [1, 2, 3], order),
                                                         order)
    if behind:
        data += EclFile().add("NEXT", "INTE", [4], order=order).bytes()
    section = eclipse.Section(open_file(data))
    with pytest.raises(RuntimeError) as info:
        section.LoadItems(0, 500)
    assert str(info.value) == claims_text("CLAIMS", 500)
    # Past the section the first test answers, whatever the file holds.
    with pytest.raises(RuntimeError) as info:
        section.LoadItems(0, 1001)
    assert str(info.value) == EXCEED
    # A range that fits both is read.
    assert section.LoadItems(1, 2) == [2, 3]

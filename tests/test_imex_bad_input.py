"""imex.Section on bad input: truncated blocks, impossible sizes, wild positions. Every case has
a defined result or exception."""

import struct

import numpy as np
import pytest

import kelvara
from kelvara import imex
from imexwriter import BIG, LITTLE, MARKER, bare, block, header_size, marked, pack_items, record


def claims(position, items):
    return (rf"^IMEX block at {position} claims {items} items, more than the rest of the file "
            r"can hold$")


@pytest.mark.parametrize("form,order", [("bare", BIG), ("record", BIG), ("record", LITTLE),
                                        ("marked", "=")])
def test_truncated_header_in_every_form(open_file, form, order):
    good = block(form, "i", [1, 2, 3], order)
    second = block(form, "i", [4, 5], order)
    bare_records = form == "bare"
    for keep in range(0, header_size(form) if form != "marked" else 12):
        f = open_file(good + second[:keep], name=f"h{keep}.bin")
        s = imex.Section(f, 0, bare_records)
        assert s.Advance() is False, keep
        assert s.start_pos == len(good)
        # The fields still describe the first block.
        assert s.data_size == 12 and s.end_pos == len(good)
        np.testing.assert_array_equal(s.GetItems("i"), [1, 2, 3])


@pytest.mark.parametrize("form,order", [("bare", BIG), ("record", BIG), ("record", LITTLE),
                                        ("marked", "=")])
def test_truncated_payload_in_every_form(open_file, form, order):
    values = np.arange(3000, dtype=np.int32)
    data = block(form, "i", values, order)
    cut = header_size(form) + 2500 * 4 + 2
    f = open_file(data[:cut])
    s = imex.Section(f, 0, form == "bare")
    assert s.ItemsCount("i") == 3000
    feeder = kelvara.ArrayFeeder()
    assert s.FeedItems("i", feeder) is False
    # Whole chunks of 1024 items that arrived stay delivered.
    np.testing.assert_array_equal(feeder.to_numpy(), values[:2048])
    with pytest.raises(RuntimeError, match=claims(0, 3000)):
        s.GetItems("i")
    # FeedItems of doubles over the same block: 1500 doubles claimed, 1250 there.
    feeder = kelvara.ArrayFeeder()
    assert s.FeedItems("d", feeder) is False
    assert len(feeder) == 1024


def test_record_trailing_word_missing(open_file):
    data = record(pack_items("d", [1.0, 2.0], BIG), BIG)[:-4]
    s = imex.Section(open_file(data), 0, False)
    np.testing.assert_array_equal(s.GetItems("d"), [1.0, 2.0])
    assert s.Advance() is False


@pytest.mark.parametrize("frame", ["record-big", "record-little", "marked", "bare"])
def test_size_of_all_ones(open_file, frame):
    payload = bytes(range(40))
    if frame == "record-big":
        data = record(payload, BIG, size=0xFFFFFFFF)
        header, trailer = 12, 4
    elif frame == "record-little":
        data = record(payload, LITTLE, size=0xFFFFFFFF)
        header, trailer = 12, 4
    elif frame == "marked":
        data = marked(payload, size=0xFFFFFFFF)
        header, trailer = 8, 0
    else:
        data = bare(payload, size=0xFFFFFFFF)
        header, trailer = 4, 0
    f = open_file(data)
    s = imex.Section(f, 0, frame == "bare")
    assert s.data_size == 0xFFFFFFFF
    assert s.end_pos == 0xFFFFFFFF + header + trailer
    # The size in 32-bit arithmetic wraps round.
    assert s.Size() == header + trailer - 1
    assert s.ItemsCount("i") == 0x3FFFFFFF and s.ItemsCount("d") == 0x1FFFFFFF
    with pytest.raises(RuntimeError, match=claims(0, 0x1FFFFFFF)):
        s.GetItems("d")
    with pytest.raises(RuntimeError, match=claims(0, 0x3FFFFFFF)):
        s.GetItems("i")
    feeder = kelvara.ArrayFeeder()
    assert s.FeedItems("d", feeder) is False
    assert len(feeder) == 0
    assert s.Advance() is False
    assert s.start_pos == 0xFFFFFFFF + header + trailer


def test_get_items_of_gigabytes_in_a_small_file_raises_before_allocating(open_file):
    # A marked block claiming 2 GiB in a file of 108 bytes.
    f = open_file(marked(bytes(100), size=2 ** 31))
    s = imex.Section(f, 0, False)
    with pytest.raises(RuntimeError, match=claims(0, 2 ** 28)):
        s.GetItems("d")
    with pytest.raises(RuntimeError, match=claims(0, 2 ** 29)):
        s.GetItems("i")


def test_a_block_that_just_fits_is_read(open_file):
    f = open_file(marked(pack_items("i", [1, 2], "=")))
    np.testing.assert_array_equal(imex.Section(f, 0, False).GetItems("i"), [1, 2])


@pytest.mark.parametrize("position", [2 ** 40, 2 ** 62, 2 ** 63 - 1])
def test_huge_positions(open_file, position):
    f = open_file(record(pack_items("i", [1], BIG), BIG))
    s = imex.Section(f, position, False)
    assert s.start_pos == position
    # No header was read: the fields keep their starting values.
    assert (s.data_pos, s.end_pos, s.data_size, s.SwapBytes()) == (0, 0, 0, False)
    assert s.GetItems("d").size == 0
    feeder = kelvara.ArrayFeeder()
    assert s.FeedItems("i", feeder) is True and len(feeder) == 0
    assert s.GoTo(position) is False
    assert s.GoTo(0) is True and s.GetItems("i").tolist() == [1]


@pytest.mark.parametrize("position", [-1, -(2 ** 63)])
def test_negative_goto_fails_and_keeps_the_block(open_file, position):
    f = open_file(record(pack_items("i", [1], BIG), BIG))
    s = imex.Section(f, -(2 ** 63), False)
    assert s.start_pos == 0
    assert s.GoTo(position) is False
    assert s.start_pos == position
    assert s.GetItems("i").tolist() == [1]


@pytest.mark.parametrize("position", [2 ** 63, -(2 ** 63) - 1, 2 ** 100])
def test_positions_out_of_range_give_none(open_file, position):
    f = open_file(record(pack_items("i", [1], BIG), BIG))
    assert imex.Section(f, position, False) is None
    with pytest.raises(TypeError):
        imex.Section(f, 0, False).GoTo(position)


def test_empty_file(open_file):
    s = imex.Section(open_file(b""), 0, False)
    assert s is not None
    assert s.Advance() is False
    assert s.GetItems("i").size == 0


def test_garbage_file_walks_to_an_end(open_file):
    rng = np.random.default_rng(3)
    data = rng.integers(0, 256, 5000, dtype=np.uint8).tobytes()
    for bare_records in (False, True):
        s = imex.Section(open_file(data, name=f"g{bare_records}.bin"), 0, bare_records)
        steps = 0
        while s.Advance():
            steps += 1
            assert steps < 5000
        assert s.start_pos >= 0


def test_write_only_file(tmp_path):
    path = tmp_path / "w.bin"
    with open(path, "wb") as f:
        with pytest.raises(RuntimeError, match=r"^File object is not open for reading$"):
            imex.Section(f, 0, False)

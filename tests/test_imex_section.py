"""imex.Section: frames, byte orders, walks, item counts, GetItems and FeedItems."""

import struct

import numpy as np
import pytest

import kelvara
from kelvara import imex
from imexwriter import BIG, LITTLE, MARKER, bare, block, header_size, marked, pack_items, \
    record, trailer_size

FORMS = ["bare", "record", "marked"]


def section(f, position=0, bare_records=False):
    s = imex.Section(f, position, bare_records)
    assert s is not None
    return s


def forms_and_orders():
    yield "bare", BIG
    yield "record", BIG
    yield "record", LITTLE
    yield "marked", "="


@pytest.mark.parametrize("form,order", list(forms_and_orders()))
@pytest.mark.parametrize("type_", ["i", "d"])
def test_every_frame_and_order_reads_back(open_file, form, order, type_):
    values = [1, -2, 3, 2 ** 31 - 1, -(2 ** 31)] if type_ == "i" else [0.5, -1e300, 3.25, np.pi]
    data = block(form, type_, values, order)
    f = open_file(data)
    s = section(f, 0, form == "bare")
    width = 4 if type_ == "i" else 8
    assert s.start_pos == 0
    assert s.data_pos == header_size(form)
    assert s.data_size == len(values) * width
    assert s.end_pos == len(data)
    assert s.Size() == s.end_pos - s.start_pos
    assert s.ItemsCount(type_) == len(values)
    expected_swap = form == "bare" or (form == "record" and order == BIG)
    assert s.SwapBytes() is expected_swap
    items = s.GetItems(type_)
    assert items.dtype == (np.int32 if type_ == "i" else np.float64)
    assert items.flags.c_contiguous and items.flags.writeable
    np.testing.assert_array_equal(items, np.asarray(values))
    feeder = kelvara.ArrayFeeder()
    assert s.FeedItems(type_, feeder) is True
    np.testing.assert_array_equal(feeder.to_numpy(), np.asarray(values, dtype=np.float64))
    # The host object is never moved by the cursor.
    assert f.tell() == 0


@pytest.mark.parametrize("form", FORMS)
def test_size_is_end_minus_start_in_every_form(open_file, form):
    data = b"".join(block(form, "d", [float(i)] * (i + 1), BIG) for i in range(3))
    f = open_file(data)
    s = section(f, 0, form == "bare")
    for _ in range(3):
        assert s.Size() == s.end_pos - s.start_pos == header_size(form) + s.data_size + \
            trailer_size(form)
        s.Advance()


def test_walk_over_mixed_frames_and_orders_ends_at_the_end_of_the_file(open_file):
    blocks = [record(pack_items("i", [1, 2], BIG), BIG),
              marked(pack_items("d", [2.5], "=")),
              record(pack_items("d", [7.0, 8.0], LITTLE), LITTLE),
              record(b"", BIG)]
    data = b"".join(blocks)
    f = open_file(data)
    s = section(f)
    seen = []
    position = 0
    while True:
        assert s.start_pos == position
        seen.append((s.SwapBytes(), s.data_size))
        position += len(blocks[len(seen) - 1])
        if not s.Advance():
            break
    assert seen == [(True, 8), (False, 8), (False, 16), (True, 0)]
    # The failed move names the position tried; the other fields still describe the last block.
    assert s.start_pos == len(data)
    assert s.data_size == 0 and s.end_pos == len(data)


def test_goto_reads_any_block(open_file):
    first = record(pack_items("d", [1.0], BIG), BIG)
    second = marked(pack_items("i", [5, 6, 7], "="))
    f = open_file(first + second)
    s = section(f)
    assert s.GoTo(len(first)) is True
    np.testing.assert_array_equal(s.GetItems("i"), [5, 6, 7])
    assert s.GoTo(0) is True
    np.testing.assert_array_equal(s.GetItems("d"), [1.0])


def test_negative_position_starts_at_zero_and_negative_goto_fails(open_file):
    data = record(pack_items("i", [9], BIG), BIG)
    f = open_file(data)
    s = section(f, -100)
    assert s.start_pos == 0 and s.data_size == 4
    assert s.GoTo(-8) is False
    assert s.start_pos == -8
    # The other fields still describe the block read before.
    assert (s.data_pos, s.data_size, s.end_pos) == (12, 4, len(data))


@pytest.mark.parametrize("order,swapped", [(LITTLE, False), (BIG, True)])
def test_record_length_decides_the_byte_order(open_file, order, swapped):
    # The record length word (12 payload bytes + 8) read as it stands says whether the block is
    # in this machine's order; the items come out right either way.
    data = record(pack_items("i", [1, 2, 3], order), order)
    assert data[:4] == struct.pack(order + "I", 20)
    s = section(open_file(data))
    assert s.SwapBytes() is swapped
    assert s.data_size == 12
    np.testing.assert_array_equal(s.GetItems("i"), [1, 2, 3])


@pytest.mark.parametrize("reversed_word", ["length", "size"])
def test_record_with_one_length_word_reversed_is_swapped(tmp_path, reversed_word):
    size = 12
    raw_length = struct.pack("<I", size + 8)
    raw_size = struct.pack("<I", size)
    if reversed_word == "length":
        raw_length = raw_length[::-1]
    else:
        raw_size = raw_size[::-1]
    path = tmp_path / "r.bin"
    path.write_bytes(raw_length + MARKER + raw_size + bytes(12) + bytes(4))
    with open(path, "rb") as f:
        s = section(f)
        assert s.SwapBytes() is True
        # data_size is the size word reversed.
        assert s.data_size == struct.unpack(">I", raw_size)[0]


def test_record_with_raw_length_equal_to_size_plus_8_is_not_swapped(open_file):
    s = section(open_file(record(pack_items("i", [1], LITTLE), LITTLE)))
    assert s.SwapBytes() is False and s.data_size == 4


def test_marker_at_offset_0_wins_over_a_marker_at_4(open_file):
    # Marker, then a size word that is itself the marker's bytes: FRAME_MARKED with that size.
    data = MARKER + MARKER + bytes(8)
    s = section(open_file(data))
    assert s.data_pos == 8
    assert s.data_size == struct.unpack("=I", MARKER)[0]
    assert s.SwapBytes() is False
    assert s.end_pos == 8 + s.data_size


def test_block_without_marker_keeps_frame_swap_and_size(open_file):
    first = record(pack_items("i", [1, 2], LITTLE), LITTLE)   # no swap, size 8
    stray = bytes(range(1, 17))                               # no marker anywhere
    f = open_file(first + stray)
    s = section(f)
    assert s.Advance() is True
    assert s.start_pos == len(first)
    assert s.data_size == 8 and s.SwapBytes() is False
    assert s.data_pos == len(first) + 12
    assert s.end_pos == len(first) + 8 + 16


def test_block_without_marker_after_a_swapped_block_reverses_the_size_again(open_file):
    first = record(pack_items("i", [1, 2], BIG), BIG)         # swapped, size 8
    stray = bytes(range(1, 17)) + bytes(64)
    f = open_file(first + stray)
    s = section(f)
    assert s.SwapBytes() is True and s.data_size == 8
    assert s.Advance() is True
    assert s.SwapBytes() is True
    assert s.data_size == 0x08000000
    assert s.end_pos == len(first) + 0x08000000 + 16
    assert s.Size() == 0x08000000 + 16


def test_bare_records_never_look_at_the_marker(open_file):
    # A payload of 12 bytes that starts with the marker; bare framing ignores it.
    payload = MARKER + MARKER + bytes(4)
    data = bare(payload) + bare(b"")
    f = open_file(data)
    s = section(f, 0, True)
    assert s.data_size == 12 and s.data_pos == 4 and s.end_pos == 16 and s.SwapBytes() is True
    assert s.Advance() is True
    assert s.data_size == 0 and s.end_pos == s.start_pos + 4 == 20
    assert s.ItemsCount("i") == 0 and s.ItemsCount("d") == 0
    assert s.Advance() is False


def test_partial_trailing_item_does_not_count(open_file):
    payload = pack_items("i", [7, 8], LITTLE) + b"\x01\x02"   # 10 bytes
    s = section(open_file(record(payload, LITTLE)))
    assert s.ItemsCount("i") == 2
    assert s.ItemsCount("d") == 1
    ints, doubles = kelvara.ArrayFeeder(), kelvara.ArrayFeeder()
    assert s.FeedItems("i", ints) is True
    assert s.FeedItems("d", doubles) is True
    np.testing.assert_array_equal(ints.to_numpy(), [7.0, 8.0])
    assert len(doubles) == 1
    assert doubles.to_numpy()[0] == np.frombuffer(payload[:8], "<f8")[0]


def test_unknown_code_in_items_count_complains_and_gives_0(open_file, capfd):
    s = section(open_file(record(pack_items("d", [1.0, 2.0], BIG), BIG)))
    capfd.readouterr()
    assert s.ItemsCount("x") == 0
    assert capfd.readouterr().err == "Unknown section type:x\n"
    with pytest.raises(RuntimeError, match=r"^Invalid data type$"):
        s.GetItems("x")
    assert capfd.readouterr().err == ""


def test_unknown_code_on_a_size_of_all_ones_gives_1(open_file, capfd):
    s = section(open_file(marked(bytes(4), size=0xFFFFFFFF)))
    assert s.data_size == 0xFFFFFFFF
    capfd.readouterr()
    assert s.ItemsCount("?") == 1
    assert capfd.readouterr().err == "Unknown section type:?\n"


def test_feed_items_with_an_unknown_code_raises(open_file):
    s = section(open_file(record(pack_items("d", [1.0], BIG), BIG)))
    with pytest.raises(RuntimeError, match=r"^Invalid data type$"):
        s.FeedItems("q", kelvara.ArrayFeeder())


@pytest.mark.parametrize("feeder", [None, 3, "feeder", kelvara.Array3DBuilderDouble(1, 1, 1),
                                    kelvara.CompleteCornersBuilder(1, 1, 1)])
def test_feed_items_with_no_array_feeder_is_false_before_the_code_test(open_file, feeder):
    s = section(open_file(record(pack_items("d", [1.0], BIG), BIG)))
    assert s.FeedItems("d", feeder) is False
    assert s.FeedItems("x", feeder) is False


def test_feed_items_into_a_1d_builder_which_is_an_array_feeder(open_file):
    s = section(open_file(record(pack_items("i", [4, 5], BIG), BIG)))
    builder = kelvara.Array1DBuilderInt()
    assert s.FeedItems("i", builder) is True
    np.testing.assert_array_equal(builder.to_numpy(), [4, 5])


def test_feeding_twice_concatenates(open_file):
    s = section(open_file(record(pack_items("d", [1.0, 2.0], LITTLE), LITTLE)))
    feeder = kelvara.ArrayFeeder()
    assert s.FeedItems("d", feeder) and s.FeedItems("d", feeder)
    np.testing.assert_array_equal(feeder.to_numpy(), [1.0, 2.0, 1.0, 2.0])


@pytest.mark.parametrize("count", [0, 1, 1023, 1024, 1025, 2048, 2049, 5000])
@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_chunk_boundaries_deliver_every_item(open_file, count, order):
    values = np.arange(count, dtype=np.float64) * 1.5 - 7
    ints = np.arange(count, dtype=np.int32) - 3
    data = record(pack_items("d", values, order), order) + record(pack_items("i", ints, order),
                                                                  order)
    f = open_file(data)
    s = section(f)
    feeder = kelvara.ArrayFeeder()
    assert s.FeedItems("d", feeder)
    np.testing.assert_array_equal(feeder.to_numpy(), values)
    np.testing.assert_array_equal(s.GetItems("d"), values)
    assert s.Advance()
    feeder = kelvara.ArrayFeeder()
    assert s.FeedItems("i", feeder)
    np.testing.assert_array_equal(feeder.to_numpy(), ints)
    np.testing.assert_array_equal(s.GetItems("i"), ints)


def test_type_codes_are_one_character_strings_or_bytes(open_file):
    s = section(open_file(record(pack_items("i", [3], BIG), BIG)))
    assert s.ItemsCount(b"i") == 1
    np.testing.assert_array_equal(s.GetItems(b"i"), [3])
    for wrong in ["ii", "", 105, b"ii", "\u0101"]:
        with pytest.raises(TypeError):
            s.ItemsCount(wrong)
        with pytest.raises(TypeError):
            s.GetItems(wrong)


def test_position_is_anything_with_index(open_file):
    data = record(pack_items("i", [1], BIG), BIG) * 2

    class Pos:
        def __index__(self):
            return 16

    f = open_file(data)
    assert imex.Section(f, Pos(), False).start_pos == 16
    assert imex.Section(f, np.int64(16), False).start_pos == 16
    assert imex.Section(f, True, False).start_pos == 1


@pytest.mark.parametrize("position", ["16", 16.0, None, object(), 2 ** 64])
def test_position_that_does_not_convert_gives_none(open_file, position):
    f = open_file(record(pack_items("i", [1], BIG), BIG))
    assert imex.Section(f, position, False) is None


def test_position_conversion_is_tried_twice(open_file):
    f = open_file(record(pack_items("i", [1], BIG), BIG) * 2)

    class Flaky:
        calls = 0

        def __index__(self):
            Flaky.calls += 1
            if Flaky.calls == 1:
                raise ValueError("not yet")
            return 16

    s = imex.Section(f, Flaky(), False)
    assert s is not None and s.start_pos == 16 and Flaky.calls == 2

    class Never:
        calls = 0

        def __index__(self):
            Never.calls += 1
            raise ValueError("never")

    assert imex.Section(f, Never(), False) is None
    assert Never.calls == 2


def test_file_test_comes_before_the_position(open_file):
    with pytest.raises(TypeError, match=r"^First argument must be a file object!$"):
        imex.Section(object(), "not a position", False)


def test_a_subclass_of_the_file_type_is_a_file_and_a_lookalike_is_not(tmp_path):
    import io
    path = tmp_path / "s.bin"
    path.write_bytes(record(pack_items("i", [1], BIG), BIG))

    class MyFile(io.FileIO):
        pass

    with MyFile(path, "rb") as f:
        assert imex.Section(f, 0, False).GetItems("i").tolist() == [1]

    class Lookalike:
        def __init__(self, raw):
            self.raw = raw

        def fileno(self):
            return self.raw.fileno()

        def tell(self):
            return 0

        def seek(self, *a):
            return 0

        def read(self, n=-1):
            return self.raw.read(n)

    with open(path, "rb") as raw:
        with pytest.raises(TypeError, match=r"^First argument must be a file object!$"):
            imex.Section(Lookalike(raw), 0, False)
    with pytest.raises(TypeError, match=r"^First argument must be a file object!$"):
        imex.Section(io.BytesIO(b"1234"), 0, False)


def test_bare_records_must_be_a_bool(open_file):
    f = open_file(record(pack_items("i", [1], BIG), BIG))
    with pytest.raises(TypeError):
        imex.Section(f, 0, "yes")


def test_scopes_and_classes():
    assert imex.Section is not kelvara.eclipse.Section
    assert imex.Section.__name__ == kelvara.eclipse.Section.__name__ == "Section"
    with pytest.raises(TypeError):
        imex()
    with pytest.raises(TypeError):
        kelvara.mores()


def test_cursor_reads_after_the_file_object_is_closed(write_ecl):
    path = write_ecl(record(pack_items("d", [1.0, 2.0], BIG), BIG))
    f = open(path, "rb")
    s = section(f)
    f.close()
    np.testing.assert_array_equal(s.GetItems("d"), [1.0, 2.0])


def test_cursors_and_host_positions_are_independent(open_file):
    data = record(pack_items("i", [1, 2], BIG), BIG) + record(pack_items("i", [3], LITTLE), LITTLE)
    f = open_file(data)
    f.seek(5)
    a = section(f)
    b = section(f, 24)
    assert a.GetItems("i").tolist() == [1, 2]
    assert b.GetItems("i").tolist() == [3]
    assert a.Advance() and a.GetItems("i").tolist() == [3]
    assert f.tell() == 5


def test_marked_block_needs_twelve_bytes_even_with_a_shorter_payload(open_file):
    first = record(pack_items("i", [1], LITTLE), LITTLE)
    f = open_file(first + marked(b"\x01\x02\x03"))
    s = section(f)
    assert s.Advance() is False
    assert s.start_pos == len(first)
    assert s.data_size == 4 and s.data_pos == 12
    # With four payload bytes the same block reads.
    g = open_file(first + marked(b"\x01\x02\x03\x04"), name="g.bin")
    t = section(g)
    assert t.Advance() is True and t.data_size == 4 and t.data_pos == len(first) + 8


def test_get_items_of_an_empty_payload(open_file):
    s = section(open_file(record(b"", LITTLE)))
    assert s.GetItems("d").shape == (0,)
    assert s.GetItems("i").dtype == np.int32


def test_operations_are_registered_in_their_order():
    names = [n for n in vars(imex.Section) if not n.startswith("_")]
    assert names == ["ItemsCount", "SwapBytes", "Advance", "GoTo", "Size", "GetItems",
                     "FeedItems", "start_pos", "data_pos", "end_pos", "data_size"]
    assert [n for n in vars(imex) if not n.startswith("_")] == ["Section", "Loader"]

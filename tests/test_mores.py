"""mores: base-64 stretches into feeders, whole, as a slice and as corner bands."""

import io
import struct

import numpy as np
import pytest

import kelvara
from kelvara import mores
from b64writer import decode_quad, encode, encode_items, expected, item_bytes, with_line_ends


@pytest.fixture
def text_file(open_file):
    """text_file(prefix, text, suffix=b"") -> a file object standing at the text's first byte."""
    def make(text, prefix=b"", suffix=b"", name="t.txt"):
        f = open_file(prefix + text + suffix, name)
        f.seek(len(prefix))
        return f
    return make


def feed(f, type_, count):
    feeder = kelvara.ArrayFeeder()
    assert mores.B64FeedArray(f, type_, count, feeder) is True
    return feeder.to_numpy()


def test_padded_single_integer(text_file):
    f = text_file(b"AQAAAA==")
    np.testing.assert_array_equal(feed(f, "i", 8), [1.0])
    assert f.tell() == 8


def test_four_integers_make_a_group_and_a_tail_item(text_file):
    text = encode_items("i", [1, 2, 3, 4])
    assert len(text) == 24 and text.endswith(b"==")
    np.testing.assert_array_equal(feed(text_file(text), "i", len(text)), [1, 2, 3, 4])


@pytest.mark.parametrize("count", [0, -1, -1000])
def test_count_below_one_reads_nothing(text_file, count):
    f = text_file(b"AQAAAA==", prefix=b"xyz")
    assert feed(f, "i", count).size == 0
    assert f.tell() == 3


@pytest.mark.parametrize("text", [b"=AQAAAA==", b"\nAQAAAA", b"\r\nAQAAAA", b" AQAA", b""])
def test_empty_text_delivers_nothing(text_file, text):
    assert feed(text_file(text), "d", 100).size == 0
    assert feed(text_file(text, name="u.txt"), "i", 100).size == 0


def test_line_end_inside_the_data_ends_it_with_the_tail_rule(text_file):
    values = list(range(1, 9))
    text = encode_items("i", values)                 # 44 characters
    broken = with_line_ends(text, 19)                # a line end after 19 characters
    got = feed(text_file(broken), "i", len(broken))
    # 19 characters: 4 quads (12 bytes, 3 items as one group) and a tail quad of 3 characters,
    # which adds 3 bytes: g = 3, no further item.
    np.testing.assert_array_equal(got, [1, 2, 3])
    np.testing.assert_array_equal(got, expected("i", broken, len(broken)))
    broken = with_line_ends(text, 22)                # tail quad of 2 after 5 quads (15 bytes)
    got = feed(text_file(broken, name="b.txt"), "i", len(broken))
    # group: 12 bytes out as 3 items, then 3 bytes + tail 3 bytes = 6: one more item.
    np.testing.assert_array_equal(got, [1, 2, 3, 4])


def test_budget_ending_on_a_quad_with_a_partial_group_drops_those_bytes(text_file):
    text = encode_items("i", list(range(10, 22)))
    # 24 characters: 18 bytes, one group of 12 (3 items) and 6 bytes in the group: dropped.
    np.testing.assert_array_equal(feed(text_file(text), "i", 24), [10, 11, 12])
    # 16 characters for doubles: 12 bytes in the group, no item.
    dtext = encode_items("d", [1.0, 2.0, 3.0, 4.0])
    assert feed(text_file(dtext, name="d.txt"), "d", 16).size == 0


@pytest.mark.parametrize("type_", ["i", "d"])
@pytest.mark.parametrize("count", list(range(0, 50)))
def test_every_budget_inside_a_quad_or_a_group_follows_the_model(text_file, type_, count):
    values = [3, -4, 5, 6, 7, -8, 9] if type_ == "i" else [0.5, -1.25, 3e200, 4.0, 5.5]
    text = encode_items(type_, values)
    np.testing.assert_array_equal(feed(text_file(text), type_, count),
                                  expected(type_, text, count))


def test_filling_bytes_are_not_zero(text_file):
    # 7 bytes as integers: two quads and a tail quad of 2 characters make 9 bytes, 2 items; the
    # second item's last byte is made of the real character's low bits and the filling's bits.
    data = bytes([1, 2, 3, 4, 5, 6, 7])
    text = encode(data, padding=False)
    assert text == b"AQIDBAUGBw"
    got = feed(text_file(text), "i", len(text))
    s1 = 0x30                                        # 'w'
    junk = ((s1 & 0x0F) << 4) ^ 0x0F
    assert junk != 0
    tail = decode_quad(ord("B") - ord("A"), s1, 0xFF, 0xFF)
    assert tail[1] == junk
    second = struct.unpack("<i", bytes([5, 6, 7, junk]))[0]
    np.testing.assert_array_equal(got, [struct.unpack("<i", data[:4])[0], second])


@pytest.mark.parametrize("type_", ["i", "d"])
def test_large_stretch_over_many_chunks(text_file, type_):
    rng = np.random.default_rng(5)
    values = rng.integers(-2 ** 31, 2 ** 31, 10001) if type_ == "i" else rng.normal(size=10001)
    text = encode_items(type_, values)
    f = text_file(text, prefix=b"<data>", suffix=b"</data>\n" + b"A" * 3000)
    np.testing.assert_array_equal(feed(f, type_, len(text)), values)
    # The stream stands at the end of the last chunk of up to 1024 characters read from the
    # start: the '=' stopped the last chunk, which ran on past it.
    chunks = -(-len(text) // 1024)
    assert f.tell() == len(b"<data>") + min(chunks * 1024, len(text))


def test_position_after_a_stop_is_the_end_of_the_chunk(text_file):
    text = encode_items("d", [1.0] * 3) + b"\n" + b"B" * 5000
    f = text_file(text, prefix=b"pre")
    np.testing.assert_array_equal(feed(f, "d", 10 ** 6), [1.0] * 3)
    assert f.tell() == 3 + 1024


def test_budget_far_beyond_the_end_of_the_file(text_file):
    values = list(range(100))
    text = encode_items("i", values, padding=False)
    f = text_file(text)
    np.testing.assert_array_equal(feed(f, "i", 2 ** 31 - 1), values)
    assert f.tell() == len(text)


@pytest.mark.parametrize("garbage", [b"\x00\x01\x02\x03" * 300, bytes(range(256)) * 4,
                                     b"\xff" * 2000, b"====", b"@@@@"])
def test_garbage_instead_of_base64(text_file, garbage):
    f = text_file(garbage)
    got = feed(f, "d", len(garbage) + 100)
    np.testing.assert_array_equal(got, expected("d", garbage, len(garbage)))


def test_no_padding_and_stray_bytes(text_file):
    values = [1.5, 2.5, 3.5, 4.5]
    text = encode_items("d", values, padding=False)
    np.testing.assert_array_equal(feed(text_file(text + b"\x00junk"), "d", 1000), values)
    np.testing.assert_array_equal(feed(text_file(text + b" more", name="v.txt"), "d", 1000),
                                  values)


def test_slice_rule(text_file):
    values = list(range(20))
    text = encode_items("i", values)
    feeder = kelvara.ArrayFeeder()
    assert mores.B64SliceFeedArray(text_file(text), "i", len(text), 5, 9, feeder) is True
    np.testing.assert_array_equal(feeder.to_numpy(), [5, 6, 7, 8])
    feeder = kelvara.ArrayFeeder()
    mores.B64SliceFeedArray(text_file(text, name="n.txt"), "i", len(text), -3, 2, feeder)
    np.testing.assert_array_equal(feeder.to_numpy(), [0, 1])


def test_slice_with_first_equal_last_delivers_nothing_and_reads_the_stretch(text_file):
    text = encode_items("d", [float(v) for v in range(300)])
    f = text_file(text + b"\n" + b"Q" * 4000)
    feeder = kelvara.ArrayFeeder()
    assert mores.B64SliceFeedArray(f, "d", 10 ** 6, 7, 7, feeder) is True
    assert len(feeder) == 0
    assert len(text) == 3200
    assert f.tell() == 4096            # the stop lies in the fourth chunk


def corners(f, begin, end, first, last, stride, n=1000):
    builder = kelvara.CompleteCornersBuilder(n, 1, 1)
    assert mores.B64FeedCornersArray(f, begin, end, first, last, stride, builder) is True
    return builder.to_numpy()


def test_corner_bands(text_file):
    values = [float(v) for v in range(30)]
    text = encode_items("d", values)
    f = text_file(text, prefix=b"#" * 17)
    got = corners(f, 17, 17 + len(text), 2, 5, 10)
    np.testing.assert_array_equal(got, [2, 3, 4, 12, 13, 14, 22, 23, 24])


def test_corner_band_with_stride_0_never_moves(text_file):
    text = encode_items("d", [float(v) for v in range(30)])
    f = text_file(text)
    np.testing.assert_array_equal(corners(f, 0, len(text), 3, 6, 0), [3, 4, 5])


def test_overlapping_bands_deliver_each_item_once(text_file):
    text = encode_items("d", [float(v) for v in range(12)])
    f = text_file(text)
    # Band [0, 5) moving by 2: at index 5 it becomes [2, 7), at 7 [4, 9), ...
    got = corners(f, 0, len(text), 0, 5, 2)
    np.testing.assert_array_equal(got, list(range(12)))
    assert len(set(got.tolist())) == len(got)


def test_corner_band_starts_at_begin_and_takes_end_minus_begin(text_file):
    values = [float(v) for v in range(9)]
    text = encode_items("d", values)
    f = text_file(text, prefix=b"x" * 40)
    f.seek(0)
    got = corners(f, 40, 40 + 32, 0, 100, 100)   # one group of 32 characters: 3 doubles
    np.testing.assert_array_equal(got, [0, 1, 2])
    assert f.tell() == 40 + 32


def test_corner_band_with_negative_begin_reads_where_the_file_stands(text_file):
    text = encode_items("d", [1.0, 2.0, 3.0])
    f = text_file(text, prefix=b"zz")
    np.testing.assert_array_equal(corners(f, -5, len(text) - 5, 0, 10, 10), [1.0, 2.0, 3.0])


def test_corner_band_beyond_the_end_of_the_file(text_file):
    f = text_file(encode_items("d", [1.0]))
    assert corners(f, 10 ** 9, 2 ** 31 - 1, 0, 10, 10).size == 0


# The argument tests, in their order, with their messages.

@pytest.mark.parametrize("call", [
    lambda f, fe: mores.B64FeedArray(f, "d", 8, fe),
    lambda f, fe: mores.B64SliceFeedArray(f, "d", 8, 0, 1, fe),
    lambda f, fe: mores.B64FeedCornersArray(f, 0, 8, 0, 1, 1, fe),
])
def test_file_argument_is_tested_first(text_file, call):
    with pytest.raises(TypeError, match=r"^First argument must be a file object!$"):
        call(io.BytesIO(b"AQAAAA=="), None)
    with pytest.raises(TypeError, match=r"^First argument must be a file object!$"):
        call("path.txt", kelvara.ArrayFeeder())


@pytest.mark.parametrize("type_", ["d", "x"])
@pytest.mark.parametrize("feeder", [None, 5, kelvara.CompleteCornersBuilder(1, 1, 1),
                                    kelvara.Array3DBuilderDouble(1, 1, 1)])
def test_wrong_array_feeder_is_reported_before_the_type(text_file, feeder, type_):
    f = text_file(b"AQAAAA==", prefix=b"12")
    with pytest.raises(RuntimeError, match=r"^Unknown Array Feeder$"):
        mores.B64FeedArray(f, type_, 8, feeder)
    with pytest.raises(RuntimeError, match=r"^Unknown Array Feeder$"):
        mores.B64SliceFeedArray(f, type_, 8, 0, 1, feeder)
    assert f.tell() == 2


@pytest.mark.parametrize("feeder", [None, kelvara.ArrayFeeder(), kelvara.Array1DBuilderDouble()])
def test_wrong_corners_builder(text_file, feeder):
    f = text_file(b"AQAAAA==", prefix=b"12")
    with pytest.raises(RuntimeError, match=r"^Unknown Corners Array Feeder$"):
        mores.B64FeedCornersArray(f, 0, 8, 0, 1, 1, feeder)
    # Nothing was read and the seek to begin was not made.
    assert f.tell() == 2


def test_invalid_type_after_a_good_feeder(text_file):
    f = text_file(b"AQAAAA==", prefix=b"12")
    feeder = kelvara.ArrayFeeder()
    with pytest.raises(RuntimeError, match=r"^Invalid data type$"):
        mores.B64FeedArray(f, "f", 8, feeder)
    with pytest.raises(RuntimeError, match=r"^Invalid data type$"):
        mores.B64SliceFeedArray(f, "I", 8, 0, 1, feeder)
    assert len(feeder) == 0 and f.tell() == 2


def test_1d_builders_are_array_feeders(text_file):
    builder = kelvara.Array1DBuilderInt()
    assert mores.B64FeedArray(text_file(encode_items("i", [4, 5, 6])), "i", 100, builder)
    np.testing.assert_array_equal(builder.to_numpy(), [4, 5, 6])


def test_several_calls_fill_one_feeder(text_file):
    first = encode_items("d", [1.0, 2.0])
    second = encode_items("d", [3.0])
    f = text_file(first + b"\n" + second)
    feeder = kelvara.ArrayFeeder()
    mores.B64FeedArray(f, "d", len(first), feeder)
    f.seek(len(first) + 1)
    mores.B64FeedArray(f, "d", len(second), feeder)
    np.testing.assert_array_equal(feeder.to_numpy(), [1.0, 2.0, 3.0])


def test_bytes_type_code_and_scope_order():
    names = [n for n in vars(mores) if n.startswith("B64")]
    assert names == ["B64FeedArray", "B64SliceFeedArray", "B64FeedCornersArray"]
    assert not hasattr(mores, "B64FeedConnectionArray")


def test_type_code_accepts_bytes(text_file):
    feeder = kelvara.ArrayFeeder()
    assert mores.B64FeedArray(text_file(b"AQAAAA=="), b"i", 8, feeder)
    np.testing.assert_array_equal(feeder.to_numpy(), [1.0])


@pytest.mark.parametrize("stray", [b"\xe9", b"\xaa", b"\x80", b"-", b"_", b"."])
def test_bytes_outside_the_c_locale_alphabet_stop_the_data(text_file, stray):
    values = [1.0, 2.0, 3.0, 4.0, 5.0, 6.0]
    text = encode_items("d", values)
    f = text_file(text[:32] + stray + text[32:])
    np.testing.assert_array_equal(feed(f, "d", len(text) + 1), values[:3])


def test_host_position_beyond_the_end_of_the_file(text_file):
    f = text_file(b"AQAAAA==")
    f.seek(10 ** 12)
    assert feed(f, "i", 100).size == 0
    assert f.tell() == 10 ** 12


def test_write_only_file_is_refused(tmp_path):
    with open(tmp_path / "w.txt", "wb") as f:
        with pytest.raises(RuntimeError, match=r"^File object is not open for reading$"):
            mores.B64FeedArray(f, "d", 8, kelvara.ArrayFeeder())


def test_count_out_of_the_int_range_is_refused_like_a_wrong_type(text_file):
    with pytest.raises(TypeError):
        mores.B64FeedArray(text_file(b"AQAAAA=="), "i", 2 ** 31, kelvara.ArrayFeeder())

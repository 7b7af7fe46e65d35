"""The ECLIPSE section cursor: headers, byte orders, names, navigation and block walks."""

import pytest

import kelvara
from eclwriter import BIG, LITTLE, EclFile, frame, header, pack_items, section

Section = kelvara.eclipse.Section


def cursor(path, position=None):
    f = open(path, "rb")
    s = Section(f) if position is None else Section(f, position)
    return f, s


def values_of(feeder):
    return feeder.to_numpy().tolist()


# --- byte order --------------------------------------------------------------------------------


def test_little_endian_marker(write_ecl):
    data = section("LITTLE", "INTE", [1, -2, 3000], order=LITTLE)
    assert data[:4] == bytes.fromhex("10000000")
    f, s = cursor(write_ecl(data))
    with f:
        assert (s.Name(), s.Size(), s.Type()) == ("LITTLE", 3, "INTE")
        assert s.LoadItems() == [1, -2, 3000]
        assert not s.Advance()
        assert s.Position() == len(data)


def test_big_endian_marker_and_count(write_ecl):
    values = list(range(-500, 500))
    data = section("BIG", "INTE", values, order=BIG)
    assert data[:4] == bytes.fromhex("00000010")
    assert data[12:16] == bytes.fromhex("000003E8")
    f, s = cursor(write_ecl(data))
    with f:
        assert (s.Name(), s.Size(), s.SizeInBytes()) == ("BIG", 1000, 1000)
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        assert values_of(feeder) == [float(v) for v in values]
        assert not s.Advance()
        assert s.Position() == len(data)


def test_both_orders_give_the_same_values(write_ecl):
    values = [0.25, -1.5, 1048576.0]
    for order in (BIG, LITTLE):
        f, s = cursor(write_ecl(section("REALS", "REAL", values, order=order), name=order + ".bin"))
        with f:
            assert s.LoadItems() == values


def test_byte_order_changes_from_section_to_section(write_ecl):
    e = (EclFile()
         .add("FIRST", "INTE", [1, 2], order=BIG)
         .add("SECOND", "INTE", [3, 4, 5], order=LITTLE, block_items=2)
         .add("THIRD", "DOUB", [6.5], order=BIG)
         .add("FOURTH", "LOGI", [1, 0], order=LITTLE))
    f, s = cursor(write_ecl(e))
    with f:
        seen = []
        while True:
            seen.append((s.Name(), s.Size(), s.Position(), s.LoadItems()))
            if not s.Advance():
                break
    assert seen == [("FIRST", 2, e.positions[0], [1, 2]),
                    ("SECOND", 3, e.positions[1], [3, 4, 5]),
                    ("THIRD", 1, e.positions[2], [6.5]),
                    ("FOURTH", 2, e.positions[3], [1, 0])]


def test_any_other_marker_means_reversed_order(write_ecl):
    # The marker is not checked for validity: a word other than little-endian 16 reads as
    # byte-reversed.
    data = header("ODDMARK", 2, "INTE", BIG, marker=99) + frame(pack_items("INTE", [7, 8], BIG))
    f, s = cursor(write_ecl(data))
    with f:
        assert (s.Name(), s.Size()) == ("ODDMARK", 2)
        assert s.LoadItems() == [7, 8]


# --- names ---------------------------------------------------------------------------------------


@pytest.mark.parametrize("raw,expected", [
    (b"        ", ""),
    (b"  AB    ", "AB"),
    (b"AB      ", "AB"),
    (b"      AB", "AB"),
    (b"PRESSURE", "PRESSURE"),
    (b" A B    ", "A B"),
    (b"\tAB\t    ", "\tAB\t"),
    (b"  \tAB   ", "\tAB"),
    (b"A\x00B     ", "A\x00B"),
    (b"\x00\x00\x00\x00\x00\x00\x00\x00", "\x00" * 8),
    (b"AB\x00     ", "AB\x00"),
    (b"\xe9T\xe9     ", "\xe9T\xe9"),
    (b"\xff\x80\xa0     ", "\xff\x80\xa0"),
])
def test_name_trimming(write_ecl, raw, expected):
    data = EclFile().add(raw, "INTE", [1]).add("NEXT", "INTE", [2]).bytes()
    assert data[4:12] == raw
    f, s = cursor(write_ecl(data))
    with f:
        assert s.Name() == expected
        assert s.name == expected
        assert s.Data().name == expected
        assert s.Advance()
        assert s.Name() == "NEXT"
    with open(write_ecl(data, name="m.bin"), "rb") as f:
        sections = kelvara.eclipse.MapFileSections(f)
    assert sorted(sections) == sorted([expected, "NEXT"])
    assert sections[expected].name == expected


def test_name_property_equals_name(write_ecl):
    e = EclFile().add("ABC", "INTE", [1]).add("  DEF", "MESS")
    f, s = cursor(write_ecl(e))
    with f:
        assert s.name == s.Name() == "ABC"
        assert s.Advance()
        assert s.name == s.Name() == "DEF"
        with pytest.raises(AttributeError):
            s.name = "X"


def test_type_is_latin1_and_untrimmed(write_ecl):
    e = EclFile().add("T1", "C\xe9  ", ["ab"]).add("T2", " ABC", count=0)
    f, s = cursor(write_ecl(e))
    with f:
        assert s.Type() == "C\xe9  "
        assert s.Data().type == "C\xe9  "
        assert s.LoadItems() == ["ab"]
        assert s.Advance()


# --- sizes, types, data ---------------------------------------------------------------------------


def test_size_and_size_in_bytes_agree_on_doub(write_ecl):
    f, s = cursor(write_ecl(section("DOUBLES", "DOUB", [float(i) for i in range(10)])))
    with f:
        assert s.Size() == 10
        assert s.SizeInBytes() == 10


@pytest.mark.parametrize("type_,values", [("INTE", [1, 2, 3]), ("REAL", [1.0]), ("LOGI", [0, 1]),
                                          ("MESS", [])])
def test_size_in_bytes_is_the_item_count(write_ecl, type_, values):
    f, s = cursor(write_ecl(section("SOME", type_, values)))
    with f:
        assert s.Size() == s.SizeInBytes() == len(values)


def test_type_of_char_section(write_ecl):
    f, s = cursor(write_ecl(section("NAMES", "CHAR", ["AB", "CD", ""])))
    with f:
        assert s.Type() == "CHAR"
        assert s.Data().type == "CHAR"


def test_data_fields(write_ecl):
    e = EclFile().add("  FIRST ", "INTE", [1, 2]).add("SECOND", "REAL", [1.0, 2.0, 3.0],
                                                       order=LITTLE)
    f, s = cursor(write_ecl(e), e.positions[1])
    with f:
        d = s.Data()
        assert (d.position, d.name, d.type, d.size) == (e.positions[1], "SECOND", "REAL", 3)
        assert s.GoTo(0)
        d0 = s.Data()
        assert (d0.position, d0.name, d0.type, d0.size) == (0, "FIRST", "INTE", 2)
        # A record is a copy: moving the cursor does not change one taken before.
        assert (d.position, d.name) == (e.positions[1], "SECOND")


# --- navigation ------------------------------------------------------------------------------------


def test_mess_section_followed_by_another(write_ecl):
    e = EclFile().add("STARTSOL", "MESS").add("PRESSURE", "REAL", [1.0])
    f, s = cursor(write_ecl(e))
    with f:
        assert (s.Name(), s.Size(), s.Type()) == ("STARTSOL", 0, "MESS")
        assert s.Advance()
        assert s.Position() == 24
        assert s.Name() == "PRESSURE"


def test_mess_section_with_count_walks_no_blocks(write_ecl):
    # The item size of MESS is 0, so even a count leaves no blocks to walk.
    e = EclFile().add("STARTSOL", "MESS", count=5).add("PRESSURE", "REAL", [1.0])
    f, s = cursor(write_ecl(e))
    with f:
        assert s.Size() == 5
        assert s.Advance()
        assert (s.Position(), s.Name()) == (24, "PRESSURE")


def test_inte_section_with_count_zero(write_ecl):
    e = EclFile().add("EMPTY", "INTE", []).add("AFTER", "INTE", [4])
    f, s = cursor(write_ecl(e))
    with f:
        assert s.Size() == 0
        assert s.Advance()
        assert s.Position() == 24
        assert s.Name() == "AFTER"


def test_position_after_last_advance_is_file_length(write_ecl):
    e = EclFile().add("ONE", "INTE", [1]).add("TWO", "DOUB", [2.0, 3.0])
    f, s = cursor(write_ecl(e))
    with f:
        assert s.Advance()
        assert not s.Advance()
        assert s.Position() == e.size
        assert s.Name() == "TWO"
        assert s.Type() == "DOUB"
        assert s.Size() == 2


def test_section_minus_one_reads_at_present_position(write_ecl):
    e = EclFile().add("ONE", "INTE", [1]).add("TWO", "INTE", [2]).add("THREE", "INTE", [3])
    path = write_ecl(e)
    with open(path, "rb") as f:
        f.seek(e.positions[1])
        s = Section(f, -1)
        assert (s.Name(), s.Position()) == ("TWO", e.positions[1])
        f.seek(e.positions[2])
        s = Section(f, -12345)
        assert (s.Name(), s.Position()) == ("THREE", e.positions[2])


def test_goto_minus_one_raises(write_ecl):
    e = EclFile().add("ONE", "INTE", [1]).add("TWO", "INTE", [2])
    f, s = cursor(write_ecl(e), e.positions[1])
    with f:
        with pytest.raises(RuntimeError) as info:
            s.GoTo(-1)
        assert str(info.value) == "Invalid file position!"
        # The stored position stays until the next header read; the name is the old one.
        assert s.Position() == -1
        assert s.Name() == "TWO"
        assert s.GoTo(0)
        assert (s.Name(), s.Position()) == ("ONE", 0)


def test_goto_header_and_beyond_the_end(write_ecl):
    e = EclFile().add("ONE", "INTE", [1]).add("TWO", "REAL", [2.0]).add("THREE", "MESS")
    f, s = cursor(write_ecl(e))
    with f:
        assert s.GoTo(e.positions[2])
        assert (s.Name(), s.Position()) == ("THREE", e.positions[2])
        assert s.GoTo(e.positions[1])
        assert (s.Name(), s.Position(), s.Type()) == ("TWO", e.positions[1], "REAL")
        assert not s.GoTo(e.size + 1000)
        assert s.Position() == e.size + 1000
        assert s.Name() == "TWO"
        assert not s.GoTo(e.size)
        assert s.Position() == e.size
        # Less than a header's worth of bytes left is no header either.
        assert not s.GoTo(e.size - 10)


def test_section_beyond_the_end(write_ecl):
    e = EclFile().add("ONE", "INTE", [1])
    f, s = cursor(write_ecl(e), e.size + 50)
    with f:
        assert s.Name() == ""
        assert s.Position() == e.size + 50
        assert s.GoTo(0)
        assert s.Name() == "ONE"


def test_several_blocks_walk_to_the_same_next_header(write_ecl):
    values = list(range(10))
    split = EclFile().add("SPLIT", "INTE", values, blocks=[1, 4, 2, 3]).add("NEXT", "INTE", [99])
    whole = EclFile().add("SPLIT", "INTE", values).add("NEXT", "INTE", [99])
    for e, name in ((split, "split.bin"), (whole, "whole.bin")):
        f, s = cursor(write_ecl(e, name=name))
        with f:
            assert s.Advance()
            assert (s.Name(), s.Position()) == ("NEXT", e.positions[1])
            assert s.LoadItems() == [99]
            assert s.GoTo(0)
            assert s.LoadItems() == values
    # The split file is three blocks' framing (24 bytes) longer.
    assert split.positions[1] == whole.positions[1] + 24


def test_many_small_blocks(write_ecl):
    values = [float(i) for i in range(500)]
    e = EclFile().add("MANY", "DOUB", values, block_items=1).add("NEXT", "INTE", [1])
    f, s = cursor(write_ecl(e))
    with f:
        assert s.Advance()
        assert (s.Name(), s.Position()) == ("NEXT", e.positions[1])
        assert s.GoTo(0)
        assert s.LoadItems() == values


def test_advance_after_load_reads_next_header(write_ecl):
    e = (EclFile().add("A", "INTE", [1, 2, 3], blocks=[2, 1]).add("B", "REAL", [1.0])
         .add("C", "INTE", [5]))
    f, s = cursor(write_ecl(e))
    with f:
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        assert s.Advance()
        assert (s.Name(), s.Position()) == ("B", e.positions[1])
        assert s.LoadItems() == [1.0]
        assert s.Advance()
        assert (s.Name(), s.Position()) == ("C", e.positions[2])


# --- unknown types ------------------------------------------------------------------------------


@pytest.mark.parametrize("count", [1, 5, 1000, 2 ** 31 - 1])
def test_unknown_type_with_positive_count(write_ecl, capfd, count):
    e = EclFile().add("STRANGE", "XXXX", count=count).add("NEXT", "INTE", [1])
    f, s = cursor(write_ecl(e))
    with f:
        assert (s.Name(), s.Size(), s.Type()) == ("STRANGE", count, "XXXX")
        assert capfd.readouterr().err == "Unknown section type:XXXX\n"
        assert not s.Advance()
        total = (-count + 2 ** 31) % 2 ** 32 - 2 ** 31  # -1 * count in 32-bit arithmetic
        assert capfd.readouterr().err == "Error on JumpItems: 0 X %d\n" % total
        # The cursor stays on its header.
        assert (s.Name(), s.Position()) == ("STRANGE", 0)


def test_unknown_type_with_negative_count(write_ecl, capfd):
    # -1 * count is positive here; no block of the claimed size follows, so the walk still fails.
    e = EclFile().add("STRANGE", "XXXX", count=-3)
    f, s = cursor(write_ecl(e))
    with f:
        assert s.Size() == -3
        assert not s.Advance()
    assert capfd.readouterr().err == "Unknown section type:XXXX\nError on JumpItems: 0 X 3\n"


def test_unknown_type_with_count_zero(write_ecl, capfd):
    e = EclFile().add("STRANGE", "XXXX", count=0).add("NEXT", "INTE", [1, 2])
    f, s = cursor(write_ecl(e))
    with f:
        assert (s.Name(), s.Size()) == ("STRANGE", 0)
        assert s.Advance()
        assert (s.Name(), s.Position()) == ("NEXT", 24)
        assert s.LoadItems() == [1, 2]
    assert capfd.readouterr().err == "Unknown section type:XXXX\n"


@pytest.mark.parametrize("type_", ["ABCD", "xINT", "1234", "    ", "\x00\x00\x00\x00"])
def test_unknown_type_complaint_has_the_four_characters(write_ecl, capfd, type_):
    e = EclFile().add("STRANGE", type_, count=0)
    f, s = cursor(write_ecl(e))
    with f:
        assert s.Type() == type_
    assert capfd.readouterr().err == "Unknown section type:" + type_ + "\n"


def test_known_types_do_not_complain(write_ecl, capfd):
    e = (EclFile().add("C", "CHAR", ["x"]).add("D", "DOUB", [1.0]).add("I", "INTE", [1])
         .add("L", "LOGI", [1]).add("R", "REAL", [1.0]).add("M", "MESS"))
    f, s = cursor(write_ecl(e))
    with f:
        n = 1
        while s.Advance():
            n += 1
        assert n == 6
    assert capfd.readouterr().err == ""


def test_map_file_sections_stops_at_unknown_type(write_ecl, capfd):
    e = (EclFile().add("FIRST", "INTE", [1]).add("STRANGE", "XXXX", count=2)
         .add("LAST", "INTE", [3]))
    with open(write_ecl(e), "rb") as f:
        sections = kelvara.eclipse.MapFileSections(f)
    assert sorted(sections) == ["FIRST", "STRANGE"]
    assert sections["STRANGE"].position == e.positions[1]
    assert sections["STRANGE"].size == 2
    assert capfd.readouterr().err == "Unknown section type:XXXX\nError on JumpItems: 0 X -2\n"


# --- walk failures -------------------------------------------------------------------------------


def test_block_overshooting_the_section_fails_the_walk(write_ecl, capfd):
    # Count 3, but the one block carries 4 items.
    data = (header("OVER", 3, "INTE") + frame(pack_items("INTE", [1, 2, 3, 4]))
            + section("NEXT", "INTE", [1]))
    f, s = cursor(write_ecl(data))
    with f:
        assert not s.Advance()
        assert s.Name() == "OVER"
    assert capfd.readouterr().err == "Error on JumpItems: 16 X 12\n"


def test_trailing_length_is_never_compared(write_ecl, capfd):
    data = (header("ODDTAIL", 2, "INTE") + frame(pack_items("INTE", [1, 2]), trailing=12345)
            + section("NEXT", "INTE", [7]))
    f, s = cursor(write_ecl(data))
    with f:
        assert s.LoadItems() == [1, 2]
        assert s.GoTo(0)
        assert s.Advance()
        assert s.Name() == "NEXT"
    assert capfd.readouterr().err == ""


def test_advance_after_exhaustion_stays_false(write_ecl):
    e = EclFile().add("ONE", "MESS").add("TWO", "INTE", [])
    f, s = cursor(write_ecl(e))
    with f:
        assert s.Advance()
        assert not s.Advance()
        assert not s.Advance()
        assert s.Name() == "TWO"

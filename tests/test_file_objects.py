"""Host file objects: which ones are read, where readers start, and whose position moves.

Cursors read the file at a position of their own and never move the host object; the static
walks leave the host object where their walk ended. Positions are 64-bit.
"""

import os
import struct

import pytest

import kelvara
from eclwriter import BIG, LITTLE, EclFile, header, section

Section = kelvara.eclipse.Section
MapFileSections = kelvara.eclipse.MapFileSections

GiB = 2 ** 30


def values_of(feeder):
    return feeder.to_numpy().tolist()


@pytest.fixture
def six(write_ecl):
    """Six sections of distinct names and kinds, in both byte orders."""
    e = (EclFile()
         .add("SEQNUM", "INTE", [1])
         .add("INTEHEAD", "INTE", list(range(10)), blocks=[3, 7])
         .add("LOGIHEAD", "LOGI", [1, 0, 1], order=LITTLE)
         .add("DOUBHEAD", "DOUB", [0.5, 1.5, 2.5, 3.5], block_items=3)
         .add("STARTSOL", "MESS")
         .add("PRESSURE", "REAL", [100.0, 200.0, 300.0], order=LITTLE))
    return write_ecl(e), e


NAMES = ["SEQNUM", "INTEHEAD", "LOGIHEAD", "DOUBHEAD", "STARTSOL", "PRESSURE"]


# --- which file objects are read -----------------------------------------------------------------


@pytest.mark.parametrize("mode,buffering", [("rb", -1), ("rb", 0), ("r+b", -1), ("r+b", 0)])
def test_open_modes_are_read(six, mode, buffering):
    path, e = six
    with open(path, mode, buffering=buffering) as f:
        s = Section(f)
        names = [s.Name()]
        while s.Advance():
            names.append(s.Name())
        assert names == NAMES
        assert sorted(MapFileSections(f)) == sorted(NAMES)
        feeder = kelvara.ArrayFeeder()
        Section(f, e.positions[3]).LoadToFeeder(feeder)
        assert values_of(feeder) == [0.5, 1.5, 2.5, 3.5]


@pytest.mark.parametrize("mode", ["wb", "ab"])
def test_write_only_file_is_refused(tmp_path, mode):
    path = tmp_path / "w.bin"
    path.write_bytes(EclFile().add("SEQNUM", "INTE", [1]).bytes())
    with open(path, mode) as f:
        for call in (lambda: Section(f), lambda: Section(f, 0), lambda: MapFileSections(f),
                     lambda: kelvara.eclipse.ReadGridCornersSections(
                         f, 1, 0, kelvara.ArrayFeeder())):
            with pytest.raises(RuntimeError) as info:
                call()
            assert str(info.value) == "File object is not open for reading"


def test_bytes_written_through_the_host_are_read(six):
    # A section appended through a read-write host object, still in the host's buffer.
    path, e = six
    extra = section("APPENDED", "INTE", [5, 6])
    with open(path, "r+b") as f:
        f.seek(0, os.SEEK_END)
        f.write(extra)
        sections = MapFileSections(f)
        assert sections["APPENDED"].position == e.size
        feeder = kelvara.ArrayFeeder()
        Section(f, e.size).LoadToFeeder(feeder)
        assert values_of(feeder) == [5.0, 6.0]


# --- where a cursor starts ----------------------------------------------------------------------


@pytest.mark.parametrize("buffering", [-1, 0])
def test_section_starts_at_host_tell(six, buffering):
    path, e = six
    with open(path, "rb", buffering=buffering) as f:
        for i, pos in enumerate(e.positions):
            f.seek(pos)
            s = Section(f)
            assert (s.Name(), s.Position()) == (NAMES[i], pos)
            f.seek(pos)
            s = Section(f, -1)
            assert (s.Name(), s.Position()) == (NAMES[i], pos)


def test_section_starts_at_logical_position_of_buffered_host(six):
    # The buffered host has read ahead to the end of this small file; its tell() is what counts.
    path, e = six
    with open(path, "rb") as f:
        f.read(e.positions[2])
        s = Section(f)
        assert (s.Name(), s.Position()) == ("LOGIHEAD", e.positions[2])


# --- cursors never move the host nor each other ------------------------------------------------


@pytest.mark.parametrize("buffering", [-1, 0])
def test_cursor_operations_leave_host_position(six, buffering):
    path, e = six
    with open(path, "rb", buffering=buffering) as f:
        f.seek(7)
        s = Section(f, e.positions[1])
        assert f.tell() == 7
        assert s.LoadItems() == list(range(10))
        assert f.tell() == 7
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        assert values_of(feeder) == [float(v) for v in range(10)]
        assert f.tell() == 7
        s.LoadToFeeder(feeder, 1, 3, 1)
        assert f.tell() == 7
        s.LoadToFeeder(kelvara.CharVector([1] * 10), 1, feeder)
        assert f.tell() == 7
        assert s.LoadItems(2, 3) == [2, 3, 4]
        assert f.tell() == 7
        assert s.GoTo(e.positions[3])
        assert s.Advance()
        assert s.Name() == "STARTSOL"
        assert f.tell() == 7
        while s.Advance():
            pass
        assert f.tell() == 7
        s.Data()
        s.Type()
        assert f.tell() == 7


def test_host_reads_do_not_disturb_a_cursor(six):
    path, e = six
    with open(path, "rb") as f:
        s = Section(f)
        f.seek(e.positions[4])
        f.read(10)
        assert s.Advance()
        assert (s.Name(), s.Position()) == ("INTEHEAD", e.positions[1])
        f.seek(0)
        assert s.Advance()
        assert (s.Name(), s.Position()) == ("LOGIHEAD", e.positions[2])


def test_two_cursors_advanced_alternately(six):
    path, e = six
    with open(path, "rb") as f:
        a = Section(f)
        b = Section(f, e.positions[2])
        seen_a, seen_b = [a.Name()], [b.Name()]
        for _ in range(3):
            assert a.Advance()
            seen_a.append(a.Name())
            assert b.Advance()
            seen_b.append(b.Name())
        assert seen_a == NAMES[:4]
        assert seen_b == NAMES[2:]
        assert b.Position() == e.positions[5]
        # Loads on one cursor do not move the other.
        assert a.LoadItems() == [0.5, 1.5, 2.5, 3.5]
        assert b.LoadItems() == [100.0, 200.0, 300.0]
        assert a.Advance() and a.Name() == "STARTSOL"
        assert not b.Advance()
        assert b.Position() == e.size
        assert a.Advance() and a.Name() == "PRESSURE"


def test_map_file_sections_does_not_disturb_a_cursor(six):
    path, e = six
    with open(path, "rb") as f:
        s = Section(f, e.positions[1])
        MapFileSections(f)
        assert s.Advance()
        assert s.Name() == "LOGIHEAD"


# --- static walks leave the host where they ended ----------------------------------------------


@pytest.mark.parametrize("start", [0, 5, "end"])
def test_map_file_sections_leaves_host_at_end_of_good_file(six, start):
    path, e = six
    with open(path, "rb") as f:
        f.seek(0, os.SEEK_END) if start == "end" else f.seek(start)
        sections = MapFileSections(f)
        assert f.tell() == e.size
    assert {k: v.position for k, v in sections.items()} == dict(zip(NAMES, e.positions))


def test_map_file_sections_leaves_host_where_walk_stopped(write_ecl, capfd):
    e = (EclFile().add("SEQNUM", "INTE", [1]).add("ODD", "XXXX", count=3)
         .add("PRESSURE", "REAL", [1.0]))
    path = write_ecl(e)
    with open(path, "rb") as f:
        sections = MapFileSections(f)
        # The walk stops right behind the header of the section it cannot pass.
        assert f.tell() == e.positions[1] + 24
    assert sorted(sections) == ["ODD", "SEQNUM"]
    assert capfd.readouterr().err == "Unknown section type:XXXX\nError on JumpItems: 0 X -3\n"


def test_map_file_sections_on_empty_file(write_ecl):
    path = write_ecl(b"")
    with open(path, "rb") as f:
        sections = MapFileSections(f)
        assert f.tell() == 0
    assert list(sections) == [""]
    assert sections[""].position == 0


@pytest.fixture
def grid(write_ecl):
    """A plain grid file: COORDS (5 INTE, item 4 the activity) and CORNERS (24 REAL) per cell."""
    e = EclFile().add("DIMENS", "INTE", [3, 1, 1])
    for cell in range(3):
        e.add("COORDS", "INTE", [cell + 1, 1, 1, cell + 1, cell % 2])
        e.add("CORNERS", "REAL", [float(100 * cell + k) for k in range(24)], block_items=10)
    e.add("ENDGRID", "INTE", [0])
    return write_ecl(e), e


def corners_of(cells):
    return [float(100 * c + k) for c in cells for k in range(24)]


def test_corners_reader_leaves_host_after_last_match(grid):
    path, e = grid
    with open(path, "rb") as f:
        feeder = kelvara.ArrayFeeder()
        kelvara.eclipse.ReadGridCornersSections(f, 3, 0, feeder)
        assert f.tell() == e.positions[7]  # the ENDGRID header
    assert values_of(feeder) == corners_of(range(3))


def test_corners_reader_leaves_host_at_end_when_count_is_short(grid):
    path, e = grid
    with open(path, "rb") as f:
        feeder = kelvara.ArrayFeeder()
        with pytest.raises(RuntimeError) as info:
            kelvara.eclipse.ReadGridCornersSections(f, 4, 0, feeder)
        assert str(info.value) == "Number of section error"
        assert f.tell() == e.size
    assert values_of(feeder) == corners_of(range(3))


def test_actnum_reader_leaves_host_after_last_match(grid):
    path, e = grid
    with open(path, "rb") as f:
        feeder = kelvara.ArrayFeeder()
        kelvara.eclipse.ReadGridActnumSections(f, 2, e.positions[1], feeder)
        assert f.tell() == e.positions[4]  # the CORNERS header behind the second COORDS
    assert values_of(feeder) == [0.0, 1.0]


def test_actnum_reader_starts_at_host_position_for_negative_position(grid):
    path, e = grid
    with open(path, "rb") as f:
        f.seek(e.positions[3])
        feeder = kelvara.ArrayFeeder()
        kelvara.eclipse.ReadGridActnumSections(f, 2, -1, feeder)
        assert f.tell() == e.positions[6]
    assert values_of(feeder) == [1.0, 0.0]


def test_grid_reader_leaves_host_where_failed_walk_stopped(write_ecl, capfd):
    e = (EclFile().add("COORDS", "INTE", [1, 1, 1, 1, 1])
         .add("ODD", "XXXX", count=2)
         .add("COORDS", "INTE", [2, 1, 1, 2, 1]))
    path = write_ecl(e)
    with open(path, "rb") as f:
        feeder = kelvara.ArrayFeeder()
        with pytest.raises(RuntimeError) as info:
            kelvara.eclipse.ReadGridActnumSections(f, 2, 0, feeder)
        assert str(info.value) == "Number of section error"
        assert f.tell() == e.positions[1] + 24
    assert values_of(feeder) == [1.0]
    assert capfd.readouterr().err == "Unknown section type:XXXX\nError on JumpItems: 0 X -2\n"


def test_hostnum_reader_leaves_host_on_refused_coords(grid):
    path, e = grid
    with open(path, "rb") as f:
        feeder = kelvara.ArrayFeeder()
        with pytest.raises(RuntimeError) as info:
            kelvara.eclipse.ReadGridHostnumSections(f, 3, 0, feeder)
        assert str(info.value) == "The file COORDS sequence has no Hostnum data!"
        # The first COORDS header was read; the stream stands at its data.
        assert f.tell() == e.positions[1] + 24
    assert len(feeder) == 0


# --- closed hosts and many cursors --------------------------------------------------------------


def test_cursor_goes_on_reading_after_host_is_closed(six):
    path, e = six
    f = open(path, "rb")
    s = Section(f, e.positions[1])
    f.close()
    assert s.LoadItems() == list(range(10))
    assert s.Advance()
    assert s.Name() == "LOGIHEAD"
    feeder = kelvara.ArrayFeeder()
    s.LoadToFeeder(feeder)
    assert values_of(feeder) == [1.0, 0.0, 1.0]
    assert s.GoTo(e.positions[5])
    assert s.LoadItems() == [100.0, 200.0, 300.0]
    assert not s.Advance()
    assert s.Position() == e.size


def test_cursor_of_closed_host_does_not_read_another_file(six, tmp_path):
    # After the host closes, its descriptor number is free for the next open; and the path may
    # name another file. The cursor still reads the file it was made on.
    path, e = six
    f = open(path, "rb", buffering=0)
    s = Section(f)
    f.close()
    other = tmp_path / "other.bin"
    other.write_bytes(EclFile().add("OTHER", "INTE", [9, 9]).bytes())
    os.remove(path)
    path.write_bytes(EclFile().add("REPLACED", "INTE", [8]).bytes())
    with open(other, "rb", buffering=0) as g, open(path, "rb", buffering=0) as h:
        assert Section(g).Name() == "OTHER"
        assert Section(h).Name() == "REPLACED"
        assert s.Advance()
        assert s.Name() == "INTEHEAD"
        assert s.LoadItems() == list(range(10))
        assert s.GoTo(0) and s.Name() == "SEQNUM"


def open_descriptors():
    return len(os.listdir("/proc/self/fd"))


@pytest.mark.skipif(not os.path.isdir("/proc/self/fd"), reason="needs /proc/self/fd")
def test_thousands_of_cursors_do_not_each_hold_a_descriptor(six):
    path, e = six
    with open(path, "rb") as f:
        before = open_descriptors()
        cursors = [Section(f, e.positions[i % 6]) for i in range(3000)]
        after = open_descriptors()
        assert after - before < 10
        assert f.tell() == 0
        for i, s in enumerate(cursors):
            assert s.Name() == NAMES[i % 6]
        # Each advances on its own.
        for i, s in enumerate(cursors):
            assert s.Advance() == (i % 6 != 5)
        for i, s in enumerate(cursors):
            if i % 6 != 5:
                assert s.Name() == NAMES[i % 6 + 1]
                assert s.Position() == e.positions[i % 6 + 1]
        assert open_descriptors() - before < 10
        first = cursors[0]
        assert first.LoadItems() == list(range(10))


# --- 64-bit positions --------------------------------------------------------------------------


def _filler(f, pos, span, name, order=BIG):
    """One INTE section of a single block spanning exactly span bytes from pos; its data stays
    a hole of the sparse file."""
    length = span - 32
    assert length > 0 and length % 4 == 0 and length < 2 ** 31
    f.seek(pos)
    f.write(header(name, length // 4, "INTE", order) + struct.pack(order + "i", length))
    f.seek(pos + 28 + length)
    f.write(struct.pack(order + "i", length))
    return pos + span


SPAN_VALUES = [1.25, -2.5, 3.75, 1e300]
TARGET_VALUES = [11, -22, 33]


@pytest.fixture(scope="module")
def huge(tmp_path_factory):
    """A sparse file of just over 5 GiB: three fillers up to a small DOUB section whose data
    crosses the 4 GiB boundary, a filler of almost 1 GiB, and TARGET at exactly 5 GiB."""
    path = tmp_path_factory.mktemp("huge") / "huge.bin"
    span_pos = 4 * GiB - 40  # data from 4 GiB - 12 to 4 GiB + 20
    third = span_pos // 3 // 4 * 4
    positions = {}
    with open(path, "wb") as f:
        pos = 0
        for i, span in enumerate([third, third, span_pos - 2 * third]):
            positions["FILL%d" % (i + 1)] = pos
            pos = _filler(f, pos, span, "FILL%d" % (i + 1), BIG if i % 2 else LITTLE)
        assert pos == span_pos
        positions["SPAN"] = pos
        f.seek(pos)
        data = section("SPAN", "DOUB", SPAN_VALUES, order=LITTLE)
        f.write(data)
        pos += len(data)
        positions["FILL4"] = pos
        pos = _filler(f, pos, 5 * GiB - pos, "FILL4")
        assert pos == 5 * GiB
        positions["TARGET"] = pos
        f.write(section("TARGET", "INTE", TARGET_VALUES))
        size = f.tell()
    yield path, positions, size
    path.unlink()


def test_section_at_5_gib(huge):
    path, positions, size = huge
    with open(path, "rb") as f:
        s = Section(f, 5 * GiB)
        assert (s.Name(), s.Position(), s.Size(), s.Type()) == ("TARGET", 5 * GiB, 3, "INTE")
        assert s.Data().position == 5 * GiB
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        assert values_of(feeder) == [float(v) for v in TARGET_VALUES]
        assert s.LoadItems() == TARGET_VALUES
        assert not s.Advance()
        assert s.Position() == size
        assert f.tell() == 0


def test_goto_5_gib(huge):
    path, positions, size = huge
    with open(path, "rb") as f:
        s = Section(f)
        assert s.Name() == "FILL1"
        assert s.GoTo(5 * GiB)
        assert (s.Name(), s.Position()) == ("TARGET", 5 * GiB)
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        assert values_of(feeder) == [float(v) for v in TARGET_VALUES]
        assert not s.GoTo(size)
        assert s.Position() == size
        assert not s.GoTo(6 * GiB)


def test_section_from_host_at_5_gib(huge):
    path, positions, size = huge
    with open(path, "rb") as f:
        f.seek(5 * GiB)
        s = Section(f)
        assert (s.Name(), s.Position()) == ("TARGET", 5 * GiB)
        assert f.tell() == 5 * GiB


def test_map_file_sections_beyond_4_gib(huge):
    path, positions, size = huge
    with open(path, "rb") as f:
        sections = MapFileSections(f)
        assert f.tell() == size
    assert {k: v.position for k, v in sections.items()} == positions
    assert sections["TARGET"].position == 5 * GiB
    assert sections["FILL4"].size == (5 * GiB - positions["FILL4"] - 32) // 4


def test_walk_across_4_gib(huge):
    path, positions, size = huge
    with open(path, "rb") as f:
        s = Section(f)
        walked = [(s.Name(), s.Position())]
        while s.Advance():
            walked.append((s.Name(), s.Position()))
    assert walked == sorted(positions.items(), key=lambda kv: kv[1])


def test_data_across_4_gib(huge):
    path, positions, size = huge
    with open(path, "rb") as f:
        s = Section(f, positions["SPAN"])
        assert s.Name() == "SPAN"
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        assert values_of(feeder) == SPAN_VALUES
        assert s.LoadItems() == SPAN_VALUES
        # The item that straddles the boundary, alone.
        assert s.LoadItems(1, 1) == [-2.5]
        part = kelvara.ArrayFeeder()
        s.LoadToFeeder(part, 1, 2, 1)
        assert values_of(part) == [-2.5, 3.75]
        assert s.GoTo(positions["SPAN"])
        assert s.Advance()
        assert (s.Name(), s.Position()) == ("FILL4", positions["FILL4"])


def test_grid_reader_from_5_gib(huge):
    path, positions, size = huge
    with open(path, "rb") as f:
        feeder = kelvara.ArrayFeeder()
        with pytest.raises(RuntimeError) as info:
            kelvara.eclipse.ReadGridCornersSections(f, 1, 5 * GiB, feeder)
        assert str(info.value) == "Number of section error"
        assert f.tell() == size
        assert len(feeder) == 0

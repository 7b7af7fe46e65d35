"""kelvara.open reads headers only: each section's end comes from the arithmetic of the standard
blocks, checked by the first and last block lengths and the next header; sections whose guess
fails are walked frame by frame. Broken frames are still a FormatError, at open where the guess
fails, else at the read of that section; nothing is ever read wrongly."""

from __future__ import annotations

import struct

import numpy as np
import pytest

import kelvara
from eclwriter import BIG, LITTLE, EclFile, header, standard_block_items, write_sparse_section
from kelvara._kelvaraio import _typed


def standard(order=BIG):
    """A restart-like file of standard blocks: small and large sections, text over blocks."""
    content = EclFile()
    content.add("SEQNUM", "INTE", [1], order=order)
    content.add("INTEHEAD", "INTE", list(range(411)), order=order, block_items=1000)
    content.add("NAMES", "CHAR", [f"N{i}" for i in range(230)], order=order, block_items=105)
    content.add("WIDE", "C012", [f"long nm {i}" for i in range(106)], order=order,
                block_items=105)
    content.add("STARTSOL", "MESS", order=order)
    content.add("PRESSURE", "REAL", [float(i) for i in range(2500)], order=order,
                block_items=1000)
    content.add("SWAT", "DOUB", [i / 8 for i in range(3000)], order=order, block_items=1000)
    content.add("FLAGS", "LOGI", [i % 3 for i in range(1001)], order=order, block_items=1000)
    return content


def scan(path):
    """The native scan of kelvara.open: (scanner, catalogue positions)."""
    with open(path, "rb") as f:
        scanner = _typed.Scanner(_typed.Source(f))
        while not scanner.step(1 << 30):
            pass
    return scanner


@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_standard_blocks_are_taken_by_their_guess(write_ecl, order):
    content = standard(order)
    path = write_ecl(content)
    scanner = scan(path)
    assert scanner.problem is None
    assert (scanner.guessed, scanner.walked) == (7, 0)  # every section with items
    with kelvara.open(path) as f:
        assert [k.position for k in f] == content.positions
        assert f.read("PRESSURE").tolist() == [float(i) for i in range(2500)]
        assert f.read("SWAT").tolist() == [i / 8 for i in range(3000)]
        assert f.read("NAMES").tolist() == [f"N{i}" for i in range(230)]
        assert f.read("WIDE")[-1] == "long nm 105"
        assert f.read("FLAGS").tolist() == [i % 3 != 0 for i in range(1001)]


@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_frame_broken_inside_a_section_whose_guess_holds(write_ecl, order):
    content = standard(order)
    raw = bytearray(content.bytes())
    pressure = content.positions[5]
    # The trailing length of PRESSURE's first block: the first leading length, the last trailing
    # length and the next header are all as the guess wants them.
    at = pressure + 24 + 4 + 4000
    raw[at:at + 4] = struct.pack(order + "i", 3996)
    path = write_ecl(bytes(raw))
    assert scan(path).walked == 0
    with kelvara.open(path) as f:
        assert len(f) == 8
        with pytest.raises(kelvara.FormatError,
                           match="trailing length differs from its leading length") as info:
            f.read("PRESSURE")
        assert info.value.section == "PRESSURE" and info.value.section_position == pressure
        assert info.value.position == at
        # The sections around it still read.
        assert f.read("SWAT").tolist() == [i / 8 for i in range(3000)]
        assert f.read("INTEHEAD").tolist() == list(range(411))


@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_middle_block_length_broken_inside_a_guessed_section(write_ecl, order):
    content = standard(order)
    raw = bytearray(content.bytes())
    swat = content.positions[6]
    at = swat + 24 + 8008  # the second block's leading length: half an item
    raw[at:at + 4] = struct.pack(order + "i", 8004)
    path = write_ecl(bytes(raw))
    with kelvara.open(path) as f:
        with pytest.raises(kelvara.FormatError, match="no whole number of items") as info:
            f.read("SWAT")
        assert info.value.section == "SWAT" and info.value.position == at
        assert f.read("PRESSURE")[-1] == 2499.0


@pytest.mark.parametrize("order", [BIG, LITTLE])
@pytest.mark.parametrize("block_items", [1, 7, 999, 1001, 5000])
def test_non_standard_block_sizes_open_by_the_walk(write_ecl, order, block_items):
    values = [float(i) for i in range(3000)]
    content = EclFile().add("A", "REAL", values, order=order, block_items=block_items)
    content.add("B", "INTE", [5, 6], order=order)
    content.add("C", "CHAR", ["X"] * 300, order=order, block_items=block_items)
    path = write_ecl(content)
    scanner = scan(path)
    assert scanner.problem is None and scanner.walked >= 2
    with kelvara.open(path) as f:
        assert [(k.name, k.count, k.position) for k in f] == [
            ("A", 3000, content.positions[0]), ("B", 2, content.positions[1]),
            ("C", 300, content.positions[2])]
        assert f.read("A").tolist() == values
        assert f.read("B").tolist() == [5, 6]
        assert f.read("C").tolist() == ["X"] * 300


@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_other_split_with_the_standard_end_reads_its_own_frames(write_ecl, order):
    # 4000 items as 1000, 1200, 800, 1000: the end, the first and the last block are those of
    # standard blocks, so the guess holds; the read follows the frames that are there.
    values = list(range(4000))
    content = EclFile().add("A", "INTE", values, order=order, blocks=[1000, 1200, 800, 1000])
    content.add("B", "INTE", [1], order=order)
    path = write_ecl(content)
    assert scan(path).guessed == 2
    with kelvara.open(path) as f:
        assert f.read("A").tolist() == values
        assert f.read("B").tolist() == [1]


@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_a_guess_that_lands_on_a_false_header_is_walked_again(write_ecl, order):
    # 2000 items as 1000, 500, 500: the standard end lies 8 bytes short of the real one, on
    # items 1999 (16, a header's leading word) and 1998 (4000, the last trailing length the guess
    # wants). The false header behind it makes the section walked, and all is found right.
    values = list(range(2000))
    values[1998], values[1999] = 4000, 16
    content = EclFile().add("A", "INTE", values, order=order, blocks=[1000, 500, 500])
    content.add("B", "INTE", [7, 8], order=order)
    path = write_ecl(content)
    scanner = scan(path)
    assert scanner.problem is None and (scanner.guessed, scanner.walked) == (1, 1)
    with kelvara.open(path) as f:
        assert [(k.name, k.position) for k in f] == [("A", 0), ("B", content.positions[1])]
        assert f.read("A").tolist() == values
        assert f.read("B").tolist() == [7, 8]


@pytest.mark.parametrize("order", [BIG, LITTLE])
@pytest.mark.parametrize("cut", [1, 4, 5, 4004, 4008, 4012, 4020])
def test_cut_last_section_fails_at_open(write_ecl, order, cut):
    content = standard(order)
    data = content.bytes()
    flags = content.positions[7]
    end = flags + 24 + 1001 * 4 + 16
    assert end == len(data)
    path = write_ecl(data[:end - cut])
    with pytest.raises(kelvara.FormatError, match="section") as info:
        kelvara.open(path)
    assert info.value.section == "FLAGS" and info.value.section_position == flags


def test_cut_at_a_section_end_opens_what_is_whole(write_ecl):
    content = standard()
    path = write_ecl(content.bytes()[:content.positions[7]])
    with kelvara.open(path) as f:
        assert f.names[-1] == "SWAT" and len(f) == 7


def test_progress_follows_the_headers_over_a_large_sparse_file(tmp_path):
    # Three sections of 20 million items (80 MB each) in a sparse file: the scan passes 64 MiB
    # or more a step, so progress is told several times, in order, up to the file's size.
    path = tmp_path / "big.bin"
    with open(path, "wb") as f:
        for name in ("P1", "P2", "P3"):
            write_sparse_section(f, name, "REAL", 20_000_000)
    size = path.stat().st_size
    seen = []
    with kelvara.open(path, progress=lambda done, total: seen.append((done, total))) as f:
        assert [k.count for k in f] == [20_000_000] * 3
    assert len(seen) >= 3 and seen[-1] == (size, size)
    assert all(total == size for _, total in seen)
    assert [d for d, _ in seen] == sorted(d for d, _ in seen) and seen[0][0] < size


# --------------------------------------------------------------------------------------------
# Arrays of more than 2^31 - 1 items: an X231 header, then the header of the same name


BIG_COUNT = (1 << 31) + 3


@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_x231_array_is_one_keyword_with_the_whole_count(tmp_path, order):
    path = tmp_path / "x231.bin"
    with open(path, "wb") as f:
        f.write(header("SEQNUM", 1, "INTE", order) + struct.pack(order + "3i", 4, 1, 4))
        # Blocks of 2^28 items keep the frames few; the walk finds them.
        big = write_sparse_section(f, "HUGE", "LOGI", BIG_COUNT, order, block_items=1 << 28)
        after = f.tell()
        f.write(header("AFTER", 1, "INTE", order) + struct.pack(order + "3i", 4, 9, 4))
    with kelvara.open(path) as f:
        assert [(k.name, k.type, k.count, k.position) for k in f] == [
            ("SEQNUM", "INTE", 1, 0), ("HUGE", "LOGI", BIG_COUNT, big),
            ("AFTER", "INTE", 1, after)]
        assert f.count("HUGE") == 1
        assert f.read("AFTER").tolist() == [9]


def test_x231_array_reads_into_one_array(tmp_path):
    path = tmp_path / "x231.bin"
    marks = {0: 1, 5: 1, (1 << 28) + 1: 1, (1 << 31) - 1: 1, BIG_COUNT - 1: 1}
    with open(path, "wb") as f:
        write_sparse_section(f, "HUGE", "LOGI", BIG_COUNT, BIG, block_items=1 << 28, items=marks)
    with kelvara.open(path) as f:
        values = f.read("HUGE")
    assert values.dtype == np.bool_ and values.shape == (BIG_COUNT,)
    assert np.flatnonzero(values).tolist() == sorted(marks)


def test_lone_x231_header(write_ecl):
    data = header("INTEHEAD", 1, "INTE") + struct.pack(">3i", 4, 1, 4) + header("HUGE", -1, "X231")
    with pytest.raises(kelvara.FormatError, match="X231 header that no header of the same name "
                                                  "follows") as info:
        kelvara.open(write_ecl(data))
    assert info.value.section == "HUGE" and info.value.section_position == 36
    assert info.value.position == 60


def test_x231_followed_by_another_name(write_ecl):
    data = header("HUGE", -1, "X231") + header("OTHER", 4, "INTE") + struct.pack(">6i", 16, 1, 2,
                                                                                   3, 4, 16)
    with pytest.raises(kelvara.FormatError, match="no header of the same name follows") as info:
        kelvara.open(write_ecl(data))
    assert info.value.section == "HUGE" and info.value.position == 24


def test_x231_followed_by_x231(write_ecl):
    data = header("HUGE", -1, "X231") + header("HUGE", -1, "X231")
    with pytest.raises(kelvara.FormatError, match="no header of the same name follows"):
        kelvara.open(write_ecl(data))


def test_x231_without_a_negative_count(write_ecl):
    data = header("HUGE", 3, "X231") + header("HUGE", 3, "INTE")
    with pytest.raises(kelvara.FormatError, match="X231 header without a negative count") as info:
        kelvara.open(write_ecl(data))
    assert info.value.position == 12


def test_x231_whose_count_the_file_cannot_hold(write_ecl):
    data = header("HUGE", -1, "X231") + header("HUGE", 3, "INTE") + struct.pack(">5i", 12, 1, 2,
                                                                                3, 12)
    with pytest.raises(kelvara.FormatError, match="cannot hold") as info:
        kelvara.open(write_ecl(data))
    assert info.value.section == "HUGE" and info.value.position == 36


def test_standard_block_items():
    assert standard_block_items("CHAR") == standard_block_items("C042") == 105
    assert standard_block_items("REAL") == 1000

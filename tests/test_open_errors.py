"""kelvara.open on what is not a good ECLIPSE file: FormatError naming the file, the section and
the byte; what Python raises for bad paths and file objects; nothing on standard error."""

from __future__ import annotations

import io
import os
import struct

import numpy as np
import pytest

import kelvara
from eclwriter import BIG, LITTLE, EclFile, frame, header


def good():
    return EclFile().add("INTEHEAD", "INTE", [1, 2, 3]).add("PRESSURE", "DOUB", [1.0, 2.0, 3.0],
                                                              blocks=[2, 1])


@pytest.fixture(autouse=True)
def nothing_on_stderr(capfd):
    """No test here may leave a word on standard error, at the level of the descriptor."""
    yield
    assert capfd.readouterr().err == ""


def format_error(path, match=None):
    with pytest.raises(kelvara.FormatError, match=match) as info:
        kelvara.open(path)
    error = info.value
    assert isinstance(error, ValueError)
    assert error.path == str(path) and str(path) in str(error)
    return error


def test_empty_file(write_ecl):
    error = format_error(write_ecl(b""), "empty")
    assert error.position == 0 and error.section is None


def test_text_file(write_ecl):
    error = format_error(write_ecl(b"RUNSPEC\nDIMENS\n 10 10 3 /\n" * 3),
                         "does not start with a section header")
    assert error.position == 0


def test_formatted_eclipse_file(write_ecl):
    format_error(write_ecl(b" 'INTEHEAD'         411 'INTE'\n     -1 0\n"), "not an ECLIPSE")


def test_short_file(write_ecl):
    format_error(write_ecl(header("X", 0, "INTE")[:10]), "does not start with a section header")


@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_truncated_section_data(write_ecl, order):
    content = EclFile().add("INTEHEAD", "INTE", [1, 2], order=order).add(
        "PRESSURE", "DOUB", list(range(100)), order=order, block_items=10)
    data = content.bytes()[:-30]
    error = format_error(write_ecl(data))
    assert error.section == "PRESSURE" and error.section_position == content.positions[1]
    assert "'PRESSURE'" in str(error) and f"byte {content.positions[1]}" in str(error)


def test_truncated_header(write_ecl):
    data = good().bytes() + header("NEXT", 1, "INTE")[:13]
    error = format_error(write_ecl(data), "ends inside a section header")
    assert error.position == len(good().bytes())


def test_count_the_file_cannot_hold(write_ecl):
    data = good().bytes() + header("HUGE", 2_000_000_000, "DOUB") + frame(b"\0" * 16)
    error = format_error(write_ecl(data), "cannot hold")
    assert error.section == "HUGE" and error.position == len(good().bytes()) + 12


def test_negative_count(write_ecl):
    format_error(write_ecl(header("NEG", -5, "INTE")), "negative item count")


def test_unknown_type(write_ecl):
    data = good().bytes() + header("ODD", 2, "XY23") + frame(b"\0" * 16)
    error = format_error(write_ecl(data), "unknown section type")
    assert error.section == "ODD" and error.position == len(good().bytes()) + 16


def test_trailing_length_differs(write_ecl):
    data = header("A", 2, "INTE") + frame(struct.pack(">2i", 1, 2), trailing=12)
    error = format_error(write_ecl(data), "trailing length differs")
    assert error.section == "A" and error.position == 24 + 4 + 8


def test_block_beyond_the_count(write_ecl):
    data = header("A", 1, "INTE") + frame(struct.pack(">2i", 1, 2)) + header("B", 0, "INTE")
    format_error(write_ecl(data), "more bytes than the item count")


@pytest.mark.parametrize("length", [0, -8, 6])
def test_bad_block_lengths(write_ecl, length):
    data = header("A", 2, "INTE") + struct.pack(">i", length) + b"\0" * 16
    error = format_error(write_ecl(data), "data block")
    assert error.position == 24


def test_garbage_behind_the_last_section(write_ecl):
    data = good().bytes() + b"\x00garbage and more garbage"
    error = format_error(write_ecl(data), "no section header where the previous section ends")
    assert error.position == len(good().bytes())


def test_wrong_trailing_marker(write_ecl):
    raw = bytearray(header("A", 0, "INTE"))
    raw[20:24] = struct.pack(">i", 17)
    format_error(write_ecl(bytes(raw)), "does not start with a section header")


def test_file_cut_after_open_fails_on_read(write_ecl):
    path = write_ecl(good())
    with kelvara.open(path) as f:
        with open(path, "r+b") as handle:
            handle.truncate(f["PRESSURE"][0].position + 30)
        with pytest.raises(kelvara.FormatError, match="ends inside the section's data") as info:
            f.read("PRESSURE")
        assert info.value.section == "PRESSURE"
        assert f.read("INTEHEAD").tolist() == [1, 2, 3]


def test_file_changed_after_open_fails_on_read(write_ecl):
    path = write_ecl(good())
    with kelvara.open(path) as f:
        with open(path, "r+b") as handle:
            handle.seek(f["PRESSURE"][0].position + 24)
            handle.write(struct.pack(">i", 4))  # a block of half an item
        with pytest.raises(kelvara.FormatError, match="no whole number of items"):
            f.read("PRESSURE")


def test_a_path_that_does_not_exist(tmp_path):
    with pytest.raises(FileNotFoundError):
        kelvara.open(tmp_path / "missing.UNRST")


def test_a_directory(tmp_path):
    with pytest.raises(IsADirectoryError):
        kelvara.open(tmp_path)
    with pytest.raises(IsADirectoryError):
        kelvara.open(str(tmp_path))


def test_a_fifo(tmp_path):
    fifo = tmp_path / "pipe"
    os.mkfifo(fifo)
    with pytest.raises(ValueError, match="not a regular file"):
        kelvara.open(fifo)


def test_a_closed_file(write_ecl):
    handle = open(write_ecl(good()), "rb")
    handle.close()
    with pytest.raises(ValueError, match="closed file"):
        kelvara.open(handle)


def test_a_text_mode_file(write_ecl):
    with open(write_ecl(good()), "r", encoding="latin-1") as handle:
        with pytest.raises(TypeError, match="binary file"):
            kelvara.open(handle)


def test_a_write_only_file(tmp_path):
    with open(tmp_path / "w.bin", "wb") as handle:
        with pytest.raises(io.UnsupportedOperation):
            kelvara.open(handle)


def test_objects_that_are_no_file():
    with pytest.raises(io.UnsupportedOperation):
        kelvara.open(io.BytesIO(good().bytes()))
    for thing in (None, 3, 2.5, ["a"], object()):
        with pytest.raises(TypeError):
            kelvara.open(thing)


def test_random_bytes_never_end_the_process(write_ecl):
    # Headers with valid markers around random counts, types and frames: every outcome is a
    # catalogue or a FormatError.
    rng = np.random.default_rng(7)
    types = ["INTE", "REAL", "DOUB", "LOGI", "CHAR", "MESS", "C005"]
    for trial in range(200):
        content = good()
        raw = bytearray(content.bytes())
        for _ in range(3):
            at = int(rng.integers(0, len(raw)))
            raw[at] = int(rng.integers(0, 256))
        raw += header("R", int(rng.integers(-3, 40)), types[trial % len(types)])
        raw += rng.bytes(int(rng.integers(0, 64)))
        path = write_ecl(bytes(raw), f"r{trial}.bin")
        try:
            with kelvara.open(path) as f:
                for k in f:
                    k.read()
        except kelvara.FormatError:
            pass

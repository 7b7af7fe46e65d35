"""Positions at the far end of the 64-bit range, walks sent far past the end of a file, and file
objects that are not regular files."""

import io
import os

import pytest

import kelvara
from kelvara import ArrayFeeder, eclipse

from eclwriter import EclFile

MAX = 2 ** 63 - 1
NOT_REGULAR = "File object is not a regular file"
WALKS = [eclipse.ReadGridCornersSections, eclipse.ReadGridActnumSections,
         eclipse.ReadGridHostnumSections]


@pytest.fixture
def grid(open_file):
    ecl = EclFile()
    for cell in range(2):
        ecl.add("COORDS", "INTE", [cell, 1, 1, cell, 1, 5, 0])
        ecl.add("CORNERS", "REAL", [float(cell)] * 24)
    return open_file(ecl), ecl


@pytest.mark.parametrize("position", [MAX, MAX - 23, MAX - 24, MAX - 25, 2 ** 62])
def test_header_positions_near_the_largest_fail_as_header_reads(grid, position):
    f, ecl = grid
    section = eclipse.Section(f)
    assert section.GoTo(position) is False
    assert section.Position() == position
    # The previous header still answers; the cursor is usable again.
    assert section.Name() == "COORDS"
    assert section.GoTo(ecl.positions[1]) and section.Name() == "CORNERS"
    far = eclipse.Section(f, position)
    assert far.Position() == position
    assert far.Name() == ""
    assert far.Advance() is False


@pytest.mark.parametrize("walk", WALKS, ids=lambda w: w.__name__)
@pytest.mark.parametrize("position", [2 ** 62, MAX])
def test_walk_far_past_the_end_ends_in_its_verdict(grid, walk, position):
    f, ecl = grid
    f.seek(5)
    feeder = ArrayFeeder()
    # Nothing is found there: a count of 0 is met, a count of 1 is not.
    walk(f, 0, position, feeder)
    assert f.tell() == ecl.size  # the host refuses the far position: it is left at the end
    with pytest.raises(RuntimeError) as info:
        walk(f, 1, position, feeder)
    assert str(info.value) == "Number of section error"
    assert f.tell() == ecl.size
    assert len(feeder) == 0


def test_walk_past_the_end_that_the_host_accepts_leaves_it_there(grid):
    f, ecl = grid
    feeder = ArrayFeeder()
    eclipse.ReadGridCornersSections(f, 0, ecl.size + 1000, feeder)
    assert f.tell() == ecl.size + 1000


def not_regular_files(tmp_path):
    """(label, file object) of objects that are files but not regular files."""
    read_end, write_end = os.pipe()
    os.write(write_end, EclFile().add("SEQNUM", "INTE", [1]).bytes())
    os.close(write_end)
    made = [("pipe", os.fdopen(read_end, "rb"))]
    if os.path.exists("/dev/zero"):
        made.append(("/dev/zero", open("/dev/zero", "rb")))
        made.append(("/dev/zero unbuffered", open("/dev/zero", "rb", buffering=0)))
    return made


CALLS = {
    "Section": lambda f: eclipse.Section(f),
    "Section at 0": lambda f: eclipse.Section(f, 0),
    "MapFileSections": lambda f: eclipse.MapFileSections(f),
    "ReadGridCornersSections": lambda f: eclipse.ReadGridCornersSections(f, 1, 0, ArrayFeeder()),
    "ReadGridActnumSections": lambda f: eclipse.ReadGridActnumSections(f, 1, 0, ArrayFeeder()),
    "ReadGridHostnumSections": lambda f: eclipse.ReadGridHostnumSections(f, 1, 0, ArrayFeeder()),
}


@pytest.mark.parametrize("call", list(CALLS), ids=list(CALLS))
def test_file_objects_that_are_not_regular_files_are_refused(tmp_path, call):
    for label, f in not_regular_files(tmp_path):
        with f:
            with pytest.raises(RuntimeError) as info:
                CALLS[call](f)
            assert str(info.value) == NOT_REGULAR, label


class Refusing(io.FileIO):
    """A host file whose seek refuses far positions with an exception of the given class."""

    refusal = OSError

    def seek(self, position, whence=0):
        if whence == 0 and position > 10 ** 12:
            raise self.refusal("refused: %d" % position)
        return super().seek(position, whence)


@pytest.mark.parametrize("refusal", [OSError, OverflowError, ValueError])
def test_host_refusals_of_a_far_position_leave_it_at_the_end(write_ecl, refusal):
    ecl = EclFile().add("COORDS", "INTE", [1, 1, 1, 1, 1])
    with Refusing(write_ecl(ecl), "r") as f:
        f.refusal = refusal
        eclipse.ReadGridActnumSections(f, 0, 2 ** 50, ArrayFeeder())
        assert f.tell() == ecl.size


def test_other_exceptions_of_the_host_seek_go_up(write_ecl):
    ecl = EclFile().add("COORDS", "INTE", [1, 1, 1, 1, 1])
    with Refusing(write_ecl(ecl), "r") as f:
        f.refusal = LookupError
        with pytest.raises(LookupError):
            eclipse.ReadGridActnumSections(f, 0, 2 ** 50, ArrayFeeder())
        # When the walk fails itself, its own failure is the one reported.
        with pytest.raises(RuntimeError) as info:
            eclipse.ReadGridActnumSections(f, 1, 2 ** 50, ArrayFeeder())
        assert str(info.value) == "Number of section error"

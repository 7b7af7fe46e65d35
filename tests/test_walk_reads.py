"""A walk over sections reads the length words of their blocks and nothing of the items between
them: what the process reads through system calls stays far below the size of the file, however
the items are split into blocks."""

import os

import pytest

import kelvara
from kelvara import eclipse

from eclwriter import EclFile

pytestmark = pytest.mark.skipif(not os.path.exists("/proc/self/io"), reason="needs /proc/self/io")


def bytes_read():
    """Bytes this process has read through system calls so far."""
    with open("/proc/self/io") as f:
        for line in f:
            if line.startswith("rchar:"):
                return int(line.split()[1])
    raise AssertionError("no rchar in /proc/self/io")


@pytest.fixture(scope="module")
def big_file(tmp_path_factory):
    """Two REAL sections of 2 000 000 items each (16 MB): 1000-item blocks, then blocks of
    irregular sizes, then a small section."""
    values = [float(i % 1000) for i in range(2_000_000)]
    irregular = []
    left = len(values)
    size = 1
    while left:
        n = min(left, size)
        irregular.append(n)
        left -= n
        size = size * 7 % 1999 + 1
    ecl = (EclFile().add("REGULAR", "REAL", values, block_items=1000)
           .add("MIXED", "REAL", values, blocks=irregular).add("LAST", "INTE", [1, 2, 3]))
    path = tmp_path_factory.mktemp("walk") / "big.bin"
    path.write_bytes(ecl.bytes())
    return path, ecl


def test_advance_reads_only_length_words(big_file):
    path, ecl = big_file
    with open(path, "rb") as f:
        section = eclipse.Section(f)
        before = bytes_read()
        assert section.Advance() and section.Name() == "MIXED"
        assert section.Advance() and section.Name() == "LAST"
        spent = bytes_read() - before
    assert section.Position() == ecl.positions[2]
    # A few pages for the headers; a block walk through the buffer would read the 16 MB.
    assert spent < 64 * 1024, spent


def test_map_file_sections_reads_only_length_words(big_file):
    path, ecl = big_file
    with open(path, "rb") as f:
        before = bytes_read()
        sections = eclipse.MapFileSections(f)
        spent = bytes_read() - before
    assert {k: v.position for k, v in sections.items()} == dict(
        zip(["REGULAR", "MIXED", "LAST"], ecl.positions))
    assert spent < 64 * 1024, spent


def test_range_far_into_a_section_reads_little(big_file):
    path, ecl = big_file
    with open(path, "rb") as f:
        section = eclipse.Section(f, ecl.positions[1])
        before = bytes_read()
        feeder = kelvara.ArrayFeeder()
        section.LoadToFeeder(feeder, 1_999_990, 3, 1)
        spent = bytes_read() - before
    assert feeder.to_numpy().tolist() == [990.0, 991.0, 992.0]
    assert spent < 64 * 1024, spent

"""A mask shorter than what its section's blocks hold ends the process; one as long works.

The short-mask case aborts the interpreter, so it runs in a child process and the test looks at
how that child ended and what it wrote on standard error.
"""

import signal
import subprocess
import sys

import pytest

from kelvara import ArrayFeeder, CharVector, eclipse

from eclwriter import BIG, LITTLE, EclFile

ORDERS = pytest.mark.parametrize("order", [BIG, LITTLE], ids=["big", "little"])

CHILD = """
import sys
import kelvara
f = open(sys.argv[1], "rb")
section = kelvara.eclipse.Section(f)
feeder = kelvara.ArrayFeeder()
mask = kelvara.CharVector([int(v) for v in sys.argv[2].split(",") if v])
print("before", flush=True)
try:
    section.LoadToFeeder(mask, 1, feeder)
except BaseException as error:
    print("raised", type(error).__name__, error, flush=True)
print("after", len(feeder), flush=True)
"""


def run_child(path, mask):
    return subprocess.run([sys.executable, "-c", CHILD, str(path), ",".join(map(str, mask))],
                          capture_output=True, text=True, timeout=60)


def assert_aborted(result):
    assert result.returncode == -signal.SIGABRT, (result.returncode, result.stderr)
    # The child got as far as the load and no further: nothing raised, nothing after it.
    assert result.stdout == "before\n"
    lines = result.stderr.splitlines()
    assert len(lines) == 1, result.stderr
    assert lines[0].startswith("Contract violation: section mask index out of range")
    assert lines[0].endswith(")")


@ORDERS
def test_short_mask_ends_the_process(write_ecl, order):
    path = write_ecl(EclFile().add("DATA", "INTE", [1, 2, 3, 4], order=order, blocks=[1, 3]))
    assert_aborted(run_child(path, [1, 1, 1]))


def test_short_mask_in_a_later_block_ends_the_process(write_ecl):
    path = write_ecl(EclFile().add("DATA", "DOUB", [float(i) for i in range(10)],
                                   blocks=[4, 3, 3]))
    assert_aborted(run_child(path, [1] * 7))


def test_empty_mask_on_items_ends_the_process(write_ecl):
    path = write_ecl(EclFile().add("DATA", "REAL", [1.0], order=LITTLE))
    assert_aborted(run_child(path, []))


@ORDERS
def test_mask_exactly_as_long_as_the_section_works(write_ecl, order):
    path = write_ecl(EclFile().add("DATA", "INTE", [1, 2, 3, 4], order=order, blocks=[1, 3]))
    result = run_child(path, [1, 0, 1, 1])
    assert result.returncode == 0, result.stderr
    assert result.stdout == "before\nafter 3\n"
    assert result.stderr == ""

    with open(path, "rb") as f:
        section = eclipse.Section(f)
        feeder = ArrayFeeder()
        section.LoadToFeeder(CharVector([1, 0, 1, 1]), 1, feeder)
    assert feeder.to_numpy().tolist() == [1.0, 3.0, 4.0]


def test_mask_matching_nothing_still_needs_its_length(write_ecl):
    # The entries are looked at for every item, whatever the wanted value.
    path = write_ecl(EclFile().add("DATA", "INTE", [1, 2, 3]))
    assert_aborted(run_child(path, [0, 0]))
    result = run_child(path, [0, 0, 0])
    assert result.returncode == 0, result.stderr
    assert result.stdout == "before\nafter 0\n"


@ORDERS
def test_mask_must_cover_a_block_that_holds_more_than_the_count(write_ecl, order):
    # The header counts 2 items, the block holds 3 and is delivered whole: a mask of the
    # header's count is too short for it.
    path = write_ecl(EclFile().add("DATA", "INTE", [1, 2, 3], order=order, count=2))
    assert_aborted(run_child(path, [1, 1]))
    result = run_child(path, [1, 0, 1])
    assert result.returncode == 0, result.stderr
    assert result.stdout == "before\nafter 2\n"

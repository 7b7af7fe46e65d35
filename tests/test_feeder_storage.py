"""How the feeders hold their values: a small feeder reserves little, and to_numpy(copy=False)
hands the values to NumPy without a copy and leaves the feeder empty."""

import os
import subprocess
import sys
import textwrap

import numpy as np
import pytest

import kelvara
from kelvara import (
    Array1DBuilderDouble,
    Array1DBuilderFloat,
    Array1DBuilderInt,
    ArrayFeeder,
    eclipse,
)

from eclwriter import EclFile

UNDER_ASAN = "libasan" in os.environ.get("LD_PRELOAD", "")

# 20 000 feeders of one value each, in a process whose address space is limited to 1.5 GB; a
# feeder that reserved megabytes for its first value could not all be made.
MANY_SMALL = textwrap.dedent("""
    import resource, sys
    import numpy
    import kelvara
    limit = int(1.5 * 2 ** 30)
    resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
    kinds = [kelvara.ArrayFeeder, kelvara.Array1DBuilderFloat, kelvara.Array1DBuilderDouble,
             kelvara.Array1DBuilderInt]
    feeders = []
    for i in range(20000):
        feeder = kinds[i % 4]()
        feeder.InsertNextValue(float(i % 100))
        feeders.append(feeder)
    assert all(len(f) == 1 for f in feeders)
    assert [int(f.to_numpy()[0]) for f in feeders[:8]] == [0, 1, 2, 3, 4, 5, 6, 7]
    # Large feeds still grow as far as they need inside the same limit.
    big = kelvara.ArrayFeeder()
    for v in range(3000000):
        big.InsertNextValue(v)
    assert len(big) == 3000000 and big.to_numpy(copy=False)[-1] == 2999999.0
    print("ok", len(feeders))
""")


@pytest.mark.skipif(UNDER_ASAN, reason="AddressSanitizer reserves terabytes of address space")
def test_twenty_thousand_small_feeders_fit_in_1_5_gb_of_address_space():
    done = subprocess.run([sys.executable, "-c", MANY_SMALL], capture_output=True, text=True,
                          timeout=120)
    assert done.returncode == 0, done.stderr
    assert done.stdout == "ok 20000\n"


KINDS = [(ArrayFeeder, np.float64), (Array1DBuilderFloat, np.float32),
         (Array1DBuilderDouble, np.float64), (Array1DBuilderInt, np.int32)]


@pytest.mark.parametrize("kind,dtype", KINDS, ids=lambda k: getattr(k, "__name__", str(k)))
@pytest.mark.parametrize("n", [0, 1, 17, 300, 300000])
def test_to_numpy_without_copy_hands_over_and_empties(kind, dtype, n):
    feeder = kind()
    for v in range(n):
        feeder.InsertNextValue(v + 0.25)
    copied = feeder.to_numpy()
    assert len(feeder) == n
    taken = feeder.to_numpy(copy=False)
    assert taken.dtype == dtype and taken.shape == (n,)
    assert taken.tolist() == copied.tolist()
    assert len(feeder) == 0
    assert feeder.to_numpy().tolist() == []
    assert feeder.to_numpy(copy=False).tolist() == []
    if n:
        # The array does not own a copy: its memory belongs to the object handed over.
        assert not taken.flags.owndata
        assert taken.flags.writeable and taken.flags.c_contiguous
        taken[0] = 5
        assert taken[0] == 5
    # The feeder is usable again, from an empty start.
    feeder.InsertNextValue(2.0)
    assert feeder.to_numpy().tolist() == [2.0]


def test_handed_over_values_outlive_the_feeder():
    feeder = ArrayFeeder()
    for v in range(100000):
        feeder.InsertNextValue(v)
    taken = feeder.to_numpy(copy=False)
    del feeder
    view = taken[10:20]
    del taken
    assert view.tolist() == [float(v) for v in range(10, 20)]


def test_builder_hand_over_flushes_indexed_values_and_resets_the_cursor():
    builder = Array1DBuilderInt(3, -1)
    builder.SetValueAt(5, 2)
    builder.InsertNextValue(4.5)
    builder.AppendValue(7.0)
    assert builder.to_numpy(copy=False).tolist() == [4, 7, -1, -1, -1, 2]
    assert (len(builder), builder.cursor) == (0, 0)
    builder.AppendValue(1)
    assert builder.to_numpy().tolist() == [1]


def test_copy_is_the_default_and_keeps_the_values(open_file):
    section = eclipse.Section(open_file(EclFile().add("DATA", "DOUB", [1.5, 2.5, 3.5])))
    feeder = ArrayFeeder()
    section.LoadToFeeder(feeder)
    first = feeder.to_numpy()
    assert first.flags.owndata
    assert feeder.to_numpy(True).tolist() == first.tolist() == [1.5, 2.5, 3.5]
    assert len(feeder) == 3
    # Loads after a hand-over start a new set of values.
    assert feeder.to_numpy(copy=False).tolist() == [1.5, 2.5, 3.5]
    section.LoadToFeeder(feeder, 1, 1, 1)
    assert feeder.to_numpy().tolist() == [2.5]

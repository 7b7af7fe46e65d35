"""eclipse.ConvertHandles: 1-based cell numbers become 0-based handles, in place."""

import subprocess
import sys

import numpy as np
import pytest

from kelvara import Array, eclipse


def test_int_array_loses_one():
    cells = Array(np.array([1, 101, 400], dtype=np.int32))
    assert eclipse.ConvertHandles(10, 10, 4, cells) is True
    np.testing.assert_array_equal(cells.to_numpy(), [0, 100, 399])


def test_not_idempotent():
    cells = Array(np.array([5], dtype=np.int32))
    eclipse.ConvertHandles(2, 2, 2, cells)
    eclipse.ConvertHandles(2, 2, 2, cells)
    assert cells.to_numpy()[0] == 3


@pytest.mark.parametrize("other", ["text", None, 3, np.array([1, 2], dtype=np.int32),
                                   Array(np.array([1.0, 2.0])),
                                   Array(np.array([1, 2], dtype=np.uint32)),
                                   Array(np.array([1, 2], dtype=np.int64))],
                         ids=["str", "None", "int", "ndarray", "float64", "uint32", "int64"])
def test_other_objects_give_false_and_stay(other):
    before = other.to_numpy().copy() if isinstance(other, Array) else None
    assert eclipse.ConvertHandles(10, 10, 4, other) is False
    if before is not None:
        np.testing.assert_array_equal(other.to_numpy(), before)


def test_empty_array_with_zero_nx_needs_no_division():
    assert eclipse.ConvertHandles(0, 10, 1, Array.zeros("int32", 0)) is True
    assert eclipse.ConvertHandles(0, 0, 0, Array.empty("float32", 3)) is True


def test_float_cube_keeps_its_shape_and_loses_fractions():
    values = np.zeros((2, 1, 2), dtype=np.float32)
    values[0, 0, 0] = 7.0
    values[1, 0, 1] = 2.7
    cube = Array(values)
    assert eclipse.ConvertHandles(2, 1, 2, cube) is True
    out = cube.to_numpy()
    assert out.shape == (2, 1, 2) and cube.shape == (2, 1, 2)
    assert out[0, 0, 0] == 6.0
    assert out[1, 0, 1] == 1.0
    assert out[1, 0, 0] == -1.0


def test_int_cube_and_sharers_see_the_change():
    cube = Array(np.arange(1, 9, dtype=np.int32).reshape(2, 2, 2))
    sharer = cube.share()
    assert eclipse.ConvertHandles(2, 2, 2, cube) is True
    np.testing.assert_array_equal(sharer.to_numpy(), np.arange(8).reshape(2, 2, 2))
    assert cube.use_count == 2  # the temporary binding is gone


CHILD = """
import numpy as np
from kelvara import Array, eclipse
print("before", flush=True)
eclipse.ConvertHandles(0, 10, 1, Array(np.array([3], dtype=np.int32)))
print("after", flush=True)
"""


def test_zero_layer_on_non_empty_array_ends_the_process():
    done = subprocess.run([sys.executable, "-c", CHILD], capture_output=True, text=True,
                          timeout=60)
    assert done.returncode != 0
    assert "before" in done.stdout and "after" not in done.stdout
    assert "division by nx * ny = 0" in done.stderr

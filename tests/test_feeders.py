"""The host-side sinks of kelvara._ostrel: feeders, builders and the mask vector.

Also the feed boundary as the ECLIPSE reader uses it: only ArrayFeeders are taken, and every
value, integers included, crosses as a double.
"""

import math

import numpy as np
import pytest

import kelvara
from kelvara import (
    Array1DBuilderDouble,
    Array1DBuilderFloat,
    Array1DBuilderInt,
    Array3DBuilderDouble,
    Array3DBuilderFloat,
    Array3DBuilderUChar,
    ArrayFeeder,
    CharVector,
    CompleteCornersBuilder,
    eclipse,
)

from eclwriter import BIG, LITTLE, EclFile

INT32_MIN = -2147483648
BUILDERS_1D = [(Array1DBuilderFloat, np.float32), (Array1DBuilderDouble, np.float64),
               (Array1DBuilderInt, np.int32)]
BUILDERS_3D = [(Array3DBuilderFloat, np.float32), (Array3DBuilderDouble, np.float64),
               (Array3DBuilderUChar, np.uint8)]


def test_package_exports_the_same_classes():
    from kelvara import _ostrel
    for name in ["ArrayFeeder", "Array1DBuilderFloat", "Array1DBuilderDouble",
                 "Array1DBuilderInt", "Array3DBuilderFloat", "Array3DBuilderDouble",
                 "Array3DBuilderUChar", "CompleteCornersBuilder", "CharVector"]:
        assert getattr(kelvara, name) is getattr(_ostrel, name)


# ---------------------------------------------------------------------------------------------
# ArrayFeeder


def test_array_feeder_collects_in_arrival_order():
    feeder = ArrayFeeder()
    assert len(feeder) == 0
    empty = feeder.to_numpy()
    assert empty.dtype == np.float64 and empty.shape == (0,)
    for v in [3.5, -1.0, 0.0, 1e300, 7]:
        feeder.InsertNextValue(v)
    assert len(feeder) == 5
    out = feeder.to_numpy()
    assert out.dtype == np.float64
    assert out.tolist() == [3.5, -1.0, 0.0, 1e300, 7.0]


def test_array_feeder_to_numpy_is_a_copy():
    feeder = ArrayFeeder()
    feeder.InsertNextValue(1.0)
    out = feeder.to_numpy()
    out[0] = 99.0
    feeder.InsertNextValue(2.0)
    assert feeder.to_numpy().tolist() == [1.0, 2.0]


def test_array_feeder_keeps_nan_and_infinities():
    feeder = ArrayFeeder()
    for v in [math.nan, math.inf, -math.inf, -0.0]:
        feeder.InsertNextValue(v)
    out = feeder.to_numpy()
    assert math.isnan(out[0]) and out[1] == math.inf and out[2] == -math.inf
    assert np.signbit(out[3])


def test_array_feeder_many_values():
    n = 300_000
    feeder = ArrayFeeder()
    for i in range(n):
        feeder.InsertNextValue(i * 0.5)
    assert len(feeder) == n
    assert np.array_equal(feeder.to_numpy(), np.arange(n) * 0.5)


# ---------------------------------------------------------------------------------------------
# One-dimensional builders


@pytest.mark.parametrize("cls,dtype", BUILDERS_1D)
def test_builder_1d_defaults(cls, dtype):
    builder = cls()
    assert len(builder) == 0
    assert builder.cursor == 0
    assert builder.fill == 0
    out = builder.to_numpy()
    assert out.dtype == dtype and out.shape == (0,)


@pytest.mark.parametrize("cls,dtype", BUILDERS_1D)
def test_builder_1d_size_and_fill(cls, dtype):
    builder = cls(4, 3)
    assert len(builder) == 4
    assert builder.fill == 3
    assert builder.cursor == 0
    out = builder.to_numpy()
    assert out.dtype == dtype
    assert out.tolist() == [3, 3, 3, 3]
    builder = cls(size=2, fill=-5)
    assert builder.to_numpy().tolist() == [-5, -5]


@pytest.mark.parametrize("cls,dtype", BUILDERS_1D)
def test_builder_1d_set_value_at_grows_with_fill(cls, dtype):
    builder = cls(2, 7)
    builder.SetValueAt(5, 1)
    assert len(builder) == 6
    assert builder.to_numpy().tolist() == [7, 7, 7, 7, 7, 1]
    builder.SetValueAt(0, -2)
    assert builder.to_numpy().tolist() == [-2, 7, 7, 7, 7, 1]
    # SetValueAt does not move the append cursor.
    assert builder.cursor == 0


@pytest.mark.parametrize("cls,dtype", BUILDERS_1D)
def test_builder_1d_insert_overwrites_from_zero_then_appends(cls, dtype):
    builder = cls(3, -1)
    builder.InsertNextValue(7)
    builder.InsertNextValue(8)
    assert builder.cursor == 2
    assert len(builder) == 3
    assert builder.to_numpy().tolist() == [7, 8, -1]
    builder.AppendValue(9)
    builder.InsertNextValue(10)
    assert builder.cursor == 4
    assert len(builder) == 4
    assert builder.to_numpy().tolist() == [7, 8, 9, 10]


@pytest.mark.parametrize("cls,dtype", BUILDERS_1D)
def test_builder_1d_mixing_set_and_insert_keeps_operation_order(cls, dtype):
    builder = cls()
    builder.InsertNextValue(1)          # index 0
    builder.SetValueAt(0, 2)            # overwrites it
    builder.InsertNextValue(3)          # index 1
    builder.SetValueAt(4, 5)            # grows to 5
    builder.InsertNextValue(6)          # index 2
    builder.InsertNextValue(7)          # index 3
    builder.InsertNextValue(8)          # index 4 overwrites the 5
    builder.SetValueAt(1, 9)
    assert builder.to_numpy().tolist() == [2, 9, 6, 7, 8]
    assert builder.cursor == 5


@pytest.mark.parametrize("cls,dtype", BUILDERS_1D)
def test_builder_1d_mixing_over_many_values(cls, dtype):
    n = 5000
    builder = cls()
    expected = []
    for i in range(n):
        builder.InsertNextValue(i)
        expected.append(i)
        if i % 700 == 3:
            builder.SetValueAt(i - 2, -i)
            expected[i - 2] = -i
    builder.SetValueAt(n + 10, 1)
    expected += [0] * 10 + [1]
    builder.AppendValue(42)          # at the cursor, n: overwrites the first fill
    expected[n] = 42
    out = builder.to_numpy()
    assert out.dtype == dtype
    assert out.tolist() == expected
    assert len(builder) == n + 11


@pytest.mark.parametrize("cls,dtype", BUILDERS_1D)
def test_builder_1d_resize(cls, dtype):
    builder = cls(4, 7)
    builder.Resize(6)
    assert builder.to_numpy().tolist() == [7] * 6
    builder.SetValueAt(1, 2)
    builder.Resize(2)
    assert len(builder) == 2
    assert builder.to_numpy().tolist() == [7, 2]
    builder.Resize(3)
    assert builder.to_numpy().tolist() == [7, 2, 7]


@pytest.mark.parametrize("cls,dtype", BUILDERS_1D)
def test_builder_1d_many_values(cls, dtype):
    n = 300_000
    builder = cls()
    for i in range(n):
        builder.InsertNextValue(i)
    assert len(builder) == n
    assert builder.cursor == n
    out = builder.to_numpy()
    assert out.dtype == dtype
    assert np.array_equal(out, np.arange(n, dtype=dtype))


def test_builder_int_narrowing():
    builder = Array1DBuilderInt()
    values = [2.9, -2.9, 0.99, -0.99, math.nan, 3e9, -3e9, math.inf, -math.inf,
              2147483647.0, 2147483647.9, -2147483648.0, 2147483648.0]
    for v in values:
        builder.InsertNextValue(v)
    assert builder.to_numpy().tolist() == [
        2, -2, 0, 0, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN,
        2147483647, 2147483647, INT32_MIN, INT32_MIN]
    builder.SetValueAt(0, -7.5)
    assert builder.to_numpy()[0] == -7


def test_builder_float_narrowing():
    builder = Array1DBuilderFloat()
    values = [0.1, 1.0 / 3.0, 16777217.0, -2.5]
    for v in values:
        builder.InsertNextValue(v)
    assert builder.to_numpy().tolist() == np.asarray(values, dtype=np.float32).tolist()


def test_builder_double_keeps_doubles():
    builder = Array1DBuilderDouble()
    values = [0.1, 1.0 / 3.0, 16777217.0, -2.5e-300]
    for v in values:
        builder.InsertNextValue(v)
    assert builder.to_numpy().tolist() == values


def test_builder_int_takes_large_integers_through_doubles():
    builder = Array1DBuilderInt()
    builder.InsertNextValue(2147483647)
    builder.InsertNextValue(-2147483648)
    builder.AppendValue(123456789)
    assert builder.to_numpy().tolist() == [2147483647, -2147483648, 123456789]


# ---------------------------------------------------------------------------------------------
# Three-dimensional builders


@pytest.mark.parametrize("cls,dtype", BUILDERS_3D)
def test_builder_3d_fills_i_fastest_in_fortran_order(cls, dtype):
    ni, nj, nk = 2, 3, 4
    builder = cls(ni, nj, nk)
    assert builder.shape == (ni, nj, nk)
    assert builder.filled == 0 and builder.overflow == 0
    assert builder.to_numpy().tolist() == np.zeros((ni, nj, nk)).tolist()
    n = ni * nj * nk
    for k in range(n):
        builder.InsertNextValue(k + 1)
    out = builder.to_numpy()
    assert out.shape == (ni, nj, nk)
    assert out.dtype == dtype
    for k in range(n):
        assert out[k % ni, (k // ni) % nj, k // (ni * nj)] == k + 1
    assert np.array_equal(out.ravel(order="F"), np.arange(1, n + 1, dtype=dtype))
    assert builder.filled == n
    assert builder.overflow == 0


@pytest.mark.parametrize("cls,dtype", BUILDERS_3D)
def test_builder_3d_fill_and_overflow(cls, dtype):
    builder = cls(2, 2, 1, 9)
    builder.InsertNextValue(1)
    out = builder.to_numpy()
    assert out[:, :, 0].tolist() == [[1, 9], [9, 9]]
    assert builder.filled == 1
    for v in [2, 3, 4, 5, 6, 7]:
        builder.InsertNextValue(v)
    assert builder.filled == 4
    assert builder.overflow == 3
    assert builder.to_numpy().ravel(order="F").tolist() == [1, 2, 3, 4]
    builder = cls(ni=1, nj=2, nk=3, fill=4)
    assert builder.to_numpy().tolist() == np.full((1, 2, 3), 4).tolist()


def test_builder_3d_uchar_narrowing():
    builder = Array3DBuilderUChar(8, 1, 1)
    for v in [300.7, -1.5, math.nan, 255.9, 256.0, -256.5, 1e12, 65.99]:
        builder.InsertNextValue(v)
    # Truncation toward zero, then the low 8 bits; NaN and out of int range as the smallest int.
    assert builder.to_numpy()[:, 0, 0].tolist() == [44, 255, 0, 255, 0, 0, 0, 65]


def test_builder_3d_float_and_double_narrowing():
    values = [0.1, -1.0 / 3.0]
    as_float = Array3DBuilderFloat(2, 1, 1)
    as_double = Array3DBuilderDouble(2, 1, 1)
    for v in values:
        as_float.InsertNextValue(v)
        as_double.InsertNextValue(v)
    assert as_float.to_numpy()[:, 0, 0].tolist() == np.asarray(values, np.float32).tolist()
    assert as_double.to_numpy()[:, 0, 0].tolist() == values


def test_builder_3d_many_values():
    ni, nj, nk = 50, 40, 30
    n = ni * nj * nk
    builder = Array3DBuilderDouble(ni, nj, nk)
    for i in range(n + 5):
        builder.InsertNextValue(i)
    assert builder.filled == n
    assert builder.overflow == 5
    out = builder.to_numpy()
    assert np.array_equal(out.ravel(order="F"), np.arange(n, dtype=np.float64))
    assert out[7, 3, 2] == 7 + 3 * ni + 2 * ni * nj


# ---------------------------------------------------------------------------------------------
# CompleteCornersBuilder


def test_corners_builder_capacity_and_overflow():
    builder = CompleteCornersBuilder(1, 1, 2)
    assert builder.capacity == 48
    assert len(builder) == 0 and builder.overflow == 0
    for i in range(50):
        builder.InsertNextValue(i + 0.25)
    assert len(builder) == 48
    assert builder.overflow == 2
    out = builder.to_numpy()
    assert out.dtype == np.float64 and out.shape == (48,)
    assert out.tolist() == [i + 0.25 for i in range(48)]


def test_corners_builder_keeps_arrival_order_for_many_cells():
    ni, nj, nk = 20, 25, 30
    builder = CompleteCornersBuilder(ni, nj, nk)
    n = 24 * ni * nj * nk
    assert builder.capacity == n
    for i in range(n):
        builder.InsertNextValue(-i)
    assert builder.overflow == 0
    assert np.array_equal(builder.to_numpy(), -np.arange(n, dtype=np.float64))


# ---------------------------------------------------------------------------------------------
# Which classes are ArrayFeeders


@pytest.mark.parametrize("cls,dtype", BUILDERS_1D)
def test_one_dimensional_builders_are_array_feeders(cls, dtype):
    assert issubclass(cls, ArrayFeeder)
    assert isinstance(cls(), ArrayFeeder)


def test_other_sinks_are_not_array_feeders():
    for obj in [Array3DBuilderFloat(1, 1, 1), Array3DBuilderDouble(1, 1, 1),
                Array3DBuilderUChar(1, 1, 1), CompleteCornersBuilder(1, 1, 1), CharVector()]:
        assert not isinstance(obj, ArrayFeeder)


def cast_error(obj):
    return ("Unable to cast Python instance of type %s to C++ type "
            "'ostrel::builder::ArrayFeeder'" % type(obj))


@pytest.fixture
def section_file(write_ecl):
    f = open(write_ecl(EclFile().add("DATA", "INTE", [1, 2, 3])), "rb")
    yield f
    f.close()


NOT_FEEDERS = [
    lambda: Array3DBuilderFloat(3, 1, 1),
    lambda: Array3DBuilderDouble(3, 1, 1),
    lambda: Array3DBuilderUChar(3, 1, 1),
    lambda: CompleteCornersBuilder(1, 1, 1),
    lambda: object(),
    lambda: [1.0, 2.0],
    lambda: 3.0,
]
NOT_FEEDER_IDS = ["3dfloat", "3ddouble", "3duchar", "corners", "object", "list", "float"]


@pytest.mark.parametrize("make", NOT_FEEDERS, ids=NOT_FEEDER_IDS)
def test_load_to_feeder_refuses_what_is_no_array_feeder(section_file, make):
    section = eclipse.Section(section_file)
    sink = make()
    calls = [lambda: section.LoadToFeeder(sink),
             lambda: section.LoadToFeeder(sink, 0, 2, 1),
             lambda: section.LoadToFeeder(CharVector([1, 1, 1]), 1, sink)]
    for call in calls:
        with pytest.raises(RuntimeError) as info:
            call()
        assert type(info.value) is RuntimeError
        assert str(info.value) == cast_error(sink)
        assert "ostrel::builder::ArrayFeeder" in str(info.value)
    if hasattr(sink, "filled"):
        assert sink.filled == 0
    if isinstance(sink, CompleteCornersBuilder):
        assert len(sink) == 0


@pytest.mark.parametrize("walk", ["ReadGridCornersSections", "ReadGridActnumSections",
                                  "ReadGridHostnumSections"])
@pytest.mark.parametrize("make", NOT_FEEDERS, ids=NOT_FEEDER_IDS)
def test_grid_walks_refuse_what_is_no_array_feeder(section_file, walk, make):
    sink = make()
    with pytest.raises(RuntimeError) as info:
        getattr(eclipse, walk)(section_file, 0, 0, sink)
    assert str(info.value) == cast_error(sink)


def test_load_to_feeder_refuses_none_as_feeder(section_file):
    section = eclipse.Section(section_file)
    for call in [lambda: section.LoadToFeeder(None),
                 lambda: section.LoadToFeeder(None, 0, 2, 1),
                 lambda: section.LoadToFeeder(CharVector([1, 1, 1]), 1, None)]:
        with pytest.raises(RuntimeError) as info:
            call()
        assert str(info.value) == cast_error(None)


def test_grid_walks_refuse_none_as_feeder(section_file):
    for walk in [eclipse.ReadGridCornersSections, eclipse.ReadGridActnumSections,
                 eclipse.ReadGridHostnumSections]:
        with pytest.raises(RuntimeError) as info:
            walk(section_file, 0, 0, None)
        assert str(info.value) == cast_error(None)


@pytest.mark.parametrize("order", [BIG, LITTLE], ids=["big", "little"])
def test_integers_cross_as_doubles(write_ecl, order):
    values = [2147483647, -2147483648, 16777217, -3, 0]
    with open(write_ecl(EclFile().add("DATA", "INTE", values, order=order, blocks=[2, 3])),
              "rb") as f:
        section = eclipse.Section(f)
        feeder = ArrayFeeder()
        section.LoadToFeeder(feeder)
        as_float = Array1DBuilderFloat()
        section.LoadToFeeder(as_float)
        as_int = Array1DBuilderInt()
        section.LoadToFeeder(as_int)
    assert feeder.to_numpy().tolist() == [float(v) for v in values]
    # Every value came as a double: the float builder narrows it to single precision.
    assert as_float.to_numpy().tolist() == np.asarray(values, np.float64).astype(
        np.float32).tolist()
    assert as_int.to_numpy().tolist() == values


def test_feeding_a_builder_from_a_large_file(write_ecl):
    n = 300_000
    values = np.arange(n, dtype=np.float64) * 1.5 - 7.0
    ecl = EclFile().add("BIG", "DOUB", values.tolist(), order=LITTLE, block_items=1000)
    with open(write_ecl(ecl), "rb") as f:
        section = eclipse.Section(f)
        builder = Array1DBuilderDouble(10, -1.0)
        section.LoadToFeeder(builder)
        feeder = ArrayFeeder()
        section.LoadToFeeder(feeder)
    assert len(builder) == n
    assert builder.cursor == n
    assert np.array_equal(builder.to_numpy(), values)
    assert np.array_equal(feeder.to_numpy(), values)


# ---------------------------------------------------------------------------------------------
# CharVector


def test_char_vector_forms():
    expected = [1, 0, -1, -128, 127]
    forms = [
        CharVector([1, 0, 255, 128, 127]),
        CharVector([1, 0, -1, -128, 127]),
        CharVector(b"\x01\x00\xff\x80\x7f"),
        CharVector(np.array([1, 0, -1, -128, 127], dtype=np.int8)),
        CharVector(np.array([1, 0, 255, 128, 127], dtype=np.uint8)),
    ]
    for vector in forms:
        assert len(vector) == 5
        assert [vector[i] for i in range(5)] == expected
        out = vector.to_numpy()
        assert out.dtype == np.int8
        assert out.tolist() == expected


def test_char_vector_empty():
    for vector in [CharVector(), CharVector([]), CharVector(b"")]:
        assert len(vector) == 0
        assert vector.to_numpy().dtype == np.int8
        assert vector.to_numpy().shape == (0,)


@pytest.mark.parametrize("bad", [256, -129, 1000, -1000])
def test_char_vector_refuses_entries_out_of_range(bad):
    with pytest.raises(ValueError):
        CharVector([0, bad])


def test_char_vector_from_large_array():
    source = (np.arange(100_000) % 256).astype(np.uint8)
    vector = CharVector(source)
    assert len(vector) == source.size
    assert np.array_equal(vector.to_numpy(), source.view(np.int8))

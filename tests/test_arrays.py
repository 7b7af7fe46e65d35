"""kelvara.Array: the core's typed arrays from Python."""

import numpy as np
import pytest

import kelvara
from kelvara import Array, PreconditionError

SCALARS = ["float32", "float64", "int8", "int16", "int32", "int64", "uint8", "uint16", "uint32",
           "uint64", "bool"]

SHARING = ("An Array was resized, but it was sharing the same implementation with another array "
           "that had fixed shape.")
RESIZE_FIXED = "Trying to resize an array with fixed shape."
RESET_FIXED = "Trying to reset an array with fixed shape."


def values_of(dtype, shape):
    count = int(np.prod(shape))
    return (np.arange(count) % 7 + 1).astype(dtype).reshape(shape)


def assert_precondition(info, message, expression, file):
    error = info.value
    assert isinstance(error, RuntimeError)
    assert error.message == message
    assert error.expression == expression
    assert error.file == file
    assert isinstance(error.line, int) and error.line > 0
    assert str(error).startswith(message)
    assert expression in str(error) and file in str(error)


@pytest.mark.parametrize("dtype", SCALARS)
@pytest.mark.parametrize("shape", [(5,), (3, 4), (2, 3, 4)], ids=["rank1", "rank2", "rank3"])
@pytest.mark.parametrize("tuple_size", [1, 2, 3, 4])
def test_every_instance_round_trips(dtype, shape, tuple_size):
    full = shape + ((tuple_size,) if tuple_size > 1 else ())
    values = values_of(dtype, full)
    array = Array(values, tuple_size=tuple_size)
    assert array.dimensions == len(shape)
    assert array.scalar_type == dtype
    assert array.shape == shape
    assert array.size == int(np.prod(shape))
    assert array.element_shape == (tuple_size, 1)
    assert array.is_bound and array.unique and array.use_count == 1
    back = array.to_numpy()
    assert back.dtype == np.dtype(dtype)
    assert back.shape == full
    np.testing.assert_array_equal(back, values)


@pytest.mark.parametrize("rank", [1, 2, 3])
def test_eight_tuples_of_uint32(rank):
    shape = (2, 3, 2)[:rank]
    values = values_of("uint32", shape + (8,))
    array = Array(values, tuple_size=8)
    assert array.element_shape == (8, 1)
    np.testing.assert_array_equal(array.to_numpy(), values)


def test_rank3_element_is_numpy_element_and_storage_is_fortran_order():
    values = np.arange(24, dtype=np.int32).reshape(2, 3, 4)
    array = Array(values)
    assert array.to_numpy()[1, 2, 3] == values[1, 2, 3]
    # Storage runs first index fastest: the same bytes as the Fortran-order ravel.
    assert array == Array(values.ravel(order="F"))
    assert array.to_numpy().flags.f_contiguous


def test_any_layout_is_read_as_its_values():
    base = np.arange(2 * 3 * 4 * 2, dtype=np.float64).reshape(2, 3, 4, 2)
    for values in (base, np.asfortranarray(base), base[:, ::2, 1:, :], base[::-1],
                   base.astype(">f8")):
        array = Array(values[..., 0])
        np.testing.assert_array_equal(array.to_numpy(), values[..., 0])
        tuples = Array(values, tuple_size=2)
        np.testing.assert_array_equal(tuples.to_numpy(), values)
    assert Array([1, 2, 3]).scalar_type == "int64"
    assert Array([True, False]).scalar_type == "bool"


def test_to_numpy_and_construction_are_copies():
    values = np.arange(4, dtype=np.int32)
    array = Array(values)
    values[0] = 99
    out = array.to_numpy()
    out[1] = 77
    np.testing.assert_array_equal(array.to_numpy(), [0, 1, 2, 3])


@pytest.mark.parametrize("values, tuple_size", [
    (np.zeros(3, np.float16), 1),
    (np.zeros(3, np.complex64), 1),
    (np.zeros((2, 2, 2, 2)), 1),
    (np.float64(1.0), 1),
    (np.zeros((3, 5)), 5),
    (np.zeros((3, 8)), 8),
    (np.zeros((3, 4, 6)), 6),
    (np.zeros(3), 2),
], ids=["float16", "complex", "rank4", "rank0", "tuple5", "tuple8-float", "tuple6-rank2",
        "tuple-without-axis"])
def test_no_instance_is_a_type_error(values, tuple_size):
    with pytest.raises(TypeError):
        Array(values, tuple_size=tuple_size)


def test_six_tuples_have_no_storage():
    with pytest.raises(PreconditionError) as info:
        Array(np.zeros((3, 6)), tuple_size=6)
    assert_precondition(
        info, "FromVectorArrayFactory: Can not create array whose element has this shape: [6, 1]",
        "0", "core/array/VectorArrayImplFactory")
    array = Array.empty("float64", 3, tuple_size=6)
    assert array.element_shape == (6, 1) and not array.is_bound


def test_tuple_axis_must_match():
    with pytest.raises(ValueError):
        Array(np.zeros((3, 4)), tuple_size=3)


def test_empty_is_unbound():
    array = Array.empty(np.int16, 3)
    assert not array.is_bound
    assert array.size == 0 and array.use_count == 0 and not array.unique
    assert array.dimensions == 3 and array.scalar_type == "int16"
    assert array.to_numpy().shape == (1, 1, 0)
    with pytest.raises(TypeError):
        Array.empty("float64", 2, tuple_size=6)


def test_zeros_through_the_default_factory():
    array = Array.zeros("float32", (2, 3, 4))
    assert array.shape == (2, 3, 4)
    assert not array.to_numpy().any()
    assert Array.zeros("uint8", 5).shape == (5,)
    assert Array.zeros(np.int32, (2, 3), tuple_size=3).to_numpy().shape == (2, 3, 3)
    with pytest.raises(PreconditionError) as info:
        Array.zeros("uint32", (2, 2, 2), tuple_size=8)
    assert_precondition(
        info, "FromVectorArrayFactory: Can not create array whose element has this shape: [8, 1]",
        "0", "core/array/VectorArrayImplFactory")
    with pytest.raises(ValueError):
        Array.zeros("uint8", (70000, 1, 1))


def test_zero_extent_shape_is_normalised():
    assert Array.zeros("int32", (0, 5, 7)).shape == (1, 5, 0)


def test_sharing_sees_the_same_elements_and_sizes():
    array = Array(np.arange(4, dtype=np.int32))
    other = array.share()
    assert array.use_count == 2 and not array.unique
    assert other.shares_storage(array)
    other.negate()
    np.testing.assert_array_equal(array.to_numpy(), [0, -1, -2, -3])
    other.resize(6)
    assert array.size == 6
    np.testing.assert_array_equal(array.to_numpy(), [0, -1, -2, -3, 0, 0])
    del other
    assert array.use_count == 1


def test_make_unique_gives_own_storage_also_when_fixed():
    array = Array(np.arange(3, dtype=np.float64))
    other = array.share()
    other.set_fixed_shape()
    other.make_unique()
    assert array.unique and other.unique and not other.shares_storage(array)
    other.negate()
    np.testing.assert_array_equal(array.to_numpy(), [0, 1, 2])


def test_resize_through_sharer_of_fixed_array_fails_after_the_storage_resized():
    fixed = Array(np.arange(4, dtype=np.int32))
    fixed.set_fixed_shape()
    assert fixed.is_fixed_shape
    other = fixed.share()
    with pytest.raises(PreconditionError) as info:
        other.resize(6)
    assert_precondition(info, SHARING, "old_size == 0 || !m_IsFixedShape || m_Size == old_size",
                        "core/array/Array1D.ext")
    assert fixed.size == 6  # reported, not restored


def test_resize_of_fixed_array_fails_and_present_size_passes():
    fixed = Array(np.arange(4, dtype=np.int32))
    fixed.set_fixed_shape()
    fixed.resize(4)
    with pytest.raises(PreconditionError) as info:
        fixed.resize(5)
    assert_precondition(info, RESIZE_FIXED, "!m_IsFixedShape", "core/array/Array1D.ext")
    cube = Array.zeros("int32", (2, 2, 2))
    cube.set_fixed_shape()
    cube.resize((2, 2, 2))
    with pytest.raises(PreconditionError) as info:
        cube.resize((4, 1, 2))
    assert_precondition(
        info, RESIZE_FIXED,
        "!this->m_IsFixedShape || (this->m_shape[I] == p_shape[I] && this->m_NI_times_NJ == "
        "p_shape[I] * p_shape[J])", "core/array/Array3D.inl")


def test_binding_fixed_empty_array_to_non_empty_storage_fails():
    fixed = Array.empty("int32", 1)
    fixed.set_fixed_shape()
    with pytest.raises(PreconditionError) as info:
        fixed.bind(Array(np.arange(3, dtype=np.int32)))
    assert_precondition(info, RESET_FIXED, "!this->m_IsFixedShape || new_size == this->m_Size",
                        "core/array/Array1D.inl")
    fixed.reset()
    assert not fixed.is_bound


def test_bind_shares_and_reset_drops():
    array = Array.empty("float64", 1)
    source = Array(np.ones(3))
    array.bind(source)
    assert array.shares_storage(source) and source.use_count == 2
    array.reset()
    assert not array.is_bound and source.use_count == 1
    fixed = Array(np.ones(3))
    fixed.set_fixed_shape()
    with pytest.raises(PreconditionError) as info:
        fixed.reset()
    assert_precondition(info, RESET_FIXED, "!this->m_IsFixedShape || this->size() == 0",
                        "core/array/Array1D.inl")


def test_bind_to_another_element_size_is_refused():
    array = Array.empty("int32", 1)
    with pytest.raises(PreconditionError) as info:
        array.bind(Array(np.ones(2)))
    assert_precondition(
        info,
        "\nArray implementation have a different element type (or tuple size).\n"
        "Element size for Array: 4\nElement size for Array Implementation: 8.",
        "p_ArrayImplementation->element_size() == sizeof(value_type)", "core/array/Array1D.inl")


def test_resize_without_storage_only_sets_the_size():
    array = Array.empty("int8", 1)
    array.resize(7)
    assert array.size == 7 and not array.is_bound


def test_three_dimensional_refresh():
    cube = Array.zeros("int32", (2, 3, 4))
    cube.resize_storage(30)
    assert cube.shape == (2, 3, 5)
    with pytest.raises(PreconditionError) as info:
        cube.resize_storage(31)
    assert_precondition(
        info, "Trying to resize a 3D array to a size that is not multiple to its dimensions.",
        "this->size() % m_NI_times_NJ == 0", "core/array/Array3D.inl")
    cube = Array.zeros("int32", (2, 3, 4))
    cube.resize((4, 1, 2))
    assert cube.shape == (4, 1, 2) and cube.size == 8


def test_two_dimensional_refresh():
    grid = Array.zeros("float64", (3, 2))
    grid.resize(12)
    assert grid.shape == (3, 4)
    with pytest.raises(PreconditionError) as info:
        grid.resize(13)
    assert_precondition(
        info, "Trying to resize a 2D array to a size that is not multiple to its dimensions.",
        "this->size() % m_shape[I] == 0", "core/array/Array2D.inl")


def test_resize_storage_checks_the_maximum():
    array = Array(np.zeros(2, np.uint8))
    with pytest.raises(PreconditionError) as info:
        array.resize_storage(4294967040)
    assert_precondition(info, "Trying to resize array to invalid size: 4294967040 elements.\n"
                        "Maximum size is: 4294967039\n", "p_NewSize <= this->max_size()",
                        "core/array/IArrayImpl.inl")
    assert array.size == 2
    with pytest.raises(ValueError):
        Array.empty("int32", 1).resize_storage(3)


def test_negate_and_scale():
    ints = Array(np.array([3, -3], dtype=np.int32))
    ints.scale(0.5)
    np.testing.assert_array_equal(ints.to_numpy(), [1, -1])
    ints.negate()
    np.testing.assert_array_equal(ints.to_numpy(), [-1, 1])
    tuples = Array(np.array([[1.0, -2.0]]), tuple_size=2)
    tuples.negate()
    np.testing.assert_array_equal(tuples.to_numpy(), [[-1.0, 2.0]])
    flags = Array(np.array([True, False]))
    flags.scale(0.5)
    np.testing.assert_array_equal(flags.to_numpy(), [True, False])


def test_negate_of_unsigned_fails_also_when_empty():
    message = "Error: trying to negate an unsigned array or an array that is not scalar."
    for array in (Array.empty("uint32", 1), Array(np.ones(2, np.uint8)),
                  Array(np.ones((2, 2), np.uint16), tuple_size=2), Array(np.ones(2, bool))):
        with pytest.raises(PreconditionError) as info:
            array.negate()
        assert_precondition(info, message, "is_not_unsigned<T_>::value",
                            "core/array/Array1D.inl")


def test_scale_of_tuples_fails_also_when_empty():
    with pytest.raises(PreconditionError) as info:
        Array.empty("float32", 1, tuple_size=2).scale(2.0)
    assert_precondition(info, "Error: trying to scale an array that is not scalar.",
                        "is_scalar_type<T_>::value", "core/array/Array1D.inl")


def test_equality_across_ranks_and_types():
    values = np.arange(8, dtype=np.int32)
    line = Array(values)
    cube = Array(values.reshape(2, 2, 2, order="F"))
    assert line == cube and cube == line and not (line != cube)
    assert line != Array(values[::-1].copy())
    assert line != Array(values.astype(np.uint32))
    assert line != Array(values[:4])
    assert line == line.share()
    assert (line == "text") is False
    assert line != 5


def test_exported_names():
    assert kelvara.Array is kelvara._ostrel.Array
    assert Array.__doc__ and Array.to_numpy.__doc__

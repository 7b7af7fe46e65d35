"""Grid functions, handle mappers and reservoir topologies from Python, checked against NumPy."""

import numpy as np
import pytest

from kelvara import (Array, AvailabilityError, GridFunction, HandleMapper, PreconditionError,
                     ReservoirSelectionTopology, ReservoirTopology)

GEN = "core/grid_function/GenGridFunction"
HISTOGRAM = "core/algorithm/CreateHistogram"
NOT_SELECTED = 4294967295


def wrong_handle(passed, name, accepted):
    return ("\nTrying to access a grid function with the wrong handle type.\n"
            f"Handle passed: {passed} ({name})\nAccepted handles: ({accepted})\n")


def check_error(info, message, expression, file):
    error = info.value
    assert error.message == message
    assert error.expression == expression
    assert error.file == file


def select(mask):
    ni, nj, nk = mask.shape
    topology = ReservoirTopology(ni, nj, nk)
    return topology, ReservoirSelectionTopology(topology, Array(mask.astype(np.uint8)))


# Grid functions ---------------------------------------------------------------------------------

def test_grid_function_over_an_array_reads_and_writes_by_handle():
    values = np.arange(24, dtype=np.float64).reshape(2, 3, 4)
    function = GridFunction(Array(values))
    assert function.accepted_handles == 5
    assert function.number_of_elements == 24
    assert function.result_scalar_type == "float64" and function.result_shape == (1, 1)
    assert function.value((1, 2, 3)) == values[1, 2, 3]
    assert function.value(1 + 2 * 2 + 3 * 6) == values[1, 2, 3]
    function.set_value((0, 1, 0), 7.5)
    assert function.as_float64((0, 1, 0)) == 7.5
    function.set_float64(0, -2.75)
    assert function.as_int32(0) == -2 and function.as_bool(0) is True
    # The function shares the array's storage.
    assert function.array.to_numpy()[0, 1, 0] == 7.5
    assert function.has_array and function.location == 1


def test_wrong_handle_shape_names_the_accepted_ones():
    function = GridFunction(Array(np.zeros((2, 2, 2), dtype=np.uint32)))
    with pytest.raises(PreconditionError) as info:
        function.value((0, 1))
    check_error(info, wrong_handle("[0, 1]", "Handle2", "Handle1, Handle3"),
                "accepts<HandleType_>::value", GEN)
    flat = GridFunction(Array(np.zeros(8, dtype=np.int32)))
    with pytest.raises(PreconditionError) as info:
        flat.as_float64((0, 0, 0))
    check_error(info, wrong_handle("[0, 0, 0]", "Handle3", "Handle1"),
                "accepts<HandleType_>::value", GEN)


def test_unsigned_values_widen_as_unsigned():
    function = GridFunction(Array(np.array([4294967295], dtype=np.uint32)))
    assert function.as_float64(0) == 4294967295.0
    assert function.value(0) == 4294967295


def test_tuples_convert_to_no_scalar():
    function = GridFunction(Array(np.ones((2, 3)), tuple_size=3))
    assert function.value(1) == (1.0, 1.0, 1.0)
    assert function.result_shape == (3, 1)
    with pytest.raises(PreconditionError) as info:
        function.as_int32(0)
    assert info.value.message.endswith(") is not convertible to int32.")
    assert info.value.message.startswith("Actual value_type (ostrel::mtm::RigidVector<3u, double>")
    with pytest.raises(PreconditionError) as info:
        function.set_float64(0, 1.0)
    assert info.value.file == "core/grid_function/GenWritableGridFunction"
    function.set_value(0, (4, 5, 6))
    assert function.value(0) == (4.0, 5.0, 6.0)


def test_constants_copies_and_description():
    one = GridFunction.always_one()
    assert one.number_of_elements == 4294967295
    assert "  Number of Elements: (infinity)\n" in one.to_string()
    assert one.describe("# ").startswith("# GridFunction\n#   Name: (anonymous)\n")
    assert one.value((1, 2, 3, 4)) == 1 and one.accepted_handles == 15
    assert GridFunction.constant_true().value(5) is True
    with pytest.raises(PreconditionError) as info:
        one.set_float64(0, 2.0)
    check_error(info, "Can't set values on this grid function, because is not Writable!", "0", GEN)
    with pytest.raises(PreconditionError) as info:
        one.array
    check_error(info, "Can't get array: this Grid Function does not hold an array.", "arr", GEN)
    with pytest.raises(AvailabilityError) as info:
        one.change_location(0)
    assert info.value.message.endswith(
        " is not available for " + one.type_name + "\nCan't change this GridFunction location.")
    assert info.value.file == "core/grid_function/IGridFunction"

    function = GridFunction(Array(np.array([1.0, 2.0])))
    shared, deep = function.copy(), function.deep_copy()
    function.set_value(0, 9.0)
    assert shared.value(0) == 9.0 and deep.value(0) == 1.0
    assert function.create_empty().type_name == function.type_name


def test_handles_out_of_range_are_refused_like_wrong_types():
    function = GridFunction(Array(np.zeros((2, 2, 2))))
    with pytest.raises(TypeError):
        function.value((70000, 0, 0))
    with pytest.raises(TypeError):
        function.value(-1)
    with pytest.raises(TypeError):
        function.value((1, 2, 3, 4, 5))
    with pytest.raises(TypeError):
        GridFunction(Array(np.zeros(3, dtype=np.uint64)))


# Handle mappers ---------------------------------------------------------------------------------

def test_pass_mapper_gives_handles_back_and_knows_nothing_else():
    mapper = HandleMapper.passthrough()
    assert mapper.map(5, 1) == 5
    assert mapper.map((1, 2), 2) == (1, 2)
    assert mapper.map((1, 2, 3), 3) == (1, 2, 3)
    assert mapper.map((1, 2, 3, 4), 4) == (1, 2, 3, 4)
    assert mapper.array is None
    with pytest.raises(PreconditionError) as info:
        mapper.map((1, 2, 3), 1)
    check_error(info, "Mapper don't know how to map, etc, etc, etc", "0",
                "core/mapper/IHandleMapper")


def test_selection_mappers_on_two_by_two():
    mask = np.ones((2, 2, 1), dtype=np.uint8)
    mask[1, 1, 0] = 0
    _, selection = select(mask)
    assert selection.original_to_selection.map((1, 1, 0), 1) == NOT_SELECTED
    assert selection.selection_to_original.map(2, 3) == (0, 1, 0)
    assert selection.selection_to_original.map(2, 1) == 2
    np.testing.assert_array_equal(selection.original_to_selection.array.to_numpy()[:, :, 0],
                                  [[0, 2], [1, NOT_SELECTED]])


# Topologies -------------------------------------------------------------------------------------

def test_box_counts_walks_and_refusals():
    topology = ReservoirTopology(0, 5, 5)
    assert topology.cell_count == 0
    cells = topology.cells()
    assert len(cells) == 25 and all(cell[0] == 0 for cell in cells)
    one = ReservoirTopology(1, 1, 1)
    assert (one.cell_count, one.vertex_count, one.edge_count, one.face_count) == (1, 8, 12, 6)
    assert one.cell_shape == (1, 1, 1) and one.vertex_shape == (1, 1, 1, 8)
    assert [one.accepted_handles(location) for location in range(5)] == [5, 5, 5, 5, 1]
    vertices = ReservoirTopology(2, 1, 1).vertices()
    assert vertices[:9] == [(0, 0, 0, c) for c in range(8)] + [(1, 0, 0, 0)]
    with pytest.raises(AvailabilityError) as info:
        one.get_elements_on(1, (0, 0, 0), 0)
    assert info.value.message.endswith(" is not implemented yet for ostrel::varnok::ReservoirTopology")
    assert info.value.file == "varnok/topology/ReservoirTopology"
    with pytest.raises(AvailabilityError):
        one.get_adjacents_of(1, 0, 0, 1)
    assert one.actives.value((0, 0, 0)) is True


def test_selection_edge_cases():
    _, nothing = select(np.zeros((3, 2, 2)))
    assert nothing.cell_count == 0 and nothing.cells() == [] and nothing.vertices() == []
    assert nothing.selection_to_original.array.size == 0
    _, full = select(np.ones((2, 2, 1)))
    assert [full.original_to_selection.map(n, 1) for n in range(4)] == [0, 1, 2, 3]
    assert full.neighbour_mask(0) == 10
    mask = np.ones((2, 2, 1))
    mask[1, 0, 0] = 0
    _, gap = select(mask)
    assert gap.get_adjacent_cells(0, 1) == [] and gap.neighbour_mask(0) & 2 == 0
    assert gap.get_adjacent_cells(0, 3, flags=0) == []
    with pytest.raises(IndexError):
        gap.get_adjacent_cells(3, 0)
    assert gap.actives.value((1, 0, 0)) is False and gap.actives.value((0, 0, 0)) is True


def test_connections_of_a_selection():
    topology = ReservoirTopology(3, 1, 2)
    topology.set_lateral_connections(np.array([[0, 1], [1, 2], [0, 2]]))
    topology.set_vertical_connections(np.array([[0, 3]]))
    mask = np.ones((3, 1, 2), dtype=np.uint8)
    mask[1, 0, 0] = 0
    selection = ReservoirSelectionTopology(topology, Array(mask))
    # Pairs with the unselected cell 1 are skipped; the pair two apart is kept but never found.
    np.testing.assert_array_equal(selection.lateral_connections, [[0, 1]])
    assert selection.get_adjacent_cells(0, 1, flags=2) == []
    assert selection.get_adjacent_cells(0, 5, flags=4) == [2]
    assert selection.get_adjacent_cells(2, 4, flags=5) == [0, 0]
    np.testing.assert_array_equal(selection.vertical_connections, [[0, 2]])
    with pytest.raises(ValueError):
        topology.set_lateral_connections(np.array([[0, 6]]))


def test_shared_vertices_of_a_selection():
    topology = ReservoirTopology(2, 1, 1)
    corners = np.array([[[[0, 1, 2, 3, 4, 5, 6, 7]]], [[[1, 8, 3, 9, 5, 10, 7, 11]]]],
                       dtype=np.uint32)
    topology.set_shared_vertices(Array(corners, tuple_size=8))
    assert topology.has_shared_vertex_information
    _, selection = None, ReservoirSelectionTopology(topology, Array(np.ones((2, 1, 1), np.uint8)))
    assert selection.shared_vertex_count == 12
    assert selection.vertex_cells(1) == [1, 8]
    assert selection.vertex_cells(11) == [15]


# Arrays and histograms --------------------------------------------------------------------------

def test_create_array_shares_storage_on_the_default_factory():
    array = Array(np.arange(6, dtype=np.int32).reshape(3, 2, 1))
    function = GridFunction(array)
    result = ReservoirTopology(3, 2, 1).create_array(function)
    assert result.shares_storage(array)
    ones = ReservoirTopology(2, 1, 1).create_array(GridFunction.always_one())
    np.testing.assert_array_equal(ones.to_numpy(), np.ones((2, 1, 1)))
    with pytest.raises(PreconditionError) as info:
        ReservoirTopology(1, 1, 1).create_array(GridFunction.constant_true())
    assert info.value.message.startswith(
        "Can not convert this grid function, because there is no conversion registered for its "
        "type: ")


def test_histogram_edges_and_failures():
    topology = ReservoirTopology(3, 1, 1)
    function = GridFunction(Array(np.array([0.0, 5.0, 10.0]).reshape(3, 1, 1)))
    closed = topology.create_histogram(function, 0, 10, 2, closed=True).to_numpy()
    np.testing.assert_array_equal(closed, [0, 1, 2, 0])
    opened = function.create_histogram(topology, 0, 10, 2).to_numpy()
    np.testing.assert_array_equal(opened, [0, 1, 1, 1])
    four = GridFunction(Array(np.array([3.999, 0.0]).reshape(2, 1, 1)))
    np.testing.assert_array_equal(
        ReservoirTopology(2, 1, 1).create_histogram(four, 0, 4, 4).to_numpy(), [0, 1, 0, 0, 1, 0])
    with pytest.raises(PreconditionError) as info:
        topology.create_histogram(function, 0, 1, 0)
    check_error(info, "Must have at least 1 bin for histogram.", "p_bins >= 1", HISTOGRAM)
    function.location = 2
    with pytest.raises(PreconditionError) as info:
        topology.create_histogram(function, 0, 1, 1)
    check_error(info, "Grid function location not supported on create_histogram.", "0", HISTOGRAM)
    function.location = 1
    weight = GridFunction(Array(np.ones((3, 1, 1))))
    weight.location = 0
    with pytest.raises(PreconditionError) as info:
        topology.create_histogram(function, 0, 1, 1, weight)
    assert info.value.message.endswith("(onCell).")


# Cross-check on random masks --------------------------------------------------------------------

def clustered_mask(rng, shape, fraction):
    noise = rng.random(shape)
    for axis in range(3):
        noise = (noise + np.roll(noise, 1, axis) + np.roll(noise, -1, axis)) / 3
    return noise > np.quantile(noise, 1 - fraction)


FACES = [(0, -1), (0, 1), (1, -1), (1, 1), (2, -1), (2, 1)]


def numpy_neighbours(mask, axis, step):
    """For each cell, whether the neighbour one step along axis is inside and selected."""
    shifted = np.zeros_like(mask)
    inner = [slice(None)] * 3
    outer = [slice(None)] * 3
    if step > 0:
        inner[axis], outer[axis] = slice(0, -1), slice(1, None)
    else:
        inner[axis], outer[axis] = slice(1, None), slice(0, -1)
    shifted[tuple(inner)] = mask[tuple(outer)]
    return shifted


@pytest.mark.parametrize("shape,fraction,seed", [((50, 40, 30), 0.6, 1), ((7, 5, 3), 0.5, 2),
                                                 ((1, 13, 4), 0.3, 3), ((9, 1, 1), 0.7, 4)])
def test_selection_against_numpy(shape, fraction, seed):
    rng = np.random.default_rng(seed)
    mask = clustered_mask(rng, shape, fraction)
    topology, selection = select(mask)
    flat = mask.ravel(order="F")
    n = int(flat.sum())
    assert selection.cell_count == n

    # Dense numbering in cell order (i fastest) and both mappers.
    numbers = np.where(flat, np.cumsum(flat) - 1, NOT_SELECTED).astype(np.uint32)
    o2s = selection.original_to_selection.array.to_numpy()
    np.testing.assert_array_equal(o2s.ravel(order="F"), numbers)
    positions = np.stack(np.unravel_index(np.flatnonzero(flat), shape, order="F"), axis=1)
    s2o = selection.selection_to_original.array.to_numpy()
    np.testing.assert_array_equal(s2o, positions)

    # Neighbour masks.
    expected_masks = np.zeros(shape, dtype=np.uint8)
    for face, (axis, step) in enumerate(FACES):
        expected_masks |= (numpy_neighbours(mask, axis, step).astype(np.uint8) << face)
    expected_masks = expected_masks.ravel(order="F")[flat]
    rng_cells = rng.choice(n, size=min(n, 1500), replace=False)
    for cell in rng_cells:
        assert selection.neighbour_mask(int(cell)) == expected_masks[cell]
        i, j, k = positions[cell]
        assert selection.original_to_selection.map((int(i), int(j), int(k)), 1) == cell
        assert selection.selection_to_original.map(int(cell), 3) == (i, j, k)
        for face, (axis, step) in enumerate(FACES):
            other = [i, j, k]
            other[axis] += step
            expected = []
            if 0 <= other[axis] < shape[axis] and mask[tuple(other)]:
                expected = [int(numbers[np.ravel_multi_index(other, shape, order="F")])]
            assert selection.get_adjacent_cells(int(cell), face) == expected

    # Histogram of a property with a weight, over the box and over the active cells.
    values = rng.normal(size=shape)
    weights = rng.random(shape)
    prop = GridFunction(Array(values))
    pore_volume = GridFunction(Array(weights))
    low, high, bins = -1.5, 2.0, 17
    counts, _ = np.histogram(values, bins=bins, range=(low, high), weights=weights)
    result = topology.create_histogram(prop, low, high, bins, pore_volume, closed=True).to_numpy()
    np.testing.assert_allclose(result[1:-1], counts)
    np.testing.assert_allclose(result[0], weights[values < low].sum())
    np.testing.assert_allclose(result[-1], weights[values > high].sum())

    active = selection.create_histogram(selection.view(prop), low, high, bins,
                                        selection.view(pore_volume), closed=True).to_numpy()
    counts, _ = np.histogram(values[mask], bins=bins, range=(low, high), weights=weights[mask])
    np.testing.assert_allclose(active[1:-1], counts)
    np.testing.assert_allclose(active[0], weights[mask & (values < low)].sum())
    np.testing.assert_allclose(active[-1], weights[mask & (values > high)].sum())

    # Arrays of views through the selection are NumPy's fancy indexing in cell order.
    picked = selection.create_array(selection.view(prop)).to_numpy()
    np.testing.assert_array_equal(picked, values.ravel(order="F")[flat])


def test_flags_as_a_grid_function_and_what_a_selection_refuses():
    mask = np.array([1, 0, 1, 1], dtype=np.uint8).reshape(2, 2, 1)
    topology = ReservoirTopology(2, 2, 1)
    selection = ReservoirSelectionTopology(topology, GridFunction(Array(mask)))
    assert selection.cell_count == 3 and selection.topology.cell_count == 4
    assert selection.cells() == [0, 1, 2]
    assert selection.vertices()[8] == (1, 0)
    assert selection.cell_shape == (3,) and selection.vertex_shape == (3, 8)
    assert selection.grid_shape == (2, 2, 1)
    assert selection.lateral_connections is None and selection.shared_vertex_count == 0
    with pytest.raises(ValueError):
        ReservoirSelectionTopology(topology, Array(np.ones((2, 1, 1), dtype=np.uint8)))
    with pytest.raises(TypeError):
        ReservoirSelectionTopology(topology, Array(np.ones((2, 2, 1), dtype=np.int32)))
    with pytest.raises(TypeError):
        selection.view(GridFunction(Array(np.ones(4))))
    with pytest.raises(IndexError):
        selection.get_adjacent_cells(0, 6)
    # A view is read by selected cell number only, and cannot be written.
    view = selection.view(GridFunction(Array(np.arange(4, dtype=np.int16).reshape(2, 2, 1))))
    assert [view.value(n) for n in range(3)] == [0, 2, 3]
    assert view.accepted_handles == 1 and view.number_of_elements == 3
    with pytest.raises(PreconditionError) as info:
        view.set_value(0, 5)
    check_error(info, "Can't set values on this grid function, because is not Writable!", "0", GEN)
    np.testing.assert_array_equal(selection.create_array(view).to_numpy(), [0, 2, 3])
    # A histogram over the corners of the selection counts 8 per cell.
    corners = GridFunction.always_one()
    corners.location = 0
    np.testing.assert_array_equal(selection.create_histogram(corners, 0, 2, 2).to_numpy(),
                                  [0, 0, 24, 0])


def test_set_array_binds_and_keeps_the_leading_extents():
    function = GridFunction(Array(np.arange(1, 5, dtype=np.int32).reshape(4, 1, 1)))
    other = Array(np.array([10, 20, 30, 40], dtype=np.int32).reshape(2, 2, 1, order="F"))
    function.set_array(other)
    held = function.array
    assert held.shape == (4, 1, 1) and other.shape == (2, 2, 1)
    assert held.shares_storage(other) and other.use_count >= 2
    # The values in storage order: other's (i, j) = (1, 0) is the second element.
    assert [function.value((i, 0, 0)) for i in range(4)] == [10, 20, 30, 40]
    other.negate()
    assert function.value((3, 0, 0)) == -40

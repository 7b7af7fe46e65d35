// kelvara.Array: every instance of the core's Array<T,N> as one Python class, bound through the
// run-time interface IArray. Element type, tuple length and rank are picked once per call; data
// cross between NumPy and the core's storage in one copy.
#include <pybind11/numpy.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bindings/Common.h"
#include "bindings/ostrel/Registration.h"
#include "core/array/ArrayByType.h"
#include "core/array/IArrayImpl.h"

namespace kelvara::bindings {

namespace {

using ostrel::core::ArrayShape;
using ostrel::core::IArray;
using ostrel::core::IArrayImpl;
using ostrel::core::ScalarType;
using ArrayPtr = std::shared_ptr<IArray>;

py::module_ numpy() { return py::module_::import("numpy"); }

// The core's scalar type of a NumPy dtype; stNotAScalar when the core has none.
ScalarType ScalarOf(const py::dtype& p_dtype) {
    const auto size = p_dtype.itemsize();
    switch (p_dtype.kind()) {
        case 'f':
            return size == 4   ? ostrel::core::stFloat32
                   : size == 8 ? ostrel::core::stFloat64
                               : ostrel::core::stNotAScalar;
        case 'i':
            return size == 1   ? ostrel::core::stInt8
                   : size == 2 ? ostrel::core::stInt16
                   : size == 4 ? ostrel::core::stInt32
                   : size == 8 ? ostrel::core::stInt64
                               : ostrel::core::stNotAScalar;
        case 'u':
            return size == 1   ? ostrel::core::stUInt8
                   : size == 2 ? ostrel::core::stUInt16
                   : size == 4 ? ostrel::core::stUInt32
                   : size == 8 ? ostrel::core::stUInt64
                               : ostrel::core::stNotAScalar;
        case 'b':
            return size == 1 ? ostrel::core::stBool : ostrel::core::stNotAScalar;
        default:
            return ostrel::core::stNotAScalar;
    }
}

// The NumPy dtype of a scalar type: the core's names are NumPy's.
py::dtype DtypeOf(ScalarType p_type) { return py::dtype(ostrel::core::scalar_type_name(p_type)); }

py::dtype ToDtype(py::handle p_dtype) {
    return py::reinterpret_borrow<py::dtype>(numpy().attr("dtype")(p_dtype));
}

ScalarType RequireScalar(const py::dtype& p_dtype) {
    const ScalarType type = ScalarOf(p_dtype);
    if (type == ostrel::core::stNotAScalar) {
        throw py::type_error("Array has no instance for dtype " + std::string(py::str(p_dtype)));
    }
    return type;
}

void RequireInstance(ScalarType p_type, unsigned int p_tuple_size, unsigned int p_rank) {
    if (!ostrel::core::has_array_instance(p_type, p_tuple_size, p_rank)) {
        throw py::type_error(
            "Array has no instance for " + std::string(ostrel::core::scalar_type_name(p_type)) +
            ", rank " + std::to_string(p_rank) + ", tuple size " + std::to_string(p_tuple_size));
    }
}

// The extents of a requested shape, checked against the limits of the rank (16 bits an axis for
// rank 3, a 32-bit count for all).
void CheckExtents(const std::vector<py::ssize_t>& p_extents, unsigned int p_element_size,
                  unsigned int p_extent_out[3]) {
    unsigned long long count = 1;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const py::ssize_t extent = axis < p_extents.size() ? p_extents[axis] : 0;
        if (extent < 0) throw py::value_error("Array extents must not be negative");
        if (p_extents.size() == 3 && extent > 65535) {
            throw py::value_error("a rank-3 Array has at most 65535 cells on each axis");
        }
        p_extent_out[axis] = static_cast<unsigned int>(std::min<py::ssize_t>(extent, 0xffffffff));
        if (axis < p_extents.size()) count *= static_cast<unsigned long long>(extent);
    }
    if (count > 4294967039ull / p_element_size) {
        throw py::value_error("Array would hold " + std::to_string(count) +
                              " elements, more than its storage can");
    }
}

// The axes that turn an array in storage order (first index fastest, tuple components
// innermost) into the C order of NumPy: the rank's axes reversed, the tuple axis last.
py::tuple StorageAxes(unsigned int p_rank, bool p_tuple) {
    py::tuple axes(p_rank + (p_tuple ? 1 : 0));
    for (unsigned int axis = 0; axis < p_rank; ++axis) axes[axis] = p_rank - 1 - axis;
    if (p_tuple) axes[p_rank] = p_rank;
    return axes;
}

// A NumPy view of p_count elements at p_data, laid out as the storage of an array of the given
// extents: its element [i, j, k] (and [..., c] for a tuple) is the array's element (i, j, k).
py::array StorageView(void* p_data, const py::dtype& p_dtype, unsigned int p_rank,
                      const unsigned int p_extents[3], unsigned int p_tuple_size,
                      py::handle p_owner) {
    const bool tuple = p_tuple_size > 1;
    std::vector<py::ssize_t> reversed;
    for (unsigned int axis = p_rank; axis-- > 0;) reversed.push_back(p_extents[axis]);
    if (tuple) reversed.push_back(p_tuple_size);
    py::array flat(p_dtype, reversed, std::vector<py::ssize_t>{}, p_data, p_owner);
    return flat.attr("transpose")(StorageAxes(p_rank, tuple));
}

// The extents of an array as NumPy sees them; rank 3 arrays report their three extents.
void Extents(const IArray& p_array, unsigned int p_extents[3]) {
    ostrel::core::array_extents(p_array, p_extents);
}

ArrayPtr FromValues(py::handle p_values, unsigned int p_tuple_size) {
    py::array values = numpy().attr("asarray")(p_values);
    if (!values.dtype().attr("isnative").cast<bool>()) {
        values = values.attr("astype")(values.dtype().attr("newbyteorder")("="));
    }
    const ScalarType type = RequireScalar(values.dtype());
    if (p_tuple_size == 0) throw py::value_error("tuple_size must be 1 or more");
    const auto ndim = static_cast<unsigned int>(values.ndim());
    const bool tuple = p_tuple_size > 1;
    if (ndim == 0 || (tuple && ndim < 2)) {
        throw py::type_error("Array needs values of rank 1 to 3" +
                             std::string(tuple ? ", plus the tuple axis" : ""));
    }
    const unsigned int rank = tuple ? ndim - 1 : ndim;
    RequireInstance(type, p_tuple_size, rank);
    if (tuple && values.shape(ndim - 1) != static_cast<py::ssize_t>(p_tuple_size)) {
        throw py::value_error("the last axis of the values must hold tuple_size (" +
                              std::to_string(p_tuple_size) + ") components");
    }
    std::vector<py::ssize_t> requested(values.shape(), values.shape() + rank);
    unsigned int extents[3];
    const unsigned int element_size = static_cast<unsigned int>(values.itemsize()) * p_tuple_size;
    CheckExtents(requested, element_size, extents);
    unsigned long long count = 1;
    for (unsigned int axis = 0; axis < rank; ++axis) count *= extents[axis];

    // Values already in storage order are copied once into new storage; any other layout is
    // copied once by NumPy into zeroed storage.
    py::array ordered = values.attr("transpose")(StorageAxes(rank, tuple));
    std::shared_ptr<IArrayImpl> storage;
    if (ordered.attr("flags").attr("c_contiguous").cast<bool>()) {
        storage = ostrel::core::make_storage_copy(type, p_tuple_size, ordered.data(),
                                                  static_cast<unsigned int>(count));
    } else {
        storage = ostrel::core::make_storage(type, p_tuple_size, static_cast<unsigned int>(count));
        if (storage) {
            ArrayShape shape;
            void* data = storage->data(shape);
            if (data != nullptr) {
                numpy().attr("copyto")(
                    StorageView(data, values.dtype(), rank, extents, p_tuple_size, py::none()),
                    values);
            }
        }
    }
    if (!storage) {
        // No storage holds this element type: the default factory says so in its words.
        return ostrel::core::make_array_from_factory(*ostrel::core::default_array_factory(), type,
                                                     p_tuple_size, rank, extents);
    }
    return ostrel::core::make_array_on(storage, type, p_tuple_size, rank, extents);
}

ArrayPtr Empty(py::handle p_dtype, unsigned int p_rank, unsigned int p_tuple_size) {
    const ScalarType type = RequireScalar(ToDtype(p_dtype));
    RequireInstance(type, p_tuple_size, p_rank);
    return ostrel::core::make_unbound_array(type, p_tuple_size, p_rank);
}

// A size or a sequence of extents, as integers.
std::vector<long long> Integers(py::handle p_shape) {
    if (py::isinstance<py::int_>(p_shape)) return {p_shape.cast<long long>()};
    if (!py::isinstance<py::sequence>(p_shape) || py::isinstance<py::str>(p_shape)) {
        throw py::type_error("expected an int or a sequence of ints");
    }
    std::vector<long long> result;
    for (py::handle item : py::reinterpret_borrow<py::sequence>(p_shape)) {
        result.push_back(item.cast<long long>());
    }
    return result;
}

std::vector<py::ssize_t> ShapeArgument(py::handle p_shape) {
    const std::vector<long long> values = Integers(p_shape);
    return std::vector<py::ssize_t>(values.begin(), values.end());
}

ArrayPtr Zeros(py::handle p_dtype, py::handle p_shape, unsigned int p_tuple_size) {
    const py::dtype dtype = ToDtype(p_dtype);
    const ScalarType type = RequireScalar(dtype);
    const std::vector<py::ssize_t> requested = ShapeArgument(p_shape);
    const auto rank = static_cast<unsigned int>(requested.size());
    RequireInstance(type, p_tuple_size, rank);
    unsigned int extents[3];
    CheckExtents(requested, static_cast<unsigned int>(dtype.itemsize()) * p_tuple_size, extents);
    return ostrel::core::make_array_from_factory(*ostrel::core::default_array_factory(), type,
                                                 p_tuple_size, rank, extents);
}

py::array ToNumpy(IArray& p_array) {
    const unsigned int rank = p_array.dimensions();
    const unsigned int tuple_size = p_array.element_shape()[0];
    const py::dtype dtype = DtypeOf(p_array.scalar_type());
    unsigned int extents[3];
    Extents(p_array, extents);
    const std::size_t bytes = static_cast<std::size_t>(p_array.size()) * tuple_size *
                              static_cast<std::size_t>(dtype.itemsize());
    // One flat buffer of the elements in storage order, then a view with the array's axes.
    py::array flat(dtype, std::vector<py::ssize_t>{static_cast<py::ssize_t>(
                              static_cast<std::size_t>(p_array.size()) * tuple_size)});
    const void* source = p_array.data();
    if (bytes != 0 && source != nullptr) std::memcpy(flat.mutable_data(), source, bytes);
    if (rank == 1 && tuple_size == 1) return flat;
    return StorageView(flat.mutable_data(), dtype, rank, extents, tuple_size, flat);
}

py::tuple Shape(const IArray& p_array) {
    unsigned int extents[3];
    Extents(p_array, extents);
    py::tuple result(p_array.dimensions());
    for (unsigned int axis = 0; axis < p_array.dimensions(); ++axis) result[axis] = extents[axis];
    return result;
}

void Resize(IArray& p_array, py::handle p_size) {
    if (py::isinstance<py::int_>(p_size)) {
        const auto size = p_size.cast<long long>();
        if (size < 0 || size > 0xffffffffll) throw py::value_error("Array size out of range");
        ostrel::core::resize_flat(p_array, static_cast<unsigned int>(size));
        return;
    }
    const std::vector<long long> shape = Integers(p_size);
    if (shape.size() != 3 || p_array.dimensions() != 3) {
        throw py::type_error("resize takes a size, or a shape (ni, nj, nk) for a rank-3 Array");
    }
    for (long long extent : shape) {
        if (extent < 0 || extent > 65535) {
            throw py::value_error("a rank-3 Array has at most 65535 cells on each axis");
        }
    }
    ostrel::core::resize_with_shape(p_array,
                                    ostrel::core::Handle3{{static_cast<unsigned short>(shape[0]),
                                                           static_cast<unsigned short>(shape[1]),
                                                           static_cast<unsigned short>(shape[2])}});
}

void ResizeStorage(IArray& p_array, long long p_size) {
    auto storage = p_array.implementation();
    if (!storage) throw py::value_error("the Array has no storage");
    if (p_size < 0 || p_size > 0xffffffffll) throw py::value_error("Array size out of range");
    storage->resize(static_cast<unsigned int>(p_size));
}

py::object Compare(IArray& p_array, py::handle p_other, bool p_equal) {
    py::detail::make_caster<IArray> caster;
    if (!caster.load(p_other, false)) return py::reinterpret_borrow<py::object>(Py_NotImplemented);
    const IArray& other = py::detail::cast_op<const IArray&>(caster);
    return py::bool_(p_equal ? p_array == other : p_array != other);
}

std::string Repr(const IArray& p_array) {
    std::string shape = py::str(Shape(p_array));
    return "Array(" + std::string(ostrel::core::scalar_type_name(p_array.scalar_type())) +
           ", shape=" + shape + ", tuple_size=" + std::to_string(p_array.element_shape()[0]) +
           (p_array.implementation() ? "" : ", unbound") + ")";
}

}  // namespace

void RegisterArrays(py::module_& m) {
    py::class_<IArray, ArrayPtr>(
        m, "Array",
        "A typed array of the numeric core: storage shared between the arrays that view it, a\n"
        "rank of 1 to 3 (the first index runs fastest) and an element that is a scalar or a\n"
        "tuple of tuple_size scalars. Arrays that share storage see each other's changes.")
        .def(py::init(&FromValues), py::arg("values"), py::arg("tuple_size") = 1,
             "A copy of values (anything numpy.asarray takes) in new storage. The element type\n"
             "follows the dtype; the rank is values.ndim, less one when tuple_size > 1 (the last\n"
             "axis then holds the tuples). Element (i, j, k) is values[i, j, k]. TypeError for a\n"
             "dtype, rank or tuple size with no instance.")
        .def_static("empty", &Empty, py::arg("dtype"), py::arg("rank"), py::arg("tuple_size") = 1,
                    "An unbound array (no storage) of that type and rank.")
        .def_static("zeros", &Zeros, py::arg("dtype"), py::arg("shape"), py::arg("tuple_size") = 1,
                    "An array of zeros made through the default factory; shape is a size or a "
                    "tuple of 1 to 3 extents.")
        .def_property_readonly("dimensions", &IArray::dimensions, "The rank: 1, 2 or 3.")
        .def_property_readonly(
            "scalar_type",
            [](const IArray& p_array) {
                return std::string(ostrel::core::scalar_type_name(p_array.scalar_type()));
            },
            "The element's scalar type: 'float32', 'float64', 'int8', ... 'bool'.")
        .def_property_readonly("size", &IArray::size, "The element count.")
        .def_property_readonly("shape", &Shape, "The extents, one per dimension.")
        .def_property_readonly(
            "element_shape",
            [](const IArray& p_array) {
                const auto shape = p_array.element_shape();
                return py::make_tuple(shape[0], shape[1]);
            },
            "(tuple length, 1); (1, 1) for scalars.")
        .def_property_readonly("use_count", &IArray::use_count,
                               "How many arrays share the storage; 0 without storage.")
        .def_property_readonly("unique", &IArray::unique,
                               "True when the array is the only owner of its storage.")
        .def_property_readonly("is_fixed_shape", &IArray::is_fixed_shape,
                               "True once set_fixed_shape was called.")
        .def_property_readonly(
            "is_bound", [](const IArray& p_array) { return p_array.implementation() != nullptr; },
            "True when the array has storage.")
        .def("resize", &Resize, py::arg("size"),
             "Changes the size (or, for rank 3, the shape (ni, nj, nk)); every array sharing the "
             "storage follows. Without storage only the reported size changes.")
        .def("resize_storage", &ResizeStorage, py::arg("size"),
             "Resizes the storage itself; every array on it refreshes.")
        .def("set_fixed_shape", &IArray::set_fixed_shape,
             "From now on the element count may not change.")
        .def("share", &ostrel::core::share_array, "A new Array on the same storage.")
        .def(
            "bind",
            [](IArray& p_array, const IArray& p_other) {
                p_array.reset(std::const_pointer_cast<IArrayImpl>(p_other.implementation()));
            },
            py::arg("other"), "Binds to the storage of other (unbinds when other has none).")
        .def(
            "reset", [](IArray& p_array) { p_array.reset(); }, "Drops the storage.")
        .def("make_unique", &IArray::make_unique, "Gives the array a copy of its own storage.")
        .def("negate", &IArray::negate, "Negates every element in place.")
        .def("scale", &IArray::scale, py::arg("factor"),
             "Multiplies every element by factor in place.")
        .def(
            "shares_storage",
            [](const IArray& p_array, const IArray& p_other) {
                return p_array.implementation() &&
                       p_array.implementation() == p_other.implementation();
            },
            py::arg("other"), "True when both arrays view the same storage.")
        .def(
            "__eq__",
            [](IArray& p_array, py::handle p_other) { return Compare(p_array, p_other, true); },
            py::is_operator())
        .def(
            "__ne__",
            [](IArray& p_array, py::handle p_other) { return Compare(p_array, p_other, false); },
            py::is_operator())
        .def("to_numpy", &ToNumpy,
             "A NumPy copy: element (i, j, k) at [i, j, k] (Fortran order); a tuple adds a last "
             "axis.")
        .def("__repr__", &Repr);
}

}  // namespace kelvara::bindings

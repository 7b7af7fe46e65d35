#include "bindings/ostrel/PyHandles.h"

#include <limits>
#include <string>

namespace kelvara::bindings {

using namespace ostrel::core;

namespace {

template <class T>
T Coordinate(const py::handle& p_value) {
    if (!py::isinstance<py::int_>(p_value)) {
        throw py::type_error("a handle holds ints, not " +
                             std::string(py::str(py::type::handle_of(p_value).attr("__name__"))));
    }
    const long long value = p_value.cast<long long>();
    if (value < 0 || static_cast<unsigned long long>(value) > std::numeric_limits<T>::max()) {
        throw py::type_error("handle coordinate " + std::to_string(value) +
                             " is out of the range of its type");
    }
    return static_cast<T>(value);
}

template <class H>
H TupleHandle(const py::tuple& p_tuple) {
    H handle;
    for (unsigned i = 0; i < H::size(); ++i) {
        handle[i] = Coordinate<typename H::value_type>(p_tuple[i]);
    }
    return handle;
}

template <class H>
py::tuple TupleOf(const H& p_handle) {
    py::tuple result(H::size());
    for (unsigned i = 0; i < H::size(); ++i) {
        result[i] = py::int_(static_cast<unsigned long>(p_handle[i]));
    }
    return result;
}

}  // namespace

AnyHandle HandleFromPy(const py::handle& p_handle) {
    if (py::isinstance<py::int_>(p_handle)) return AnyHandle(Coordinate<Handle1>(p_handle));
    if (py::isinstance<py::tuple>(p_handle)) {
        const py::tuple tuple = py::reinterpret_borrow<py::tuple>(p_handle);
        switch (tuple.size()) {
            case 2:
                return AnyHandle(TupleHandle<Handle2>(tuple));
            case 3:
                return AnyHandle(TupleHandle<Handle3>(tuple));
            case 4:
                return AnyHandle(TupleHandle<Handle4>(tuple));
            default:
                break;
        }
    }
    throw py::type_error("a handle is an int or a tuple of 2, 3 or 4 ints");
}

py::object HandleToPy(const Handle1& p_handle) { return py::int_(p_handle); }
py::object HandleToPy(const Handle2& p_handle) { return TupleOf(p_handle); }
py::object HandleToPy(const Handle3& p_handle) { return TupleOf(p_handle); }
py::object HandleToPy(const Handle4& p_handle) { return TupleOf(p_handle); }

py::object HandleToPy(const AnyHandle& p_handle) {
    return VisitHandle(p_handle, [](const auto& p_typed) { return HandleToPy(p_typed); });
}

py::tuple ShapeToPy(const ArrayShape& p_shape) {
    switch (p_shape.m_RankCode) {
        case 0:
            return py::make_tuple(p_shape.count());
        case 1:
            return py::make_tuple(p_shape.m_Words[0], p_shape.m_Words[1]);
        case 2:
            return py::make_tuple(p_shape.extent16(0), p_shape.extent16(1), p_shape.extent16(2));
        default:
            return py::make_tuple(p_shape.extent16(0), p_shape.extent16(1), p_shape.extent16(2),
                                  p_shape.extent16(3));
    }
}

}  // namespace kelvara::bindings

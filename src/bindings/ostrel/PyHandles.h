#pragma once

// Handles between Python and the core: an int is a Handle1, a tuple of 2, 3 or 4 ints a Handle2
// (cell, corner), Handle3 (i, j, k) or Handle4 (i, j, k, corner). Values out of a coordinate's
// range are refused like a wrong type.
#include <memory>

#include "bindings/Common.h"
#include "core/array/ArrayShape.h"
#include "core/handle/Handles.h"

namespace kelvara::bindings {

ostrel::core::AnyHandle HandleFromPy(const py::handle& p_handle);
py::object HandleToPy(const ostrel::core::AnyHandle& p_handle);
py::object HandleToPy(const ostrel::core::Handle1& p_handle);
py::object HandleToPy(const ostrel::core::Handle2& p_handle);
py::object HandleToPy(const ostrel::core::Handle3& p_handle);
py::object HandleToPy(const ostrel::core::Handle4& p_handle);

// A shape record as a tuple of its extents (one to four, by rank code).
py::tuple ShapeToPy(const ostrel::core::ArrayShape& p_shape);

// Calls p_visit with the concrete handle that p_handle holds.
template <class Visit>
decltype(auto) VisitHandle(const ostrel::core::AnyHandle& p_handle, Visit&& p_visit) {
    using namespace ostrel::core;
    switch (p_handle.type()) {
        case htHandle1:
            return p_visit(p_handle.get<Handle1>());
        case htHandle2:
            return p_visit(p_handle.get<Handle2>());
        case htHandle3:
            return p_visit(p_handle.get<Handle3>());
        default:
            return p_visit(p_handle.get<Handle4>());
    }
}

}  // namespace kelvara::bindings

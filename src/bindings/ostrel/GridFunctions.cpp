// kelvara.GridFunction: every grid function of the core behind its untyped interface. Values
// come and go through the generic value records, so that one Python class serves every value
// type; construction and typed writes pick the concrete class once per call.
#include <memory>
#include <sstream>
#include <string>

#include "bindings/ostrel/PyGridFunctions.h"
#include "bindings/ostrel/PyHandles.h"
#include "bindings/ostrel/Registration.h"
#include "core/algorithm/DispatchChain.h"
#include "core/array/Array.h"
#include "core/topology/ITopology.h"

namespace kelvara::bindings {

using namespace ostrel::core;
using FunctionPtr = std::shared_ptr<IGridFunction>;

namespace {

template <class S>
py::object ScalarObject(const S& p_value) {
    if constexpr (std::is_same_v<S, bool>) {
        return py::bool_(p_value);
    } else if constexpr (std::is_floating_point_v<S>) {
        return py::float_(static_cast<double>(p_value));
    } else if constexpr (std::is_signed_v<S>) {
        return py::int_(static_cast<long long>(p_value));
    } else {
        return py::int_(static_cast<unsigned long long>(p_value));
    }
}

py::object ValueAt(const IGridFunction& p_function, const AnyHandle& p_handle) {
    const bool scalar = p_function.result_shape()[0] == 1;
    return VisitHandle(p_handle, [&](const auto& p_typed) -> py::object {
        py::object result = py::none();
        if (scalar) {
            const GenericScalarValue value = p_function.scalar_value(p_typed);
            visit_scalar_type(value.type(), [&](auto p_zero) {
                result = ScalarObject(value.template get<decltype(p_zero)>());
            });
            return result;
        }
        const GenericTupleValue value = p_function.tuple_value(p_typed);
        py::tuple components(value.extent(0));
        visit_scalar_type(value.type(), [&](auto p_zero) {
            using S = decltype(p_zero);
            for (unsigned i = 0; i < value.extent(0); ++i) {
                components[i] = ScalarObject(value.template component<S>(i));
            }
        });
        return components;
    });
}

template <class S>
S ScalarFromPy(const py::handle& p_value) {
    py::detail::make_caster<S> caster;
    if (!caster.load(p_value, std::is_floating_point_v<S>)) {
        throw py::type_error("value " + std::string(py::repr(p_value)) + " does not fit " +
                             scalar_type_name(ElementTraits<S>::scalar_type));
    }
    return py::detail::cast_op<S>(caster);
}

template <class T>
T ValueFromPy(const py::handle& p_value) {
    if constexpr (ElementTraits<T>::is_scalar) {
        return ScalarFromPy<T>(p_value);
    } else {
        const py::sequence items = py::reinterpret_borrow<py::sequence>(p_value);
        if (!py::isinstance<py::sequence>(p_value) || items.size() != T::size()) {
            throw py::type_error("the value is a sequence of " + std::to_string(T::size()) +
                                 " numbers");
        }
        T result;
        for (unsigned i = 0; i < T::size(); ++i) {
            result[i] = ScalarFromPy<typename T::value_type>(items[i]);
        }
        return result;
    }
}

// Writes through the typed set_value of an array function; false for any other function.
bool SetTyped(IGridFunction& p_function, const AnyHandle& p_handle, const py::handle& p_value) {
    auto write = [&](const auto& p_typed) {
        using Typed = std::decay_t<decltype(p_typed)>;
        using W = typename Typed::impl_type::write_type;
        auto& writable = const_cast<Typed&>(p_typed);
        const W value = ValueFromPy<W>(p_value);
        VisitHandle(p_handle, [&](const auto& p_h) { writable.set_value(p_h, value); });
    };
    return dispatch_chain<FlatArrayFunction>(p_function, FlatArrayChain{}, write) ||
           dispatch_chain<FullArrayFunction>(p_function, FullArrayChain{}, write);
}

template <template <class> class Wrap, class... Ts>
FunctionPtr FunctionOfArray(const std::shared_ptr<IArray>& p_array, TypeList<Ts...>) {
    FunctionPtr result;
    auto try_one = [&](auto p_tag) {
        using F = typename decltype(p_tag)::type;
        using A = typename F::impl_type::array_type;
        if (const A* typed = dynamic_cast<const A*>(p_array.get())) {
            result = std::make_shared<F>(*typed);
            return true;
        }
        return false;
    };
    (try_one(type_tag<Wrap<Ts>>{}) || ...);
    return result;
}

FunctionPtr MakeFunction(const std::shared_ptr<IArray>& p_array) {
    if (!p_array) throw py::type_error("GridFunction needs an Array");
    // Ranks 2 and 3 are arrays of rank 1 too: the rank picks the function.
    FunctionPtr result;
    if (p_array->dimensions() == 3) {
        result = FunctionOfArray<FullArrayFunction>(p_array, FullArrayChain{});
    } else if (p_array->dimensions() == 1) {
        result = FunctionOfArray<FlatArrayFunction>(p_array, FlatArrayChain{});
    }
    if (!result) {
        throw py::type_error("GridFunction has no instance for an Array of " +
                             std::string(scalar_type_name(p_array->scalar_type())) + ", rank " +
                             std::to_string(p_array->dimensions()) + ", tuple size " +
                             std::to_string(p_array->element_shape()[0]));
    }
    return result;
}

template <class R>
R ReadAs(const IGridFunction& p_function, const py::handle& p_handle,
         R (IGridFunction::*p_h4)(const Handle4&) const,
         R (IGridFunction::*p_h3)(const Handle3&) const,
         R (IGridFunction::*p_h2)(const Handle2&) const,
         R (IGridFunction::*p_h1)(const Handle1&) const) {
    const AnyHandle handle = HandleFromPy(p_handle);
    switch (handle.type()) {
        case htHandle1:
            return (p_function.*p_h1)(handle.get<Handle1>());
        case htHandle2:
            return (p_function.*p_h2)(handle.get<Handle2>());
        case htHandle3:
            return (p_function.*p_h3)(handle.get<Handle3>());
        default:
            return (p_function.*p_h4)(handle.get<Handle4>());
    }
}

}  // namespace

const IGridFunction& WeightOrCount(const FunctionPtr& p_weight) {
    static const AlwaysOneGridFunction s_count;
    if (p_weight) return *p_weight;
    return s_count;
}

void RegisterGridFunctions(py::module_& m) {
    py::class_<IGridFunction, FunctionPtr> function(
        m, "GridFunction",
        "A value per grid element, read through a handle: an int (Handle1) or a tuple of 2, 3 "
        "or 4 ints (Handle2, Handle3, Handle4).");
    function
        .def(py::init(&MakeFunction), py::arg("array"),
             "The grid function over an Array of rank 1 or 3, sharing its storage.")
        .def_static(
            "constant_true",
            [] { return FunctionPtr(std::make_shared<ConstantTrueGridFunction>()); },
            "True at every handle.")
        .def_static(
            "always_one", [] { return FunctionPtr(std::make_shared<AlwaysOneGridFunction>()); },
            "1 at every handle: the weight of a plain count.")
        .def_property(
            "location",
            [](const IGridFunction& p_self) { return static_cast<int>(p_self.location()); },
            [](IGridFunction& p_self, unsigned int p_location) {
                p_self.set_location(static_cast<LocationType>(p_location));
            },
            "The kind of grid element the function lives on: 0 vertices, 1 cells.")
        .def(
            "change_location",
            [](IGridFunction& p_self, unsigned int p_location) {
                return p_self.change_location(static_cast<LocationType>(p_location));
            },
            py::arg("location"), "Asks the function to move; no function of the core can.")
        .def_property("name", &IGridFunction::name, &IGridFunction::set_name, "The name.")
        .def_property_readonly("type_name", &IGridFunction::type_name, "The C++ type.")
        .def_property_readonly("accepted_handles", &IGridFunction::accepted_handles,
                               "The mask of accepted handle shapes: 1, 2, 4, 8 for Handle1 .. 4.")
        .def_property_readonly("number_of_elements", &IGridFunction::number_of_elements,
                               "The number of elements; 4294967295 without a finite domain.")
        .def_property_readonly("has_array", &IGridFunction::has_array,
                               "Whether the values come from an array.")
        .def_property_readonly("array", &IGridFunction::array,
                               "The array behind the function, sharing its storage.")
        .def("set_array", &IGridFunction::set_array, py::arg("array"),
             "Replaces the array (of the function's own type and rank).")
        .def("make_unique", &IGridFunction::make_unique,
             "Gives the function a copy of its storage of its own.")
        .def("copy", &IGridFunction::copy, "A new function sharing this one's storage.")
        .def("deep_copy", &IGridFunction::deep_copy, "A new function with storage of its own.")
        .def("create_empty", &IGridFunction::create_empty,
             "A new default function of the same class.")
        .def_property_readonly(
            "result_scalar_type",
            [](const IGridFunction& p_self) {
                return std::string(scalar_type_name(p_self.result_scalar_type()));
            },
            "The scalar type of the values, as text (\"float64\", ...).")
        .def_property_readonly(
            "result_shape",
            [](const IGridFunction& p_self) {
                const ElementShape shape = p_self.result_shape();
                return py::make_tuple(shape[0], shape[1]);
            },
            "The element shape: (tuple length, 1).")
        .def(
            "value",
            [](const IGridFunction& p_self, const py::handle& p_handle) {
                return ValueAt(p_self, HandleFromPy(p_handle));
            },
            py::arg("handle"), "The value at a handle; a tuple for tuple types.")
        .def(
            "set_value",
            [](IGridFunction& p_self, const py::handle& p_handle, const py::handle& p_value) {
                const AnyHandle handle = HandleFromPy(p_handle);
                if (SetTyped(p_self, handle, p_value)) return;
                const double value = ScalarFromPy<double>(p_value);
                VisitHandle(handle, [&](const auto& p_h) { p_self.set_float64(p_h, value); });
            },
            py::arg("handle"), py::arg("value"), "Stores a value at a handle.")
        .def(
            "as_bool",
            [](const IGridFunction& p_self, const py::handle& p_handle) {
                return ReadAs<bool>(p_self, p_handle, &IGridFunction::as_bool,
                                    &IGridFunction::as_bool, &IGridFunction::as_bool,
                                    &IGridFunction::as_bool);
            },
            py::arg("handle"), "The value at a handle as bool (not zero).")
        .def(
            "as_float64",
            [](const IGridFunction& p_self, const py::handle& p_handle) {
                return ReadAs<double>(p_self, p_handle, &IGridFunction::as_float64,
                                      &IGridFunction::as_float64, &IGridFunction::as_float64,
                                      &IGridFunction::as_float64);
            },
            py::arg("handle"), "The value at a handle widened to float64.")
        .def(
            "as_int32",
            [](const IGridFunction& p_self, const py::handle& p_handle) {
                return ReadAs<int>(p_self, p_handle, &IGridFunction::as_int32,
                                   &IGridFunction::as_int32, &IGridFunction::as_int32,
                                   &IGridFunction::as_int32);
            },
            py::arg("handle"), "The value at a handle truncated to int32.")
        .def(
            "set_float64",
            [](IGridFunction& p_self, const py::handle& p_handle, double p_value) {
                VisitHandle(HandleFromPy(p_handle),
                            [&](const auto& p_h) { p_self.set_float64(p_h, p_value); });
            },
            py::arg("handle"), py::arg("value"),
            "Stores a float64, truncated toward zero for integer types.")
        .def("to_string", &IGridFunction::to_string, "The description text.")
        .def(
            "describe",
            [](const IGridFunction& p_self, const std::string& p_prefix,
               const std::string& p_class_name) {
                std::ostringstream stream;
                p_self.describe(stream, p_prefix, p_class_name);
                return stream.str();
            },
            py::arg("prefix") = "", py::arg("class_name") = "",
            "The description text, each line starting with prefix.")
        .def(
            "create_histogram",
            [](const IGridFunction& p_self, const ITopology& p_topology, double p_minimum,
               double p_maximum, int p_bins, const FunctionPtr& p_weight, bool p_closed) {
                return p_self.create_histogram(p_topology, p_minimum, p_maximum, p_bins,
                                               WeightOrCount(p_weight), *default_array_factory(),
                                               p_closed);
            },
            py::arg("topology"), py::arg("minimum"), py::arg("maximum"), py::arg("bins"),
            py::arg("weight") = py::none(), py::arg("closed") = false,
            "The topology's histogram of this function: bins + 2 float64 (below, the bins, "
            "above). weight None counts each element once.")
        .def("__repr__", [](const IGridFunction& p_self) {
            return "<kelvara.GridFunction " + p_self.type_name() + ">";
        });
}

}  // namespace kelvara::bindings

// A small extension module for the tests of the feeder tries: it runs the helpers of
// bindings/FeederTries.h on host objects made by kelvara._ostrel and reports which kind fitted,
// so that the two conversions and the order of the tries are tested from Python.
#include <pybind11/pybind11.h>

#include <memory>
#include <string>

#include "bindings/FeederTries.h"
#include "builder/ArrayFeeder.h"
#include "builder/CompleteCornersBuilder.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "builder/TOstrelArray3DBuilder.h"

namespace py = pybind11;
using namespace ostrel::builder;
using namespace kelvara::bindings;

namespace {

template <class Kind>
const char* kind_name();
template <>
const char* kind_name<ArrayFeeder>() {
    return "ArrayFeeder";
}
template <>
const char* kind_name<TOstrelArray1DBuilder<float>>() {
    return "1D float";
}
template <>
const char* kind_name<TOstrelArray1DBuilder<double>>() {
    return "1D double";
}
template <>
const char* kind_name<TOstrelArray1DBuilder<int>>() {
    return "1D int";
}
template <>
const char* kind_name<TOstrelArray3DBuilder<float>>() {
    return "3D float";
}
template <>
const char* kind_name<TOstrelArray3DBuilder<double>>() {
    return "3D double";
}
template <>
const char* kind_name<TOstrelArray3DBuilder<unsigned char>>() {
    return "3D unsigned char";
}
template <>
const char* kind_name<CompleteCornersBuilder>() {
    return "corners";
}

// The name of the first of Kinds that fits p_object by reference, or None; the visit feeds a
// value so that the test sees it reach the host's own object.
template <class... Kinds>
py::object first_by_reference(py::handle p_object) {
    py::object fitted = py::none();
    const bool found = TryByReference<Kinds...>(p_object, [&](auto& p_feeder) {
        p_feeder.InsertNextValue(42.0);
        fitted = py::str(kind_name<std::decay_t<decltype(p_feeder)>>());
    });
    if (found == fitted.is_none()) throw std::logic_error("result and visit disagree");
    return fitted;
}

// The name of the first of Kinds that fits p_object by shared handle and the handle's use count
// during the visit, or None.
template <class... Kinds>
py::object first_by_shared_handle(py::handle p_object) {
    py::object fitted = py::none();
    const bool found = TryBySharedHandle<Kinds...>(p_object, [&](auto p_feeder) {
        using Kind = typename decltype(p_feeder)::element_type;
        p_feeder->InsertNextValue(42.0);
        fitted = py::make_tuple(kind_name<Kind>(), p_feeder.use_count());
    });
    if (found == fitted.is_none()) throw std::logic_error("result and visit disagree");
    return fitted;
}

}  // namespace

PYBIND11_MODULE(_feeder_tries_probe, m) {
    m.def("first_3d_float_then_double",
          &first_by_reference<TOstrelArray3DBuilder<float>, TOstrelArray3DBuilder<double>>);
    m.def("first_3d_double_then_uchar",
          &first_by_reference<TOstrelArray3DBuilder<double>, TOstrelArray3DBuilder<unsigned char>>);
    m.def("first_1d_then_array_feeder",
          &first_by_reference<TOstrelArray1DBuilder<float>, TOstrelArray1DBuilder<double>,
                              TOstrelArray1DBuilder<int>, ArrayFeeder>);
    m.def("first_shared_1d",
          &first_by_shared_handle<TOstrelArray1DBuilder<float>, TOstrelArray1DBuilder<double>,
                                  TOstrelArray1DBuilder<int>>);
    m.def("first_shared_array_feeder", &first_by_shared_handle<ArrayFeeder>);
    m.def("first_shared_corners", &first_by_shared_handle<CompleteCornersBuilder>);
    m.def("require_array_feeder", [](py::handle p_object) {
        RequireByReference<ArrayFeeder>(p_object).InsertNextValue(7.0);
    });
    m.def("texts", [] {
        return py::make_tuple(kUnknownArrayFeeder, kUnknownConnectionArrayFeeder,
                              kUnknownCornersArrayFeeder, kInvalidFeederType);
    });
}

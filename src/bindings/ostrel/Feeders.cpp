// The feeders of the _ostrel module: ArrayFeeder, the 1D and 3D builders and the corners
// builder, each with a NumPy copy of what it holds.
#include <pybind11/numpy.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "bindings/Common.h"
#include "bindings/ostrel/Registration.h"
#include "builder/ArrayFeeder.h"
#include "builder/CompleteCornersBuilder.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "builder/TOstrelArray3DBuilder.h"

namespace kelvara::bindings {

namespace {

using namespace ostrel::builder;

constexpr const char* kCopyDoc =
    "With copy=True (the default) a NumPy copy of the values; with copy=False the values "
    "themselves, handed over without a copy, and the feeder is left empty.";

// A NumPy array over values taken out of a feeder; the array owns them from then on.
template <class T>
py::array_t<T> HandOver(ReleasedValues<T> p_values) {
    if (p_values.size() == 0) return py::array_t<T>(0);
    auto owner = std::make_unique<ReleasedValues<T>>(std::move(p_values));
    py::capsule keeper(owner.get(),
                       [](void* p_owner) { delete static_cast<ReleasedValues<T>*>(p_owner); });
    ReleasedValues<T>& values = *owner.release();
    return py::array_t<T>({static_cast<py::ssize_t>(values.size())}, {sizeof(T)}, values.data(),
                          keeper);
}

// to_numpy(copy) of a feeder whose values can be copied out or taken out.
template <class T, class Feeder>
py::array_t<T> ToNumpy(Feeder& p_feeder, bool p_copy) {
    if (!p_copy) return HandOver(p_feeder.take_values());
    py::array_t<T> result(static_cast<py::ssize_t>(p_feeder.size()));
    p_feeder.copy_to(result.mutable_data());
    return result;
}

template <class T>
void BindArray1DBuilder(py::module_& p_module, const char* p_name, const char* p_dtype) {
    using Builder = TOstrelArray1DBuilder<T>;
    py::class_<Builder, ArrayFeeder, std::shared_ptr<Builder>>(
        p_module, p_name,
        (std::string("A one-dimensional ") + p_dtype +
         " array filled by index or at an append cursor that starts at 0. Is an ArrayFeeder.")
            .c_str())
        .def(py::init<std::size_t, T>(), py::arg("size") = 0, py::arg("fill") = T(0))
        .def("SetValueAt", &Builder::SetValueAt, py::arg("index"), py::arg("value"),
             "Stores value at index, growing with the fill value when index is past the end.")
        .def("AppendValue", &Builder::AppendValue, py::arg("value"),
             "Stores value at the append cursor and moves it on.")
        .def("InsertNextValue", &Builder::InsertNextValue, py::arg("value"),
             "Stores value at the append cursor and moves it on.")
        .def("Resize", &Builder::Resize, py::arg("size"),
             "Resizes to size elements, new ones set to the fill value.")
        .def_property_readonly("fill", &Builder::Fill, "The fill value.")
        .def_property_readonly("cursor", &Builder::append_cursor, "The append cursor.")
        .def("__len__", &Builder::size)
        .def("to_numpy", &ToNumpy<T, Builder>, py::arg("copy") = true,
             (std::string("The values as a NumPy array, dtype ") + p_dtype + ". " + kCopyDoc +
              " The append cursor then starts at 0 again.")
                 .c_str());
}

template <class T>
py::array_t<T, py::array::f_style> FortranBox(std::size_t p_ni, std::size_t p_nj, std::size_t p_nk,
                                              const T* p_values) {
    py::array_t<T, py::array::f_style> result({static_cast<py::ssize_t>(p_ni),
                                               static_cast<py::ssize_t>(p_nj),
                                               static_cast<py::ssize_t>(p_nk)});
    std::copy_n(p_values, p_ni * p_nj * p_nk, result.mutable_data());
    return result;
}

template <class T>
void BindArray3DBuilder(py::module_& p_module, const char* p_name, const char* p_dtype) {
    using Builder = TOstrelArray3DBuilder<T>;
    py::class_<Builder, std::shared_ptr<Builder>>(
        p_module, p_name,
        (std::string("A box of ni x nj x nk ") + p_dtype +
         " cells filled in cell order, i fastest. Values past the last cell are counted in "
         "overflow. Not an ArrayFeeder.")
            .c_str())
        .def(py::init<std::size_t, std::size_t, std::size_t, T>(), py::arg("ni"), py::arg("nj"),
             py::arg("nk"), py::arg("fill") = T(0))
        .def("InsertNextValue", &Builder::InsertNextValue, py::arg("value"), "Fills the next cell.")
        .def_property_readonly("shape",
                               [](const Builder& p_builder) {
                                   return py::make_tuple(p_builder.ni(), p_builder.nj(),
                                                         p_builder.nk());
                               })
        .def_property_readonly("filled", &Builder::filled, "Cells filled so far.")
        .def_property_readonly("overflow", &Builder::overflow,
                               "Values that arrived after the last cell.")
        .def(
            "to_numpy",
            [](const Builder& p_builder) {
                return FortranBox<T>(p_builder.ni(), p_builder.nj(), p_builder.nk(),
                                     p_builder.values().data());
            },
            (std::string("A NumPy copy of shape (ni, nj, nk) in Fortran order, dtype ") + p_dtype +
             ".")
                .c_str());
}

}  // namespace

void RegisterFeeders(py::module_& m) {
    py::class_<ArrayFeeder, std::shared_ptr<ArrayFeeder>>(m, "ArrayFeeder",
                                                          "Collects doubles in arrival order.")
        .def(py::init<>())
        .def("InsertNextValue", &ArrayFeeder::InsertNextValue, py::arg("value"),
             "Appends one value.")
        .def("__len__", &ArrayFeeder::size)
        .def("to_numpy", &ToNumpy<double, ArrayFeeder>, py::arg("copy") = true,
             (std::string("The values as a NumPy array, dtype float64. ") + kCopyDoc).c_str());

    BindArray1DBuilder<float>(m, "Array1DBuilderFloat", "float32");
    BindArray1DBuilder<double>(m, "Array1DBuilderDouble", "float64");
    BindArray1DBuilder<int>(m, "Array1DBuilderInt", "int32");

    BindArray3DBuilder<float>(m, "Array3DBuilderFloat", "float32");
    BindArray3DBuilder<double>(m, "Array3DBuilderDouble", "float64");
    BindArray3DBuilder<unsigned char>(m, "Array3DBuilderUChar", "uint8");

    py::class_<CompleteCornersBuilder, std::shared_ptr<CompleteCornersBuilder>>(
        m, "CompleteCornersBuilder",
        "Collects up to 24 corner coordinates per cell of an ni x nj x nk grid in arrival "
        "order; values past that are counted in overflow. Not an ArrayFeeder.")
        .def(py::init<std::size_t, std::size_t, std::size_t>(), py::arg("ni"), py::arg("nj"),
             py::arg("nk"))
        .def("InsertNextValue", &CompleteCornersBuilder::InsertNextValue, py::arg("value"),
             "Appends one coordinate.")
        .def_property_readonly("shape",
                               [](const CompleteCornersBuilder& p_builder) {
                                   return py::make_tuple(p_builder.ni(), p_builder.nj(),
                                                         p_builder.nk());
                               })
        .def_property_readonly("capacity", &CompleteCornersBuilder::capacity)
        .def_property_readonly("overflow", &CompleteCornersBuilder::overflow)
        .def("__len__",
             [](const CompleteCornersBuilder& p_builder) { return p_builder.values().size(); })
        .def(
            "to_numpy",
            [](const CompleteCornersBuilder& p_builder) {
                const auto& values = p_builder.values();
                py::array_t<double> result(static_cast<py::ssize_t>(values.size()));
                std::copy(values.begin(), values.end(), result.mutable_data());
                return result;
            },
            "A NumPy copy of the coordinates, dtype float64, shape (n,).");
}

}  // namespace kelvara::bindings

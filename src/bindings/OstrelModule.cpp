// The module _ostrel: the host side's feeders and the mask vector, with NumPy copies of what
// they hold.
#include <pybind11/numpy.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "bindings/Common.h"
#include "builder/ArrayFeeder.h"
#include "builder/CompleteCornersBuilder.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "builder/TOstrelArray3DBuilder.h"

namespace kelvara::bindings {

namespace {

using namespace ostrel::builder;
using CharVector = std::vector<char>;

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
        .def(
            "to_numpy",
            [](const Builder& p_builder) {
                py::array_t<T> result(static_cast<py::ssize_t>(p_builder.size()));
                p_builder.copy_to(result.mutable_data());
                return result;
            },
            (std::string("A NumPy copy of the values, dtype ") + p_dtype + ".").c_str());
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

std::shared_ptr<CharVector> MakeCharVector(py::handle p_source) {
    auto result = std::make_shared<CharVector>();
    if (py::isinstance<py::bytes>(p_source) || py::isinstance<py::bytearray>(p_source)) {
        const std::string bytes =
            py::isinstance<py::bytes>(p_source)
                ? std::string(py::reinterpret_borrow<py::bytes>(p_source))
                : std::string(py::reinterpret_borrow<py::bytearray>(p_source));
        result->assign(bytes.begin(), bytes.end());
        return result;
    }
    if (py::isinstance<py::array>(p_source)) {
        auto array = py::reinterpret_borrow<py::array>(p_source);
        if (array.dtype().kind() != 'i' && array.dtype().kind() != 'u') {
            throw py::type_error("CharVector needs an int8 or uint8 array");
        }
        if (array.itemsize() != 1) throw py::type_error("CharVector needs an int8 or uint8 array");
        auto flat = py::array_t<std::int8_t, py::array::c_style | py::array::forcecast>(
            array.attr("reshape")(-1).attr("view")("int8"));
        result->assign(flat.data(), flat.data() + flat.size());
        return result;
    }
    for (py::handle item : py::iter(p_source)) {
        const long value = item.cast<long>();
        if (value < -128 || value > 255) {
            throw py::value_error("CharVector entries must lie in -128..255, got " +
                                  std::to_string(value));
        }
        result->push_back(static_cast<char>(static_cast<unsigned char>(value & 0xff)));
    }
    return result;
}

}  // namespace

}  // namespace kelvara::bindings

PYBIND11_MODULE(_ostrel, m) {
    using namespace kelvara::bindings;
    m.doc() = "Feeders and builders: the sinks that readers pour values into.";

    py::class_<ArrayFeeder, std::shared_ptr<ArrayFeeder>>(m, "ArrayFeeder",
                                                          "Collects doubles in arrival order.")
        .def(py::init<>())
        .def("InsertNextValue", &ArrayFeeder::InsertNextValue, py::arg("value"),
             "Appends one value.")
        .def("__len__", &ArrayFeeder::size)
        .def(
            "to_numpy",
            [](const ArrayFeeder& p_feeder) {
                py::array_t<double> result(static_cast<py::ssize_t>(p_feeder.size()));
                p_feeder.copy_to(result.mutable_data());
                return result;
            },
            "A NumPy copy of the values, dtype float64.");

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

    py::class_<CharVector, std::shared_ptr<CharVector>>(
        m, "CharVector", "A vector of signed bytes: the mask of Section.LoadToFeeder.")
        .def(py::init<>())
        .def(py::init(&MakeCharVector), py::arg("values"),
             "From bytes, an int8/uint8 array, or an iterable of ints in -128..255.")
        .def("__len__", [](const CharVector& p_vector) { return p_vector.size(); })
        .def("__getitem__",
             [](const CharVector& p_vector, py::ssize_t p_index) {
                 const auto size = static_cast<py::ssize_t>(p_vector.size());
                 if (p_index < 0) p_index += size;
                 if (p_index < 0 || p_index >= size)
                     throw py::index_error("CharVector index out of range");
                 return static_cast<int>(static_cast<signed char>(p_vector[p_index]));
             })
        .def(
            "to_numpy",
            [](const CharVector& p_vector) {
                py::array_t<std::int8_t> result(static_cast<py::ssize_t>(p_vector.size()));
                std::copy(p_vector.begin(), p_vector.end(), result.mutable_data());
                return result;
            },
            "A NumPy copy, dtype int8.");
}

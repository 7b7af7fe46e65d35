// The mask vector of the _ostrel module: CharVector, a std::vector<char> held by shared pointer.
#include <pybind11/numpy.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bindings/Common.h"
#include "bindings/ostrel/Registration.h"

namespace kelvara::bindings {

namespace {

using CharVector = std::vector<char>;

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

void RegisterCharVector(py::module_& m) {
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

}  // namespace kelvara::bindings

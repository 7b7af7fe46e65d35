#pragma once

// Declarations shared by both extension modules. std::vector<char> is a bound class (the mask
// type, CharVector), never a converted list, in every translation unit.
#include <pybind11/pybind11.h>

#include <string_view>
#include <vector>

PYBIND11_MAKE_OPAQUE(std::vector<char>)

namespace kelvara::bindings {

namespace py = pybind11;

// Text of the files goes to Python as Latin-1: one byte, one character, nothing lost.
inline py::str latin1(std::string_view p_text) {
    PyObject* text =
        PyUnicode_DecodeLatin1(p_text.data(), static_cast<Py_ssize_t>(p_text.size()), nullptr);
    if (text == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(text);
}

}  // namespace kelvara::bindings

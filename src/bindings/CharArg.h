#pragma once

// A one-byte argument of the host: a str of length 1 whose character is below U+0100 (Latin-1),
// or a bytes of length 1. Anything else is refused like a wrong type, so pybind11 reports it as
// incompatible arguments.
#include "bindings/Common.h"

namespace kelvara::bindings {

struct CharArg {
    char value = 0;
};

}  // namespace kelvara::bindings

namespace pybind11::detail {

template <>
struct type_caster<kelvara::bindings::CharArg> {
    PYBIND11_TYPE_CASTER(kelvara::bindings::CharArg, const_name("str"));

    bool load(handle p_source, bool /*convert*/) {
        PyObject* source = p_source.ptr();
        if (PyUnicode_Check(source)) {
            if (PyUnicode_GetLength(source) != 1) return false;
            const Py_UCS4 code = PyUnicode_ReadChar(source, 0);
            if (code > 0xFF) return false;
            value.value = static_cast<char>(code);
            return true;
        }
        if (PyBytes_Check(source) && PyBytes_GET_SIZE(source) == 1) {
            value.value = PyBytes_AS_STRING(source)[0];
            return true;
        }
        return false;
    }

    static handle cast(kelvara::bindings::CharArg p_char, return_value_policy, handle) {
        return kelvara::bindings::latin1(std::string_view(&p_char.value, 1)).release();
    }
};

}  // namespace pybind11::detail

#pragma once

// The exception translators of _kelvaraio, registered by its module body (and by the tests'
// probe module, which checks what they make of each failure).
#include <exception>
#include <stdexcept>

#include "bindings/Common.h"
#include "bindings/CoreExceptions.h"

namespace kelvara::bindings {

// Messages of the readers can carry text of the files (section names): they reach Python as
// RuntimeError decoded as Latin-1, like every other text of the files. pybind11's own exceptions
// go on to its translators. The core's exceptions are translated first (the translator
// registered last is tried first), into kelvara's error classes.
inline void RegisterReaderTranslators() {
    py::register_local_exception_translator([](std::exception_ptr p_error) {
        try {
            std::rethrow_exception(p_error);
        } catch (const py::builtin_exception&) {
            throw;
        } catch (const std::runtime_error& p_failure) {
            py::set_error(PyExc_RuntimeError, latin1(p_failure.what()));
        }
    });
    py::register_local_exception_translator(&TranslateCoreExceptions);
}

}  // namespace kelvara::bindings

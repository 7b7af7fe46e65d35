// A small extension module for the tests of the exception translators of _kelvaraio: it
// registers them as _kelvaraio's module body does and throws each kind of failure, so that what
// reaches Python from a reader module is tested without a reader call that fails that way.
#include <pybind11/pybind11.h>

#include <stdexcept>
#include <string>

#include "bindings/ReaderTranslators.h"
#include "core/pattern/Assert.h"

namespace py = pybind11;

PYBIND11_MODULE(_reader_translators_probe, m) {
    kelvara::bindings::RegisterReaderTranslators();
    m.def("precondition", [](int p_value) {
        OSTREL_PRECONDITION(p_value > 0, "p_value > 0", "core/array/Array1D.inl",
                            "Error: the value " << p_value << " is not positive.");
    });
    m.def("postcondition", [] {
        OSTREL_POSTCONDITION(false, "done", "core/array/ArrayImpl.inl", "Error: not done.");
    });
    m.def("availability", [] {
        throw ostrel::core::IAvailabilityException("Probe::operation is not available for Probe",
                                                   "core/IOstrelObject.cpp", 7);
    });
    m.def("runtime", [] { throw std::runtime_error("Section \"\xC9T\xC9\" is broken"); });
    m.def("value", [] { throw py::value_error("a pybind11 error keeps its class"); });
}

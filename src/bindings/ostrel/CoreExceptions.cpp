// The exception classes of the core in the _ostrel module, and their translation.
#include "bindings/CoreExceptions.h"

#include "bindings/ostrel/Registration.h"

namespace kelvara::bindings {

namespace {

void AddErrorClass(py::module_& m, const char* p_name, const char* p_doc) {
    const std::string qualified = std::string("kelvara.") + p_name;
    PyObject* error_class =
        PyErr_NewExceptionWithDoc(qualified.c_str(), p_doc, PyExc_RuntimeError, nullptr);
    if (error_class == nullptr) throw py::error_already_set();
    m.add_object(p_name, py::reinterpret_steal<py::object>(error_class));
}

}  // namespace

void RegisterCoreExceptions(py::module_& m) {
    AddErrorClass(m, kPreconditionError,
                  "A condition of the numeric core that the caller had to meet was not met. "
                  "Attributes: message, expression (the tested condition), file, line.");
    AddErrorClass(m, kPostconditionError,
                  "A condition that the numeric core had to establish does not hold. "
                  "Attributes: message, expression, file, line.");
    AddErrorClass(m, kAvailabilityError,
                  "The operation is not offered by this kind of object. Attributes: message, "
                  "expression (None), file, line.");
    // Global, so that every module sharing pybind11's tables translates them; _kelvaraio adds
    // its own local one ahead of its other translators as well.
    py::register_exception_translator(&TranslateCoreExceptions);
}

}  // namespace kelvara::bindings

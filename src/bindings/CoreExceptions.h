#pragma once

// How the core's exceptions reach Python, from either extension module: as
// kelvara.PreconditionError, kelvara.PostconditionError and kelvara.AvailabilityError (classes
// made by _ostrel, subclasses of RuntimeError), with str() the text of what() and the attributes
// message, expression, file and line. Each module registers TranslateCoreExceptions ahead of its
// translators of the standard exceptions.
#include <exception>
#include <string>

#include "bindings/Common.h"
#include "core/pattern/Exceptions.h"

namespace kelvara::bindings {

inline constexpr const char* kPreconditionError = "PreconditionError";
inline constexpr const char* kPostconditionError = "PostconditionError";
inline constexpr const char* kAvailabilityError = "AvailabilityError";

// Raises the Python class p_class of kelvara._ostrel for p_failure; p_expression is None for an
// exception without one.
inline void SetCoreError(const char* p_class, const tamblin::IHeaderException& p_failure,
                         py::object p_expression) {
    py::object error_class = py::module_::import("kelvara._ostrel").attr(p_class);
    py::object error = error_class(latin1(p_failure.what()));
    error.attr("message") = latin1(p_failure.message());
    error.attr("expression") = std::move(p_expression);
    error.attr("file") = latin1(p_failure.file());
    error.attr("line") = p_failure.line();
    PyErr_SetObject(error_class.ptr(), error.ptr());
}

// A pybind11 exception translator for the core's exceptions; any other exception goes on to the
// next translator.
inline void TranslateCoreExceptions(std::exception_ptr p_error) {
    try {
        std::rethrow_exception(p_error);
    } catch (const tamblin::IPreconditionException& p_failure) {
        SetCoreError(kPreconditionError, p_failure, latin1(p_failure.expression()));
    } catch (const tamblin::IPosconditionException& p_failure) {
        SetCoreError(kPostconditionError, p_failure, latin1(p_failure.expression()));
    } catch (const ostrel::core::IAvailabilityException& p_failure) {
        SetCoreError(kAvailabilityError, p_failure, py::none());
    }
}

}  // namespace kelvara::bindings

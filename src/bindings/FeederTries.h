#pragma once

// How a host object is recognised as a feeder of a given kind. Every reader's bindings use these
// helpers, so that the two conversions and the fixed order of the tries live in one place:
//
// - by reference: the native object inside the host object, still owned by the host object;
// - by shared handle: a shared pointer to it, which lasts for the call.
//
// A caller lists its kinds in the order of its tries; the first kind that fits is taken.
#include <memory>
#include <string>

#include "bindings/Common.h"

namespace kelvara::bindings {

// The texts of the calls whose tries end in a failure of their own.
inline constexpr const char* kUnknownArrayFeeder = "Unknown Array Feeder";
inline constexpr const char* kUnknownConnectionArrayFeeder = "Unknown Connection Array Feeder";
inline constexpr const char* kUnknownCornersArrayFeeder = "Unknown Corners Array Feeder";
inline constexpr const char* kInvalidFeederType = "Invalid Feeder type!";

// The native Kind inside p_object, or nullptr when it holds none (None included).
template <class Kind>
Kind* ByReference(py::handle p_object) {
    py::detail::make_caster<Kind> caster;
    if (!caster.load(p_object, /*convert=*/false)) return nullptr;
    return static_cast<Kind*>(caster.value);
}

// A shared handle to the native Kind inside p_object, or an empty one when it holds none.
template <class Kind>
std::shared_ptr<Kind> BySharedHandle(py::handle p_object) {
    py::detail::make_caster<std::shared_ptr<Kind>> caster;
    if (!caster.load(p_object, /*convert=*/false)) return {};
    return py::detail::cast_op<std::shared_ptr<Kind>>(caster);
}

// The native Kind inside p_object by reference; when there is none, pybind11's cast error for a
// missing reference, naming both types. None gets the same error as any other object.
template <class Kind>
Kind& RequireByReference(py::handle p_object) {
    if (Kind* native = ByReference<Kind>(p_object)) return *native;
    throw py::cast_error("Unable to cast Python instance of type " +
                         std::string(py::str(py::type::handle_of(p_object))) + " to C++ type '" +
                         py::type_id<Kind>() + "'");
}

// Tries Kinds by reference in their order and calls p_visit(Kind&) with the first that fits.
// False when none fits (p_visit is then not called).
template <class... Kinds, class Visit>
bool TryByReference(py::handle p_object, Visit&& p_visit) {
    bool fitted = false;
    (void)((fitted ||
            [&] {
                if (Kinds* native = ByReference<Kinds>(p_object)) {
                    p_visit(*native);
                    fitted = true;
                }
                return fitted;
            }()) ||
           ...);
    return fitted;
}

// Tries Kinds by shared handle in their order and calls p_visit(std::shared_ptr<Kind>) with the
// first that fits. False when none fits (p_visit is then not called).
template <class... Kinds, class Visit>
bool TryBySharedHandle(py::handle p_object, Visit&& p_visit) {
    bool fitted = false;
    (void)((fitted ||
            [&] {
                if (auto native = BySharedHandle<Kinds>(p_object)) {
                    p_visit(std::move(native));
                    fitted = true;
                }
                return fitted;
            }()) ||
           ...);
    return fitted;
}

}  // namespace kelvara::bindings

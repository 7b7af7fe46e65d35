#pragma once

#include "bindings/Common.h"

namespace kelvara::bindings {

// The eclipse scope: a namespace object for the host, never instantiated.
struct EclipseScope {};

// Exposes SectionData and Section into the eclipse scope.
void ExposeEclipseSection(py::class_<EclipseScope>& p_scope);
// Defines the static methods of the eclipse scope, in their order.
void ExposeEclipseStatics(py::class_<EclipseScope>& p_scope);

}  // namespace kelvara::bindings

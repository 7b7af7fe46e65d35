#pragma once

#include "bindings/Common.h"

namespace kelvara::bindings {

// The imex scope: a namespace object for the host, never instantiated.
struct ImexScope {};

// Exposes the classes and static methods of the imex scope, in their order.
void ExposeImex(py::class_<ImexScope>& p_scope);

// Exposes Loader in the imex scope; called by ExposeImex after Section.
void ExposeLoader(py::class_<ImexScope>& p_scope);

}  // namespace kelvara::bindings

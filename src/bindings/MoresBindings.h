#pragma once

#include "bindings/Common.h"

namespace kelvara::bindings {

namespace _mores {
// The mores scope: a namespace object for the host, never instantiated.
struct MoReSScope {};
}  // namespace _mores

// Exposes the classes and static methods of the mores scope, in their order.
void ExposeMores(py::class_<_mores::MoReSScope>& p_scope);

}  // namespace kelvara::bindings

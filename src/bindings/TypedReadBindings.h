#pragma once

#include "bindings/Common.h"

namespace kelvara::bindings {

// The private submodule _typed: the checked section catalogue and the typed read into NumPy
// arrays that kelvara.open stands on.
void ExposeTypedRead(py::module_& p_module);

}  // namespace kelvara::bindings

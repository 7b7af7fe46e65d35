#pragma once

#include "bindings/Common.h"

namespace kelvara::bindings {

// The private submodule _write: the native section writer behind kelvara.write.
void ExposeWriter(py::module_& p_module);

}  // namespace kelvara::bindings

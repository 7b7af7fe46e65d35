#pragma once

#include "bindings/Common.h"

namespace kelvara::bindings {

// The private submodule _formatted: the catalogue and the typed read of formatted (text) files,
// with the same tables and arrays as _typed gives for unformatted ones.
void ExposeFormatted(py::module_& p_module);

}  // namespace kelvara::bindings

#pragma once

#include "bindings/Common.h"

namespace kelvara::bindings {

// The private submodule _geometry: corners, centres and volumes of the cells of a grid, computed
// over all the cells asked for in one call without the interpreter's lock.
void ExposeGeometry(py::module_& p_module);

}  // namespace kelvara::bindings

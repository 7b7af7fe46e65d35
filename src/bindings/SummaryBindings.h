#pragma once

#include "bindings/Common.h"

namespace kelvara::bindings {

// The private submodule _summary: the column gatherer behind kelvara.open_summary.
void ExposeSummary(py::module_& p_module);

}  // namespace kelvara::bindings

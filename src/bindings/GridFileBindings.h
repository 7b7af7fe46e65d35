#pragma once

#include "bindings/EclipseBindings.h"

namespace kelvara::bindings {

// The grid file scans MapExtGridFileSections and MapGridFileSections, in this order.
void ExposeGridFileScans(py::class_<EclipseScope>& p_scope);

// DpDkExtGridActiveCellsCount, ReadGridDpDkActnumSections, ReadExtGridDpDkActnumSections, in
// this order.
void ExposeDualPorosityStatics(py::class_<EclipseScope>& p_scope);

}  // namespace kelvara::bindings

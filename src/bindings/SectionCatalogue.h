#pragma once

#include "bindings/EclipseBindings.h"

namespace kelvara::bindings {

// Fills the static name set of SPECInfo, then exposes SectionInfo, SectionInfoMap and SPECInfo.
void ExposeSectionCatalogue(py::class_<EclipseScope>& p_scope);

}  // namespace kelvara::bindings

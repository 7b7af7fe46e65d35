#include "bindings/MoresBindings.h"

namespace kelvara::bindings {

void ExposeMores(py::class_<_mores::MoReSScope>& /*p_scope*/) {}

}  // namespace kelvara::bindings

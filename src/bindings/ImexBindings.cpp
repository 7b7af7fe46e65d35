#include "bindings/ImexBindings.h"

namespace kelvara::bindings {

void ExposeImex(py::class_<ImexScope>& /*p_scope*/) {}

}  // namespace kelvara::bindings

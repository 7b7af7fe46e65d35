#pragma once

#include <memory>

#include "bindings/Common.h"
#include "stream/SharedFile.h"

namespace kelvara::bindings {

// The private submodule _typed: the checked section catalogue and the typed read into NumPy
// arrays that kelvara.open stands on.
void ExposeTypedRead(py::module_& p_module);

// The open file behind a _typed.Source; ValueError when it is closed. Other scopes read through
// the same sources.
std::shared_ptr<stream::SharedFile> SourceFile(py::handle p_source);

}  // namespace kelvara::bindings

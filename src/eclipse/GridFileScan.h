#pragma once

#include <cstdint>
#include <memory>

#include "eclipse/GridFileMap.h"
#include "stream/FileStream.h"

namespace kelvara::eclipse {

// The catalogue of a plain grid file (grids opened by DIMENS and LGR, cells described section by
// section). p_dualMode above 0 halves the third dimension and classifies the NNC1/NNC2 lists.
// Starts at position 0; the stream is left where the scan ended.
TGridFileMap BuildGridMap(const std::shared_ptr<stream::FileStream>& p_stream,
                          std::int32_t p_dualMode);

// The catalogue of an extended grid file (grids declared by GRIDHEAD with an id, closed by
// ENDGRID or ENDLGR; the kind of dual model comes from FILEHEAD item 5).
TGridFileMap BuildExtGridMap(const std::shared_ptr<stream::FileStream>& p_stream);

}  // namespace kelvara::eclipse

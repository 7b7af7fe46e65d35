#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "core/Export.h"
#include "core/array/Array3D.h"

namespace ostrel::varnok {
class ReservoirSelectionTopology;
}

namespace kelvara::builder {

// One grid of an IMEX model: its extents, its place in the model's cell and active numberings,
// its host and its children, its origin, and its active cells as a mask, a selection and the
// packed-to-selection map. A plain record, filled by the loader.
struct OSTREL_CORE_API SGridInfo : std::enable_shared_from_this<SGridInfo> {
    std::int32_t ni = -1;
    std::int32_t nj = -1;
    std::int32_t nk = -1;
    std::int32_t activeCount = 0;
    std::int32_t gridIndex = -1;
    std::int32_t hostGrid = -1;
    std::int32_t hostCell = -1;
    // Hosting cell of this grid (local index) to the place of the grid refining it.
    std::map<std::int32_t, std::int32_t> childGrids;
    std::int32_t cellBegin = 0;
    std::int32_t cellEnd = 0;
    std::int32_t activeBegin = 0;
    std::int32_t activeEnd = 0;
    double originX = 0.0;
    double originY = 0.0;
    std::shared_ptr<ostrel::core::Array<unsigned char, 3>> activeMask;
    std::shared_ptr<ostrel::varnok::ReservoirSelectionTopology> selection;
    std::shared_ptr<std::vector<std::int32_t>> packedToHandle;

    // ni * nj * nk in 64-bit arithmetic, or -1 for extents whose product does not fit in 64
    // bits (which no grid of a file can have: the loader keeps extents within 16 bits).
    std::int64_t CellCount() const;

    // A new mask of shape (ni, nj, nk), extents cut to 16 bits, all cells 0.
    void CreateActiveMask();
    // The selection of the cells whose mask flag is not 0; sets activeCount. Run once the mask
    // is complete.
    void CreateSelection();
    // activeCount zeros, or null with no active cell.
    void CreatePackedMap();

    // The dense number of each cell of the grid in the selection (cell order, i fastest), or
    // null while the grid has no selection.
    const unsigned int* SelectionNumbers() const;
};

}  // namespace kelvara::builder

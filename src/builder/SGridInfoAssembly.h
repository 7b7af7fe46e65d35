#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "builder/SGridInfo.h"
#include "builder/TConnectionRef.h"
#include "core/Export.h"

namespace kelvara::builder {

// The connections of one grid to another: one record per pair of grids, in the order of first
// meeting. Cells are local to their own grid.
struct OSTREL_CORE_API SExternalNNCInfo {
    std::int32_t connectionCount = 0;
    std::int32_t fromGrid = -1;
    std::int32_t toGrid = -1;
    std::shared_ptr<std::vector<std::int32_t>> fromCells =
        std::make_shared<std::vector<std::int32_t>>();
    std::shared_ptr<std::vector<std::int32_t>> toCells =
        std::make_shared<std::vector<std::int32_t>>();
};

// The connections that start in one grid: its non-neighbour pairs (kind 3) and its records of
// connections to other grids.
struct OSTREL_CORE_API SConnectionGridInfo {
    // The grid this record speaks for; owned by the assembly's gridList.
    SGridInfo* grid = nullptr;
    std::int32_t nncCount = 0;
    std::shared_ptr<std::vector<std::int32_t>> nnc1 = std::make_shared<std::vector<std::int32_t>>();
    std::shared_ptr<std::vector<std::int32_t>> nnc2 = std::make_shared<std::vector<std::int32_t>>();
    std::vector<std::shared_ptr<SExternalNNCInfo>> externalNNC;
};

// A whole model: its grids in the loader's order, one connection record per grid once the
// connections are set up, and every connection in the order of adding.
struct OSTREL_CORE_API SGridInfoAssembly {
    std::vector<std::shared_ptr<SGridInfo>> gridList;
    std::vector<std::shared_ptr<SConnectionGridInfo>> connectionInfos;
    std::vector<TConnectionRef> connectionSequence;

    // Sets the grid's gridIndex to its place and appends it.
    void AddGrid(std::shared_ptr<SGridInfo> p_grid);
    // One SConnectionGridInfo per grid, in gridList order.
    void CreateConnectionInfos();
    // Classifies the connection of local cell p_cell1 of grid p_grid1 to local cell p_cell2 of
    // grid p_grid2 and appends its entry to connectionSequence. The reference stays valid until
    // the next connection is added; the caller may change it.
    TConnectionRef& AddConnection(std::int32_t p_cell1, std::int32_t p_grid1, std::int32_t p_cell2,
                                  std::int32_t p_grid2);

    // The grid at p_grid, or the checked-container failure path when there is none.
    SGridInfo& GridAt(std::int32_t p_grid) const;
};

}  // namespace kelvara::builder

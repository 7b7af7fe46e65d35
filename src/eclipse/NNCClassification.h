#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "eclipse/GridFileMap.h"

namespace kelvara::eclipse {

// The non-neighbour connections of one grid of a dual model, divided by the half (matrix or
// fracture) of each end. A cell number n (1-based, i fastest, both halves stacked in k) lies in
// layer (n - 1) / (nx * ny); layers below nz are the matrix half.

// Counts the pairs (nnc1[i], nnc2[i]) by the halves of their ends and writes the counters and
// the direction of the matrix-fracture pairs into p_grid. p_dualMode has no effect on results.
void ClassifyDualNNC(const TGridDims& p_dims, TGridSections& p_grid,
                     const std::vector<std::int32_t>& p_nnc1,
                     const std::vector<std::int32_t>& p_nnc2, std::int32_t p_dualMode);

// Marks each NNCL entry 0 (matrix) or 1 (fracture) in a new mask of p_grid and counts both.
void ClassifyExternalNNC(const TGridDims& p_dims, TGridSections& p_grid,
                         std::shared_ptr<std::vector<std::int32_t>> p_items);

}  // namespace kelvara::eclipse

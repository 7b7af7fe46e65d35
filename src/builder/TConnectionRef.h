#pragma once

#include <cstdint>

namespace kelvara::builder {

// One connection of a model as its values are routed: the place of its first grid in the
// assembly's gridList, its kind (0, 1, 2 neighbours along i, j, k; 3 a connection inside the grid
// that is no neighbour; 4 and up a connection to another grid) and its index inside the kind.
struct TConnectionRef {
    std::uint16_t grid = 0;
    std::uint8_t kind = 0;
    std::int32_t index = 0;
};

}  // namespace kelvara::builder

#pragma once

#include <cstddef>
#include <limits>
#include <stdexcept>

namespace ostrel::builder {

// ni * nj * nk * per_cell, refused with std::length_error when the product does not fit.
inline std::size_t cell_count(std::size_t p_ni, std::size_t p_nj, std::size_t p_nk,
                              std::size_t p_per_cell) {
    std::size_t result = p_per_cell;
    for (std::size_t extent : {p_ni, p_nj, p_nk}) {
        if (extent != 0 && result > std::numeric_limits<std::size_t>::max() / 8 / extent) {
            throw std::length_error("Builder extents are too large");
        }
        result *= extent;
    }
    return result;
}

}  // namespace ostrel::builder

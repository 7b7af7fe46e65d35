#pragma once

#include <cstddef>

#include "core/Export.h"

namespace ostrel::varnok {

// The plain loops behind a selection of a box's cells, over raw storage so that they run without
// a call per cell. Cells are in the box's order: i fastest, then j, then k.

// The number that marks a cell outside the selection.
constexpr unsigned int not_selected = 4294967295u;

// Writes for each cell its dense number (cells with a flag other than 0, counted from 0) or
// not_selected, and returns the count.
OSTREL_CORE_API unsigned int number_selected_cells(const unsigned char* p_flags,
                                                   std::size_t p_cells,
                                                   unsigned int* p_original_to_selection);

// Counts the cells whose flag is not 0.
OSTREL_CORE_API unsigned int count_selected_cells(const unsigned char* p_flags,
                                                  std::size_t p_cells);

// Writes the (i, j, k) of each selected cell, in order, as three unsigned short per cell.
OSTREL_CORE_API void write_selected_positions(const unsigned int* p_original_to_selection,
                                              unsigned short p_ni, unsigned short p_nj,
                                              unsigned short p_nk, unsigned short* p_ijk);

// For each selected cell, bit f (faces -I, +I, -J, +J, -K, +K) set when the plain neighbour
// across face f lies in the box and is selected.
OSTREL_CORE_API void write_neighbour_masks(const unsigned int* p_original_to_selection,
                                           unsigned short p_ni, unsigned short p_nj,
                                           unsigned short p_nk, unsigned char* p_masks);

// The face from cell a to cell b of a lateral pair: with d = i(b) - i(a) and e = j(b) - j(a),
// (1, 0) is face 1, (-1, 0) face 0, (0, 1) face 3, (0, -1) face 2, anything else 6.
inline unsigned int lateral_face(long p_d, long p_e) {
    if (p_e == 0) {
        if (p_d == 1) return 1;
        if (p_d == -1) return 0;
    } else if (p_d == 0) {
        if (p_e == 1) return 3;
        if (p_e == -1) return 2;
    }
    return 6;
}

// The face from a to b of a vertical pair: 5 when a lies above b in k order, else 4.
inline unsigned int vertical_face(unsigned int p_ka, unsigned int p_kb) {
    return p_ka < p_kb ? 5u : 4u;
}

}  // namespace ostrel::varnok

#pragma once

// The order of every walk over a box: i fastest, then j, then k, from (0, 0, 0) until k reaches
// NK. A raised i that reaches (or passes) NI goes back to 0 and raises j, and likewise j into k,
// so a box with NI = 0 still walks its j and k with i = 0; the walk is empty only when NK is 0.
#include "core/handle/Handles.h"

namespace ostrel::varnok {

template <class Visit>
void walk_cells(const core::Handle3& p_shape, Visit&& p_visit) {
    const unsigned int ni = p_shape[0], nj = p_shape[1], nk = p_shape[2];
    unsigned int i = 0, j = 0, k = 0;
    while (k < nk) {
        p_visit(core::Handle3{{static_cast<unsigned short>(i), static_cast<unsigned short>(j),
                               static_cast<unsigned short>(k)}});
        if (++i >= ni) {
            i = 0;
            if (++j >= nj) {
                j = 0;
                ++k;
            }
        }
    }
}

// Corners fastest (0 to 7), then the cells in their order.
template <class Visit>
void walk_vertices(const core::Handle3& p_shape, Visit&& p_visit) {
    walk_cells(p_shape, [&](const core::Handle3& p_cell) {
        for (unsigned short corner = 0; corner < 8; ++corner) {
            p_visit(core::Handle4{{p_cell[0], p_cell[1], p_cell[2], corner}});
        }
    });
}

}  // namespace ostrel::varnok

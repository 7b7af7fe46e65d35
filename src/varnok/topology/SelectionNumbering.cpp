#include "varnok/topology/SelectionNumbering.h"

namespace ostrel::varnok {

unsigned int number_selected_cells(const unsigned char* p_flags, std::size_t p_cells,
                                   unsigned int* p_original_to_selection) {
    unsigned int next = 0;
    for (std::size_t cell = 0; cell < p_cells; ++cell) {
        const bool selected = p_flags[cell] != 0;
        p_original_to_selection[cell] = selected ? next : not_selected;
        next += selected ? 1u : 0u;
    }
    return next;
}

unsigned int count_selected_cells(const unsigned char* p_flags, std::size_t p_cells) {
    unsigned int count = 0;
    for (std::size_t cell = 0; cell < p_cells; ++cell) count += p_flags[cell] != 0 ? 1u : 0u;
    return count;
}

void write_selected_positions(const unsigned int* p_original_to_selection, unsigned short p_ni,
                              unsigned short p_nj, unsigned short p_nk, unsigned short* p_ijk) {
    const unsigned int* cell = p_original_to_selection;
    for (unsigned int k = 0; k < p_nk; ++k) {
        for (unsigned int j = 0; j < p_nj; ++j) {
            for (unsigned int i = 0; i < p_ni; ++i, ++cell) {
                if (*cell == not_selected) continue;
                unsigned short* out = p_ijk + 3 * static_cast<std::size_t>(*cell);
                out[0] = static_cast<unsigned short>(i);
                out[1] = static_cast<unsigned short>(j);
                out[2] = static_cast<unsigned short>(k);
            }
        }
    }
}

void write_neighbour_masks(const unsigned int* p_original_to_selection, unsigned short p_ni,
                           unsigned short p_nj, unsigned short p_nk, unsigned char* p_masks) {
    const std::size_t di = 1;
    const std::size_t dj = p_ni;
    const std::size_t dk = static_cast<std::size_t>(p_ni) * p_nj;
    const unsigned int* cell = p_original_to_selection;
    for (unsigned int k = 0; k < p_nk; ++k) {
        for (unsigned int j = 0; j < p_nj; ++j) {
            for (unsigned int i = 0; i < p_ni; ++i, ++cell) {
                if (*cell == not_selected) continue;
                unsigned int mask = 0;
                if (i > 0 && cell[-static_cast<std::ptrdiff_t>(di)] != not_selected) mask |= 1u;
                if (i + 1 < p_ni && cell[di] != not_selected) mask |= 2u;
                if (j > 0 && cell[-static_cast<std::ptrdiff_t>(dj)] != not_selected) mask |= 4u;
                if (j + 1 < p_nj && cell[dj] != not_selected) mask |= 8u;
                if (k > 0 && cell[-static_cast<std::ptrdiff_t>(dk)] != not_selected) mask |= 16u;
                if (k + 1 < p_nk && cell[dk] != not_selected) mask |= 32u;
                p_masks[*cell] = static_cast<unsigned char>(mask);
            }
        }
    }
}

}  // namespace ostrel::varnok

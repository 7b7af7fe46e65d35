#pragma once

// The sinks through which the loader's constructor streams the activity, packing, refinement and
// size blocks. Each keeps its walk in a few fields and takes one item by value; a pass over a
// block allocates nothing per item. Items beyond the model's cells are passed over.
#include <cstdint>
#include <vector>

#include "builder/SGridInfoAssembly.h"

namespace kelvara::imex {

// "ICSTPS": sets each cell's mask flag to (item > 0), grid after grid; when a grid's last cell
// has come, its selection is made. The loader has checked that extents fit the mask's 16-bit
// extents, so a cell's local index is its place in the mask.
class ActivitySink {
  public:
    explicit ActivitySink(builder::SGridInfoAssembly& p_assembly);
    void operator()(std::int32_t p_value) {
        if (m_mask == nullptr) return;
        m_mask[m_cell] = p_value > 0 ? 1 : 0;
        if (++m_cell >= m_cells) FinishGrid();
    }

  private:
    // Makes the selection of the grid under the cursor and moves on to the next grid with cells.
    void FinishGrid();
    void EnterGrid();

    builder::SGridInfoAssembly& m_assembly;
    std::size_t m_grid = 0;
    unsigned char* m_mask = nullptr;
    std::int64_t m_cell = 0;
    std::int64_t m_cells = 0;
};

// "IPSTCS": the selection number of each packed cell, grid after grid in the file's packed
// order, into the grids' packedToHandle. Grids without active cells are passed over; the
// loader has refused a model whose first grid is one of them. A packed cell outside its grid or
// inactive in it is refused with std::runtime_error: it has no selection number.
class PackingSink {
  public:
    explicit PackingSink(builder::SGridInfoAssembly& p_assembly);
    void operator()(std::int32_t p_value) {
        if (m_done) return;
        // In 64 bits: an item of -2^31 is refused, not wrapped.
        const std::int64_t local = std::int64_t(p_value) - 1 - m_base;
        if (local < 0 || local >= m_cells) PackedCellOutside(p_value);
        const unsigned int number = m_numbers[local];
        if (number >= static_cast<unsigned int>(m_active)) PackedCellInactive(p_value);
        m_out[m_slot] = static_cast<std::int32_t>(number);
        if (++m_slot >= m_active) NextGrid();
    }

  private:
    void EnterGrid();
    // Moves on to the next grid with active cells, from m_grid on when p_from_here is set, else
    // from the one after it.
    void NextGrid(bool p_from_here = false);
    [[noreturn]] void PackedCellOutside(std::int32_t p_value) const;
    [[noreturn]] void PackedCellInactive(std::int32_t p_value) const;

    builder::SGridInfoAssembly& m_assembly;
    std::size_t m_grid = 0;
    std::int32_t m_slot = 0;
    std::int64_t m_base = 0;
    std::int32_t m_active = 0;
    std::int64_t m_cells = 0;
    std::int32_t* m_out = nullptr;
    const unsigned int* m_numbers = nullptr;
    bool m_done = false;
};

// "ICSTCG": for each cell refined by a grid, that grid's host and host cell, and the host's
// childGrids entry. Grids without cells own no item and are passed over.
class RefinementSink {
  public:
    explicit RefinementSink(builder::SGridInfoAssembly& p_assembly);
    void operator()(std::int32_t p_value) {
        if (m_host == nullptr) return;
        if (p_value > 0) Refine(p_value - 1);
        if (++m_cell == m_host->cellEnd) NextGrid();
    }

  private:
    void Refine(std::int32_t p_child);
    void NextGrid();
    // Puts the cursor on the grid at m_grid, or past it on the first that has cells.
    void EnterGrid();

    builder::SGridInfoAssembly& m_assembly;
    std::int32_t m_grid = 0;
    std::int32_t m_cell = 0;
    std::int32_t m_start = 0;
    builder::SGridInfo* m_host = nullptr;
};

// "BLOCKSIZE": walks the sizes along i and j to the low corner of each cell and hands a host
// cell's corner to the grid that refines it. The change to the next grid is taken when the
// cell number has passed the grid's cellEnd, one cell after the grid's last, so that the first
// cell of a following grid is still walked under the grid before it.
class OriginSink {
  public:
    explicit OriginSink(builder::SGridInfoAssembly& p_assembly);
    void operator()(double p_value) {
        if (m_grid == nullptr) return;
        switch (m_component) {
            case 0:
                Component0(p_value);
                m_component = 1;
                break;
            case 1:
                Component1(p_value);
                m_component = 2;
                break;
            default:
                Component2();
                m_component = 0;
                break;
        }
    }

  private:
    void Component0(double p_value) {
        if (m_i >= m_grid->ni) {
            m_i = 0;
            m_x = m_grid->originX;
            ++m_j;
            m_y += m_last_dy;
        } else {
            m_x += m_last_dx;
        }
        ++m_i;
        m_last_dx = p_value;
    }
    void Component1(double p_value) {
        if (m_j >= m_grid->nj) {
            m_j = 0;
            m_y = m_grid->originY;
        }
        m_last_dy = p_value;
    }
    void Component2() {
        if (m_cell > m_grid->cellEnd && !NextGrid()) return;
        if (!m_grid->childGrids.empty()) PlaceChild();
        ++m_cell;
    }
    // Moves to the next grid; false past the last one, which ends the walk.
    bool NextGrid();
    void PlaceChild();

    builder::SGridInfoAssembly& m_assembly;
    std::size_t m_index = 0;
    builder::SGridInfo* m_grid = nullptr;
    int m_component = 0;
    std::int32_t m_i = 0, m_j = 0;
    std::int32_t m_cell = 0;
    std::int32_t m_grid_start = 0;
    double m_x = 0.0, m_y = 0.0;
    double m_last_dx = 0.0, m_last_dy = 0.0;
};

}  // namespace kelvara::imex

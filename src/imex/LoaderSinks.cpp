#include "imex/LoaderSinks.h"

#include <stdexcept>
#include <string>

namespace kelvara::imex {

ActivitySink::ActivitySink(builder::SGridInfoAssembly& p_assembly) : m_assembly(p_assembly) {
    EnterGrid();
}

void ActivitySink::EnterGrid() {
    m_mask = nullptr;
    m_cell = 0;
    // A grid without cells has nothing to walk.
    while (m_grid < m_assembly.gridList.size() && m_assembly.gridList[m_grid]->CellCount() <= 0) {
        ++m_grid;
    }
    if (m_grid == m_assembly.gridList.size()) return;
    builder::SGridInfo& grid = *m_assembly.gridList[m_grid];
    m_cells = grid.CellCount();
    m_mask = grid.activeMask->typed_data();
}

void ActivitySink::FinishGrid() {
    m_assembly.gridList[m_grid]->CreateSelection();
    ++m_grid;
    EnterGrid();
}

PackingSink::PackingSink(builder::SGridInfoAssembly& p_assembly) : m_assembly(p_assembly) {
    NextGrid(true);
}

void PackingSink::EnterGrid() {
    builder::SGridInfo& grid = *m_assembly.gridList[m_grid];
    m_active = grid.activeCount;
    m_cells = grid.CellCount();
    m_out = grid.packedToHandle->data();
    m_numbers = grid.SelectionNumbers();
}

void PackingSink::NextGrid(bool p_from_here) {
    m_slot = 0;
    if (!p_from_here) {
        m_base += m_assembly.gridList[m_grid]->CellCount();
        ++m_grid;
    }
    // A grid with active cells has its selection and its packed map (a grid whose activity
    // never completed has neither and counts no active cell).
    while (m_grid < m_assembly.gridList.size() && m_assembly.gridList[m_grid]->activeCount <= 0) {
        m_base += m_assembly.gridList[m_grid]->CellCount();
        ++m_grid;
    }
    m_done = m_grid >= m_assembly.gridList.size();
    if (!m_done) EnterGrid();
}

void PackingSink::PackedCellOutside(std::int32_t p_value) const {
    throw std::runtime_error("IPSTCS: packed cell " + std::to_string(m_slot + 1) + " of grid " +
                             std::to_string(m_grid + 1) + " names cell " + std::to_string(p_value) +
                             ", outside the grid");
}

void PackingSink::PackedCellInactive(std::int32_t p_value) const {
    throw std::runtime_error("IPSTCS: packed cell " + std::to_string(m_slot + 1) + " of grid " +
                             std::to_string(m_grid + 1) + " names cell " + std::to_string(p_value) +
                             ", which is inactive");
}

RefinementSink::RefinementSink(builder::SGridInfoAssembly& p_assembly) : m_assembly(p_assembly) {
    EnterGrid();
}

void RefinementSink::EnterGrid() {
    const auto& grids = m_assembly.gridList;
    while (static_cast<std::size_t>(m_grid) < grids.size() &&
           grids[static_cast<std::size_t>(m_grid)]->cellEnd == m_cell) {
        ++m_grid;
    }
    m_host = static_cast<std::size_t>(m_grid) < grids.size()
                 ? grids[static_cast<std::size_t>(m_grid)].get()
                 : nullptr;
}

void RefinementSink::Refine(std::int32_t p_child) {
    builder::SGridInfo& child = m_assembly.GridAt(p_child);
    const std::int32_t local = m_cell - m_start;
    child.hostGrid = m_grid;
    child.hostCell = local;
    m_host->childGrids[local] = p_child;
}

void RefinementSink::NextGrid() {
    m_start = m_cell;
    ++m_grid;
    EnterGrid();
}

OriginSink::OriginSink(builder::SGridInfoAssembly& p_assembly) : m_assembly(p_assembly) {
    if (m_assembly.gridList.empty()) return;
    m_grid = m_assembly.gridList.front().get();
    m_x = m_grid->originX;
    m_y = m_grid->originY;
}

bool OriginSink::NextGrid() {
    m_grid_start = m_cell;
    ++m_index;
    if (m_index >= m_assembly.gridList.size()) {
        m_grid = nullptr;
        return false;
    }
    m_grid = m_assembly.gridList[m_index].get();
    m_i = m_j = 0;
    m_x = m_grid->originX;
    m_y = m_grid->originY;
    m_last_dx = m_last_dy = 0.0;
    return true;
}

void OriginSink::PlaceChild() {
    const auto found = m_grid->childGrids.find(m_cell - m_grid_start);
    if (found == m_grid->childGrids.end()) return;
    builder::SGridInfo& child = m_assembly.GridAt(found->second);
    child.originX = m_x;
    child.originY = m_y;
}

}  // namespace kelvara::imex

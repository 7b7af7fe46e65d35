#include "eclipse/GridScanSteps.h"

#include <algorithm>
#include <stdexcept>

#include "core/pattern/Contract.h"
#include "eclipse/GridItemReads.h"
#include "eclipse/NNCClassification.h"

namespace kelvara::eclipse::scan {

namespace {

std::string where(const Section& p_cursor) {
    return "Section \"" + p_cursor.ShownName() + "\" at position " +
           std::to_string(p_cursor.Position());
}

}  // namespace

std::int32_t Item(const std::vector<std::int32_t>& p_items, std::size_t p_index,
                  const char* p_what) {
    OSTREL_CHECK_CONTRACT(p_index < p_items.size(), p_what);
    return p_items[p_index];
}

TGridSections& FindGrid(TGridFileMap& p_map, const std::string& p_name) {
    auto found = p_map.grids.find(p_name);
    OSTREL_CHECK_CONTRACT(found != p_map.grids.end(), "grid record lookup found nothing");
    return found->second;
}

TGridSections& OpenGrid(TGridFileMap& p_map, const std::string& p_name) {
    p_map.gridNames.push_back(p_name);
    TGridSections& grid = p_map.grids[p_name];
    grid = TGridSections();
    return grid;
}

TGridSections& RequireGrid(TGridSections* p_grid, const Section& p_cursor) {
    if (p_grid == nullptr) {
        throw std::runtime_error(where(p_cursor) +
                                 " belongs to no grid: no grid is open at that place");
    }
    return *p_grid;
}

void ThrowNoNNCHead(const Section& p_cursor) {
    throw std::runtime_error(where(p_cursor) +
                             " comes before any NNCHEAD: the dimensions of its grid are unknown");
}

namespace {

// Empties p_list, reserves it to the section's count (or to what the rest of the file can hold,
// when that is less) and loads the items into it. False when the file ended inside the section.
bool LoadNNCList(Section& p_cursor, std::vector<std::int32_t>& p_list) {
    p_list.clear();
    p_list.reserve(ReservableItems(p_cursor));
    AppendIntItems(p_cursor, p_list);
    return !EndedInside(p_cursor, p_list.size());
}

}  // namespace

bool TakeNNC1(Section& p_cursor, TGridSections* p_grid, TNNCLists& p_lists) {
    RequireGrid(p_grid, p_cursor).sections.push_back(p_cursor.Data());
    return LoadNNCList(p_cursor, p_lists.nnc1);
}

bool TakeNNC2(Section& p_cursor, TGridSections* p_grid, TNNCLists& p_lists, const TGridDims* p_dims,
              std::int32_t p_dualMode) {
    TGridSections& grid = RequireGrid(p_grid, p_cursor);
    grid.sections.push_back(p_cursor.Data());
    if (!LoadNNCList(p_cursor, p_lists.nnc2)) return false;
    if (p_dims == nullptr) ThrowNoNNCHead(p_cursor);
    ClassifyDualNNC(*p_dims, grid, p_lists.nnc1, p_lists.nnc2, p_dualMode);
    return true;
}

bool EndedInside(Section& p_cursor, std::size_t p_items) {
    const auto count = static_cast<std::size_t>(std::max<std::int32_t>(p_cursor.Size(), 0));
    // A load stops early only where the rest of the file holds no whole length word or item:
    // fewer than 8 bytes.
    return p_items < count && p_cursor.stream().remaining() < 8;
}

std::optional<std::string> LgrName(Section& p_cursor) {
    const auto names = ReadStringItems(p_cursor);
    if (EndedInside(p_cursor, names->size())) return std::nullopt;
    OSTREL_CHECK_CONTRACT(!names->empty(), "LGR item index out of range");
    return names->front();
}

bool TakeLgr(Section& p_cursor, TGridFileMap& p_map, std::string& p_currentName,
             TGridSections*& p_currentGrid) {
    const auto name = LgrName(p_cursor);
    if (!name) return false;
    p_currentName = *name;
    p_currentGrid = &OpenGrid(p_map, p_currentName);
    return true;
}

}  // namespace kelvara::eclipse::scan

#include "eclipse/GridScanSteps.h"

#include <stdexcept>

#include "core/pattern/Contract.h"
#include "eclipse/GridItemReads.h"

namespace kelvara::eclipse::scan {

namespace {

std::string where(const Section& p_cursor) {
    std::string name;
    for (char c : p_cursor.Name()) name += c == '\0' ? std::string("\\0") : std::string(1, c);
    return "Section \"" + name + "\" at position " + std::to_string(p_cursor.Position());
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

void LoadNNCList(Section& p_cursor, std::vector<std::int32_t>& p_list) {
    p_list.clear();
    p_cursor.CheckListFits(p_cursor.Size());
    if (p_cursor.Size() > 0) p_list.reserve(static_cast<std::size_t>(p_cursor.Size()));
    AppendIntItems(p_cursor, p_list);
}

std::string LgrName(Section& p_cursor) {
    const auto names = ReadStringItems(p_cursor);
    OSTREL_CHECK_CONTRACT(!names->empty(), "LGR item index out of range");
    return names->front();
}

}  // namespace kelvara::eclipse::scan

#pragma once

// The pieces both grid file scans are made of: checked item access, opening a grid, the NNC list
// loads and the step to the next section.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "eclipse/GridFileMap.h"
#include "eclipse/Section.h"

namespace kelvara::eclipse::scan {

// Item p_index of a loaded section; beyond its end the process ends (p_what names the case).
std::int32_t Item(const std::vector<std::int32_t>& p_items, std::size_t p_index,
                  const char* p_what);

// The record under p_name; a name with no record ends the process.
TGridSections& FindGrid(TGridFileMap& p_map, const std::string& p_name);

// Appends p_name to the grid names and gives it a fresh record, which is returned.
TGridSections& OpenGrid(TGridFileMap& p_map, const std::string& p_name);

// The grid that takes the section under the cursor; RuntimeError when no grid is current.
TGridSections& RequireGrid(TGridSections* p_grid, const Section& p_cursor);

// RuntimeError for an NNC list that needs the dimensions of an NNCHEAD that did not come.
[[noreturn]] void ThrowNoNNCHead(const Section& p_cursor);

// The NNC cell lists of the grid in work.
struct TNNCLists {
    std::vector<std::int32_t> nnc1;
    std::vector<std::int32_t> nnc2;
};

// The NNC1 rule of a dual model: the section goes to the current grid, its items into nnc1.
// False when the file ended inside the section.
bool TakeNNC1(Section& p_cursor, TGridSections* p_grid, TNNCLists& p_lists);

// The NNC2 rule of a dual model: as NNC1 with nnc2, then the pairs are classified with the
// dimensions of the last NNCHEAD (p_dims, null when none came). False when the file ended inside
// the section.
bool TakeNNC2(Section& p_cursor, TGridSections* p_grid, TNNCLists& p_lists, const TGridDims* p_dims,
              std::int32_t p_dualMode);

// The LGR rule: the first name of the section becomes the current name and opens a fresh grid,
// which becomes current; the LGR section itself is recorded nowhere. False when the file ended
// inside the section.
bool TakeLgr(Section& p_cursor, TGridFileMap& p_map, std::string& p_currentName,
             TGridSections*& p_currentGrid);

// True when p_name is one of the four names of p_names.
inline bool IsOneOf(std::string_view p_name, const char* const (&p_names)[4]) {
    for (const char* name : p_names) {
        if (p_name == name) return true;
    }
    return false;
}

// True when the file ended inside the section's data, so that fewer than its count of items
// arrived: the scan ends there with what it has.
bool EndedInside(Section& p_cursor, std::size_t p_items);

// The first grid name of an LGR section; none when the file ended inside the section.
std::optional<std::string> LgrName(Section& p_cursor);

// Moves to the next header: over the blocks unless the section's items were loaded, in which
// case the stream stands at the next header already. False at the end of the scan.
inline bool Step(Section& p_cursor, bool p_loaded) {
    return p_loaded ? p_cursor.ReadHeader() : p_cursor.Advance();
}

// True when the cursor read no whole first header: the file has no sections to scan.
inline bool NoFirstHeader(const Section& p_cursor) { return p_cursor.Type().empty(); }

}  // namespace kelvara::eclipse::scan

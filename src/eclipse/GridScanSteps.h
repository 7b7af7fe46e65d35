#pragma once

// The pieces both grid file scans are made of: checked item access, opening a grid, the NNC list
// loads and the step to the next section.
#include <cstdint>
#include <map>
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

// Empties p_list, reserves it to the section's count (refused when the file cannot hold that
// many) and loads the items into it.
void LoadNNCList(Section& p_cursor, std::vector<std::int32_t>& p_list);

// The first grid name of an LGR section.
std::string LgrName(Section& p_cursor);

// Moves to the next header: over the blocks unless the section's items were loaded, in which
// case the stream stands at the next header already. False at the end of the scan.
inline bool Step(Section& p_cursor, bool p_loaded) {
    return p_loaded ? p_cursor.ReadHeader() : p_cursor.Advance();
}

// True when the cursor read no whole first header: the file has no sections to scan.
inline bool NoFirstHeader(const Section& p_cursor) { return p_cursor.Type().empty(); }

}  // namespace kelvara::eclipse::scan

// The scan of the plain grid layout: DIMENS opens the main grid, each LGR a local grid whose
// dimensions follow in LGRILG; the grids have no ids, NNCHEAD names a grid by its ordinal of
// opening. COORDS and CORNERS, one of each per cell, are left out of the catalogue.
#include "eclipse/GridFileScan.h"

#include <optional>
#include <string>
#include <vector>

#include "core/pattern/Contract.h"
#include "eclipse/GridItemReads.h"
#include "eclipse/GridScanSteps.h"
#include "eclipse/Section.h"

namespace kelvara::eclipse {

namespace {

// Sections of the file as a whole, wherever they stand.
const char* const kPlainFileLevel[4] = {"BOXORIG", "MAPAXES", "MAPUNITS", "GRIDUNIT"};

}  // namespace

TGridFileMap BuildGridMap(const std::shared_ptr<stream::FileStream>& p_stream,
                          std::int32_t p_dualMode) {
    using namespace scan;
    TGridFileMap map;
    std::string currentName = "Main Grid";
    TGridSections* currentGrid = nullptr;
    // The ordinal that the last NNCHEAD named, into dimsByIndex.
    std::optional<std::size_t> nncIndex;
    TNNCLists lists;
    std::vector<TGridDims> dimsByIndex;
    const std::int32_t layerDivisor = p_dualMode > 0 ? 2 : 1;

    Section cursor(p_stream, 0);
    if (NoFirstHeader(cursor)) return map;
    do {
        const std::string_view name = cursor.Name();
        bool loaded = false;
        if (IsOneOf(name, kPlainFileLevel)) {
            map.fileSections.push_back(cursor.Data());
        } else if (name == "DIMENS" && currentName == "Main Grid") {
            const auto items = ReadIntItems(cursor);
            loaded = true;
            if (EndedInside(cursor, items->size())) break;
            dimsByIndex.push_back(
                {Item(*items, 0, "DIMENS item index out of range"),
                 Item(*items, 1, "DIMENS item index out of range"),
                 Item(*items, 2, "DIMENS item index out of range") / layerDivisor});
            currentGrid = &OpenGrid(map, currentName);
            currentGrid->sections.push_back(cursor.Data());
        } else if (name == "LGR") {
            loaded = true;
            if (!TakeLgr(cursor, map, currentName, currentGrid)) break;
        } else if (name == "LGRILG") {
            const auto items = ReadIntItems(cursor);
            loaded = true;
            if (EndedInside(cursor, items->size())) break;
            dimsByIndex.push_back(
                {Item(*items, 8, "LGRILG item index out of range"),
                 Item(*items, 9, "LGRILG item index out of range"),
                 Item(*items, 10, "LGRILG item index out of range") / layerDivisor});
            RequireGrid(currentGrid, cursor).sections.push_back(cursor.Data());
        } else if (name == "NNCHEAD") {
            const auto items = ReadIntItems(cursor);
            loaded = true;
            if (EndedInside(cursor, items->size())) break;
            const std::int32_t index = Item(*items, 1, "NNCHEAD item index out of range");
            const auto ordinal = static_cast<std::size_t>(static_cast<std::uint32_t>(index));
            OSTREL_CHECK_CONTRACT(index >= 0 && ordinal < map.gridNames.size(),
                                  "NNCHEAD grid index out of range of the grid names");
            currentName = map.gridNames[ordinal];
            currentGrid = &FindGrid(map, currentName);
            currentGrid->FaultNNCSize = Item(*items, 0, "NNCHEAD item index out of range");
            currentGrid->sections.push_back(cursor.Data());
            OSTREL_CHECK_CONTRACT(ordinal < dimsByIndex.size(),
                                  "NNCHEAD grid index out of range of the grid dimensions");
            nncIndex = ordinal;
        } else if (name == "NNC1" && p_dualMode > 0) {
            loaded = true;
            if (!TakeNNC1(cursor, currentGrid, lists)) break;
        } else if (name == "NNC2" && p_dualMode > 0) {
            loaded = true;
            const TGridDims* dims = nncIndex ? &dimsByIndex[*nncIndex] : nullptr;
            if (!TakeNNC2(cursor, currentGrid, lists, dims, p_dualMode)) break;
        } else if (name != "COORDS" && name != "CORNERS") {
            RequireGrid(currentGrid, cursor).sections.push_back(cursor.Data());
        }
        if (!Step(cursor, loaded)) break;
    } while (true);
    return map;
}

}  // namespace kelvara::eclipse

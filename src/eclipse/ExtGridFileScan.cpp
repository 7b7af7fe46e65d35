// The scan of the extended grid layout: every grid carries a GRIDHEAD with an explicit id (the
// main grid's is 0) and is closed by ENDGRID or ENDLGR; LGR gives the name that the next
// GRIDHEAD binds to its id, and NNCHEAD names a grid by that id. Sections met while no grid is
// current are unknown.
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "core/pattern/Contract.h"
#include "eclipse/GridFileScan.h"
#include "eclipse/GridItemReads.h"
#include "eclipse/GridScanSteps.h"
#include "eclipse/NNCClassification.h"
#include "eclipse/Section.h"

namespace kelvara::eclipse {

namespace {

// Sections of the file as a whole, wherever they stand.
const char* const kExtFileLevel[4] = {"FILEHEAD", "MAPUNITS", "MAPAXES", "GRIDUNIT"};

}  // namespace

TGridFileMap BuildExtGridMap(const std::shared_ptr<stream::FileStream>& p_stream) {
    using namespace scan;
    TGridFileMap map;
    std::string currentName = "Main Grid";
    TGridSections* currentGrid = nullptr;
    // The dimensions of the grid that the last NNCHEAD named; map entries do not move.
    const TGridDims* nncDims = nullptr;
    TNNCLists lists;
    std::map<std::int32_t, TGridDims> dimsById;
    std::map<std::int32_t, std::string> namesById;
    // Until FILEHEAD tells otherwise, the file is taken as single porosity.
    std::int32_t dualMode = 0;

    Section cursor(p_stream, 0);
    if (NoFirstHeader(cursor)) return map;
    do {
        const std::string_view name = cursor.Name();
        bool loaded = false;
        if (IsOneOf(name, kExtFileLevel)) {
            if (name == "FILEHEAD") {
                const auto items = ReadIntItems(cursor);
                loaded = true;
                if (EndedInside(cursor, items->size())) break;
                dualMode = Item(*items, 5, "FILEHEAD item index out of range");
            }
            map.fileSections.push_back(cursor.Data());
        } else if (name == "ENDGRID" || name == "ENDLGR") {
            currentName.clear();
            currentGrid = nullptr;
        } else if (name == "LGR") {
            loaded = true;
            if (!TakeLgr(cursor, map, currentName, currentGrid)) break;
        } else if (name == "GRIDHEAD") {
            const auto items = ReadIntItems(cursor);
            loaded = true;
            if (EndedInside(cursor, items->size())) break;
            const std::int32_t id = Item(*items, 4, "GRIDHEAD item index out of range");
            dimsById[id] = {Item(*items, 1, "GRIDHEAD item index out of range"),
                            Item(*items, 2, "GRIDHEAD item index out of range"),
                            Item(*items, 3, "GRIDHEAD item index out of range")};
            namesById[id] = currentName;
            if (currentName == "Main Grid") {
                if (id != 0) throw std::runtime_error("Found a Main Grid with an ID != 0!");
                currentGrid = &OpenGrid(map, currentName);
            }
            RequireGrid(currentGrid, cursor).sections.push_back(cursor.Data());
        } else if (name == "NNCHEAD") {
            const auto items = ReadIntItems(cursor);
            loaded = true;
            if (EndedInside(cursor, items->size())) break;
            const std::int32_t id = Item(*items, 1, "NNCHEAD item index out of range");
            const auto named = namesById.find(id);
            OSTREL_CHECK_CONTRACT(named != namesById.end(),
                                  "NNCHEAD grid id that no GRIDHEAD declared");
            currentName = named->second;
            currentGrid = &FindGrid(map, currentName);
            nncDims = &dimsById.find(id)->second;  // set together with the name
            currentGrid->FaultNNCSize = Item(*items, 0, "NNCHEAD item index out of range");
            currentGrid->sections.push_back(cursor.Data());
        } else if (name == "NNC1" && dualMode > 0) {
            loaded = true;
            if (!TakeNNC1(cursor, currentGrid, lists)) break;
        } else if (name == "NNC2" && dualMode > 0) {
            loaded = true;
            if (!TakeNNC2(cursor, currentGrid, lists, nncDims, dualMode)) break;
        } else if (name == "NNCL") {
            TGridSections& grid = RequireGrid(currentGrid, cursor);
            grid.sections.push_back(cursor.Data());
            if (dualMode > 1) {
                if (nncDims == nullptr) ThrowNoNNCHead(cursor);
                auto items = ReadIntItems(cursor);
                loaded = true;
                if (EndedInside(cursor, items->size())) break;
                ClassifyExternalNNC(*nncDims, grid, std::move(items));
            } else {
                // Every external connection counts as fracture, also in a single-porosity file.
                grid.MatrixExternalNNCSize = 0;
                grid.FractureExternalNNCSize = cursor.Size();
            }
        } else if (currentGrid != nullptr) {
            currentGrid->sections.push_back(cursor.Data());
        } else {
            map.unknownSections.push_back(cursor.Data());
        }
        if (!Step(cursor, loaded)) break;
    } while (true);
    return map;
}

}  // namespace kelvara::eclipse

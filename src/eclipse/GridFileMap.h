#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "eclipse/TSectionData.h"

namespace kelvara::eclipse {

// The logical size of one grid: nx, ny and nz, where nz is the size of one half of a dual model.
struct TGridDims {
    std::int32_t nx = 0;
    std::int32_t ny = 0;
    std::int32_t nz = 0;
};

// One grid of a grid file catalogue: its NNC counters, the direction of its matrix-fracture
// connections, the per-entry mask of its NNCL list and its sections in file order.
struct TGridSections {
    std::int32_t FaultNNCSize = 0;
    std::int32_t MatrixFaultNNCSize = 0;
    std::int32_t FractureFaultNNCSize = 0;
    std::int32_t DpDkNNCSize = 0;
    // Has a value of its own only after a classification; false until then.
    bool DpDkFrac2Matr = false;
    std::int32_t MatrixExternalNNCSize = 0;
    std::int32_t FractureExternalNNCSize = 0;
    std::shared_ptr<std::vector<char>> DpDkExternalNNCMask;
    std::vector<TSectionData> sections;
};

// What a grid file scan found: grid names in the order of their opening (a name opened twice
// stands twice), one record per name, the sections of the file as a whole and, in the extended
// layout, the sections met while no grid was current.
struct TGridFileMap {
    std::vector<std::string> gridNames;
    std::map<std::string, TGridSections> grids;
    std::map<std::string, TGridSections> lgrGrids;  // kept beside grids; no scan fills it
    std::vector<TSectionData> fileSections;
    std::vector<TSectionData> unknownSections;
};

}  // namespace kelvara::eclipse

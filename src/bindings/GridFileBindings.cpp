// The grid catalogue of the eclipse scope: the two grid file scans, turned into the host's dict,
// and the activity readers of dual models.
#include "bindings/GridFileBindings.h"

#include <memory>
#include <utility>
#include <vector>

#include "bindings/FeederTries.h"
#include "bindings/FileObject.h"
#include "builder/ArrayFeeder.h"
#include "eclipse/DualPorosityActivity.h"
#include "eclipse/GridFileScan.h"

namespace kelvara::bindings {

namespace {

using eclipse::TGridFileMap;
using eclipse::TGridSections;
using eclipse::TSectionData;
using ostrel::builder::ArrayFeeder;

// One key per section, its name, with the record as value; a later name replaces an earlier.
void PutSections(py::dict& p_target, const std::vector<TSectionData>& p_sections) {
    for (const TSectionData& section : p_sections)
        p_target[latin1(section.name)] = py::cast(section);
}

// The host's dict of a catalogue. p_extended adds the counters of the matrix and fracture
// halves and the NNCL mask, which only the extended layout knows.
py::dict CatalogueToDict(const TGridFileMap& p_map, bool p_extended) {
    py::dict result;
    py::dict grids;
    py::dict unknowns;
    result["__grids__"] = grids;
    result["__unknowns__"] = unknowns;
    py::list names;
    for (const std::string& name : p_map.gridNames) names.append(latin1(name));
    result["__grid_names__"] = names;
    PutSections(result, p_map.fileSections);
    PutSections(unknowns, p_map.unknownSections);
    for (const auto& [name, grid] : p_map.grids) {
        py::dict entry;
        PutSections(entry, grid.sections);
        entry["FaultNNCSize"] = grid.FaultNNCSize;
        if (p_extended) {
            entry["MatrixFaultNNCSize"] = grid.MatrixFaultNNCSize;
            entry["FractureFaultNNCSize"] = grid.FractureFaultNNCSize;
        }
        entry["DpDkNNCSize"] = grid.DpDkNNCSize;
        entry["DpDkFrac2Matr"] = py::bool_(grid.DpDkFrac2Matr);
        if (p_extended) {
            entry["MatrixExternalNNCSize"] = grid.MatrixExternalNNCSize;
            entry["FractureExternalNNCSize"] = grid.FractureExternalNNCSize;
            if (grid.DpDkExternalNNCMask)
                entry["DpDkExternalNNCMask"] = py::cast(grid.DpDkExternalNNCMask);
        }
        grids[latin1(name)] = entry;
    }
    return result;
}

py::dict MapExtGridFileSections(py::handle p_file) {
    auto map = WithHostStream(
        p_file, [](const auto& p_stream) { return eclipse::BuildExtGridMap(p_stream); });
    return CatalogueToDict(map, true);
}

py::dict MapGridFileSections(py::handle p_file, std::int32_t p_dualMode) {
    auto map = WithHostStream(
        p_file, [&](const auto& p_stream) { return eclipse::BuildGridMap(p_stream, p_dualMode); });
    return CatalogueToDict(map, false);
}

py::tuple DpDkExtGridActiveCellsCount(py::handle p_file, std::int64_t p_position) {
    const auto counts = WithHostStream(p_file, [&](const auto& p_stream) {
        return eclipse::DpDkExtGridActiveCellsCount(p_stream, p_position);
    });
    return py::make_tuple(static_cast<std::int32_t>(counts.bit0),
                          static_cast<std::int32_t>(counts.bit1));
}

using DualActnumRead = void (*)(const std::shared_ptr<stream::FileStream>&, std::int32_t,
                                std::int64_t, bool, ArrayFeeder&);

// The host entry of an activity reader: stream, feeder, read; the host object is left where the
// read ended.
template <DualActnumRead Read>
void ReadDualActnum(py::handle p_file, std::int32_t p_count, std::int64_t p_position, bool p_matrix,
                    py::handle p_feeder) {
    WithHostStream(p_file, [&](const auto& p_stream) {
        ArrayFeeder& feeder = RequireByReference<ArrayFeeder>(p_feeder);
        Read(p_stream, p_count, p_position, p_matrix, feeder);
    });
}

}  // namespace

void ExposeGridFileScans(py::class_<EclipseScope>& p_scope) {
    p_scope.def_static(
        "MapExtGridFileSections", &MapExtGridFileSections, py::arg("file"),
        "Catalogues an extended grid file (EGRID) from position 0 to its end: a dict with "
        "'__grids__' (grid name -> dict of its sections by name and its NNC counters), "
        "'__unknowns__' (sections met while no grid was open), '__grid_names__' (grid names in "
        "order of opening) and the file-level sections at the top level.");
    p_scope.def_static(
        "MapGridFileSections", &MapGridFileSections, py::arg("file"), py::arg("dualMode"),
        "Catalogues a plain grid file (GRID) from position 0 to its end, into the dict of "
        "MapExtGridFileSections; COORDS and CORNERS are left out. dualMode above 0 halves the "
        "third dimension and classifies NNC1/NNC2.");
}

void ExposeDualPorosityStatics(py::class_<EclipseScope>& p_scope) {
    p_scope.def_static("DpDkExtGridActiveCellsCount", &DpDkExtGridActiveCellsCount, py::arg("file"),
                       py::arg("position"),
                       "(matrix, fracture): the counts of bit 0 and bit 1 over the words of the "
                       "section at position.");
    p_scope.def_static(
        "ReadGridDpDkActnumSections", &ReadDualActnum<eclipse::ReadGridDpDkActnumSections>,
        py::arg("file"), py::arg("count"), py::arg("position"), py::arg("matrix"),
        py::arg("feeder"),
        "Feeds bit 0 (matrix True) or bit 1 of item 4 of count COORDS sections from position on, "
        "as 0.0 or 1.0.");
    p_scope.def_static(
        "ReadExtGridDpDkActnumSections", &ReadDualActnum<eclipse::ReadExtGridDpDkActnumSections>,
        py::arg("file"), py::arg("count"), py::arg("position"), py::arg("matrix"),
        py::arg("feeder"),
        "Feeds bit 0 (matrix True) or bit 1 of every word of the section at position, as 0.0 or "
        "1.0; count is not used.");
}

}  // namespace kelvara::bindings

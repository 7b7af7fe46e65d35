#include "bindings/GeometryBindings.h"

#include <pybind11/numpy.h>

#include <cstdint>
#include <string>

#include "geometry/CellGeometry.h"

namespace kelvara::bindings {

namespace {

using geometry::TCellOutputs;

// The data of an output array for p_count cells of p_width values each, or null for None.
double* Output(const py::object& p_array, std::int64_t p_count, std::int64_t p_width,
               const char* p_name) {
    if (p_array.is_none()) return nullptr;
    auto array = py::cast<py::array>(p_array);
    if (!array.dtype().is(py::dtype::of<double>()) || !(array.flags() & py::array::c_style) ||
        !array.writeable() || array.size() != p_count * p_width) {
        throw py::value_error(std::string(p_name) + ": a writeable C-ordered float64 array of " +
                              std::to_string(p_count * p_width) + " values");
    }
    return static_cast<double*>(array.mutable_data());
}

TCellOutputs Outputs(std::int64_t p_count, const py::object& p_corners, const py::object& p_centres,
                     const py::object& p_volumes) {
    return {Output(p_corners, p_count, 24, "corners"), Output(p_centres, p_count, 3, "centers"),
            Output(p_volumes, p_count, 1, "volumes")};
}

bool IsFloat(const py::array& p_array) {
    return p_array.dtype().is(py::dtype::of<float>()) ||
           p_array.dtype().is(py::dtype::of<double>());
}

void CheckInput(const py::array& p_array, std::int64_t p_least, const char* p_name) {
    if (!IsFloat(p_array) || !(p_array.flags() & py::array::c_style) || p_array.size() < p_least) {
        throw py::value_error(std::string(p_name) + ": a C-ordered float32 or float64 array of " +
                              "at least " + std::to_string(p_least) + " values");
    }
}

void CheckRange(std::int64_t p_first, std::int64_t p_count, std::int64_t p_cells) {
    if (p_first < 0 || p_count < 0 || p_first > p_cells || p_count > p_cells - p_first) {
        throw py::value_error("cells " + std::to_string(p_first) + " to " +
                              std::to_string(p_first + p_count) + " of a grid of " +
                              std::to_string(p_cells) + " cells");
    }
}

template <class TCells>
void Run(const TCells& p_cells, std::int64_t p_first, std::int64_t p_count,
         const TCellOutputs& p_out) {
    py::gil_scoped_release release;
    geometry::ComputeCells(p_cells, p_first, p_count, p_out);
}

// The cells of a corner-point grid, for each of the four pairs of item types COORD and ZCORN may
// have.
template <class TCoord>
void PillarsOf(const py::array& p_coord, const py::array& p_zcorn, std::int64_t p_ni,
               std::int64_t p_nj, std::int64_t p_nk, std::int64_t p_first, std::int64_t p_count,
               const TCellOutputs& p_out) {
    const auto* coord = static_cast<const TCoord*>(p_coord.data());
    if (p_zcorn.dtype().is(py::dtype::of<float>())) {
        Run(geometry::TPillarCells<TCoord, float>{coord, static_cast<const float*>(p_zcorn.data()),
                                                  p_ni, p_nj, p_nk},
            p_first, p_count, p_out);
    } else {
        Run(
            geometry::TPillarCells<TCoord, double>{
                coord, static_cast<const double*>(p_zcorn.data()), p_ni, p_nj, p_nk},
            p_first, p_count, p_out);
    }
}

void PillarCells(const py::array& p_coord, const py::array& p_zcorn, std::int64_t p_ni,
                 std::int64_t p_nj, std::int64_t p_nk, std::int64_t p_first, std::int64_t p_count,
                 const py::object& p_corners, const py::object& p_centres,
                 const py::object& p_volumes) {
    if (p_ni < 0 || p_nj < 0 || p_nk < 0) throw py::value_error("negative grid dimensions");
    const std::int64_t cells = p_ni * p_nj * p_nk;
    CheckRange(p_first, p_count, cells);
    if (p_count == 0) return;
    CheckInput(p_coord, 6 * (p_ni + 1) * (p_nj + 1), "coord");
    CheckInput(p_zcorn, 8 * cells, "zcorn");
    const TCellOutputs out = Outputs(p_count, p_corners, p_centres, p_volumes);
    if (p_coord.dtype().is(py::dtype::of<float>())) {
        PillarsOf<float>(p_coord, p_zcorn, p_ni, p_nj, p_nk, p_first, p_count, out);
    } else {
        PillarsOf<double>(p_coord, p_zcorn, p_ni, p_nj, p_nk, p_first, p_count, out);
    }
}

void ListedCells(const py::array& p_values, std::int64_t p_first, std::int64_t p_count,
                 const py::object& p_corners, const py::object& p_centres,
                 const py::object& p_volumes) {
    const std::int64_t cells = p_values.size() / 24;
    CheckRange(p_first, p_count, cells);
    if (p_count == 0) return;
    CheckInput(p_values, 24 * cells, "values");
    const TCellOutputs out = Outputs(p_count, p_corners, p_centres, p_volumes);
    if (p_values.dtype().is(py::dtype::of<float>())) {
        Run(geometry::TListedCells<float>{static_cast<const float*>(p_values.data())}, p_first,
            p_count, out);
    } else {
        Run(geometry::TListedCells<double>{static_cast<const double*>(p_values.data())}, p_first,
            p_count, out);
    }
}

}  // namespace

void ExposeGeometry(py::module_& p_module) {
    py::module_ geometry = p_module.def_submodule(
        "_geometry",
        "Corners, centres and exact trilinear volumes of grid cells, computed natively over "
        "all the cells of a call (private; kelvara.Grid stands on it).");
    geometry.def("pillar_cells", &PillarCells, py::arg("coord"), py::arg("zcorn"), py::arg("ni"),
                 py::arg("nj"), py::arg("nk"), py::arg("first"), py::arg("count"),
                 py::arg("corners") = py::none(), py::arg("centers") = py::none(),
                 py::arg("volumes") = py::none(),
                 "Cells first .. first + count (i fastest) of the corner-point grid of COORD and "
                 "ZCORN (float32 or float64): their corners (24 values a cell), centres (3) and "
                 "volumes (1) into the float64 arrays given; None skips one.");
    geometry.def("listed_cells", &ListedCells, py::arg("values"), py::arg("first"),
                 py::arg("count"), py::arg("corners") = py::none(), py::arg("centers") = py::none(),
                 py::arg("volumes") = py::none(),
                 "The same for cells given by their corners, 24 values a cell (float32 or "
                 "float64).");
}

}  // namespace kelvara::bindings

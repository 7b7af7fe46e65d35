// The grid description records of the _ostrel module: SGridInfo, SGridInfoAssembly, the
// connection records and TConnectionRef, and the connection feeder with its table of targets.
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bindings/Common.h"
#include "bindings/FeederTries.h"
#include "bindings/ostrel/Registration.h"
#include "builder/SConnectionArrayFeeder.h"
#include "builder/SGridInfoAssembly.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "varnok/topology/ReservoirSelectionTopology.h"

namespace kelvara::bindings {

namespace {

using builder::ConnectionTarget;
using builder::SConnectionArrayFeeder;
using builder::SConnectionGridInfo;
using builder::SExternalNNCInfo;
using builder::SGridInfo;
using builder::SGridInfoAssembly;
using builder::TConnectionRef;
using ostrel::builder::TOstrelArray1DBuilder;

using IntVector = std::shared_ptr<std::vector<std::int32_t>>;

// An int32 NumPy copy of a vector, or None for a null one.
py::object Int32Copy(const IntVector& p_vector) {
    if (!p_vector) return py::none();
    return py::array_t<std::int32_t>(static_cast<py::ssize_t>(p_vector->size()), p_vector->data());
}

using Mask = ostrel::core::Array<unsigned char, 3>;

// The mask as the core's Array (uint8, rank 3), sharing its storage; None without a mask.
py::object MaskObject(const SGridInfo& p_grid) {
    if (!p_grid.activeMask) return py::none();
    return py::cast(std::static_pointer_cast<ostrel::core::IArray>(p_grid.activeMask));
}

// A host's own mask: an Array of uint8 and rank 3, shared, or None.
void SetMask(SGridInfo& p_grid, std::shared_ptr<ostrel::core::IArray> p_array) {
    if (!p_array) {
        p_grid.activeMask.reset();
        return;
    }
    auto mask = std::dynamic_pointer_cast<Mask>(p_array);
    if (!mask) throw py::type_error("activeMask must be an Array of uint8 and rank 3");
    p_grid.activeMask = std::move(mask);
}

// The selection as the core's ReservoirSelectionTopology, or None without a selection.
py::object SelectionObject(const SGridInfo& p_grid) {
    if (!p_grid.selection) return py::none();
    return py::cast(p_grid.selection);
}

// One target: a 1D builder of float, double or int, or None for an empty target.
ConnectionTarget TargetOf(py::handle p_object) {
    if (p_object.is_none()) return {};
    ConnectionTarget target;
    const bool fitted =
        TryBySharedHandle<TOstrelArray1DBuilder<float>, TOstrelArray1DBuilder<double>,
                          TOstrelArray1DBuilder<int>>(
            p_object, [&](auto p_builder) { target = ConnectionTarget(std::move(p_builder)); });
    if (fitted) return target;
    throw py::type_error(
        "a connection target must be an Array1DBuilderFloat, "
        "Array1DBuilderDouble, Array1DBuilderInt or None, not " +
        std::string(py::str(py::type::handle_of(p_object))));
}

std::shared_ptr<SConnectionArrayFeeder> MakeConnectionFeeder(
    std::shared_ptr<SGridInfoAssembly> p_assembly, py::iterable p_targets) {
    if (!p_assembly) throw py::type_error("SConnectionArrayFeeder needs an SGridInfoAssembly");
    std::vector<std::vector<ConnectionTarget>> table;
    for (py::handle row : p_targets) {
        std::vector<ConnectionTarget> targets;
        for (py::handle target : py::reinterpret_borrow<py::iterable>(row)) {
            targets.push_back(TargetOf(target));
        }
        table.push_back(std::move(targets));
    }
    return std::make_shared<SConnectionArrayFeeder>(std::move(p_assembly), std::move(table));
}

py::object TargetObject(const ConnectionTarget& p_target) {
    if (!p_target) return py::none();
    // The owner is one of the three builders; pybind11 finds the registered instance by address.
    const auto& owner = p_target.owner();
    for (auto* type :
         {&typeid(TOstrelArray1DBuilder<float>), &typeid(TOstrelArray1DBuilder<double>),
          &typeid(TOstrelArray1DBuilder<int>)}) {
        auto found = py::detail::get_object_handle(owner.get(), py::detail::get_type_info(*type));
        if (found) return py::reinterpret_borrow<py::object>(found);
    }
    return py::none();
}

void BindConnectionRef(py::module_& m) {
    py::class_<TConnectionRef>(m, "TConnectionRef",
                               "One connection as its values are routed: the place of its first "
                               "grid, its kind (0, 1, 2 neighbours along i, j, k; 3 other pairs "
                               "inside the grid; 4 and up to another grid) and its index inside "
                               "the kind.")
        .def(py::init([](int p_grid, int p_kind, std::int32_t p_index) {
                 return TConnectionRef{static_cast<std::uint16_t>(p_grid),
                                       static_cast<std::uint8_t>(p_kind), p_index};
             }),
             py::arg("grid") = 0, py::arg("kind") = 0, py::arg("index") = 0)
        .def_property_readonly("grid", [](const TConnectionRef& p_ref) { return int(p_ref.grid); })
        .def_property_readonly("kind", [](const TConnectionRef& p_ref) { return int(p_ref.kind); })
        .def_property_readonly("index", [](const TConnectionRef& p_ref) { return p_ref.index; })
        .def("__eq__",
             [](const TConnectionRef& p_a, const TConnectionRef& p_b) {
                 return p_a.grid == p_b.grid && p_a.kind == p_b.kind && p_a.index == p_b.index;
             })
        .def("__repr__", [](const TConnectionRef& p_ref) {
            return "TConnectionRef(grid=" + std::to_string(p_ref.grid) +
                   ", kind=" + std::to_string(p_ref.kind) +
                   ", index=" + std::to_string(p_ref.index) + ")";
        });
}

void BindConnectionRecords(py::module_& m) {
    py::class_<SExternalNNCInfo, std::shared_ptr<SExternalNNCInfo>>(
        m, "SExternalNNCInfo", "The connections of one grid to one other grid, cells local.")
        .def_readonly("connectionCount", &SExternalNNCInfo::connectionCount)
        .def_readonly("fromGrid", &SExternalNNCInfo::fromGrid)
        .def_readonly("toGrid", &SExternalNNCInfo::toGrid)
        .def_property_readonly(
            "fromCells", [](const SExternalNNCInfo& p_info) { return Int32Copy(p_info.fromCells); })
        .def_property_readonly(
            "toCells", [](const SExternalNNCInfo& p_info) { return Int32Copy(p_info.toCells); });
    py::class_<SConnectionGridInfo, std::shared_ptr<SConnectionGridInfo>>(
        m, "SConnectionGridInfo",
        "The connections that start in one grid: its non-neighbour pairs and its records of "
        "connections to other grids.")
        .def_property_readonly("grid",
                               [](const SConnectionGridInfo& p_info) -> py::object {
                                   if (p_info.grid == nullptr) return py::none();
                                   auto shared = p_info.grid->weak_from_this().lock();
                                   if (!shared) return py::none();
                                   return py::cast(shared);
                               })
        .def_readonly("nncCount", &SConnectionGridInfo::nncCount)
        .def_property_readonly(
            "nnc1", [](const SConnectionGridInfo& p_info) { return Int32Copy(p_info.nnc1); })
        .def_property_readonly(
            "nnc2", [](const SConnectionGridInfo& p_info) { return Int32Copy(p_info.nnc2); })
        .def_property_readonly("externalNNC", [](const SConnectionGridInfo& p_info) {
            return py::cast(p_info.externalNNC);
        });
}

void BindGridInfo(py::module_& m) {
    py::class_<SGridInfo, std::shared_ptr<SGridInfo>>(
        m, "SGridInfo",
        "One grid of a model: extents, ranges in the model's cell and active numberings, host "
        "and children, origin, and its active cells (mask, selection, packed map).")
        .def(py::init<>())
        .def_readwrite("ni", &SGridInfo::ni)
        .def_readwrite("nj", &SGridInfo::nj)
        .def_readwrite("nk", &SGridInfo::nk)
        .def_readonly("activeCount", &SGridInfo::activeCount)
        .def_readwrite("gridIndex", &SGridInfo::gridIndex)
        .def_readwrite("hostGrid", &SGridInfo::hostGrid)
        .def_readwrite("hostCell", &SGridInfo::hostCell)
        .def_property_readonly("childGrids",
                               [](const SGridInfo& p_grid) { return py::cast(p_grid.childGrids); })
        .def_readwrite("cellBegin", &SGridInfo::cellBegin)
        .def_readwrite("cellEnd", &SGridInfo::cellEnd)
        .def_readwrite("activeBegin", &SGridInfo::activeBegin)
        .def_readwrite("activeEnd", &SGridInfo::activeEnd)
        .def_readwrite("originX", &SGridInfo::originX)
        .def_readwrite("originY", &SGridInfo::originY)
        .def_property("activeMask", &MaskObject, &SetMask,
                      "The per-cell flags (1 active) as an Array of uint8 and rank 3 sharing the "
                      "record's storage, or None before CreateActiveMask.")
        .def_property_readonly("selection", &SelectionObject,
                               "The active cells as a selection topology, or None.")
        .def_property_readonly(
            "packedToHandle",
            [](const SGridInfo& p_grid) { return Int32Copy(p_grid.packedToHandle); },
            "For each active cell in the file's packed order its handle in the selection "
            "(int32 copy), or None.")
        .def("CreateActiveMask", &SGridInfo::CreateActiveMask,
             "A new mask of shape (ni, nj, nk), all 0.")
        .def("CreateSelection", &SGridInfo::CreateSelection,
             "Selects the cells whose mask flag is not 0 and sets activeCount.")
        .def("CreatePackedMap", &SGridInfo::CreatePackedMap,
             "activeCount zeros as packedToHandle, or None with no active cell.");
}

void BindAssembly(py::module_& m) {
    py::class_<SGridInfoAssembly, std::shared_ptr<SGridInfoAssembly>>(
        m, "SGridInfoAssembly",
        "A whole model: its grids, one connection record per grid once connections are set up, "
        "and every connection in the order of adding.")
        .def(py::init<>())
        .def_property_readonly(
            "gridList",
            [](const SGridInfoAssembly& p_assembly) { return py::cast(p_assembly.gridList); })
        .def_property_readonly("connectionInfos",
                               [](const SGridInfoAssembly& p_assembly) {
                                   return py::cast(p_assembly.connectionInfos);
                               })
        .def_property_readonly("connectionSequence",
                               [](const SGridInfoAssembly& p_assembly) {
                                   return py::cast(p_assembly.connectionSequence);
                               })
        .def(
            "AddGrid",
            [](SGridInfoAssembly& p_assembly, std::shared_ptr<SGridInfo> p_grid) {
                if (!p_grid) throw py::type_error("AddGrid needs an SGridInfo, not None");
                p_assembly.AddGrid(std::move(p_grid));
            },
            py::arg("grid"), "Sets the grid's gridIndex to its place and appends it.")
        .def("CreateConnectionInfos", &SGridInfoAssembly::CreateConnectionInfos,
             "One SConnectionGridInfo per grid, in gridList order.")
        .def(
            "AddConnection",
            [](SGridInfoAssembly& p_assembly, std::int32_t p_cell1, std::int32_t p_grid1,
               std::int32_t p_cell2, std::int32_t p_grid2) {
                return p_assembly.AddConnection(p_cell1, p_grid1, p_cell2, p_grid2);
            },
            py::arg("cell1"), py::arg("grid1"), py::arg("cell2"), py::arg("grid2"),
            "Classifies the connection of two local cells and appends its TConnectionRef, of "
            "which a copy is returned. A grid without a connection record ends the process.");
}

void BindConnectionFeeder(py::module_& m) {
    py::class_<SConnectionArrayFeeder, std::shared_ptr<SConnectionArrayFeeder>>(
        m, "SConnectionArrayFeeder",
        "SConnectionArrayFeeder(assembly, targets): sends each value of a connection block to "
        "targets[grid][kind] of its connection (an Array1DBuilder*, or None to pass the values "
        "over), at the connection's index. A cursor walks the assembly's connectionSequence; "
        "running it off the end, or a grid or kind beyond the table, ends the process.")
        .def(py::init(&MakeConnectionFeeder), py::arg("assembly"), py::arg("targets"))
        .def("InsertNextValue", &SConnectionArrayFeeder::InsertNextValue, py::arg("value"),
             "Sends the value to the target of the connection under the cursor and moves on.")
        .def_property_readonly("cursor", &SConnectionArrayFeeder::cursor,
                               "Connections passed so far.")
        .def_property_readonly("targets", [](const SConnectionArrayFeeder& p_feeder) {
            py::list rows;
            for (const auto& row : p_feeder.targets()) {
                py::list targets;
                for (const auto& target : row) targets.append(TargetObject(target));
                rows.append(targets);
            }
            return rows;
        });
}

}  // namespace

void RegisterGridRecords(py::module_& m) {
    BindConnectionRef(m);
    BindConnectionRecords(m);
    BindGridInfo(m);
    BindAssembly(m);
    BindConnectionFeeder(m);
}

}  // namespace kelvara::bindings

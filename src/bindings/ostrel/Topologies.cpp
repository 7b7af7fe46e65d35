// kelvara.HandleMapper, kelvara.ReservoirTopology and kelvara.ReservoirSelectionTopology: the
// box of cells, the selection of its active cells with its dense numbering, mappers both ways,
// neighbours and connections, and arrays and histograms of grid functions over either.
#include <pybind11/numpy.h>

#include <memory>
#include <string>
#include <vector>

#include "bindings/ostrel/PyGridFunctions.h"
#include "bindings/ostrel/PyHandles.h"
#include "bindings/ostrel/Registration.h"
#include "core/algorithm/DispatchChain.h"
#include "core/array/Array.h"
#include "varnok/topology/CellWalk.h"
#include "varnok/topology/ReservoirSelectionTopology.h"

namespace kelvara::bindings {

using namespace ostrel::core;
using ostrel::varnok::CellCorners;
using ostrel::varnok::CellPair;
using ostrel::varnok::ReservoirSelectionTopology;
using ostrel::varnok::ReservoirTopology;
using ostrel::varnok::ReservoirTopologyBase;
using FunctionPtr = std::shared_ptr<IGridFunction>;
using SelectionPtr = std::shared_ptr<ReservoirSelectionTopology>;

namespace {

struct CollectCells : ITopologyVisitor {
    void visit(const Handle3& p_cell) override { cells.append(HandleToPy(p_cell)); }
    void visit(const Handle1& p_cell) override { cells.append(HandleToPy(p_cell)); }
    py::list cells;
};

py::list ListOf(const unsigned int* p_begin, const unsigned int* p_end) {
    py::list result;
    for (const unsigned int* value = p_begin; value != p_end; ++value) result.append(*value);
    return result;
}

struct NoCellTest : CellPredicate {
    bool operator()(const AnyHandle&) const override { return true; }
};

// Pairs of flat cell numbers from an (n, 2) array of integers below p_cells.
Array<CellPair, 1> PairsFromPy(const py::handle& p_pairs, unsigned int p_cells) {
    const auto pairs =
        py::array_t<long long, py::array::c_style | py::array::forcecast>::ensure(p_pairs);
    if (!pairs || pairs.ndim() != 2 || pairs.shape(1) != 2) {
        throw py::type_error("connection pairs are an (n, 2) array of cell numbers");
    }
    Array<CellPair, 1> result(default_array_factory(), static_cast<unsigned int>(pairs.shape(0)));
    const long long* values = pairs.data();
    for (py::ssize_t n = 0; n < pairs.shape(0); ++n) {
        for (int end = 0; end < 2; ++end) {
            const long long cell = values[2 * n + end];
            if (cell < 0 || cell >= static_cast<long long>(p_cells)) {
                throw py::value_error("cell number " + std::to_string(cell) +
                                      " is outside the box");
            }
            result[static_cast<unsigned int>(n)][end] = static_cast<unsigned int>(cell);
        }
    }
    return result;
}

py::object PairsToPy(bool p_present, const Array<CellPair, 1>& p_pairs) {
    if (!p_present) return py::none();
    py::array_t<unsigned int> result({static_cast<py::ssize_t>(p_pairs.size()), py::ssize_t(2)});
    auto out = result.mutable_unchecked<2>();
    for (unsigned int n = 0; n < p_pairs.size(); ++n) {
        out(n, 0) = p_pairs[n][0];
        out(n, 1) = p_pairs[n][1];
    }
    return std::move(result);
}

std::shared_ptr<IHandleMapper> ShareMapper(const SelectionPtr& p_selection,
                                           const IHandleMapper& p_mapper) {
    return std::shared_ptr<IHandleMapper>(p_selection, const_cast<IHandleMapper*>(&p_mapper));
}

// The flags of a selection: a uint8 Array of rank 3, or a grid function over one, in the box's
// shape.
ArrayGridFunction<unsigned char, 3> FlagsFromPy(const ReservoirTopology& p_topology,
                                                const py::handle& p_flags) {
    using Flags = ArrayGridFunction<unsigned char, 3>;
    Flags flags;
    if (py::isinstance<IGridFunction>(p_flags)) {
        const FunctionPtr function = p_flags.cast<FunctionPtr>();
        const Flags* typed = dynamic_cast<const Flags*>(function.get());
        if (!typed) throw py::type_error("flags are a GridFunction over a uint8 Array of rank 3");
        flags = *typed;
    } else {
        const std::shared_ptr<IArray> array = p_flags.cast<std::shared_ptr<IArray>>();
        const auto* typed = dynamic_cast<const Array<unsigned char, 3>*>(array.get());
        if (!typed) throw py::type_error("flags are a uint8 Array of rank 3");
        flags = Flags(*typed);
    }
    if (!(flags.held_array().extents() == p_topology.shape()) ||
        !flags.held_array().implementation()) {
        throw py::value_error("the flags must have the shape of the topology");
    }
    return flags;
}

FunctionPtr MakeView(const SelectionPtr& p_selection, const FunctionPtr& p_function) {
    FunctionPtr result;
    auto make = [&](const auto& p_typed) {
        using Viewed = std::decay_t<decltype(p_typed)>;
        using T = typename Viewed::value_type;
        std::shared_ptr<const Viewed> viewed(p_function, &p_typed);
        result = std::make_shared<ViewGridFunction<T>>(
            viewed, p_selection->selection_to_original().held_array(), p_selection->shape());
    };
    if (!dispatch_chain<FullArrayFunction>(*p_function, ViewChain{}, make)) {
        using Wide = ArrayGridFunction<long long, 3>;
        if (const Wide* wide = dynamic_cast<const Wide*>(p_function.get())) {
            make(*wide);
        } else {
            throw py::type_error("view needs a GridFunction over an Array of rank 3 of " +
                                 std::string("float32, float64, int8, int16, int32, int64, "
                                             "uint8, uint16 or uint32"));
        }
    }
    return result;
}

template <class Class>
void DefTopology(Class& p_class) {
    using T = typename Class::type;
    p_class.def_property_readonly("dimensions", &T::dimensions, "3.")
        .def_property_readonly("cell_count", &T::number_of_cells, "The number of cells.")
        .def_property_readonly("vertex_count", &T::number_of_vertices, "8 per cell.")
        .def_property_readonly("edge_count", &T::number_of_edges, "12 per cell.")
        .def_property_readonly("face_count", &T::number_of_faces, "6 per cell.")
        .def_property_readonly(
            "cell_shape", [](const T& p_self) { return ShapeToPy(p_self.cell_shape()); },
            "The shape of a per-cell array.")
        .def_property_readonly(
            "vertex_shape", [](const T& p_self) { return ShapeToPy(p_self.vertex_shape()); },
            "The shape of a per-corner array.")
        .def_property_readonly(
            "grid_shape", [](const T& p_self) { return ShapeToPy(p_self.grid_shape()); },
            "The box (ni, nj, nk).")
        .def(
            "accepted_handles",
            [](const T& p_self, unsigned int p_location) {
                return p_self.accepted_handles(static_cast<LocationType>(p_location));
            },
            py::arg("location"), "The mask of handle shapes for elements at a location.")
        .def("corners_per_cell", &T::corners_per_cell, py::arg("i"), py::arg("j"), py::arg("k"),
             "8.")
        .def(
            "cells",
            [](const T& p_self) {
                CollectCells collect;
                p_self.visit_all_cells(collect);
                return collect.cells;
            },
            "The handles of the cell walk, in walk order.")
        .def(
            "get_elements_on",
            [](const T& p_self, unsigned int p_from, const py::handle& p_handle,
               unsigned int p_to) {
                HandleCollection result;
                p_self.get_elements_on(static_cast<LocationType>(p_from), HandleFromPy(p_handle),
                                       static_cast<LocationType>(p_to), NoCellTest(), result);
            },
            py::arg("from_location"), py::arg("handle"), py::arg("to_location"),
            "Not implemented for reservoir topologies: fails always.")
        .def(
            "get_adjacents_of",
            [](const T& p_self, unsigned int p_from, const py::handle& p_handle,
               unsigned int p_through, unsigned int p_to) {
                AdjacentsCollection result;
                p_self.get_adjacents_of(static_cast<LocationType>(p_from), HandleFromPy(p_handle),
                                        static_cast<LocationType>(p_through),
                                        static_cast<LocationType>(p_to), NoCellTest(), result);
            },
            py::arg("from_location"), py::arg("handle"), py::arg("through_location"),
            py::arg("to_location"), "Not implemented for reservoir topologies: fails always.")
        .def(
            "create_array",
            [](const T& p_self, const IGridFunction& p_function) {
                return p_self.create_array(p_function, *default_array_factory());
            },
            py::arg("function"), "An Array of the function's values over the cells.")
        .def(
            "create_histogram",
            [](const T& p_self, const IGridFunction& p_function, double p_minimum, double p_maximum,
               int p_bins, const FunctionPtr& p_weight, bool p_closed) {
                return p_self.create_histogram(p_function, p_minimum, p_maximum, p_bins,
                                               WeightOrCount(p_weight), *default_array_factory(),
                                               p_closed);
            },
            py::arg("function"), py::arg("minimum"), py::arg("maximum"), py::arg("bins"),
            py::arg("weight") = py::none(), py::arg("closed") = false,
            "A float64 Array of bins + 2 elements: below the minimum, the bins, above the "
            "maximum. weight None counts each element once.");
}

// The activity function is a member of each kind of topology, of a type of its own.
template <class Class>
void DefActives(Class& p_class) {
    using T = typename Class::type;
    p_class.def_property_readonly(
        "actives", [](const T& p_self) { return FunctionPtr(p_self.actives()); },
        "The grid function that tells the active cells.");
}

}  // namespace

void RegisterTopologies(py::module_& m) {
    py::class_<IHandleMapper, std::shared_ptr<IHandleMapper>>(
        m, "HandleMapper", "Carries handles between a grid and a selection of its cells.")
        .def(
            "map",
            [](const IHandleMapper& p_self, const py::handle& p_handle, unsigned int p_to) {
                if (p_to < 1 || p_to > 4) throw py::value_error("to is a handle shape, 1 to 4");
                return HandleToPy(
                    p_self.map_any(HandleFromPy(p_handle), static_cast<HandleType>(p_to - 1)));
            },
            py::arg("handle"), py::arg("to"), "The handle mapped to the shape to (1 to 4).")
        .def_static(
            "passthrough",
            [] { return std::shared_ptr<IHandleMapper>(std::make_shared<PassHandleMapper>()); },
            "The mapper that gives every handle back unchanged.")
        .def_property_readonly(
            "array",
            [](const IHandleMapper& p_self) -> py::object {
                if (const auto* function = dynamic_cast<const IGridFunction*>(&p_self)) {
                    return py::cast(function->array());
                }
                return py::none();
            },
            "The mapping array of a selection's mapper (None for the pass mapper).");

    // What every topology answers is bound once, on the interface; the two kinds add their own.
    py::class_<ITopology, std::shared_ptr<ITopology>> topology(
        m, "_Topology", "What every reservoir topology answers: counts, shapes, walks, arrays.");
    DefTopology(topology);

    py::class_<ReservoirTopology, ITopology, std::shared_ptr<ReservoirTopology>> box(
        m, "ReservoirTopology", "The logical box of ni x nj x nk cells of a structured grid.");
    DefActives(box);
    box.def(py::init<unsigned short, unsigned short, unsigned short>(), py::arg("ni"),
            py::arg("nj"), py::arg("nk"));
    box.def(
           "vertices",
           [](const ReservoirTopology& p_self) {
               py::list result;
               ostrel::varnok::walk_vertices(p_self.shape(), [&](const Handle4& p_corner) {
                   result.append(HandleToPy(p_corner));
               });
               return result;
           },
           "The (i, j, k, corner) handles of the vertex walk, corner fastest.")
        .def(
            "set_lateral_connections",
            [](ReservoirTopology& p_self, const py::handle& p_pairs) {
                p_self.set_lateral_connections(PairsFromPy(p_pairs, p_self.number_of_cells()));
            },
            py::arg("pairs"), "Attaches (n, 2) flat cell numbers connected across I or J faces.")
        .def(
            "set_vertical_connections",
            [](ReservoirTopology& p_self, const py::handle& p_pairs) {
                p_self.set_vertical_connections(PairsFromPy(p_pairs, p_self.number_of_cells()));
            },
            py::arg("pairs"), "Attaches (n, 2) flat cell numbers connected across K faces.")
        .def(
            "set_shared_vertices",
            [](ReservoirTopology& p_self, const std::shared_ptr<IArray>& p_array) {
                const auto* typed = dynamic_cast<const Array<CellCorners, 3>*>(p_array.get());
                if (!typed)
                    throw py::type_error("shared vertices are a uint32 Array, tuple 8, rank 3");
                if (!(typed->extents() == p_self.shape())) {
                    throw py::value_error(
                        "the shared vertices must have the shape of the topology");
                }
                p_self.set_shared_vertices(*typed);
            },
            py::arg("array"), "Attaches the shared vertex numbers of each cell's eight corners.")
        .def_property_readonly("has_shared_vertex_information",
                               &ReservoirTopology::has_shared_vertex_information,
                               "Whether shared vertices were attached.");

    py::class_<ReservoirSelectionTopology, ITopology, SelectionPtr> selection(
        m, "ReservoirSelectionTopology",
        "The selected cells of a box, numbered 0 .. n-1 in cell order.");
    DefActives(selection);
    selection.def(py::init([](const std::shared_ptr<ReservoirTopology>& p_topology,
                              const py::handle& p_flags) {
                      if (!p_topology) throw py::type_error("a ReservoirTopology is needed");
                      return std::make_shared<ReservoirSelectionTopology>(
                          p_topology.get(), p_topology, FlagsFromPy(*p_topology, p_flags));
                  }),
                  py::arg("topology"), py::arg("flags"), "Selects the cells whose flag is not 0.");
    selection
        .def(
            "vertices",
            [](const ReservoirSelectionTopology& p_self) {
                py::list result;
                for (unsigned int cell = 0; cell < p_self.number_of_cells(); ++cell) {
                    for (unsigned int corner = 0; corner < 8; ++corner) {
                        result.append(HandleToPy(Handle2{{cell, corner}}));
                    }
                }
                return result;
            },
            "The (cell, corner) handles of the vertex walk.")
        .def_property_readonly("topology", &ReservoirSelectionTopology::topology,
                               "The original box.")
        .def(
            "get_adjacent_cells",
            [](const ReservoirSelectionTopology& p_self, unsigned int p_cell, unsigned int p_face,
               unsigned char p_flags) {
                if (p_cell >= p_self.number_of_cells()) throw py::index_error("no such cell");
                if (p_face > 5) throw py::index_error("faces are 0 to 5");
                std::vector<unsigned int> result;
                p_self.get_adjacent_cells(p_cell, p_face, result, p_flags);
                return ListOf(result.data(), result.data() + result.size());
            },
            py::arg("cell"), py::arg("face"), py::arg("flags") = 9,
            "The selected cells across a face (0 -I, 1 +I, 2 -J, 3 +J, 4 -K, 5 +K): flag 1 the "
            "plain neighbour, 2 lateral connections, 4 vertical connections.")
        .def(
            "neighbour_mask",
            [](const ReservoirSelectionTopology& p_self, unsigned int p_cell) {
                if (p_cell >= p_self.number_of_cells()) throw py::index_error("no such cell");
                return p_self.neighbour_mask(p_cell);
            },
            py::arg("cell"), "Bit f set when face f of the cell has a selected plain neighbour.")
        .def_property_readonly(
            "original_to_selection",
            [](const SelectionPtr& p_self) {
                return ShareMapper(p_self, p_self->original_to_selection());
            },
            "The cell mapper from the box to selected numbers (4294967295 when unselected).")
        .def_property_readonly(
            "selection_to_original",
            [](const SelectionPtr& p_self) {
                return ShareMapper(p_self, p_self->selection_to_original());
            },
            "The cell mapper from selected numbers to the box.")
        .def_property_readonly(
            "lateral_connections",
            [](const ReservoirSelectionTopology& p_self) {
                return PairsToPy(p_self.has_lateral_connections(), p_self.lateral_connections());
            },
            "Selected pairs connected across I or J faces, or None.")
        .def_property_readonly(
            "vertical_connections",
            [](const ReservoirSelectionTopology& p_self) {
                return PairsToPy(p_self.has_vertical_connections(), p_self.vertical_connections());
            },
            "Selected pairs connected across K faces, or None.")
        .def_property_readonly("shared_vertex_count",
                               &ReservoirSelectionTopology::shared_vertex_count,
                               "The number of shared vertices (0 without them).")
        .def(
            "vertex_cells",
            [](const ReservoirSelectionTopology& p_self, unsigned int p_vertex) {
                if (p_vertex >= p_self.shared_vertex_count()) {
                    throw py::index_error("no such shared vertex");
                }
                const ListHash::Run run = p_self.vertex_cells(p_vertex);
                return ListOf(run.begin, run.end);
            },
            py::arg("vertex"), "The cell*8 + corner numbers that meet at a shared vertex.")
        .def("view", &MakeView, py::arg("function"),
             "The function over the box seen through the selection, by selected cell number.");
}

}  // namespace kelvara::bindings

#include "varnok/topology/ReservoirSelectionTopology.h"

#include <algorithm>

#include "core/array/ArrayGenerator.h"
#include "core/array/VectorArrayImpl.h"
#include "core/pattern/Assert.h"
#include "varnok/topology/CellWalk.h"
#include "varnok/topology/SelectionNumbering.h"

namespace ostrel::varnok {

using namespace ostrel::core;

namespace {
const char* const s_file = "varnok/topology/ReservoirSelectionTopology";
}

ReservoirSelectionTopology::ReservoirSelectionTopology(
    const ReservoirTopology* p_topology, std::shared_ptr<ReservoirTopology> p_shared_topology,
    const FlagsFunction& p_flags)
    : s_topology(std::move(p_shared_topology)), m_shape(p_topology->shape()) {
    number_cells(p_flags);
    fill_selection_to_original(m_count);
    compute_neighbour_masks();
    m_actives = std::make_shared<ReservoirSelectionActives>(m_original_to_selection.cell_mapper());
    build_connections();
    if (p_topology->has_shared_vertex_information()) build_shared_vertices();
}

ReservoirSelectionTopology::~ReservoirSelectionTopology() = default;

void ReservoirSelectionTopology::number_cells(const FlagsFunction& p_flags) {
    Array<unsigned int, 3>& numbers = m_original_to_selection.cell_mapper().held_array();
    if (!numbers.implementation()) {
        numbers.init(*default_array_factory(), m_shape);
        numbers.set_fixed_shape();
    } else {
        numbers.resize(m_shape);
    }
    const Array<unsigned char, 3>& flags = p_flags.held_array();
    if (flags.extents() == m_shape) {
        // The flags lie in the box's own order: one pass over both runs.
        m_count = number_selected_cells(flags.typed_data(), numbers.size(), numbers.typed_data());
    } else {
        unsigned int next = 0;
        walk_cells(m_shape, [&](const Handle3& p_cell) {
            numbers(p_cell) = p_flags.read(p_cell) != 0 ? next++ : not_selected;
        });
        m_count = next;
    }
    m_original_to_selection.bind_locals_to_cell_mapper();
}

void ReservoirSelectionTopology::fill_selection_to_original(unsigned int p_count) {
    const Array<unsigned int, 3>& numbers = m_original_to_selection.cell_mapper().held_array();
    if (p_count == not_selected) {
        p_count = 0;
        for (unsigned int number : numbers) p_count += number != not_selected ? 1u : 0u;
    }
    SelectionToOriginalCellMapper& mapper = m_selection_to_original.cell_mapper();
    Array<Handle3, 1>& positions = mapper.held_array();
    if (!positions.implementation()) {
        positions.init(*default_array_factory(), p_count);
        positions.set_fixed_shape();
    } else {
        positions.resize(p_count);
    }
    mapper.set_box_shape(m_shape);
    static_assert(sizeof(Handle3) == 3 * sizeof(unsigned short), "Handle3 is three shorts");
    write_selected_positions(numbers.typed_data(), m_shape[0], m_shape[1], m_shape[2],
                             reinterpret_cast<unsigned short*>(positions.typed_data()));
    m_selection_to_original.bind_locals_to_cell_mapper();
}

void ReservoirSelectionTopology::compute_neighbour_masks() {
    Array<unsigned char, 1>& masks = m_neighbour_masks.held_array();
    masks.init(*default_array_factory(), m_count);
    write_neighbour_masks(m_original_to_selection.cell_mapper().held_array().typed_data(),
                          m_shape[0], m_shape[1], m_shape[2], masks.typed_data());
}

void ReservoirSelectionTopology::enter_pair(ListHash& p_builder, unsigned int p_a, unsigned int p_b,
                                            unsigned int p_face) {
    p_builder.append(ListHash::make_key(p_a, p_face), p_b);
    p_builder.append(ListHash::make_key(p_b, p_face ^ 1u), p_a);
}

void ReservoirSelectionTopology::build_connections() {
    const ReservoirTopology& original = *s_topology;
    const Array<unsigned int, 3>& numbers = m_original_to_selection.cell_mapper().held_array();
    const Array<Handle3, 1>& positions = m_selection_to_original.cell_mapper().held_array();

    // Takes the original's pairs of one kind over to selected numbers, skipping pairs with an
    // unselected end, and enters each with the face that p_face_of gives.
    auto take_over = [&](bool p_own, Array<CellPair, 1>& p_own_pairs, bool p_original_has,
                         const Array<CellPair, 1>& p_original_pairs, bool& p_flag, auto p_face_of) {
        if (p_own) {
            for (const CellPair& pair : p_own_pairs) {
                enter_pair(m_connection_hash, pair[0], pair[1],
                           p_face_of(positions[pair[0]], positions[pair[1]]));
            }
            return;
        }
        if (!p_original_has) return;
        ArrayGenerator<CellPair> generator;
        for (const CellPair& pair : p_original_pairs) {
            const Handle3 a = to_handle3(pair[0], m_shape[0], m_shape[1]);
            const Handle3 b = to_handle3(pair[1], m_shape[0], m_shape[1]);
            const unsigned int selected_a = numbers(a);
            const unsigned int selected_b = numbers(b);
            if (selected_a == not_selected || selected_b == not_selected) continue;
            enter_pair(m_connection_hash, selected_a, selected_b, p_face_of(a, b));
            generator.push_back(CellPair{{selected_a, selected_b}});
        }
        p_own_pairs = generator.create_array();
        p_flag = true;
    };
    take_over(m_has_lateral_connections, m_lateral_connections, original.has_lateral_connections(),
              original.lateral_connections(), m_has_lateral_connections,
              [](const Handle3& p_a, const Handle3& p_b) {
                  return lateral_face(static_cast<long>(p_b[0]) - p_a[0],
                                      static_cast<long>(p_b[1]) - p_a[1]);
              });
    take_over(m_has_vertical_connections, m_vertical_connections,
              original.has_vertical_connections(), original.vertical_connections(),
              m_has_vertical_connections,
              [](const Handle3& p_a, const Handle3& p_b) { return vertical_face(p_a[2], p_b[2]); });
    m_connection_hash.build();
}

void ReservoirSelectionTopology::build_shared_vertices() {
    OSTREL_PRECONDITION(this->s_topology->has_shared_vertex_information(),
                        "this->s_topology->has_shared_vertex_information()", s_file,
                        "Must have shared vertex information in the original topology to bring "
                        "it to the selection.");
    const Array<CellCorners, 3>& original = s_topology->shared_vertices();
    const Array<Handle3, 1>& positions = m_selection_to_original.cell_mapper().held_array();

    // Eight numbers per selected cell; the generic factory makes no 8-tuples, so the storage is
    // made by its own type.
    m_cell_corners.reset(std::make_shared<VectorArrayImpl<CellCorners>>(m_count));
    unsigned int highest = 0;
    bool any = false;
    for (unsigned int cell = 0; cell < m_count; ++cell) {
        const CellCorners& corners = original(positions[cell]);
        m_cell_corners[cell] = corners;
        for (unsigned int vertex : corners) {
            highest = std::max(highest, vertex);
            any = true;
        }
    }
    m_shared_vertex_count = any ? highest + 1 : 0;

    // The lists of all vertices as runs: offsets[v] .. offsets[v + 1] in values, each list in
    // the order of its cells and corners.
    m_vertex_offsets.init(*default_array_factory(), m_shared_vertex_count + 1);
    unsigned int* offsets = m_vertex_offsets.typed_data();
    for (const CellCorners& corners : m_cell_corners) {
        for (unsigned int vertex : corners) ++offsets[vertex + 1];
    }
    for (unsigned int vertex = 0; vertex < m_shared_vertex_count; ++vertex) {
        offsets[vertex + 1] += offsets[vertex];
    }
    m_vertex_values.init(*default_array_factory(), 8 * m_count);
    std::vector<unsigned int> next(offsets, offsets + m_shared_vertex_count);
    for (unsigned int cell = 0; cell < m_count; ++cell) {
        for (unsigned int corner = 0; corner < 8; ++corner) {
            m_vertex_values[next[m_cell_corners[cell][corner]]++] = cell * 8 + corner;
        }
    }
    m_has_shared_vertices = true;
}

ListHash::Run ReservoirSelectionTopology::vertex_cells(unsigned int p_vertex) const {
    const unsigned int* offsets = m_vertex_offsets.typed_data();
    const unsigned int* values = m_vertex_values.typed_data();
    return ListHash::Run{values + offsets[p_vertex], values + offsets[p_vertex + 1]};
}

void ReservoirSelectionTopology::do_get_elements_on(LocationType, AnyHandle, LocationType,
                                                    const CellPredicate&, HandleCollection&) const {
    OSTREL_NOT_AVAILABLE(*this, " is not implemented yet for ", s_file, "");
}

void ReservoirSelectionTopology::do_get_adjacents_of(LocationType, AnyHandle, LocationType,
                                                     LocationType, const CellPredicate&,
                                                     AdjacentsCollection&) const {
    OSTREL_NOT_AVAILABLE(*this, " is not implemented yet for ", s_file, "");
}

void ReservoirSelectionTopology::visit_all_cells(ITopologyVisitor& p_visitor) const {
    p_visitor.start(shared_self());
    for (Handle1 cell = 0; cell < m_count; ++cell) p_visitor.visit(cell);
}

void ReservoirSelectionTopology::get_adjacent_cells(unsigned int p_cell, unsigned int p_face,
                                                    std::vector<unsigned int>& p_result,
                                                    unsigned char p_flags) const {
    p_result.clear();
    if (p_flags & adjPlainNeighbour) {
        Handle3 ijk = m_selection_to_original.cell_mapper().held_array()[p_cell];
        const unsigned int axis = p_face / 2;
        const bool up = (p_face & 1u) != 0;
        const bool inside = up ? ijk[axis] + 1u < m_shape[axis] : ijk[axis] > 0;
        if (inside) {
            ijk[axis] = static_cast<unsigned short>(up ? ijk[axis] + 1 : ijk[axis] - 1);
            const unsigned int neighbour = m_original_to_selection.cell_mapper().held_array()(ijk);
            if (neighbour != not_selected) p_result.push_back(neighbour);
        }
    }
    const bool vertical = p_face >= 4;
    if ((vertical && (p_flags & adjVerticalConnections)) ||
        (!vertical && (p_flags & adjLateralConnections))) {
        const ListHash::Run run = m_connection_hash.find(ListHash::make_key(p_cell, p_face));
        p_result.insert(p_result.end(), run.begin, run.end);
    }
}

}  // namespace ostrel::varnok

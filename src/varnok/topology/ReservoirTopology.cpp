#include "varnok/topology/ReservoirTopology.h"

#include "core/pattern/Assert.h"
#include "varnok/topology/CellWalk.h"

namespace ostrel::varnok {

using namespace ostrel::core;

namespace {
const char* const s_file = "varnok/topology/ReservoirTopology";
}

ReservoirTopology::ReservoirTopology(unsigned short p_ni, unsigned short p_nj, unsigned short p_nk)
    : m_shape{{p_ni, p_nj, p_nk}},
      m_actives(std::make_shared<ConstantTrueGridFunction>()),
      m_box_start{{0, 0, 0}},
      m_box_end(m_shape) {
    m_actives->set_location(onCell);
}

ReservoirTopology::~ReservoirTopology() = default;

unsigned int ReservoirTopology::number_of_cells() const {
    return static_cast<unsigned int>(m_shape[0]) * m_shape[1] * m_shape[2];
}

ArrayShape ReservoirTopology::cell_shape() const {
    return ArrayShape::extents16(m_shape[0], m_shape[1], m_shape[2]);
}

ArrayShape ReservoirTopology::vertex_shape() const {
    return ArrayShape::extents16(m_shape[0], m_shape[1], m_shape[2], 8);
}

void ReservoirTopology::do_get_elements_on(LocationType, AnyHandle, LocationType,
                                           const CellPredicate&, HandleCollection&) const {
    OSTREL_NOT_AVAILABLE(*this, " is not implemented yet for ", s_file, "");
}

void ReservoirTopology::do_get_adjacents_of(LocationType, AnyHandle, LocationType, LocationType,
                                            const CellPredicate&, AdjacentsCollection&) const {
    OSTREL_NOT_AVAILABLE(*this, " is not implemented yet for ", s_file, "");
}

void ReservoirTopology::visit_all_cells(ITopologyVisitor& p_visitor) const {
    p_visitor.start(shared_self());
    walk_cells(m_shape, [&](const Handle3& p_cell) { p_visitor.visit(p_cell); });
}

void ReservoirTopology::set_lateral_connections(const Array<CellPair, 1>& p_pairs) {
    m_lateral_connections = p_pairs;
    m_has_lateral_connections = true;
}

void ReservoirTopology::set_vertical_connections(const Array<CellPair, 1>& p_pairs) {
    m_vertical_connections = p_pairs;
    m_has_vertical_connections = true;
}

void ReservoirTopology::set_shared_vertices(const Array<CellCorners, 3>& p_corners) {
    m_shared_vertices = p_corners;
    m_has_shared_vertex_information = true;
}

}  // namespace ostrel::varnok

#pragma once

// The logical box of NI x NJ x NK cells of a structured reservoir grid, without coordinates.
// Counts, shapes and walks follow from the three extents; connection pairs and shared vertex
// numbers can be attached for the selections made from it.
#include <memory>

#include "core/array/Array.h"
#include "core/grid_function/GenGridFunction.h"
#include "core/hash/ListHash.h"
#include "varnok/topology/ReservoirTopologyBase.h"

namespace ostrel::varnok {

// A pair of cell numbers: the two ends of a connection.
using CellPair = mtm::RigidVector<2, unsigned int>;
// The eight shared vertex numbers of one cell.
using CellCorners = mtm::RigidVector<8, unsigned int>;

class OSTREL_CORE_API ReservoirTopology : public ReservoirTopologyBase {
  public:
    ReservoirTopology(unsigned short p_ni, unsigned short p_nj, unsigned short p_nk);
    ~ReservoirTopology() override;

    unsigned int number_of_cells() const override;
    core::ArrayShape cell_shape() const override;
    core::ArrayShape vertex_shape() const override;
    void do_get_elements_on(core::LocationType p_from, core::AnyHandle p_handle,
                            core::LocationType p_to, const core::CellPredicate& p_predicate,
                            core::HandleCollection& p_result) const override;
    void do_get_adjacents_of(core::LocationType p_from, core::AnyHandle p_handle,
                             core::LocationType p_through, core::LocationType p_to,
                             const core::CellPredicate& p_predicate,
                             core::AdjacentsCollection& p_result) const override;
    void visit_all_cells(core::ITopologyVisitor& p_visitor) const override;
    core::ArrayShape grid_shape() const override { return cell_shape(); }
    std::shared_ptr<core::IArray> create_array(
        const core::IGridFunction& p_function,
        const core::IArrayImplFactory& p_factory) const override;
    std::shared_ptr<core::IArray> create_histogram(const core::IGridFunction& p_function,
                                                   double p_minimum, double p_maximum, int p_bins,
                                                   const core::IGridFunction& p_weight,
                                                   const core::IArrayImplFactory& p_factory,
                                                   bool p_closed) const override;

    // The box (NI, NJ, NK).
    const core::Handle3& shape() const { return m_shape; }
    // Every cell of the box counts as active.
    std::shared_ptr<core::ConstantTrueGridFunction> actives() const { return m_actives; }

    // Attaches pairs of flat cell numbers that connect across lateral faces (faults) or
    // vertical faces (pinch-outs), and the shared vertex numbers of each cell's eight corners.
    // Selections made afterwards take them over.
    void set_lateral_connections(const core::Array<CellPair, 1>& p_pairs);
    void set_vertical_connections(const core::Array<CellPair, 1>& p_pairs);
    void set_shared_vertices(const core::Array<CellCorners, 3>& p_corners);

    bool has_lateral_connections() const { return m_has_lateral_connections; }
    bool has_vertical_connections() const { return m_has_vertical_connections; }
    bool has_shared_vertex_information() const { return m_has_shared_vertex_information; }
    const core::Array<CellPair, 1>& lateral_connections() const { return m_lateral_connections; }
    const core::Array<CellPair, 1>& vertical_connections() const { return m_vertical_connections; }
    const core::Array<CellCorners, 3>& shared_vertices() const { return m_shared_vertices; }

  private:
    core::Handle3 m_shape;
    std::shared_ptr<core::ConstantTrueGridFunction> m_actives;
    core::Handle3 m_box_start;
    core::Handle3 m_box_end;
    core::ListHash m_lateral_connection_table;
    core::Array<CellPair, 1> m_lateral_connections;
    core::Array<CellPair, 1> m_vertical_connections;
    bool m_has_lateral_connections = false;
    bool m_has_vertical_connections = false;
    // Not read by anything in this system.
    bool m_third_flag = false;
    bool m_has_shared_vertex_information = false;
    core::Array<CellCorners, 3> m_shared_vertices;
    core::Array<unsigned int, 1> m_vertex_list_offsets;
    core::Array<unsigned int, 1> m_vertex_list_values;
};

}  // namespace ostrel::varnok

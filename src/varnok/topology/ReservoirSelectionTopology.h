#pragma once

// The topology of a selection of a box's cells: a dense numbering 0 .. n-1 of the selected
// cells in cell order, mappers in both directions, neighbour masks, connections across faults
// and pinch-outs, and shared vertices. Built completely in the constructor; nothing changes
// afterwards. The original topology is kept alive; the flags are not kept.
#include <memory>
#include <vector>

#include "core/mapper/SelectionMappers.h"
#include "varnok/topology/ReservoirSelectionActivesImpl.h"
#include "varnok/topology/ReservoirTopology.h"

namespace ostrel::varnok {

class OSTREL_CORE_API ReservoirSelectionTopology : public ReservoirTopologyBase {
  public:
    using FlagsFunction = core::ArrayGridFunction<unsigned char, 3>;

    // Selects the cells whose flag is not 0.
    ReservoirSelectionTopology(const ReservoirTopology* p_topology,
                               std::shared_ptr<ReservoirTopology> p_shared_topology,
                               const FlagsFunction& p_flags);
    ~ReservoirSelectionTopology() override;

    unsigned int number_of_cells() const override { return m_count; }
    core::ArrayShape cell_shape() const override { return core::ArrayShape::flat(m_count); }
    core::ArrayShape vertex_shape() const override { return core::ArrayShape::extents(m_count, 8); }
    void do_get_elements_on(core::LocationType p_from, core::AnyHandle p_handle,
                            core::LocationType p_to, const core::CellPredicate& p_predicate,
                            core::HandleCollection& p_result) const override;
    void do_get_adjacents_of(core::LocationType p_from, core::AnyHandle p_handle,
                             core::LocationType p_through, core::LocationType p_to,
                             const core::CellPredicate& p_predicate,
                             core::AdjacentsCollection& p_result) const override;
    void visit_all_cells(core::ITopologyVisitor& p_visitor) const override;
    core::ArrayShape grid_shape() const override {
        return core::ArrayShape::extents16(m_shape[0], m_shape[1], m_shape[2]);
    }
    std::shared_ptr<core::IArray> create_array(
        const core::IGridFunction& p_function,
        const core::IArrayImplFactory& p_factory) const override;
    std::shared_ptr<core::IArray> create_histogram(const core::IGridFunction& p_function,
                                                   double p_minimum, double p_maximum, int p_bins,
                                                   const core::IGridFunction& p_weight,
                                                   const core::IArrayImplFactory& p_factory,
                                                   bool p_closed) const override;
    std::shared_ptr<ReservoirSelectionActives> actives() const { return m_actives; }

    // Bits of the flags of get_adjacent_cells.
    enum : unsigned char {
        adjPlainNeighbour = 1,
        adjLateralConnections = 2,
        adjVerticalConnections = 4,
        adjDefault = 9
    };
    // The selected cells across face p_face (0 -I, 1 +I, 2 -J, 3 +J, 4 -K, 5 +K) of selected
    // cell p_cell: the plain neighbour (flag 1), then the cells connected on that face (flag 2
    // on faces 0 to 3, flag 4 on faces 4 and 5).
    void get_adjacent_cells(unsigned int p_cell, unsigned int p_face,
                            std::vector<unsigned int>& p_result,
                            unsigned char p_flags = adjDefault) const;
    // Bit f set when face f of the selected cell has a plain neighbour.
    unsigned char neighbour_mask(unsigned int p_cell) const {
        return m_neighbour_masks.held_array().typed_data()[p_cell];
    }

    const std::shared_ptr<ReservoirTopology>& topology() const { return s_topology; }
    const core::Handle3& shape() const { return m_shape; }
    const core::OriginalToSelectionCellMapper& original_to_selection() const {
        return m_original_to_selection.cell_mapper();
    }
    const core::SelectionToOriginalCellMapper& selection_to_original() const {
        return m_selection_to_original.cell_mapper();
    }
    const core::OriginalToSelectionMapperSet<3>& original_to_selection_set() const {
        return m_original_to_selection;
    }
    const core::SelectionToOriginalMapperSet<3>& selection_to_original_set() const {
        return m_selection_to_original;
    }
    const core::ArrayGridFunction<unsigned char, 1>& neighbour_masks() const {
        return m_neighbour_masks;
    }
    bool has_lateral_connections() const { return m_has_lateral_connections; }
    bool has_vertical_connections() const { return m_has_vertical_connections; }
    const core::Array<CellPair, 1>& lateral_connections() const { return m_lateral_connections; }
    const core::Array<CellPair, 1>& vertical_connections() const { return m_vertical_connections; }
    const core::ListHash& connection_hash() const { return m_connection_hash; }
    bool has_shared_vertices() const { return m_has_shared_vertices; }
    const core::Array<CellCorners, 1>& cell_corners() const { return m_cell_corners; }
    unsigned int shared_vertex_count() const { return m_shared_vertex_count; }
    // The (cell*8 + corner) numbers of shared vertex p_vertex.
    core::ListHash::Run vertex_cells(unsigned int p_vertex) const;

    // Brings the original's shared vertex numbers to the selection; the original must have them.
    void build_shared_vertices();

  private:
    void number_cells(const FlagsFunction& p_flags);
    void fill_selection_to_original(unsigned int p_count);
    void compute_neighbour_masks();
    void build_connections();
    void enter_pair(core::ListHash& p_builder, unsigned int p_a, unsigned int p_b,
                    unsigned int p_face);

    std::shared_ptr<ReservoirTopology> s_topology;
    core::Handle3 m_shape;
    unsigned int m_count = 0;
    core::SelectionToOriginalMapperSet<3> m_selection_to_original;
    core::OriginalToSelectionMapperSet<3> m_original_to_selection;
    std::shared_ptr<ReservoirSelectionActives> m_actives;
    core::ListHash m_connection_hash;
    bool m_has_lateral_connections = false;
    core::Array<CellPair, 1> m_lateral_connections;
    bool m_has_vertical_connections = false;
    core::Array<CellPair, 1> m_vertical_connections;
    bool m_has_shared_vertices = false;
    core::Array<CellCorners, 1> m_cell_corners;
    unsigned int m_shared_vertex_count = 0;
    core::Array<unsigned int, 1> m_vertex_offsets;
    core::Array<unsigned int, 1> m_vertex_values;
    core::ArrayGridFunction<unsigned char, 1> m_neighbour_masks;
};

}  // namespace ostrel::varnok

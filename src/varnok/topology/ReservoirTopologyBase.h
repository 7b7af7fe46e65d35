#pragma once

// What the box topology and the selection topology share: element counts that follow from the
// cell count, since every cell owns its 8 corners, 12 edges and 6 faces.
#include "core/topology/ITopology.h"

namespace ostrel::varnok {

class OSTREL_CORE_API ReservoirTopologyBase : public core::ITopology {
  public:
    ~ReservoirTopologyBase() override;

    unsigned int dimensions() const override { return 3; }
    unsigned int number_of_vertices() const override { return 8 * number_of_cells(); }
    unsigned int number_of_edges() const override { return 12 * number_of_cells(); }
    unsigned int number_of_faces() const override { return 6 * number_of_cells(); }
    unsigned int corners_per_cell(unsigned int, unsigned int, unsigned int) const override {
        return 8;
    }
    // Locations 0 to 3 take Handle1 and Handle3 (5), location 4 Handle1 alone (1).
    std::uint32_t accepted_handles(core::LocationType p_location) const override;

  protected:
    // The topology as the visitor receives it, or null when it is not held by a shared pointer.
    std::shared_ptr<const core::ITopology> shared_self() const;
};

}  // namespace ostrel::varnok

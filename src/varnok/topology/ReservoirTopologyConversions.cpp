// create_array and create_histogram of the box topology.
#include "varnok/topology/ReservoirTopology.h"
#include "varnok/topology/TopologyConversions.h"

namespace ostrel::varnok {

namespace {
conversion::BoxCells cells_of(const ReservoirTopology& p_topology) {
    return conversion::BoxCells{p_topology.shape(), "varnok/topology/ReservoirTopology"};
}
}  // namespace

std::shared_ptr<core::IArray> ReservoirTopology::create_array(
    const core::IGridFunction& p_function, const core::IArrayImplFactory& p_factory) const {
    return conversion::create_array_dispatch<conversion::BoxCells, core::FullArrayFunction,
                                             core::FullArrayChain, core::TypeList<>>(
        cells_of(*this), p_function, p_factory);
}

std::shared_ptr<core::IArray> ReservoirTopology::create_histogram(
    const core::IGridFunction& p_function, double p_minimum, double p_maximum, int p_bins,
    const core::IGridFunction& p_weight, const core::IArrayImplFactory& p_factory,
    bool p_closed) const {
    return conversion::create_histogram_dispatch(cells_of(*this), p_function, p_minimum, p_maximum,
                                                 p_bins, p_weight, p_factory, p_closed);
}

}  // namespace ostrel::varnok

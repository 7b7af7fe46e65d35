// create_array and create_histogram of the selection topology.
#include "varnok/topology/ReservoirSelectionTopology.h"
#include "varnok/topology/TopologyConversions.h"

namespace ostrel::varnok {

namespace {
conversion::SelectedCells cells_of(const ReservoirSelectionTopology& p_topology) {
    return conversion::SelectedCells{p_topology.number_of_cells(),
                                     "varnok/topology/ReservoirSelectionTopology"};
}
}  // namespace

std::shared_ptr<core::IArray> ReservoirSelectionTopology::create_array(
    const core::IGridFunction& p_function, const core::IArrayImplFactory& p_factory) const {
    return conversion::create_array_dispatch<conversion::SelectedCells, core::FlatArrayFunction,
                                             core::FlatArrayChain, core::ViewChain>(
        cells_of(*this), p_function, p_factory);
}

std::shared_ptr<core::IArray> ReservoirSelectionTopology::create_histogram(
    const core::IGridFunction& p_function, double p_minimum, double p_maximum, int p_bins,
    const core::IGridFunction& p_weight, const core::IArrayImplFactory& p_factory,
    bool p_closed) const {
    return conversion::create_histogram_dispatch(cells_of(*this), p_function, p_minimum, p_maximum,
                                                 p_bins, p_weight, p_factory, p_closed);
}

}  // namespace ostrel::varnok

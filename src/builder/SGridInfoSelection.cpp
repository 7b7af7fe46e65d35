// The grid's active cells as a selection topology.
#include <stdexcept>

#include "builder/SGridInfo.h"
#include "varnok/topology/ReservoirSelectionTopology.h"

namespace kelvara::builder {

void SGridInfo::CreateSelection() {
    if (!activeMask) throw std::runtime_error("CreateSelection: the grid has no active mask");
    const ostrel::core::ArrayGridFunction<unsigned char, 3> flags(*activeMask);
    auto topology = std::make_shared<ostrel::varnok::ReservoirTopology>(
        static_cast<unsigned short>(ni), static_cast<unsigned short>(nj),
        static_cast<unsigned short>(nk));
    selection = std::make_shared<ostrel::varnok::ReservoirSelectionTopology>(topology.get(),
                                                                             topology, flags);
    activeCount = static_cast<std::int32_t>(selection->number_of_cells());
}

const unsigned int* SGridInfo::SelectionNumbers() const {
    if (!selection) return nullptr;
    return selection->original_to_selection().held_array().typed_data();
}

}  // namespace kelvara::builder

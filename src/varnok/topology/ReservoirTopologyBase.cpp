#include "varnok/topology/ReservoirTopologyBase.h"

namespace ostrel::varnok {

ReservoirTopologyBase::~ReservoirTopologyBase() = default;

std::uint32_t ReservoirTopologyBase::accepted_handles(core::LocationType p_location) const {
    if (p_location <= core::onLocation3) return 5;
    if (p_location == core::onLocation4) return 1;
    return 0;
}

std::shared_ptr<const core::ITopology> ReservoirTopologyBase::shared_self() const {
    std::shared_ptr<const core::IOstrelObject> self = weak_from_this().lock();
    if (!self) return nullptr;
    return std::shared_ptr<const core::ITopology>(self, this);
}

}  // namespace ostrel::varnok

#include "varnok/topology/ReservoirTopologyBase.h"

namespace ostrel::varnok {

ReservoirTopologyBase::~ReservoirTopologyBase() = default;

std::shared_ptr<const core::ITopology> ReservoirTopologyBase::shared_self() const {
    std::shared_ptr<const core::IOstrelObject> self = weak_from_this().lock();
    if (!self) return nullptr;
    return std::shared_ptr<const core::ITopology>(self, this);
}

}  // namespace ostrel::varnok

#include "core/topology/ITopology.h"

namespace ostrel::core {

CellPredicate::~CellPredicate() = default;
ITopologyVisitor::~ITopologyVisitor() = default;
void ITopologyVisitor::visit(const Handle3&) {}
void ITopologyVisitor::visit(const Handle1&) {}
void ITopologyVisitor::start(const std::shared_ptr<const ITopology>&) {}
ITopology::~ITopology() = default;

}  // namespace ostrel::core

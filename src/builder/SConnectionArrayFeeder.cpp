#include "builder/SConnectionArrayFeeder.h"

#include <stdexcept>
#include <utility>

namespace kelvara::builder {

SConnectionArrayFeeder::SConnectionArrayFeeder(std::shared_ptr<const SGridInfoAssembly> p_assembly,
                                               std::vector<std::vector<ConnectionTarget>> p_targets)
    : m_assembly(std::move(p_assembly)), m_targets(std::move(p_targets)) {
    if (!m_assembly) throw std::invalid_argument("SConnectionArrayFeeder needs an assembly");
    m_sequence = &m_assembly->connectionSequence;
}

}  // namespace kelvara::builder

#pragma once

// The value source of a selection's actives: for a Handle3 of the box, whether the cell is
// selected, read from a copy of the original-to-selection cell mapper.
#include "core/mapper/SelectionMappers.h"

namespace ostrel::varnok {

class OSTREL_CORE_API ReservoirSelectionActivesImpl {
  public:
    using value_type = bool;
    using read_type = bool;
    using write_type = bool;
    using acceptable_handles = core::GenAcceptableHandlesTrait<core::Handle3, void, void, void>;
    static constexpr bool holds_array = false;

    ReservoirSelectionActivesImpl() = default;
    explicit ReservoirSelectionActivesImpl(const core::OriginalToSelectionCellMapper& p_mapper)
        : m_mapper(p_mapper) {}

    bool get(const core::Handle3& p_cell) const {
        return m_mapper.held_array()(p_cell) < 4294967295u;
    }
    unsigned int element_count() const { return 0; }

  private:
    core::OriginalToSelectionCellMapper m_mapper;
};

using ReservoirSelectionActives =
    core::GridFunction<ReservoirSelectionActivesImpl, core::PassHandleMapper, is::Const>;

}  // namespace ostrel::varnok

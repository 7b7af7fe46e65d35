// The grid's active cells as a numbering of the selected cells.
#include <stdexcept>

#include "builder/SGridInfo.h"
#include "varnok/topology/SelectionNumbering.h"

namespace kelvara::builder {

void SGridInfo::CreateSelection() {
    if (!activeMask) throw std::runtime_error("CreateSelection: the grid has no active mask");
    const std::size_t cells = activeMask->size();
    m_cellNumbers = std::make_shared<std::vector<unsigned int>>(cells);
    activeCount = static_cast<std::int32_t>(ostrel::varnok::number_selected_cells(
        activeMask->typed_data(), cells, m_cellNumbers->data()));
}

const unsigned int* SGridInfo::SelectionNumbers() const {
    return m_cellNumbers ? m_cellNumbers->data() : nullptr;
}

}  // namespace kelvara::builder

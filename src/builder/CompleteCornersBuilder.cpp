#include "builder/CompleteCornersBuilder.h"

#include "builder/CellCount.h"

namespace ostrel::builder {

CompleteCornersBuilder::CompleteCornersBuilder(std::size_t p_ni, std::size_t p_nj, std::size_t p_nk)
    : m_ni(p_ni), m_nj(p_nj), m_nk(p_nk), m_capacity(cell_count(p_ni, p_nj, p_nk, 24)) {}

}  // namespace ostrel::builder

#include "builder/TOstrelArray3DBuilder.h"

#include "builder/CellCount.h"

namespace ostrel::builder {

template <class T>
TOstrelArray3DBuilder<T>::TOstrelArray3DBuilder(std::size_t p_ni, std::size_t p_nj,
                                                std::size_t p_nk, T p_fill)
    : m_ni(p_ni), m_nj(p_nj), m_nk(p_nk), m_values(cell_count(p_ni, p_nj, p_nk, 1), p_fill) {}

template class TOstrelArray3DBuilder<float>;
template class TOstrelArray3DBuilder<double>;
template class TOstrelArray3DBuilder<unsigned char>;

}  // namespace ostrel::builder

#pragma once

#include <cstddef>
#include <vector>

#include "builder/Narrow.h"
#include "core/Export.h"

namespace ostrel::builder {

// A box of ni x nj x nk cells of T, filled in cell order (i fastest, then j, then k) by
// InsertNextValue. Values beyond the last cell are dropped and counted.
template <class T>
class OSTREL_CORE_API TOstrelArray3DBuilder {
  public:
    TOstrelArray3DBuilder(std::size_t p_ni, std::size_t p_nj, std::size_t p_nk, T p_fill = T(0));

    void InsertNextValue(double p_value) {
        if (m_next < m_values.size()) {
            m_values[m_next++] = Narrow<T>::apply(p_value);
        } else {
            ++m_overflow;
        }
    }

    std::size_t ni() const { return m_ni; }
    std::size_t nj() const { return m_nj; }
    std::size_t nk() const { return m_nk; }
    // Cells filled so far.
    std::size_t filled() const { return m_next; }
    // Values that arrived after the last cell was filled.
    std::size_t overflow() const { return m_overflow; }
    // The cells, i fastest.
    const std::vector<T>& values() const { return m_values; }

  private:
    std::size_t m_ni, m_nj, m_nk;
    std::vector<T> m_values;
    std::size_t m_next = 0;
    std::size_t m_overflow = 0;
};

extern template class OSTREL_CORE_TEMPLATE_API TOstrelArray3DBuilder<float>;
extern template class OSTREL_CORE_TEMPLATE_API TOstrelArray3DBuilder<double>;
extern template class OSTREL_CORE_TEMPLATE_API TOstrelArray3DBuilder<unsigned char>;

}  // namespace ostrel::builder

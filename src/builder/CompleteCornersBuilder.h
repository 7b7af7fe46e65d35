#pragma once

#include <cstddef>
#include <vector>

#include "core/Export.h"

namespace ostrel::builder {

// Collects the 24 corner coordinates (8 corners, x y z) of each of ni x nj x nk cells in
// arrival order. Values beyond 24 * ni * nj * nk are dropped and counted.
class OSTREL_CORE_API CompleteCornersBuilder {
  public:
    CompleteCornersBuilder(std::size_t p_ni, std::size_t p_nj, std::size_t p_nk);

    void InsertNextValue(double p_value) {
        if (m_values.size() < m_capacity) {
            m_values.push_back(p_value);
        } else {
            ++m_overflow;
        }
    }

    std::size_t ni() const { return m_ni; }
    std::size_t nj() const { return m_nj; }
    std::size_t nk() const { return m_nk; }
    std::size_t capacity() const { return m_capacity; }
    std::size_t overflow() const { return m_overflow; }
    const std::vector<double>& values() const { return m_values; }

  private:
    std::size_t m_ni, m_nj, m_nk;
    std::size_t m_capacity;
    std::vector<double> m_values;
    std::size_t m_overflow = 0;
};

}  // namespace ostrel::builder

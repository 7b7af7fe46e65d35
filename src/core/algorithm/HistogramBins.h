#pragma once

#include <cmath>
#include <cstddef>

namespace ostrel::core {

// The binning of create_histogram. The result has bins + 2 elements: 0 counts values below the
// minimum, 1 .. bins the bins, bins + 1 values above the maximum (and values that compare with
// nothing, such as NaN). A value equal to the maximum goes to the last bin only when the top is
// closed.
class HistogramBins {
  public:
    HistogramBins(double p_minimum, double p_maximum, int p_bins, bool p_closed)
        : m_minimum(p_minimum),
          m_maximum(p_maximum),
          m_width((p_maximum - p_minimum) / p_bins),
          m_bins(static_cast<std::size_t>(p_bins)),
          m_closed(p_closed) {}

    std::size_t element_count() const { return m_bins + 2; }

    std::size_t index_of(double p_value) const {
        if (p_value < m_minimum) return 0;
        if (p_value < m_maximum) {
            // The quotient is not negative here, so truncation is the floor (and needs no call).
            return static_cast<std::size_t>((p_value - m_minimum) / m_width) + 1;
        }
        if (p_value == m_maximum && m_closed) return m_bins;
        return m_bins + 1;
    }

    // Adds the weights of a run of values; p_result has element_count() elements.
    template <class ValueAt, class WeightAt>
    void accumulate(std::size_t p_count, ValueAt p_value_at, WeightAt p_weight_at,
                    double* p_result) const {
        for (std::size_t n = 0; n < p_count; ++n) {
            p_result[index_of(p_value_at(n))] += p_weight_at(n);
        }
    }

  private:
    double m_minimum;
    double m_maximum;
    double m_width;
    std::size_t m_bins;
    bool m_closed;
};

}  // namespace ostrel::core

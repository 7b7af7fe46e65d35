#pragma once

// The small call-local values that stand between a read loop and a feeder. Each takes one value
// by value and treats its feeder with direct calls; the read loop instantiates itself once per
// adaptor and feeder class.
#include <cstdint>

#include "builder/TOstrelArray1DBuilder.h"
#include "builder/TOstrelArray3DBuilder.h"

namespace kelvara::imex {

// Any sink with InsertNextValue(double), fed each value as a double.
template <class Feeder>
struct InsertAdaptor {
    Feeder& m_feeder;
    template <class Value>
    void operator()(Value p_value) {
        m_feeder.InsertNextValue(static_cast<double>(p_value));
    }
};

// 0 becomes 0.0, anything else (negative values too) 1.0.
template <class Builder>
struct FlagAdaptor {
    Builder& m_builder;
    void operator()(std::int32_t p_value) { m_builder.InsertNextValue(p_value == 0 ? 0.0 : 1.0); }
};

// The n-th value goes to SetValueAt(indices[n], value).
template <class T>
struct IndexedAdaptor {
    ostrel::builder::TOstrelArray1DBuilder<T>& m_builder;
    const std::int32_t* m_indices;
    template <class Value>
    void operator()(Value p_value) {
        m_builder.SetValueAt(*m_indices++, static_cast<double>(p_value));
    }
};

// Splits the size triples of a grid's cells: the third size of every cell to dz, the first of
// the first ni cells to dx, and the second to dy at the first cell of rows 0 and 1 and at the
// second cell of each later row, as the row counter lags one cell behind, until nj values.
template <class T>
class DeltaSplitter {
  public:
    DeltaSplitter(std::int32_t p_ni, std::int32_t p_nj,
                  ostrel::builder::TOstrelArray1DBuilder<T>& p_dx,
                  ostrel::builder::TOstrelArray1DBuilder<T>& p_dy,
                  ostrel::builder::TOstrelArray3DBuilder<T>& p_dz)
        : m_ni(p_ni), m_nj(p_nj), m_dx(p_dx), m_dy(p_dy), m_dz(p_dz) {}

    void operator()(double p_value) {
        switch (m_state) {
            case X:
                if (m_i < m_ni) {
                    m_dx.AppendValue(p_value);
                    ++m_i;
                } else {
                    m_x_state = XSkip;
                }
                m_state = m_y_state;
                break;
            case Y:
                if (m_j >= m_nj) {
                    m_y_state = YSkip;
                } else {
                    if (m_j == m_next_j) {
                        m_dy.AppendValue(p_value);
                        ++m_next_j;
                    }
                    m_j = m_i / m_ni;
                }
                m_state = m_z_state;
                break;
            case Z:
                m_dz.InsertNextValue(p_value);
                m_state = m_x_state;
                break;
            case XSkip:
                ++m_i;
                m_state = m_y_state;
                break;
            case YSkip:
                m_state = m_z_state;
                break;
        }
    }

  private:
    enum State : unsigned char { X, Y, Z, XSkip, YSkip };
    std::int32_t m_ni, m_nj;
    std::int32_t m_i = 0, m_j = 0, m_next_j = 0;
    State m_state = X;
    State m_x_state = X, m_y_state = Y, m_z_state = Z;
    ostrel::builder::TOstrelArray1DBuilder<T>& m_dx;
    ostrel::builder::TOstrelArray1DBuilder<T>& m_dy;
    ostrel::builder::TOstrelArray3DBuilder<T>& m_dz;
};

}  // namespace kelvara::imex

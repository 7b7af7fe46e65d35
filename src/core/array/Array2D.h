#pragma once

// Array<T,2>: NI x NJ elements, the first index fastest. NI stays as set; NJ follows the size.
#include "core/array/Array1D.h"

namespace ostrel::core {

template <class T>
class OSTREL_CORE_API Array<T, 2> : public Array<T, 1> {
  public:
    static constexpr unsigned rank = 2;

    // Unbound, shape (1, 0).
    Array();
    // Storage of p_NI x p_NJ zero elements from p_factory.
    Array(const IArrayImplFactory* p_factory, unsigned int p_NI, unsigned int p_NJ);
    // Bound to p_ArrayImplementation with p_NI as first extent.
    Array(std::shared_ptr<IArrayImpl> p_ArrayImplementation, unsigned int p_NI);
    Array(const Array& p_other);
    Array& operator=(const Array& p_other);
    ~Array() override;

    unsigned int dimensions() const override { return 2; }
    ArrayShape shape() const override { return ArrayShape::extents(m_shape[0], m_shape[1]); }
    void update() override;

    unsigned int extent(unsigned p_axis) const { return m_shape[p_axis]; }
    T& operator()(unsigned int p_i, unsigned int p_j) {
        return this->m_Data[p_i + p_j * m_shape[0]];
    }
    const T& operator()(unsigned int p_i, unsigned int p_j) const {
        return this->m_Data[p_i + p_j * m_shape[0]];
    }

  private:
    // Stores the extents; a zero product makes them (max(NI, 1), 0).
    void set_shape(unsigned int p_NI, unsigned int p_NJ);

    unsigned int m_shape[2] = {1, 0};
};

}  // namespace ostrel::core

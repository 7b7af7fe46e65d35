#pragma once

// Array<T,3>: NI x NJ x NK elements with the extents of Handle3; element (i, j, k) is at
// i + j*NI + k*NI*NJ. NI and NJ stay as set; NK follows the size.
#include "core/array/Array1D.h"

namespace ostrel::core {

template <class T>
class OSTREL_CORE_API Array<T, 3> : public Array<T, 1> {
  public:
    static constexpr unsigned rank = 3;
    using Shape = Handle3;

    // Unbound, shape (1, 1, 0).
    Array();
    // Storage of NI x NJ x NK zero elements from p_factory.
    Array(const IArrayImplFactory* p_factory, const Shape& p_shape);
    // The same, with every element set to p_value.
    Array(const IArrayImplFactory* p_factory, const Shape& p_shape, const T& p_value);
    // Bound to p_ArrayImplementation with the shape (1, 1, size).
    explicit Array(std::shared_ptr<IArrayImpl> p_ArrayImplementation);
    // Bound to p_ArrayImplementation with the leading extents of p_shape.
    Array(std::shared_ptr<IArrayImpl> p_ArrayImplementation, const Shape& p_shape);
    Array(const Array& p_other);
    Array& operator=(const Array& p_other);
    ~Array() override;

    unsigned int dimensions() const override { return 3; }
    ArrayShape shape() const override {
        return ArrayShape::extents16(m_shape[0], m_shape[1], m_shape[2]);
    }
    void update() override;

    using Array<T, 1>::resize;
    // Sets the shape and resizes to its product. On a fixed shape NI and NI*NJ must stay.
    void resize(const Shape& p_shape);
    using Array<T, 1>::init;
    // Sets the shape and makes storage of its product through p_factory.
    void init(const IArrayImplFactory& p_factory, const Shape& p_shape);

    const Shape& extents() const { return m_shape; }
    unsigned int ni_times_nj() const { return m_NI_times_NJ; }
    T& operator()(const Handle3& p_ijk) {
        return this->m_Data[p_ijk[0] + p_ijk[1] * m_shape[0] + p_ijk[2] * m_NI_times_NJ];
    }
    const T& operator()(const Handle3& p_ijk) const {
        return this->m_Data[p_ijk[0] + p_ijk[1] * m_shape[0] + p_ijk[2] * m_NI_times_NJ];
    }
    T& operator()(unsigned int p_i, unsigned int p_j, unsigned int p_k) {
        return this->m_Data[p_i + p_j * m_shape[0] + p_k * m_NI_times_NJ];
    }
    const T& operator()(unsigned int p_i, unsigned int p_j, unsigned int p_k) const {
        return this->m_Data[p_i + p_j * m_shape[0] + p_k * m_NI_times_NJ];
    }

  private:
    // Stores the extents and NI*NJ; a zero product makes them (max(NI, 1), max(NJ, 1), 0).
    void set_shape(const Shape& p_shape);
    // NI*NJ*NK, or the largest count when it does not fit 32 bits.
    unsigned int shape_product() const;

    unsigned int m_NI_times_NJ = 1;
    Shape m_shape{{1, 1, 0}};
};

}  // namespace ostrel::core

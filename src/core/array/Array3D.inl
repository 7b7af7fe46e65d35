#pragma once

// The definitions of Array<T,3>, included only where the template is instantiated.
#include <stdexcept>

#include "core/array/Array1D.inl"
#include "core/array/Array3D.h"

namespace ostrel::core {

namespace array_detail {

// NI*NJ*NK of a shape as requested, before any normalisation; fails beyond 32 bits.
inline unsigned int checked_product(const Handle3& p_shape) {
    const unsigned long long product =
        static_cast<unsigned long long>(p_shape[0]) * p_shape[1] * p_shape[2];
    if (product > 0xffffffffull) throw std::length_error("Array extents exceed 2^32 - 1 elements");
    return static_cast<unsigned int>(product);
}

}  // namespace array_detail

template <class T>
Array<T, 3>::Array() = default;

template <class T>
Array<T, 3>::Array(const IArrayImplFactory* p_factory, const Shape& p_shape) {
    init(p_factory ? *p_factory : *default_array_factory(), p_shape);
}

template <class T>
Array<T, 3>::Array(const IArrayImplFactory* p_factory, const Shape& p_shape, const T& p_value) {
    init(p_factory ? *p_factory : *default_array_factory(), p_shape);
    std::fill(this->begin(), this->end(), p_value);
}

template <class T>
Array<T, 3>::Array(std::shared_ptr<IArrayImpl> p_ArrayImplementation) {
    this->reset(std::move(p_ArrayImplementation));
}

template <class T>
Array<T, 3>::Array(std::shared_ptr<IArrayImpl> p_ArrayImplementation, const Shape& p_shape) {
    set_shape(Shape{{p_shape[0], p_shape[1], 0}});
    this->reset(std::move(p_ArrayImplementation));
}

template <class T>
Array<T, 3>::Array(const Array& p_other) : Array<T, 1>() {
    m_NI_times_NJ = p_other.m_NI_times_NJ;
    m_shape = p_other.m_shape;
    this->reset(p_other.m_Impl);
}

template <class T>
Array<T, 3>& Array<T, 3>::operator=(const Array& p_other) {
    if (this != &p_other) {
        m_NI_times_NJ = p_other.m_NI_times_NJ;
        m_shape = p_other.m_shape;
        this->reset(p_other.m_Impl);
    }
    return *this;
}

template <class T>
Array<T, 3>::~Array() = default;

template <class T>
void Array<T, 3>::set_shape(const Shape& p_shape) {
    m_shape = p_shape;
    m_NI_times_NJ = static_cast<unsigned int>(m_shape[0]) * m_shape[1];
    if (m_NI_times_NJ == 0 || m_shape[2] == 0) {
        if (m_shape[0] == 0) m_shape[0] = 1;
        if (m_shape[1] == 0) m_shape[1] = 1;
        m_shape[2] = 0;
        m_NI_times_NJ = static_cast<unsigned int>(m_shape[0]) * m_shape[1];
    }
}

template <class T>
unsigned int Array<T, 3>::shape_product() const {
    return array_detail::checked_product(m_shape);
}

template <class T>
void Array<T, 3>::update() {
    if (!this->refresh_cache()) return;
    OSTREL_PRECONDITION(this->size() % m_NI_times_NJ == 0, "this->size() % m_NI_times_NJ == 0",
                        array_messages::kArray3DInl,
                        "Trying to resize a 3D array to a size that is not multiple to its "
                        "dimensions.");
    m_shape[2] = static_cast<unsigned short>(this->size() / m_NI_times_NJ);
}

template <class T>
void Array<T, 3>::resize(const Shape& p_shape) {
    constexpr int I = 0;
    constexpr int J = 1;
    OSTREL_PRECONDITION(
        !this->m_IsFixedShape ||
            (this->m_shape[I] == p_shape[I] &&
             this->m_NI_times_NJ == static_cast<unsigned int>(p_shape[I]) * p_shape[J]),
        "!this->m_IsFixedShape || (this->m_shape[I] == p_shape[I] && this->m_NI_times_NJ == "
        "p_shape[I] * p_shape[J])",
        array_messages::kArray3DInl, array_messages::kFixedResize);
    array_detail::checked_product(p_shape);
    set_shape(p_shape);
    Array<T, 1>::resize(shape_product());
}

template <class T>
void Array<T, 3>::init(const IArrayImplFactory& p_factory, const Shape& p_shape) {
    OSTREL_PRECONDITION(!this->m_IsFixedShape || all(equal_components(this->m_shape, p_shape)),
                        "!this->m_IsFixedShape || all(this->m_shape == p_shape)",
                        array_messages::kArray3DInl, array_messages::kFixedResize);
    array_detail::checked_product(p_shape);
    set_shape(p_shape);
    Array<T, 1>::init(p_factory, shape_product());
}

}  // namespace ostrel::core

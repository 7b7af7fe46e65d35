#pragma once

// The definitions of Array<T,2>, included only where the template is instantiated.
#include "core/array/Array1D.inl"
#include "core/array/Array2D.h"

namespace ostrel::core {

template <class T>
Array<T, 2>::Array() = default;

template <class T>
Array<T, 2>::Array(const IArrayImplFactory* p_factory, unsigned int p_NI, unsigned int p_NJ) {
    const unsigned long long product = static_cast<unsigned long long>(p_NI) * p_NJ;
    if (product > 0xffffffffull) throw std::length_error("Array extents exceed 2^32 - 1 elements");
    set_shape(p_NI, p_NJ);
    this->init(p_factory ? *p_factory : *default_array_factory(),
               static_cast<unsigned int>(product));
}

template <class T>
Array<T, 2>::Array(std::shared_ptr<IArrayImpl> p_ArrayImplementation, unsigned int p_NI) {
    set_shape(p_NI, 0);
    this->reset(std::move(p_ArrayImplementation));
}

template <class T>
Array<T, 2>::Array(const Array& p_other) : Array<T, 1>() {
    m_shape[0] = p_other.m_shape[0];
    m_shape[1] = p_other.m_shape[1];
    this->reset(p_other.m_Impl);
}

template <class T>
Array<T, 2>& Array<T, 2>::operator=(const Array& p_other) {
    if (this != &p_other) {
        m_shape[0] = p_other.m_shape[0];
        m_shape[1] = p_other.m_shape[1];
        this->reset(p_other.m_Impl);
    }
    return *this;
}

template <class T>
Array<T, 2>::~Array() = default;

template <class T>
void Array<T, 2>::set_shape(unsigned int p_NI, unsigned int p_NJ) {
    m_shape[0] = p_NI;
    m_shape[1] = p_NJ;
    if (p_NI == 0 || p_NJ == 0) {
        if (m_shape[0] == 0) m_shape[0] = 1;
        m_shape[1] = 0;
    }
}

template <class T>
void Array<T, 2>::update() {
    if (!this->refresh_cache()) return;
    constexpr int I = 0;
    OSTREL_PRECONDITION(this->size() % m_shape[I] == 0, "this->size() % m_shape[I] == 0",
                        array_messages::kArray2DInl,
                        "Trying to resize a 2D array to a size that is not multiple to its "
                        "dimensions.");
    m_shape[1] = this->size() / m_shape[0];
}

}  // namespace ostrel::core

#pragma once

// The definitions of VectorArrayImpl<T>, included only where the template is instantiated.
#include "core/array/Array.h"
#include "core/array/VectorArrayImpl.h"

namespace ostrel::core {

template <class T>
VectorArrayImpl<T>::VectorArrayImpl() = default;

template <class T>
VectorArrayImpl<T>::VectorArrayImpl(unsigned int p_count) : m_vector(p_count) {}

template <class T>
VectorArrayImpl<T>::VectorArrayImpl(const T* p_first, const T* p_last)
    : m_vector(reinterpret_cast<const stored_type*>(p_first),
               reinterpret_cast<const stored_type*>(p_last)) {}

// Copies the elements only: a clone has no observers.
template <class T>
VectorArrayImpl<T>::VectorArrayImpl(const VectorArrayImpl& p_other)
    : IArrayImpl(), m_vector(p_other.m_vector) {}

template <class T>
VectorArrayImpl<T>::~VectorArrayImpl() = default;

template <class T>
void* VectorArrayImpl<T>::data(ArrayShape& p_shape) {
    p_shape = ArrayShape::flat(static_cast<unsigned int>(m_vector.size()));
    return m_vector.empty() ? nullptr : static_cast<void*>(m_vector.data());
}

template <class T>
void VectorArrayImpl<T>::do_resize(unsigned int p_NewSize) {
    m_vector.resize(p_NewSize);
}

template <class T>
IArrayImpl* VectorArrayImpl<T>::clone() const {
    return new VectorArrayImpl(*this);
}

template <class T>
const IArrayImplFactory* VectorArrayImpl<T>::factory() const {
    return default_array_factory();
}

template <class T>
IArray* VectorArrayImpl<T>::create_array() {
    ArrayShape shape;
    data(shape);
    std::shared_ptr<IArrayImpl> self = shared_from_this();
    switch (shape.m_RankCode) {
        case 0:
            return new Array<T, 1>(self);
        case 1:
            return new Array<T, 2>(self, shape.m_Words[0]);
        default:
            return new Array<T, 3>(
                self, Handle3{{shape.extent16(0), shape.extent16(1), shape.extent16(2)}});
    }
}

}  // namespace ostrel::core

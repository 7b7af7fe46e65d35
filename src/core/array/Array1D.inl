#pragma once

// The definitions of Array<T,1>, included only where the template is instantiated.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <limits>
#include <type_traits>

#include "core/array/Array1D.h"
#include "core/array/ArrayMessages.h"
#include "core/pattern/Assert.h"

namespace ostrel::core {

namespace array_detail {

// A scaled value stored back into an element: integers truncated toward zero (saturated at the
// ends of their range, NaN giving 0), float rounded, bool true when not 0.
template <class T>
T from_scaled(double p_value) {
    if constexpr (std::is_same_v<T, bool>) {
        return p_value != 0.0;
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(p_value);
    } else {
        using limits = std::numeric_limits<T>;
        const double upper = std::ldexp(1.0, limits::digits);  // first value past the range
        if (std::isnan(p_value)) return T(0);
        if (p_value >= upper) return limits::max();
        if (std::is_signed_v<T> ? p_value < -upper : p_value <= -1.0) return limits::min();
        return static_cast<T>(p_value);
    }
}

// The negation of a signed or floating value; integers wrap at their lowest value.
template <class S>
S negated(S p_value) {
    if constexpr (std::is_integral_v<S>) {
        using U = std::make_unsigned_t<S>;
        return static_cast<S>(static_cast<U>(U(0) - static_cast<U>(p_value)));
    } else {
        return -p_value;
    }
}

template <class T>
void negate_element(T& p_element) {
    if constexpr (ElementTraits<T>::is_scalar) {
        p_element = negated(p_element);
    } else {
        for (auto& component : p_element) component = negated(component);
    }
}

}  // namespace array_detail

template <class T>
Array<T, 1>::Array() = default;

template <class T>
Array<T, 1>::Array(const IArrayImplFactory* p_factory, unsigned int p_InitialSize) {
    init(p_factory ? *p_factory : *default_array_factory(), p_InitialSize);
}

template <class T>
Array<T, 1>::Array(const IArrayImplFactory* p_factory, unsigned int p_InitialSize,
                   const T& p_value) {
    init(p_factory ? *p_factory : *default_array_factory(), p_InitialSize);
    std::fill(begin(), end(), p_value);
}

template <class T>
Array<T, 1>::Array(std::shared_ptr<IArrayImpl> p_ArrayImplementation) {
    reset(std::move(p_ArrayImplementation));
}

template <class T>
Array<T, 1>::Array(const Array& p_other) : IArray(p_other), IObserver(p_other) {
    reset(p_other.m_Impl);
}

template <class T>
Array<T, 1>& Array<T, 1>::operator=(const Array& p_other) {
    if (this != &p_other) reset(p_other.m_Impl);
    return *this;
}

template <class T>
Array<T, 1>::~Array() {
    try {
        detach_storage();
    } catch (const std::exception& p_failure) {
        std::fprintf(stderr, "Exception thrown while destroying Array:\n%s\n", p_failure.what());
        std::fflush(stderr);
    } catch (...) {
        std::fprintf(stderr, "Unknown exception thrown while destroying Array.\n");
        std::fflush(stderr);
    }
}

template <class T>
ArrayShape Array<T, 1>::shape() const {
    return ArrayShape::flat(m_Size);
}

template <class T>
bool Array<T, 1>::operator==(const IArray& p_other) const {
    if (this == &p_other) return true;
    const auto* other = dynamic_cast<const Array<T, 1>*>(&p_other);
    if (other == nullptr) return false;
    if (m_Size != other->m_Size) return false;
    if (m_Data == other->m_Data) return true;
    if (m_Data == nullptr || other->m_Data == nullptr) return false;
    return std::memcmp(m_Data, other->m_Data, static_cast<std::size_t>(m_Size) * sizeof(T)) == 0;
}

template <class T>
void Array<T, 1>::make_unique() {
    if (!m_Impl) return;
    reset(std::shared_ptr<IArrayImpl>(m_Impl->clone()));
}

template <class T>
void Array<T, 1>::reset(std::shared_ptr<IArrayImpl> p_impl) {
    using namespace array_messages;
    if (!p_impl) {
        reset();
        return;
    }
    OSTREL_PRECONDITION(p_impl->element_size() == sizeof(value_type),
                        "p_ArrayImplementation->element_size() == sizeof(value_type)", kArray1DInl,
                        "\nArray implementation have a different element type (or tuple size).\n"
                        "Element size for Array: "
                            << sizeof(value_type) << "\nElement size for Array Implementation: "
                            << p_impl->element_size() << ".");
    const unsigned int new_size = p_impl->count();
    OSTREL_PRECONDITION(!this->m_IsFixedShape || new_size == this->m_Size,
                        "!this->m_IsFixedShape || new_size == this->m_Size", kArray1DInl,
                        kFixedReset);
    detach_storage();
    m_Impl = std::move(p_impl);
    attach(m_Impl.get(), this);
    update();
}

template <class T>
void Array<T, 1>::reset() {
    using namespace array_messages;
    OSTREL_PRECONDITION(!this->m_IsFixedShape || this->size() == 0,
                        "!this->m_IsFixedShape || this->size() == 0", kArray1DInl, kFixedReset);
    if (!m_Impl && m_Data == nullptr) return;
    detach_storage();
}

template <class T>
void Array<T, 1>::detach_storage() {
    if (m_Impl) detach(m_Impl.get(), this);
    m_Impl.reset();
    m_Data = nullptr;
    m_Size = 0;
}

template <class T>
void Array<T, 1>::negate() {
    OSTREL_PRECONDITION(is_not_unsigned<T>::value, "is_not_unsigned<T_>::value",
                        array_messages::kArray1DInl,
                        "Error: trying to negate an unsigned array or an array that is not "
                        "scalar.");
    if constexpr (is_not_unsigned<T>::value) {
        T* const data = m_Data;
        const unsigned int size = m_Size;
        for (unsigned int i = 0; i < size; ++i) array_detail::negate_element(data[i]);
    }
}

template <class T>
void Array<T, 1>::scale(double p_factor) {
    OSTREL_PRECONDITION(is_scalar_type<T>::value, "is_scalar_type<T_>::value",
                        array_messages::kArray1DInl,
                        "Error: trying to scale an array that is not scalar.");
    if constexpr (is_scalar_type<T>::value) {
        T* const data = m_Data;
        const unsigned int size = m_Size;
        for (unsigned int i = 0; i < size; ++i) {
            data[i] = array_detail::from_scaled<T>(static_cast<double>(data[i]) * p_factor);
        }
    }
}

template <class T>
const IArrayImplFactory* Array<T, 1>::factory() const {
    OSTREL_PRECONDITION(m_Impl, "m_Impl", array_messages::kArray1DInl,
                        "This array does not have an internal implementation.");
    return m_Impl->factory();
}

template <class T>
bool Array<T, 1>::refresh_cache() {
    if (!m_Impl) {
        m_Data = nullptr;
        m_Size = 0;
        return false;
    }
    const unsigned int old_size = m_Size;
    ArrayShape shape;
    m_Data = static_cast<T*>(m_Impl->data(shape));
    m_Size = shape.count();
    OSTREL_PRECONDITION(old_size == 0 || !m_IsFixedShape || m_Size == old_size,
                        "old_size == 0 || !m_IsFixedShape || m_Size == old_size",
                        array_messages::kArray1DExt,
                        "An Array was resized, but it was sharing the same implementation with"
                        " another array that had fixed shape.");
    return true;
}

template <class T>
void Array<T, 1>::update() {
    refresh_cache();
}

template <class T>
void Array<T, 1>::resize(unsigned int p_NewSize) {
    if (p_NewSize == m_Size) return;
    OSTREL_PRECONDITION(!m_IsFixedShape, "!m_IsFixedShape", array_messages::kArray1DExt,
                        array_messages::kFixedResize);
    if (m_Impl) {
        m_Impl->resize(p_NewSize);
    } else {
        m_Size = p_NewSize;
    }
}

template <class T>
void Array<T, 1>::init(const IArrayImplFactory& p_factory, unsigned int p_InitialSize) {
    OSTREL_PRECONDITION(!this->m_IsFixedShape || p_InitialSize == this->m_Size,
                        "!this->m_IsFixedShape || p_InitialSize == this->m_Size",
                        array_messages::kArray1DInl, array_messages::kFixedReset);
    reset(make_array_impl(p_factory, scalar_type(), element_shape(), p_InitialSize));
}

}  // namespace ostrel::core

#pragma once

// RigidVector<N,T>: exactly N values of T stored contiguously with nothing beside them, copied
// by value, read and written by position. Usable as an array element.
#include <cstddef>

#include "core/Export.h"

namespace ostrel::mtm {

// Default visibility, so that arrays of tuples are one type across modules.
template <unsigned N, class T>
struct OSTREL_CORE_API RigidVector {
    static_assert(N > 0, "a RigidVector holds at least one value");
    using value_type = T;
    static constexpr unsigned size_value = N;

    T m_values[N];

    static constexpr unsigned size() { return N; }
    T& operator[](std::size_t p_index) { return m_values[p_index]; }
    const T& operator[](std::size_t p_index) const { return m_values[p_index]; }
    T* begin() { return m_values; }
    T* end() { return m_values + N; }
    const T* begin() const { return m_values; }
    const T* end() const { return m_values + N; }

    friend bool operator==(const RigidVector& p_left, const RigidVector& p_right) {
        for (unsigned i = 0; i < N; ++i) {
            if (!(p_left.m_values[i] == p_right.m_values[i])) return false;
        }
        return true;
    }
    friend bool operator!=(const RigidVector& p_left, const RigidVector& p_right) {
        return !(p_left == p_right);
    }
};

// Whether every component of a comparison holds.
template <unsigned N>
bool all(const RigidVector<N, bool>& p_flags) {
    for (bool flag : p_flags) {
        if (!flag) return false;
    }
    return true;
}

// Component-wise equality, for checks such as all(a == b) on extents.
template <unsigned N, class T>
RigidVector<N, bool> equal_components(const RigidVector<N, T>& p_left,
                                      const RigidVector<N, T>& p_right) {
    RigidVector<N, bool> result{};
    for (unsigned i = 0; i < N; ++i) result[i] = p_left[i] == p_right[i];
    return result;
}

}  // namespace ostrel::mtm

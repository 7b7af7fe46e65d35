#pragma once

// The generic value records of a grid function: what scalar_value and tuple_value return when the
// caller does not know the value type. A scalar is its type and eight bytes; a tuple owns a copy
// of its value with the element type and the two extents of the element shape.
#include <cstring>
#include <memory>

#include "core/handle/Handles.h"

namespace ostrel::core {

class GenericScalarValue {
  public:
    GenericScalarValue() = default;
    template <class T>
    static GenericScalarValue of(const T& p_value) {
        static_assert(sizeof(T) <= 8, "a scalar value fits in eight bytes");
        GenericScalarValue result;
        result.m_type = ElementTraits<T>::scalar_type;
        std::memcpy(result.m_storage, &p_value, sizeof(T));
        return result;
    }

    ScalarType type() const { return m_type; }
    template <class T>
    T get() const {
        T result;
        std::memcpy(&result, m_storage, sizeof(T));
        return result;
    }
    const unsigned char* bytes() const { return m_storage; }

  private:
    ScalarType m_type = stNotAScalar;
    alignas(8) unsigned char m_storage[8] = {};
};

class GenericTupleValue {
  public:
    GenericTupleValue() = default;
    template <class T>
    static GenericTupleValue of(const T& p_value) {
        GenericTupleValue result;
        result.m_data.reset(new unsigned char[sizeof(T)]);
        std::memcpy(result.m_data.get(), &p_value, sizeof(T));
        result.m_type = ElementTraits<T>::scalar_type;
        result.m_extents[0] = static_cast<unsigned char>(ElementTraits<T>::tuple_size);
        result.m_extents[1] = 1;
        return result;
    }

    ScalarType type() const { return m_type; }
    unsigned int extent(unsigned p_index) const { return m_extents[p_index]; }
    const unsigned char* data() const { return m_data.get(); }
    // Component p_index as S (the element's scalar type).
    template <class S>
    S component(unsigned p_index) const {
        S result;
        std::memcpy(&result, m_data.get() + p_index * sizeof(S), sizeof(S));
        return result;
    }

  private:
    std::unique_ptr<unsigned char[]> m_data;
    ScalarType m_type = stNotAScalar;
    unsigned char m_extents[2] = {0, 0};
    // Two flag bits, cleared in this system.
    unsigned char m_flags = 0;
};

}  // namespace ostrel::core

#pragma once

// ArrayGenerator<T>: grows a one-dimensional array by appending, doubling its buffer, and hands
// out the result once, sharing the buffer's storage.
#include <algorithm>

#include "core/array/Array.h"
#include "core/pattern/Assert.h"

namespace ostrel::core {

template <class T>
class ArrayGenerator {
  public:
    ArrayGenerator() : m_buffer(default_array_factory(), 12) {}

    // Appends p_value, growing the buffer to max(2*count, 12) when it is full.
    void push_back(const T& p_value) {
        if (m_count == m_buffer.size()) m_buffer.resize(std::max(2 * m_count, 12u));
        m_buffer[m_count] = p_value;
        ++m_count;
    }

    // The values appended so far, as an array sharing the buffer's storage. Once only.
    Array<T, 1> create_array() {
        OSTREL_PRECONDITION(!this->already_created(), "!this->already_created()",
                            "core/array/ArrayGenerator",
                            "Using an ArrayGenerator that have already created the array!");
        m_buffer.resize(m_count);
        Array<T, 1> result(m_buffer);
        m_already_created = true;
        return result;
    }

    bool already_created() const { return m_already_created; }
    unsigned int count() const { return m_count; }
    // The buffer's present size.
    unsigned int capacity() const { return m_buffer.size(); }

  private:
    Array<T, 1> m_buffer;
    unsigned int m_count = 0;
    bool m_already_created = false;
};

}  // namespace ostrel::core

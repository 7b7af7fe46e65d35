#pragma once

// The shape record of arrays and of topology elements: two 32-bit words and a rank code (rank
// minus one). A flat shape holds the count in word 0; a 2-D shape its two extents; shapes of
// 16-bit extents (three or four of them) are packed into the two words in their order, the
// first of each pair in the low half.
#include <cstdint>

#include "core/handle/RigidVector.h"

namespace ostrel::core {

// The shape of one element: (tuple length, 1); (1, 1) for scalars.
using ElementShape = mtm::RigidVector<2, unsigned int>;

struct ArrayShape {
    std::uint32_t m_Words[2] = {0, 0};
    std::uint32_t m_RankCode = 0;

    static ArrayShape flat(std::uint32_t p_count) { return ArrayShape{{p_count, 0}, 0}; }
    static ArrayShape extents(std::uint32_t p_first, std::uint32_t p_second) {
        return ArrayShape{{p_first, p_second}, 1};
    }
    // Three or four 16-bit extents; the rank code is their count minus one.
    static ArrayShape extents16(std::uint16_t p_a, std::uint16_t p_b, std::uint16_t p_c) {
        return ArrayShape{{pack(p_a, p_b), pack(p_c, 0)}, 2};
    }
    static ArrayShape extents16(std::uint16_t p_a, std::uint16_t p_b, std::uint16_t p_c,
                                std::uint16_t p_d) {
        return ArrayShape{{pack(p_a, p_b), pack(p_c, p_d)}, 3};
    }

    // The count of a flat shape.
    std::uint32_t count() const { return m_Words[0]; }
    // Extent p_index (0 .. 3) of a shape of 16-bit extents.
    std::uint16_t extent16(unsigned p_index) const {
        return static_cast<std::uint16_t>(m_Words[p_index / 2] >> (16 * (p_index % 2)));
    }

    friend bool operator==(const ArrayShape& p_left, const ArrayShape& p_right) {
        return p_left.m_Words[0] == p_right.m_Words[0] && p_left.m_Words[1] == p_right.m_Words[1] &&
               p_left.m_RankCode == p_right.m_RankCode;
    }
    friend bool operator!=(const ArrayShape& p_left, const ArrayShape& p_right) {
        return !(p_left == p_right);
    }

  private:
    static std::uint32_t pack(std::uint16_t p_low, std::uint16_t p_high) {
        return static_cast<std::uint32_t>(p_low) | (static_cast<std::uint32_t>(p_high) << 16);
    }
};

}  // namespace ostrel::core

#pragma once

#include <cstddef>
#include <cstdint>

#include "core/Export.h"

namespace ostrel::core {

// Paul Hsieh's SuperFastHash over a run of bytes. The running value starts from the length.
// An empty or null run hashes to 0.
OSTREL_CORE_API std::uint32_t super_fast_hash(const unsigned char* p_data, std::size_t p_length);

// The same hash for exactly eight bytes, the keys of ListHash, with the loop unrolled.
inline std::uint32_t super_fast_hash8(const unsigned char* p_data) {
    auto get16 = [](const unsigned char* p) {
        return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8);
    };
    std::uint32_t hash = 8;
    for (int half = 0; half < 2; ++half, p_data += 4) {
        hash += get16(p_data);
        const std::uint32_t tmp = (get16(p_data + 2) << 11) ^ hash;
        hash = (hash << 16) ^ tmp;
        hash += hash >> 11;
    }
    hash ^= hash << 3;
    hash += hash >> 5;
    hash ^= hash << 4;
    hash += hash >> 17;
    hash ^= hash << 25;
    hash += hash >> 6;
    return hash;
}

}  // namespace ostrel::core

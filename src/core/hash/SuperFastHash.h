#pragma once

#include <cstddef>
#include <cstdint>

#include "core/Export.h"

namespace ostrel::core {

namespace super_fast_hash_steps {

inline std::uint32_t get16(const unsigned char* p_data) {
    return static_cast<std::uint32_t>(p_data[0]) | (static_cast<std::uint32_t>(p_data[1]) << 8);
}

// Mixes in four bytes.
inline std::uint32_t mix4(std::uint32_t p_hash, const unsigned char* p_data) {
    p_hash += get16(p_data);
    const std::uint32_t tmp = (get16(p_data + 2) << 11) ^ p_hash;
    p_hash = (p_hash << 16) ^ tmp;
    return p_hash + (p_hash >> 11);
}

// The final avalanche of the bits.
inline std::uint32_t avalanche(std::uint32_t p_hash) {
    p_hash ^= p_hash << 3;
    p_hash += p_hash >> 5;
    p_hash ^= p_hash << 4;
    p_hash += p_hash >> 17;
    p_hash ^= p_hash << 25;
    return p_hash + (p_hash >> 6);
}

}  // namespace super_fast_hash_steps

// Paul Hsieh's SuperFastHash over a run of bytes. The running value starts from the length.
// An empty or null run hashes to 0.
OSTREL_CORE_API std::uint32_t super_fast_hash(const unsigned char* p_data, std::size_t p_length);

// The same hash for exactly eight bytes, the keys of ListHash, without the loop.
inline std::uint32_t super_fast_hash8(const unsigned char* p_data) {
    using namespace super_fast_hash_steps;
    return avalanche(mix4(mix4(8, p_data), p_data + 4));
}

}  // namespace ostrel::core

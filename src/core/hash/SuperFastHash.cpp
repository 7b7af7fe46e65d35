#include "core/hash/SuperFastHash.h"

namespace ostrel::core {

namespace {

std::uint32_t get16(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8);
}

}  // namespace

std::uint32_t super_fast_hash(const unsigned char* p_data, std::size_t p_length) {
    if (p_data == nullptr || p_length == 0) return 0;
    std::uint32_t hash = static_cast<std::uint32_t>(p_length);
    const std::size_t rem = p_length & 3;
    for (std::size_t blocks = p_length >> 2; blocks > 0; --blocks, p_data += 4) {
        hash += get16(p_data);
        const std::uint32_t tmp = (get16(p_data + 2) << 11) ^ hash;
        hash = (hash << 16) ^ tmp;
        hash += hash >> 11;
    }
    switch (rem) {
        case 3:
            hash += get16(p_data);
            hash ^= hash << 16;
            hash ^= static_cast<std::uint32_t>(static_cast<signed char>(p_data[2])) << 18;
            hash += hash >> 11;
            break;
        case 2:
            hash += get16(p_data);
            hash ^= hash << 11;
            hash += hash >> 17;
            break;
        case 1:
            hash += static_cast<signed char>(p_data[0]);
            hash ^= hash << 10;
            hash += hash >> 1;
            break;
        default:
            break;
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

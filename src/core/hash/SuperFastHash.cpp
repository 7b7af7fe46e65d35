#include "core/hash/SuperFastHash.h"

namespace ostrel::core {

std::uint32_t super_fast_hash(const unsigned char* p_data, std::size_t p_length) {
    using namespace super_fast_hash_steps;
    if (p_data == nullptr || p_length == 0) return 0;
    std::uint32_t hash = static_cast<std::uint32_t>(p_length);
    for (std::size_t blocks = p_length >> 2; blocks > 0; --blocks, p_data += 4) {
        hash = mix4(hash, p_data);
    }
    switch (p_length & 3) {
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
    return avalanche(hash);
}

}  // namespace ostrel::core

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kelvara::imex {

// The two item types of IMEX blocks, told by the caller's type code: 'i' a signed 32-bit
// integer, 'd' an IEEE 754 double. Each kind knows its width and the most items that one bulk
// read call may take, so that a call stays below 0xF8000 bytes.
template <class Value, class Raw, std::size_t MaxPerRead>
struct ItemKind {
    using value_type = Value;
    static constexpr std::size_t width = sizeof(Raw);
    static constexpr int shift = sizeof(Raw) == 4 ? 2 : 3;
    static constexpr std::size_t max_per_read = MaxPerRead;

    static Raw reversed(Raw p_raw) {
        if constexpr (sizeof(Raw) == 4) {
            return __builtin_bswap32(p_raw);
        } else {
            return __builtin_bswap64(p_raw);
        }
    }

    // The item at p_bytes, its bytes reversed first when Swap is set.
    template <bool Swap>
    static Value load(const void* p_bytes) {
        Raw raw;
        std::memcpy(&raw, p_bytes, sizeof raw);
        if constexpr (Swap) raw = reversed(raw);
        Value value;
        std::memcpy(&value, &raw, sizeof value);
        return value;
    }

    // Reverses the bytes of each of p_count items in place.
    static void swap_in_place(Value* p_items, std::size_t p_count) {
        for (std::size_t i = 0; i < p_count; ++i) {
            Raw raw;
            std::memcpy(&raw, p_items + i, sizeof raw);
            raw = reversed(raw);
            std::memcpy(p_items + i, &raw, sizeof raw);
        }
    }
};

using IntItem = ItemKind<std::int32_t, std::uint32_t, 0x3DFFF>;
using DoubleItem = ItemKind<double, std::uint64_t, 0x1EFFF>;

static_assert(IntItem::max_per_read * IntItem::width < 0xF8000, "one read call below 0xF8000");
static_assert(DoubleItem::max_per_read * DoubleItem::width < 0xF8000,
              "one read call below 0xF8000");

}  // namespace kelvara::imex

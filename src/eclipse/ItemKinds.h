#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "builder/Narrow.h"
#include "stream/FileStream.h"

namespace kelvara::eclipse {

// The integer word of a floating item follows the one truncation rule of the builders: toward
// zero, and the smallest 32-bit integer beyond that type's range and for NaN.
inline std::int32_t truncate_to_int32(double p_value) {
    return ostrel::builder::Narrow<std::int32_t>::apply(p_value);
}

// The numeric item kinds, by the first letter of a section type. Each loads one item from its
// bytes and converts it for the three deliveries: a feeder's double, an integer word, a host
// list entry (integral kinds give a signed integer, the others a float).
template <class Value, class Raw>
struct ItemKind {
    using value_type = Value;
    static constexpr std::size_t size = sizeof(Raw);
    static constexpr int shift = sizeof(Raw) == 4 ? 2 : 3;

    template <bool Swap>
    static Value load(const char* p_bytes) {
        Raw raw;
        std::memcpy(&raw, p_bytes, sizeof raw);
        if constexpr (Swap) {
            if constexpr (sizeof raw == 4) {
                raw = __builtin_bswap32(raw);
            } else {
                raw = __builtin_bswap64(raw);
            }
        }
        Value value;
        std::memcpy(&value, &raw, sizeof value);
        return value;
    }
};

struct IntItem : ItemKind<std::int32_t, std::uint32_t> {
    static constexpr bool integral = true;
    static double to_double(std::int32_t p_value) { return p_value; }
    static std::int32_t to_word(std::int32_t p_value) { return p_value; }
};

// A logical word reaches a feeder as unsigned (true, all bits set, is 4294967295.0) and a list
// or an integer word as signed (-1).
struct LogiItem : ItemKind<std::uint32_t, std::uint32_t> {
    static constexpr bool integral = true;
    static double to_double(std::uint32_t p_value) { return p_value; }
    static std::int32_t to_word(std::uint32_t p_value) {
        return static_cast<std::int32_t>(p_value);
    }
};

struct RealItem : ItemKind<float, std::uint32_t> {
    static constexpr bool integral = false;
    static double to_double(float p_value) { return p_value; }
    static std::int32_t to_word(float p_value) { return truncate_to_int32(p_value); }
};

struct DoubItem : ItemKind<double, std::uint64_t> {
    static constexpr bool integral = false;
    static double to_double(double p_value) { return p_value; }
    static std::int32_t to_word(double p_value) { return truncate_to_int32(p_value); }
};

// Calls p_body(Kind{}, std::integral_constant<bool, Swap>{}) for the kind of p_letter and the
// byte order p_swap, so that the loop inside is made once per pair and takes no decision per
// item. Returns false, calling nothing, for a letter that is no numeric kind.
template <class Body>
bool with_numeric_kind(char p_letter, bool p_swap, Body&& p_body) {
    auto run = [&](auto p_kind) {
        stream::with_byte_order(p_swap, [&](auto p_order) { p_body(p_kind, p_order); });
        return true;
    };
    switch (p_letter) {
        case 'I':
            return run(IntItem{});
        case 'L':
            return run(LogiItem{});
        case 'R':
            return run(RealItem{});
        case 'D':
            return run(DoubItem{});
        default:
            return false;
    }
}

}  // namespace kelvara::eclipse

#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "stream/FileStream.h"

namespace kelvara::mores {

// The base-64 alphabet of RFC 4648 as a table of 256 entries: the value 0..63 of each character
// of the alphabet, 0xFF for every other byte ('=' and 0 included). A value with bit 7 set is
// therefore a byte that ends the data.
struct DecodeTable {
    std::array<std::uint8_t, 256> m_values;
    constexpr DecodeTable() : m_values() {
        for (auto& value : m_values) value = 0xFF;
        const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (std::uint8_t i = 0; i < 64; ++i) m_values[static_cast<unsigned char>(alphabet[i])] = i;
    }
    std::uint8_t operator[](unsigned char p_byte) const { return m_values[p_byte]; }
};

inline constexpr DecodeTable decode_table{};

// Characters read from the stream in one go.
inline constexpr std::size_t b64_chunk = 1024;

// Three bytes from the four values of a quad. The masks keep the bits of real characters; a
// filling value of 0xFF leaves bits of its own in the bytes behind the real ones.
inline void decode_quad(const std::uint8_t* p_s, std::uint8_t* p_out) {
    p_out[0] = static_cast<std::uint8_t>((p_s[0] << 2) + ((p_s[1] & 0x30) >> 4));
    p_out[1] = static_cast<std::uint8_t>(((p_s[1] & 0x0F) << 4) ^ ((p_s[2] & 0x3C) >> 2));
    p_out[2] = static_cast<std::uint8_t>(((p_s[2] & 0x03) << 6) + p_s[3]);
}

// Decodes base-64 from where p_stream stands, taking at most p_count characters, and gives every
// item of Width bytes (host order) as Value to p_deliver. The stream is read in chunks of up to
// b64_chunk characters; the first byte outside the alphabet ('=', a line end, anything) or the
// end of the file ends the data. Afterwards the stream stands at the end of the last chunk read.
//
// Items are decoded in groups of three (12 or 24 bytes). At the end a partial group is dropped,
// unless a partial quad is left: then the quad is filled up with zero bytes (which decode as
// 0xFF), its three bytes are added to the group, and the group's whole items are delivered.
template <class Value, class Deliver>
void decode_base64(stream::FileStream& p_stream, std::int64_t p_count, Deliver&& p_deliver) {
    constexpr std::size_t width = sizeof(Value);
    static_assert(width == 4 || width == 8, "items are 4 or 8 bytes");
    constexpr std::size_t group_bytes = 3 * width;
    constexpr std::size_t group_chars = group_bytes / 3 * 4;
    if (p_count < 1) return;

    std::uint8_t quad[4];
    std::size_t in_quad = 0;
    std::uint8_t group[group_bytes];
    std::size_t in_group = 0;
    std::int64_t accepted = 0;
    bool stop = false;

    auto deliver_group = [&](std::size_t p_items) {
        for (std::size_t k = 0; k < p_items; ++k) {
            Value value;
            std::memcpy(&value, group + k * width, width);
            p_deliver(value);
        }
    };

    do {
        const auto want =
            static_cast<std::size_t>(std::min<std::int64_t>(p_count - accepted, b64_chunk));
        std::size_t avail;
        const auto* chunk = reinterpret_cast<const unsigned char*>(p_stream.window(want, avail));
        const std::size_t n = std::min(avail, want);
        if (n == 0) break;
        p_stream.consume(n);

        std::size_t i = 0;
        while (i < n) {
            // Whole groups at a group boundary, while all their characters are in the alphabet.
            if (in_quad == 0 && in_group == 0 && n - i >= group_chars) {
                std::uint8_t values[group_chars];
                std::uint8_t any = 0;
                for (std::size_t c = 0; c < group_chars; ++c) {
                    values[c] = decode_table[chunk[i + c]];
                    any |= values[c];
                }
                if ((any & 0x80) == 0) {
                    for (std::size_t q = 0; q < group_chars / 4; ++q) {
                        decode_quad(values + 4 * q, group + 3 * q);
                    }
                    deliver_group(3);
                    i += group_chars;
                    accepted += static_cast<std::int64_t>(group_chars);
                    continue;
                }
            }
            const std::uint8_t value = decode_table[chunk[i]];
            if (value & 0x80) {
                stop = true;
                break;
            }
            ++i;
            ++accepted;
            quad[in_quad++] = value;
            if (in_quad == 4) {
                decode_quad(quad, group + in_group);
                in_quad = 0;
                in_group += 3;
                if (in_group == group_bytes) {
                    deliver_group(3);
                    in_group = 0;
                }
            }
        }
    } while (!stop && accepted < p_count);

    if (in_quad == 0) return;
    while (in_quad < 4) quad[in_quad++] = decode_table[0];
    decode_quad(quad, group + in_group);
    deliver_group((in_group + 3) / width);
}

}  // namespace kelvara::mores

#pragma once

#include <cstdint>
#include <cstring>

namespace kelvara::imex {

// The three ways a block of an IMEX file is framed. All words of a frame are 32 bits wide.
//
// FRAME_BARE    size (big-endian), payload
// FRAME_RECORD  record length (size + 8), marker, size, payload, trailing word
// FRAME_MARKED  marker, size (host order), payload
enum Frame : std::int32_t { FRAME_BARE = 0, FRAME_RECORD = 1, FRAME_MARKED = 2 };

// The marker bytes 7F FF FF FF in file order. They are compared byte by byte, so the marker reads
// the same in files of either byte order.
inline bool IsMarker(const unsigned char* p_bytes) {
    static constexpr unsigned char marker[4] = {0x7F, 0xFF, 0xFF, 0xFF};
    return std::memcmp(p_bytes, marker, sizeof marker) == 0;
}

inline constexpr std::uint32_t HeaderSize(std::int32_t p_frame) {
    return p_frame == FRAME_RECORD ? 12 : p_frame == FRAME_MARKED ? 8 : 4;
}

inline constexpr std::uint32_t TrailerSize(std::int32_t p_frame) {
    return p_frame == FRAME_RECORD ? 4 : 0;
}

}  // namespace kelvara::imex

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvara::eclipse {

// A host list and the index of its next slot. The host side implements the three puts; each
// stores into the next slot and moves the index on. Slots past the list's end are refused
// silently by the implementation.
class TListCursor {
  public:
    virtual ~TListCursor() = default;
    virtual void put_int(std::int32_t p_value) = 0;
    virtual void put_float(double p_value) = 0;
    virtual void put_text(const char* p_text) = 0;  // a NUL-terminated string
};

// Counters of bit 0 and bit 1 of integer words; the caller zeroes them.
struct TBitCounts {
    std::uint32_t bit0 = 0;
    std::uint32_t bit1 = 0;
};

// Seven integers and a cursor into them, the record of one COORDS section. Items past the
// seventh have no room and are not stored.
struct TCoordsRecord {
    static constexpr std::size_t capacity = 7;
    std::int32_t values[capacity] = {};
    std::size_t cursor = 0;
};

// A mask of signed bytes, one per item, and the value that selects an item.
struct TSectionMask {
    const std::vector<char>& mask;
    std::int32_t value;
};

}  // namespace kelvara::eclipse

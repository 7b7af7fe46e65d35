#pragma once

#include <cstdint>

namespace kelvara::eclipse {

// The item types that the typed read knows, by the whole four characters of a section type:
// INTE, REAL, DOUB, LOGI, CHAR (8 characters an item), C0nn (nn characters an item) and MESS
// (no items).
enum class ItemClass : std::uint8_t { Inte, Real, Doub, Logi, Char, Mess };

struct TItemType {
    ItemClass kind = ItemClass::Mess;
    std::int32_t size = 0;  // bytes per item in the file; 0 for MESS
};

// Parses the four type characters; false for any other type.
bool ParseItemType(const char* p_type, TItemType& p_out);

}  // namespace kelvara::eclipse

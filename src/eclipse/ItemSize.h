#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kelvara::eclipse {

// Complains on standard error about a type whose first character tells no item size:
// "Unknown section type:" and the four type characters.
void ComplainUnknownType(const char* p_type);

// The item size in bytes told by the first character of a section type: C 8, D 8, I 4, L 4,
// R 4, M 0. Any other character complains on standard error and gives -1. Inline, since every
// header a walk reads asks it.
inline std::int32_t ItemSize(const char* p_type) {
    // One table look-up per header; -2 marks the letters that tell no size.
    static constexpr auto sizes = [] {
        std::array<signed char, 256> table{};
        for (auto& size : table) size = -2;
        table['C'] = table['D'] = 8;
        table['I'] = table['L'] = table['R'] = 4;
        table['M'] = 0;
        return table;
    }();
    const signed char size = sizes[static_cast<unsigned char>(p_type[0])];
    if (size == -2) {
        ComplainUnknownType(p_type);
        return -1;
    }
    return size;
}

// Trims blanks (only blanks) on both sides of a fixed-width field, in place: leading blanks are
// moved out, a NUL is written behind the last non-blank. Returns the new length.
inline std::size_t TrimBlanks(char* p_text, std::size_t p_width) {
    std::size_t length = p_width;
    if (length > 0 && p_text[0] == ' ') {
        std::size_t blanks = 0;
        while (blanks < p_width && p_text[blanks] == ' ') ++blanks;
        length -= blanks;
        std::memmove(p_text, p_text + blanks, length);
    }
    if (length > 0 && p_text[length - 1] == ' ') {
        while (length > 0 && p_text[length - 1] == ' ') --length;
        p_text[length] = '\0';
    }
    return length;
}

// The 8-byte name field of a header, trimmed as TrimBlanks(p_name, 8) trims it. A name that does
// not start with a blank (every name a simulator writes) is measured by whole-word arithmetic:
// every header a walk reads asks it.
inline std::size_t TrimNameField(char* p_name) {
#if defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    if (p_name[0] != ' ') {
        std::uint64_t word;
        std::memcpy(&word, p_name, 8);
        // A byte of the marks is 0 exactly where the name holds a blank; byte 0 is not one, so
        // the highest byte that is not 0 is the last character of the name.
        const std::uint64_t marks = word ^ 0x2020202020202020ull;
        const std::size_t length = static_cast<std::size_t>(63 - __builtin_clzll(marks)) / 8 + 1;
        if (length < 8) p_name[length] = '\0';
        return length;
    }
#endif
    return TrimBlanks(p_name, 8);
}

}  // namespace kelvara::eclipse

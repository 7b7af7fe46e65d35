#pragma once

#include <cstddef>
#include <cstdint>

namespace kelvara::eclipse {

// The item size in bytes told by the first character of a section type: C 8, D 8, I 4, L 4,
// R 4, M 0. Any other character complains on standard error ("Unknown section type:" and the
// four type characters) and gives -1.
std::int32_t ItemSize(const char* p_type);

// Trims blanks (only blanks) on both sides of a fixed-width field, in place: leading blanks are
// moved out, a NUL is written behind the last non-blank. Returns the new length.
std::size_t TrimBlanks(char* p_text, std::size_t p_width);

}  // namespace kelvara::eclipse

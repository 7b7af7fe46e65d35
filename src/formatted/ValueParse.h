#pragma once

#include <cstdint>
#include <string_view>

namespace kelvara::formatted {

// The values of a formatted file, one token each. Every parser takes the whole token and is
// false when any of it is left over or it is no value of its kind; the result is then untouched.

// A whole number in the range of int32 (a leading '+' is allowed).
bool ParseInteger(std::string_view p_text, std::int32_t& p_out);

// A real number as simulators write it: 0.12345678E+01, 0.12345678901234D+01, and with a
// three-digit exponent and no exponent letter, 0.34500000000000+106 or 0.345-104; also plain
// decimals and the lower-case letters. The result is the nearest float or double to the decimal
// value (correctly rounded, not through a wider type); values beyond the type's range are
// refused, values too small for it become a zero of their sign.
bool ParseReal(std::string_view p_text, float& p_out);
bool ParseReal(std::string_view p_text, double& p_out);

// T or F (also .TRUE. and .FALSE., either case).
bool ParseLogical(std::string_view p_text, bool& p_out);

}  // namespace kelvara::formatted

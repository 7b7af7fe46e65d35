#include "formatted/ValueParse.h"

#include <charconv>
#include <system_error>

namespace kelvara::formatted {

namespace {

// The longest real token taken: far more digits than any writer gives.
constexpr std::size_t max_real = 64;

bool is_digit(char p_c) { return p_c >= '0' && p_c <= '9'; }

// Copies the token into p_out in the form std::from_chars reads: no leading '+', 'E' for the
// exponent letters D and d, and an 'E' put in where the exponent's sign follows a digit or the
// point directly (the three-digit exponents written without a letter). Returns the length, or 0
// when the token is too long or empty; p_negative_exponent tells whether the exponent is below
// zero (for telling underflow from overflow).
std::size_t normalise(std::string_view p_text, char* p_out, bool& p_negative_exponent) {
    if (p_text.empty() || p_text.size() >= max_real - 1) return 0;
    std::size_t i = 0;
    if (p_text[0] == '+') ++i;
    std::size_t n = 0;
    p_negative_exponent = false;
    bool exponent = false;
    for (; i < p_text.size(); ++i) {
        char c = p_text[i];
        if (c == 'D' || c == 'd' || c == 'E' || c == 'e') {
            c = 'E';
            exponent = true;
        } else if ((c == '+' || c == '-') && n > 0 && !exponent &&
                   (is_digit(p_out[n - 1]) || p_out[n - 1] == '.')) {
            p_out[n++] = 'E';
            exponent = true;
        }
        if (exponent && c == '-' && n > 0 && p_out[n - 1] == 'E') p_negative_exponent = true;
        p_out[n++] = c;
    }
    return n;
}

template <class T>
bool parse_real(std::string_view p_text, T& p_out) {
    char buffer[max_real];
    bool negative_exponent = false;
    const std::size_t n = normalise(p_text, buffer, negative_exponent);
    if (n == 0) return false;
    T value{};
    const auto [end, error] = std::from_chars(buffer, buffer + n, value);
    if (end != buffer + n) return false;
    if (error == std::errc::result_out_of_range) {
        // Too small for the type: a zero of the value's sign. Too large: refused.
        if (!negative_exponent) return false;
        value = buffer[0] == '-' ? -T(0) : T(0);
    } else if (error != std::errc()) {
        return false;
    }
    p_out = value;
    return true;
}

char upper(char p_c) { return p_c >= 'a' && p_c <= 'z' ? static_cast<char>(p_c - 'a' + 'A') : p_c; }

bool same_letters(std::string_view p_text, std::string_view p_upper) {
    if (p_text.size() != p_upper.size()) return false;
    for (std::size_t i = 0; i < p_text.size(); ++i) {
        if (upper(p_text[i]) != p_upper[i]) return false;
    }
    return true;
}

}  // namespace

bool ParseInteger(std::string_view p_text, std::int32_t& p_out) {
    const char* begin = p_text.data();
    const char* end = begin + p_text.size();
    if (begin != end && *begin == '+') ++begin;
    if (begin == end || *begin == '+') return false;
    std::int32_t value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (error != std::errc() || stop != end) return false;
    p_out = value;
    return true;
}

bool ParseReal(std::string_view p_text, float& p_out) { return parse_real(p_text, p_out); }
bool ParseReal(std::string_view p_text, double& p_out) { return parse_real(p_text, p_out); }

bool ParseLogical(std::string_view p_text, bool& p_out) {
    if (same_letters(p_text, "T") || same_letters(p_text, ".TRUE.")) {
        p_out = true;
        return true;
    }
    if (same_letters(p_text, "F") || same_letters(p_text, ".FALSE.")) {
        p_out = false;
        return true;
    }
    return false;
}

}  // namespace kelvara::formatted

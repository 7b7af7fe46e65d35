#include "formatted/ValueParse.h"

#include <charconv>
#include <cstring>
#include <system_error>

namespace kelvara::formatted {

namespace {

// The longest real token taken: far more digits than any writer gives.
constexpr std::size_t max_real = 64;

bool is_digit(char p_c) { return p_c >= '0' && p_c <= '9'; }

// Reads a real token with std::from_chars. The exponent is found from the token's end (its
// digits, its sign, the letter before the sign): a token with an E exponent, or none, is read
// where it lies; one with a D exponent, or a sign straight after the mantissa (the three-digit
// exponents written without a letter), is read from a copy with an E in place.
template <class T>
bool parse_real(std::string_view p_text, T& p_out) {
    const char* begin = p_text.data();
    std::size_t n = p_text.size();
    if (n > 0 && *begin == '+') {
        ++begin;
        --n;
    }
    if (n == 0 || n >= max_real - 1 || *begin == '+') return false;
    std::size_t k = n;
    while (k > 0 && is_digit(begin[k - 1])) --k;
    bool negative_exponent = false;
    std::size_t letter = n;  // where an exponent letter stands or belongs; n: none to mend
    bool insert = false;
    if (k < n && k > 1 && (begin[k - 1] == '+' || begin[k - 1] == '-')) {
        negative_exponent = begin[k - 1] == '-';
        const char before = begin[k - 2];
        if (before == 'D' || before == 'd') {
            letter = k - 2;
        } else if (is_digit(before) || before == '.') {
            letter = k - 1;
            insert = true;
        }
    } else if (k < n && k > 0 && (begin[k - 1] == 'D' || begin[k - 1] == 'd')) {
        letter = k - 1;
    }
    char buffer[max_real];
    const char* text = begin;
    std::size_t length = n;
    if (letter < n) {
        std::memcpy(buffer, begin, letter);
        buffer[letter] = 'E';
        const std::size_t rest = insert ? letter : letter + 1;
        std::memcpy(buffer + letter + 1, begin + rest, n - rest);
        text = buffer;
        length = letter + 1 + (n - rest);
    }
    T value{};
    const auto [end, error] = std::from_chars(text, text + length, value);
    if (end != text + length) return false;
    if (error == std::errc::result_out_of_range) {
        // Too small for the type: a zero of the value's sign. Too large: refused.
        if (!negative_exponent) return false;
        value = text[0] == '-' ? -T(0) : T(0);
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
    if (begin == end || *begin == '+' || (begin != p_text.data() && *begin == '-')) return false;
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

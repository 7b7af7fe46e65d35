// The parse of formatted values and the walk over a formatted file's text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "eclipse/ItemType.h"
#include "eclipse/TypedRead.h"
#include "formatted/FormattedRead.h"
#include "formatted/FormattedScan.h"
#include "formatted/ValueParse.h"

namespace kelvara::formatted {
namespace {

// A number as simulators write it: 0.d...dE+xx with p_digits significant digits, the exponent
// letter p_letter, and a three-digit exponent written without the letter.
std::string simulator_text(double p_value, int p_digits, char p_letter) {
    if (p_value == 0)
        return std::string(p_value < 0 || std::signbit(p_value) ? "-" : "") + "0." +
               std::string(p_digits, '0') + p_letter + "+00";
    char scientific[64];
    // d.ddd...e+x, then moved to 0.dddd with the exponent one higher.
    std::snprintf(scientific, sizeof scientific, "%.*e", p_digits - 1, p_value);
    std::string text(scientific);
    const bool negative = text[0] == '-';
    if (negative) text.erase(0, 1);
    const auto e = text.find('e');
    std::string digits = text.substr(0, 1) + text.substr(2, e - 2);
    const int exponent = std::atoi(text.c_str() + e + 1) + 1;
    char tail[16];
    if (std::abs(exponent) >= 100) {
        std::snprintf(tail, sizeof tail, "%+04d", exponent);
    } else {
        std::snprintf(tail, sizeof tail, "%c%+03d", p_letter, exponent);
    }
    return std::string(negative ? "-" : "") + "0." + digits + tail;
}

template <class T, class Bits>
T from_bits(Bits p_bits) {
    T value;
    std::memcpy(&value, &p_bits, sizeof value);
    return value;
}

TEST(FormattedValues, EveryFloatComesBackFromNineDigits) {
    std::mt19937 random(18);
    int checked = 0;
    for (int i = 0; i < 400000; ++i) {
        const float value = from_bits<float>(static_cast<std::uint32_t>(random()));
        if (!std::isfinite(value)) continue;
        for (char letter : {'E', 'D'}) {
            const std::string text = simulator_text(value, 9, letter);
            float parsed = 0;
            ASSERT_TRUE(ParseReal(text, parsed)) << text;
            std::uint32_t a, b;
            std::memcpy(&a, &value, 4);
            std::memcpy(&b, &parsed, 4);
            ASSERT_EQ(a, b) << text;
        }
        ++checked;
    }
    EXPECT_GT(checked, 390000);
}

TEST(FormattedValues, EveryDoubleComesBackFromSeventeenDigits) {
    std::mt19937_64 random(18);
    int checked = 0;
    int wide_exponents = 0;
    for (int i = 0; i < 400000; ++i) {
        const double value = from_bits<double>(static_cast<std::uint64_t>(random()));
        if (!std::isfinite(value)) continue;
        const std::string text = simulator_text(value, 17, 'D');
        if (text.find('D') == std::string::npos) ++wide_exponents;
        double parsed = 0;
        ASSERT_TRUE(ParseReal(text, parsed)) << text;
        std::uint64_t a, b;
        std::memcpy(&a, &value, 8);
        std::memcpy(&b, &parsed, 8);
        ASSERT_EQ(a, b) << text;
        ++checked;
    }
    EXPECT_GT(checked, 390000);
    // Random bit patterns have three-digit exponents nearly always: the form without a letter
    // is what most of these cases tried.
    EXPECT_GT(wide_exponents, checked / 2);
}

TEST(FormattedValues, ShortTextsRoundAsTheCLibraryDoes) {
    // Simulators write 8 digits for REAL and 14 for DOUB; the parse gives the nearest value,
    // as strtof and strtod do.
    std::mt19937_64 random(7);
    for (int i = 0; i < 200000; ++i) {
        const double value = from_bits<double>(static_cast<std::uint64_t>(random()));
        if (!std::isfinite(value)) continue;
        const std::string wide = simulator_text(value, 14, 'D');
        std::string c_text = wide;
        const auto letter = c_text.find('D');
        if (letter != std::string::npos) {
            c_text[letter] = 'E';
        } else {
            c_text.insert(c_text.find_last_of("+-"), "E");
        }
        double parsed = 0;
        ASSERT_TRUE(ParseReal(wide, parsed)) << wide;
        EXPECT_EQ(parsed, std::strtod(c_text.c_str(), nullptr)) << wide;
        const float narrow = from_bits<float>(static_cast<std::uint32_t>(random()));
        if (!std::isfinite(narrow)) continue;
        const std::string text = simulator_text(narrow, 8, 'E');
        float parsed_narrow = 0;
        ASSERT_TRUE(ParseReal(text, parsed_narrow)) << text;
        EXPECT_EQ(parsed_narrow, std::strtof(text.c_str(), nullptr)) << text;
    }
}

TEST(FormattedValues, ThreeDigitExponentsWithoutALetter) {
    double value = 0;
    ASSERT_TRUE(ParseReal("0.34500000000000+106", value));
    EXPECT_EQ(value, 0.345e106);
    ASSERT_TRUE(ParseReal("0.34500000000000-104", value));
    EXPECT_EQ(value, 0.345e-104);
    ASSERT_TRUE(ParseReal("-0.1-100", value));
    EXPECT_EQ(value, -0.1e-100);
    ASSERT_TRUE(ParseReal("0.5d+01", value));
    EXPECT_EQ(value, 5.0);
    ASSERT_TRUE(ParseReal("+12.5", value));
    EXPECT_EQ(value, 12.5);
}

TEST(FormattedValues, RangeOfTheType) {
    float narrow = 1;
    ASSERT_TRUE(ParseReal("0.1E-50", narrow));
    EXPECT_EQ(narrow, 0.0f);
    EXPECT_FALSE(std::signbit(narrow));
    ASSERT_TRUE(ParseReal("-0.1E-50", narrow));
    EXPECT_TRUE(std::signbit(narrow));
    narrow = 3;
    EXPECT_FALSE(ParseReal("0.1E+40", narrow));
    EXPECT_EQ(narrow, 3.0f);
    double wide = 0;
    ASSERT_TRUE(ParseReal("0.1E+40", wide));
    EXPECT_EQ(wide, 1e39);
    EXPECT_FALSE(ParseReal("0.1+400", wide));
    ASSERT_TRUE(ParseReal("0.49406564584124654-323", wide));
    EXPECT_EQ(wide, 4.9406564584124654e-324);
}

TEST(FormattedValues, RefusesWhatIsNoNumber) {
    double value = 7;
    for (const char* text :
         {"", "-", "0.1X+01", "1.0E", "1-", "0.1E+01x", "++1", "1..2", "'A'", "0.1E+01E+01"}) {
        EXPECT_FALSE(ParseReal(text, value)) << text;
    }
    EXPECT_EQ(value, 7.0);
    EXPECT_FALSE(ParseReal(std::string(80, '1'), value));
}

TEST(FormattedValues, IntegersAtTheirLimits) {
    std::int32_t value = 0;
    ASSERT_TRUE(ParseInteger("2147483647", value));
    EXPECT_EQ(value, 2147483647);
    ASSERT_TRUE(ParseInteger("-2147483648", value));
    EXPECT_EQ(value, -2147483647 - 1);
    ASSERT_TRUE(ParseInteger("+17", value));
    EXPECT_EQ(value, 17);
    for (const char* text : {"2147483648", "-2147483649", "1.0", "12a", "", "+", "+-1", "T"}) {
        EXPECT_FALSE(ParseInteger(text, value)) << text;
    }
    EXPECT_EQ(value, 17);
}

TEST(FormattedValues, Logicals) {
    bool value = false;
    ASSERT_TRUE(ParseLogical("T", value));
    EXPECT_TRUE(value);
    ASSERT_TRUE(ParseLogical("F", value));
    EXPECT_FALSE(value);
    ASSERT_TRUE(ParseLogical(".true.", value));
    EXPECT_TRUE(value);
    for (const char* text : {"", "TT", "1", "0", "X", ".T"}) {
        EXPECT_FALSE(ParseLogical(text, value)) << text;
    }
}

// --- the walk over a file -----------------------------------------------------------------

std::shared_ptr<stream::SharedFile> text_file(const std::string& p_text) {
    return testing::OpenTemporary(p_text)->file();
}

std::string doubles_section(const std::vector<double>& p_values) {
    std::string out = " 'XCON    '" +
                      std::string(12 - std::to_string(p_values.size()).size(), ' ') +
                      std::to_string(p_values.size()) + " 'DOUB'\n";
    for (std::size_t i = 0; i < p_values.size(); ++i) {
        const std::string text = simulator_text(p_values[i], 17, 'D');
        out += std::string(text.size() < 23 ? 23 - text.size() : 1, ' ') + text;
        if (i % 3 == 2 || i + 1 == p_values.size()) out += '\n';
    }
    return out;
}

TEST(FormattedFile, SectionsLongerThanTheWindowReadWhole) {
    // 150 000 doubles are more text than one window of the cursor holds.
    std::vector<double> values(150000);
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = std::sin(double(i)) * 1e-5 * i;
    const std::string text = " 'FIRST   '           2 'C004'\n 'AB  ' 'C D '\n" +
                             doubles_section(values) + " 'ENDSOL  '           0 'MESS'\n";
    auto file = text_file(text);
    FormattedScanner scanner(file);
    EXPECT_TRUE(scanner.Step(1 << 30));
    ASSERT_FALSE(scanner.problem()) << scanner.problem().message;
    ASSERT_EQ(scanner.positions.size(), 3u);
    EXPECT_EQ(scanner.positions[1], static_cast<std::int64_t>(text.find(" 'XCON")));
    EXPECT_EQ(scanner.lines[1], 3);
    EXPECT_EQ(scanner.counts[1], 150000);
    EXPECT_EQ(scanner.names[2], "ENDSOL");

    eclipse::TItemType doub;
    ASSERT_TRUE(eclipse::ParseItemType("DOUB", doub));
    std::vector<double> out(values.size());
    const TTextProblem problem =
        ReadFormattedItems(*file, scanner.positions[1], 3, doub, 150000, out.data());
    ASSERT_FALSE(problem) << problem.message;
    EXPECT_EQ(std::memcmp(out.data(), values.data(), values.size() * 8), 0);

    eclipse::TItemType c004;
    ASSERT_TRUE(eclipse::ParseItemType("C004", c004));
    std::vector<std::uint32_t> texts(8, 99);
    ASSERT_FALSE(ReadFormattedItems(*file, 0, 1, c004, 2, texts.data()));
    EXPECT_EQ(texts, (std::vector<std::uint32_t>{'A', 'B', 0, 0, 'C', ' ', 'D', 0}));
}

TEST(FormattedFile, ACountThatDisagreesIsTold) {
    const std::string fewer = " 'A       '           3 'INTE'\n 1 2\n 'B       '  1 'INTE'\n 5\n";
    FormattedScanner scanner(text_file(fewer));
    scanner.Step(1 << 20);
    ASSERT_TRUE(scanner.problem());
    EXPECT_EQ(scanner.problem().message, "the header counts 3 items but 2 follow, on line 3");
    EXPECT_EQ(scanner.problem_section(), "A");
    EXPECT_EQ(scanner.problem_section_position(), 0);

    const std::string more = " 'A       '           1 'INTE'\n 1 2\n";
    FormattedScanner over(text_file(more));
    over.Step(1 << 20);
    EXPECT_EQ(over.problem().message, "more items than the header's count of 1, on line 2");

    const std::string cut = " 'A       '           3 'REAL'\n   0.1E+01   0.2E+01";
    FormattedScanner short_file(text_file(cut));
    short_file.Step(1 << 20);
    EXPECT_EQ(short_file.problem().message, "the file ends after 2 of the 3 items, on line 2");
}

TEST(FormattedFile, AValueThatDoesNotParseIsToldAtRead) {
    const std::string text = " 'A       '           3 'REAL'\n   0.1E+01\n   0.2X+01   0.3E+01\n";
    auto file = text_file(text);
    FormattedScanner scanner(file);
    scanner.Step(1 << 20);
    ASSERT_FALSE(scanner.problem());
    eclipse::TItemType real;
    ASSERT_TRUE(eclipse::ParseItemType("REAL", real));
    std::vector<float> out(3);
    const TTextProblem problem = ReadFormattedItems(*file, 0, 1, real, 3, out.data());
    EXPECT_EQ(problem.message, "a value that is no REAL item: '0.2X+01', on line 3");
    EXPECT_EQ(problem.position, static_cast<std::int64_t>(text.find("0.2X")));
}

TEST(FormattedFile, KnownByItsFirstCharacter) {
    EXPECT_TRUE(LooksFormatted(*text_file("\n  'A       '  0 'MESS'\n")));
    EXPECT_FALSE(LooksFormatted(*text_file(std::string("\0\0\0\x10", 4))));
    EXPECT_FALSE(LooksFormatted(*text_file("")));
}

}  // namespace
}  // namespace kelvara::formatted

// The checked catalogue walk and the typed read into caller memory.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "EclWriter.h"
#include "eclipse/ItemType.h"
#include "eclipse/SectionScan.h"
#include "eclipse/TypedRead.h"

namespace kelvara::eclipse {
namespace {

using testing::EclWriter;

TEST(ItemType, KnowsTheWholeTypeText) {
    TItemType type;
    ASSERT_TRUE(ParseItemType("DOUB", type));
    EXPECT_EQ(type.kind, ItemClass::Doub);
    EXPECT_EQ(type.size, 8);
    ASSERT_TRUE(ParseItemType("C042", type));
    EXPECT_EQ(type.kind, ItemClass::Char);
    EXPECT_EQ(type.size, 42);
    ASSERT_TRUE(ParseItemType("MESS", type));
    EXPECT_EQ(type.size, 0);
    EXPECT_FALSE(ParseItemType("C000", type));
    EXPECT_FALSE(ParseItemType("DOUX", type));
    EXPECT_FALSE(ParseItemType("X231", type));
    EXPECT_FALSE(ParseItemType("C0A1", type));
}

class TypedRead : public ::testing::TestWithParam<bool> {};

TEST_P(TypedRead, NumbersOverBlocksOfAnySplit) {
    EclWriter writer(GetParam());
    writer.header("VALUES", 6, "DOUB")
        .block(std::vector<double>{1.5})
        .block(std::vector<double>{-2.0, 3.25, 4.0})
        .block(std::vector<double>{5.0, 1e300});
    auto stream = writer.open();
    TItemType type;
    ASSERT_TRUE(ParseItemType("DOUB", type));
    std::vector<double> out(6);
    const auto problem = ReadTypedItems(*stream->file(), 24, GetParam(), type, 6, out.data());
    EXPECT_FALSE(problem) << problem.message;
    EXPECT_EQ(out, (std::vector<double>{1.5, -2.0, 3.25, 4.0, 5.0, 1e300}));
}

TEST_P(TypedRead, LogicalsAndTexts) {
    EclWriter writer(GetParam());
    writer.header("FLAGS", 3, "LOGI").block(std::vector<std::int32_t>{0, -1, 2});
    writer.header("NAMES", 2, "CHAR").text_block("  AB    ").text_block("ABCDEFGH");
    auto stream = writer.open();
    TItemType logi, text;
    ASSERT_TRUE(ParseItemType("LOGI", logi));
    ASSERT_TRUE(ParseItemType("CHAR", text));
    bool flags[3];
    EXPECT_FALSE(ReadTypedItems(*stream->file(), 24, GetParam(), logi, 3, flags));
    EXPECT_FALSE(flags[0]);
    EXPECT_TRUE(flags[1]);
    EXPECT_TRUE(flags[2]);
    std::uint32_t names[16];
    const std::int64_t second = 24 + 4 + 12 + 4;
    EXPECT_FALSE(ReadTypedItems(*stream->file(), second + 24, GetParam(), text, 2, names));
    const std::uint32_t first[8] = {'A', 'B', 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(names, first, sizeof first), 0);
    EXPECT_EQ(names[8], std::uint32_t('A'));
    EXPECT_EQ(names[15], std::uint32_t('H'));
}

TEST_P(TypedRead, BrokenFramesAreProblems) {
    EclWriter writer(GetParam());
    writer.header("A", 4, "INTE").block(std::vector<std::int32_t>{1, 2, 3});  // one item short
    auto stream = writer.open();
    TItemType type;
    ASSERT_TRUE(ParseItemType("INTE", type));
    std::int32_t out[4];
    const auto problem = ReadTypedItems(*stream->file(), 24, GetParam(), type, 4, out);
    EXPECT_TRUE(problem);
    EXPECT_EQ(problem.message, "the file ends inside the section's data");
}

TEST_P(TypedRead, ScanCataloguesEveryOccurrence) {
    EclWriter writer(GetParam());
    writer.section("SEQNUM", "INTE", std::vector<std::int32_t>{1});
    writer.section("PRESSURE", "REAL", std::vector<float>{1.0f, 2.0f});
    writer.header("STARTSOL", 0, "MESS");
    writer.section("SEQNUM", "INTE", std::vector<std::int32_t>{2});
    auto stream = writer.open();
    SectionScanner scanner(stream->file());
    // A step passes at least the bytes asked for, whole sections at a time.
    EXPECT_FALSE(scanner.Step(1));
    EXPECT_EQ(scanner.positions.size(), 1u);
    EXPECT_EQ(scanner.position(), 36);
    EXPECT_TRUE(scanner.Step(1 << 20));
    EXPECT_TRUE(scanner.done());
    EXPECT_FALSE(scanner.problem());
    EXPECT_EQ(scanner.positions, (std::vector<std::int64_t>{0, 36, 76, 100}));
    EXPECT_EQ(scanner.name_ids, (std::vector<std::int32_t>{0, 1, 2, 0}));
    EXPECT_EQ(scanner.names, (std::vector<std::string>{"SEQNUM", "PRESSURE", "STARTSOL"}));
    EXPECT_EQ(scanner.counts, (std::vector<std::int64_t>{1, 2, 0, 1}));
    EXPECT_EQ(scanner.swaps[0], GetParam() ? 1 : 0);
}

TEST_P(TypedRead, ScanStopsAtTheFirstProblem) {
    EclWriter writer(GetParam());
    writer.section("GOOD", "INTE", std::vector<std::int32_t>{1});
    writer.header("ODD", 1, "XXXX").block(std::vector<std::int32_t>{1});
    auto stream = writer.open();
    SectionScanner scanner(stream->file());
    scanner.Step(1 << 20);
    EXPECT_TRUE(scanner.done());
    EXPECT_EQ(scanner.problem().message, "an unknown section type");
    EXPECT_EQ(scanner.problem().position, 36 + 16);
    EXPECT_EQ(scanner.problem_section(), "ODD");
    EXPECT_EQ(scanner.problem_section_position(), 36);
    EXPECT_EQ(scanner.positions.size(), 1u);
}

TEST_P(TypedRead, ScanTakesStandardBlocksByTheirGuessAndWalksOthers) {
    EclWriter writer(GetParam());
    writer.header("STANDARD", 1500, "REAL")
        .block(std::vector<float>(1000, 1.0f))
        .block(std::vector<float>(500, 2.0f));
    writer.header("OTHER", 1500, "REAL")
        .block(std::vector<float>(700, 1.0f))
        .block(std::vector<float>(800, 2.0f));
    writer.header("LAST", 0, "MESS");
    auto stream = writer.open();
    SectionScanner scanner(stream->file());
    EXPECT_TRUE(scanner.Step(1 << 20));
    EXPECT_FALSE(scanner.problem());
    EXPECT_EQ(scanner.positions, (std::vector<std::int64_t>{0, 6040, 12080}));
    EXPECT_EQ(scanner.guessed(), 1);
    EXPECT_EQ(scanner.walked(), 1);
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, TypedRead, ::testing::Values(true, false));

}  // namespace
}  // namespace kelvara::eclipse

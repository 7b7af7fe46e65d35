#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "EclWriter.h"
#include "eclipse/ItemSize.h"
#include "eclipse/Section.h"

using kelvara::eclipse::Section;
using kelvara::eclipse::TrimBlanks;
using kelvara::testing::EclWriter;

TEST(TrimBlanks, TrimsBothSidesOnlyBlanks) {
    char both[] = "  AB    ";
    ASSERT_EQ(TrimBlanks(both, 8), 2u);
    EXPECT_EQ(std::string(both, 2), "AB");
    char blanks[] = "        ";
    EXPECT_EQ(TrimBlanks(blanks, 8), 0u);
    char tab[] = "\tAB     ";
    EXPECT_EQ(TrimBlanks(tab, 8), 3u);
    char full[] = "ABCDEFGH";
    EXPECT_EQ(TrimBlanks(full, 8), 8u);
}

TEST(TrimNameField, TrimsAsTrimBlanksDoes) {
    // Every name of up to 8 characters of blanks, letters and a NUL, at every place.
    const char alphabet[] = {' ', 'A', 'b', '\0'};
    for (int code = 0; code < (1 << 16); ++code) {
        char field[9] = {};
        for (int i = 0; i < 8; ++i) field[i] = alphabet[(code >> (2 * i)) & 3];
        char expected[9];
        std::memcpy(expected, field, sizeof field);
        const std::size_t expected_length = TrimBlanks(expected, 8);
        const std::size_t length = kelvara::eclipse::TrimNameField(field);
        ASSERT_EQ(length, expected_length) << code;
        ASSERT_EQ(std::memcmp(field, expected, 8), 0) << code;
    }
}

TEST(ItemSize, TellsTheSizeByTheFirstLetter) {
    EXPECT_EQ(kelvara::eclipse::ItemSize("CHAR"), 8);
    EXPECT_EQ(kelvara::eclipse::ItemSize("DOUB"), 8);
    EXPECT_EQ(kelvara::eclipse::ItemSize("INTE"), 4);
    EXPECT_EQ(kelvara::eclipse::ItemSize("LOGI"), 4);
    EXPECT_EQ(kelvara::eclipse::ItemSize("REAL"), 4);
    EXPECT_EQ(kelvara::eclipse::ItemSize("MESS"), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(kelvara::eclipse::ItemSize("XXXX"), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unknown section type:XXXX\n");
}

TEST(Section, WalksBothByteOrdersAndBlockSplits) {
    EclWriter writer(true);
    writer.header("SPLIT", 6, "INTE")
        .block(std::vector<std::int32_t>{1})
        .block(std::vector<std::int32_t>{2, 3, 4})
        .block(std::vector<std::int32_t>{5, 6});
    const auto second = static_cast<std::int64_t>(writer.size());
    writer.order(false).section("LITTLE", "DOUB", std::vector<double>{1.0});
    Section cursor(writer.open());
    EXPECT_TRUE(cursor.swap());
    EXPECT_EQ(cursor.Name(), "SPLIT");
    EXPECT_EQ(cursor.Size(), 6);
    ASSERT_TRUE(cursor.Advance());
    EXPECT_EQ(cursor.Position(), second);
    EXPECT_FALSE(cursor.swap());
    EXPECT_EQ(cursor.Name(), "LITTLE");
    EXPECT_FALSE(cursor.Advance());
    EXPECT_EQ(cursor.Position(), static_cast<std::int64_t>(writer.size()));
    EXPECT_EQ(cursor.Name(), "LITTLE");
}

TEST(Section, NegativeGoToThrowsAndKeepsNothingElse) {
    EclWriter writer;
    writer.section("A", "INTE", std::vector<std::int32_t>{1});
    Section cursor(writer.open());
    EXPECT_THROW(cursor.GoTo(-1), std::runtime_error);
    EXPECT_EQ(cursor.Position(), -1);
    EXPECT_TRUE(cursor.GoTo(0));
    EXPECT_EQ(cursor.Name(), "A");
}

TEST(Section, JumpItemsComplainsWhenTheBlocksOvershoot) {
    EclWriter writer;
    writer.header("SHORT", 1, "INTE").block(std::vector<std::int32_t>{1, 2});
    Section cursor(writer.open());
    testing::internal::CaptureStderr();
    EXPECT_FALSE(cursor.Advance());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error on JumpItems: 8 X 4\n");
}

TEST(Section, PositionsThatCannotHoldAHeaderFailAsHeaderReads) {
    EclWriter writer;
    writer.section("A", "INTE", std::vector<std::int32_t>{1, 2});
    Section cursor(writer.open());
    const std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    for (std::int64_t position : {largest, largest - 23, largest - 24, largest - 25}) {
        EXPECT_FALSE(cursor.GoTo(position));
        EXPECT_EQ(cursor.Position(), position);
        EXPECT_FALSE(cursor.loaded());
        testing::internal::CaptureStderr();
        EXPECT_FALSE(cursor.Advance());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error on JumpItems: 0 X 8\n");
        EXPECT_EQ(cursor.Name(), "A");
    }
    Section far(writer.open(), largest);
    EXPECT_EQ(far.Position(), largest);
    EXPECT_EQ(far.Name(), "");
    EXPECT_TRUE(cursor.GoTo(0));
    EXPECT_EQ(cursor.Size(), 2);
}

TEST(Section, SmallAndLargeSectionsAreWalkedAlike) {
    // Thousands of small sections split over blocks, so that their blocks straddle the ends of
    // the stream's buffer, around a section too large to be passed through the buffer.
    EclWriter writer(true);
    std::vector<std::int64_t> positions;
    const auto small = [&](int p_count) {
        for (int i = 0; i < p_count; ++i) {
            positions.push_back(static_cast<std::int64_t>(writer.size()));
            writer.header("COORDS", 7, "INTE")
                .block(std::vector<std::int32_t>{1, 2})
                .block(std::vector<std::int32_t>{3, 4, 5, 6})
                .block(std::vector<std::int32_t>{7});
        }
    };
    small(5000);
    positions.push_back(static_cast<std::int64_t>(writer.size()));
    writer.header("LARGE", 40000, "REAL");
    for (int b = 0; b < 40; ++b) writer.block(std::vector<float>(1000, 1.5f));
    small(5000);
    Section cursor(writer.open());
    std::size_t seen = 0;
    do {
        ASSERT_LT(seen, positions.size());
        ASSERT_EQ(cursor.Position(), positions[seen]);
        ASSERT_EQ(cursor.Name(), seen == 5000 ? "LARGE" : "COORDS");
        ++seen;
    } while (cursor.Advance());
    EXPECT_EQ(seen, positions.size());
    EXPECT_EQ(cursor.Position(), static_cast<std::int64_t>(writer.size()));
}

TEST(Section, SmallSectionCutInsideABlockComplainsAndStopsBehindIt) {
    EclWriter writer;
    writer.header("COORDS", 7, "INTE")
        .block(std::vector<std::int32_t>{1, 2, 3})
        .block(std::vector<std::int32_t>{4, 5, 6, 7});
    // The file ends inside the second block: its length word says 16 bytes, 4 arrive.
    const std::string cut = writer.bytes().substr(0, 24 + 8 + 12 + 4 + 4);
    const auto stream = kelvara::testing::OpenTemporary(cut, 0);
    Section cursor(stream);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(cursor.Advance());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error on JumpItems: 12 X 28\n");
    // The walk went to where the trailing length word of the cut block would lie.
    EXPECT_EQ(stream->tell(), 24 + 8 + 12 + 4 + 16);
}

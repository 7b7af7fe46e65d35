#include <gtest/gtest.h>

#include <vector>

#include "EclWriter.h"
#include "builder/ArrayFeeder.h"
#include "eclipse/SectionMaps.h"

using kelvara::testing::EclWriter;
using ostrel::builder::ArrayFeeder;
namespace eclipse = kelvara::eclipse;

namespace {

std::vector<double> fed(const ArrayFeeder& p_feeder) {
    std::vector<double> out(p_feeder.size());
    p_feeder.copy_to(out.data());
    return out;
}

// COORDS sections of 5 items whose item 4 takes each of p_activity in turn, with a CORNERS
// section of 2 values behind each.
EclWriter cells(const std::vector<std::int32_t>& p_activity, bool p_big) {
    EclWriter writer(p_big);
    double corner = 0.0;
    for (std::int32_t active : p_activity) {
        writer.section("COORDS", "INTE", std::vector<std::int32_t>{1, 1, 1, 1, active});
        writer.section("CORNERS", "REAL", std::vector<float>{float(corner), float(corner + 1)});
        corner += 2;
    }
    return writer;
}

}  // namespace

class GridSequences : public ::testing::TestWithParam<bool> {};

TEST_P(GridSequences, ActiveBitsOfItemFour) {
    const EclWriter writer = cells({3, 2, 0, 1}, GetParam());
    ArrayFeeder bit0, bit1;
    eclipse::ReadActiveBit0Sequence(writer.open(), 4, 0, bit0);
    eclipse::ReadActiveBit1Sequence(writer.open(), 4, 0, bit1);
    EXPECT_EQ(fed(bit0), (std::vector<double>{1, 0, 0, 1}));
    EXPECT_EQ(fed(bit1), (std::vector<double>{1, 1, 0, 0}));
}

TEST_P(GridSequences, ActnumAndCornersWalks) {
    const EclWriter writer = cells({1, 0, 1}, GetParam());
    ArrayFeeder actnum, corners;
    eclipse::ReadActnumSequence(writer.open(), 3, 0, actnum);
    EXPECT_EQ(fed(actnum), (std::vector<double>{1, 0, 1}));
    auto stream = writer.open();
    eclipse::ReadCornersSequence(stream, 3, 0, corners);
    EXPECT_EQ(fed(corners), (std::vector<double>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(stream->tell(), static_cast<std::int64_t>(writer.size()));
}

TEST_P(GridSequences, TooFewSectionsFailAfterFeeding) {
    const EclWriter writer = cells({1, 1}, GetParam());
    ArrayFeeder feeder;
    try {
        eclipse::ReadActiveBit0Sequence(writer.open(), 3, 0, feeder);
        FAIL() << "no exception";
    } catch (const std::runtime_error& p_error) {
        EXPECT_STREQ(p_error.what(), "Number of section error");
    }
    EXPECT_EQ(fed(feeder), (std::vector<double>{1, 1}));
}

TEST_P(GridSequences, HostnumNeedsSevenItemsInTheFirstCoords) {
    EclWriter writer(GetParam());
    writer.section("COORDS", "INTE", std::vector<std::int32_t>{1, 1, 1, 1, 1, 12, 0});
    ArrayFeeder feeder;
    eclipse::ReadHostnumSequence(writer.open(), 1, 0, feeder);
    EXPECT_EQ(fed(feeder), (std::vector<double>{12}));
    const EclWriter short_coords = cells({1}, GetParam());
    ArrayFeeder untouched;
    try {
        eclipse::ReadHostnumSequence(short_coords.open(), 1, 0, untouched);
        FAIL() << "no exception";
    } catch (const std::runtime_error& p_error) {
        EXPECT_STREQ(p_error.what(), "The file COORDS sequence has no Hostnum data!");
    }
    EXPECT_EQ(untouched.size(), 0u);
}

TEST_P(GridSequences, ListFileSectionsStopsAtAnUnknownType) {
    EclWriter writer(GetParam());
    writer.section("A", "INTE", std::vector<std::int32_t>{1});
    writer.header("B", 1, "XXXX").block(std::vector<std::int32_t>{1});
    writer.section("C", "INTE", std::vector<std::int32_t>{1});
    testing::internal::CaptureStderr();
    const auto sections = eclipse::ListFileSections(writer.open(5));
    testing::internal::GetCapturedStderr();
    ASSERT_EQ(sections.size(), 2u);
    EXPECT_EQ(sections[0].name, "A");
    EXPECT_EQ(sections[1].name, "B");
    EXPECT_EQ(sections[1].type, "XXXX");
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, GridSequences, ::testing::Values(true, false),
                         [](const auto& p_info) { return p_info.param ? "Big" : "Little"; });

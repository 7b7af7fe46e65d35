#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "EclWriter.h"
#include "builder/ArrayFeeder.h"
#include "eclipse/Section.h"

using kelvara::eclipse::Section;
using kelvara::eclipse::TBitCounts;
using kelvara::eclipse::TCoordsRecord;
using kelvara::testing::EclWriter;
using ostrel::builder::ArrayFeeder;

namespace {

std::vector<double> fed(const ArrayFeeder& p_feeder) {
    std::vector<double> out(p_feeder.size());
    p_feeder.copy_to(out.data());
    return out;
}

class RecordingList : public kelvara::eclipse::TListCursor {
  public:
    void put_int(std::int32_t p_value) override { m_items.push_back(std::to_string(p_value)); }
    void put_float(double p_value) override { m_items.push_back(std::to_string(p_value)); }
    void put_text(const char* p_text) override {
        m_items.push_back(std::string("'") + p_text + "'");
    }
    std::vector<std::string> m_items;
};

}  // namespace

class ItemDecoding : public ::testing::TestWithParam<bool> {};

TEST_P(ItemDecoding, FeedBit1OnRealTruncatesFirst) {
    EclWriter writer(GetParam());
    writer.section("R", "REAL", std::vector<float>{2.9f, 1.0f});
    Section section(writer.open());
    ArrayFeeder feeder;
    section.FeedBit1(feeder);
    EXPECT_EQ(fed(feeder), (std::vector<double>{1.0, 0.0}));
}

TEST_P(ItemDecoding, FeedBit0AndCountBitsOnIntegers) {
    EclWriter writer(GetParam());
    writer.section("I", "INTE", std::vector<std::int32_t>{3, 0, 2});
    Section section(writer.open());
    ArrayFeeder feeder;
    section.FeedBit0(feeder);
    EXPECT_EQ(fed(feeder), (std::vector<double>{1.0, 0.0, 0.0}));
    TBitCounts counts;
    section.CountBits(counts);
    EXPECT_EQ(counts.bit0, 1u);
    EXPECT_EQ(counts.bit1, 2u);
}

TEST_P(ItemDecoding, CountBitsOverSeveralBlocksOfDoubles) {
    EclWriter writer(GetParam());
    writer.header("D", 4, "DOUB")
        .block(std::vector<double>{3.5})
        .block(std::vector<double>{2.0, 1.0, -0.5});
    Section section(writer.open());
    TBitCounts counts;
    section.CountBits(counts);
    EXPECT_EQ(counts.bit0, 2u);  // 3 and 1
    EXPECT_EQ(counts.bit1, 2u);  // 3 and 2
}

TEST_P(ItemDecoding, ReadToIntRecordStoresWordsAndStopsAtSeven) {
    EclWriter writer(GetParam());
    writer.section("COORDS", "INTE", std::vector<std::int32_t>{1, 2, 3, 4, 5, 6, 7, 8, 9});
    Section section(writer.open());
    TCoordsRecord record;
    section.ReadToIntRecord(record);
    EXPECT_EQ(record.cursor, 9u);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(record.values[i], i + 1);
}

TEST_P(ItemDecoding, LogicalWordsFeedUnsignedAndListSigned) {
    EclWriter writer(GetParam());
    writer.section("L", "LOGI", std::vector<std::uint32_t>{1u, 0xFFFFFFFFu});
    Section section(writer.open());
    ArrayFeeder feeder;
    section.FeedAll(feeder);
    EXPECT_EQ(fed(feeder), (std::vector<double>{1.0, 4294967295.0}));
    RecordingList list;
    section.ListAll(list);
    EXPECT_EQ(list.m_items, (std::vector<std::string>{"1", "-1"}));
}

TEST_P(ItemDecoding, RangeStrideStartsAtTheSecondBlock) {
    EclWriter writer(GetParam());
    writer.header("R", 8, "INTE")
        .block(std::vector<std::int32_t>{0, 1, 2})
        .block(std::vector<std::int32_t>{3, 4, 5})
        .block(std::vector<std::int32_t>{6, 7});
    Section section(writer.open());
    ArrayFeeder feeder;
    section.FeedRange(feeder, 1, 5, 2);
    EXPECT_EQ(fed(feeder), (std::vector<double>{1, 2, 3, 5, 7}));
}

TEST_P(ItemDecoding, MaskedFeedPicksBySignedByte) {
    EclWriter writer(GetParam());
    writer.section("M", "INTE", std::vector<std::int32_t>{10, 20, 30});
    Section section(writer.open());
    const std::vector<char> mask{1, 0, 1};
    ArrayFeeder feeder;
    section.FeedMasked({mask, 1}, feeder);
    EXPECT_EQ(fed(feeder), (std::vector<double>{10, 30}));
    const std::vector<char> all_bits{char(0xFF), 0, char(0xFF)};
    ArrayFeeder minus_one, two_five_five;
    section.FeedMasked({all_bits, -1}, minus_one);
    section.FeedMasked({all_bits, 255}, two_five_five);
    EXPECT_EQ(fed(minus_one), (std::vector<double>{10, 30}));
    EXPECT_TRUE(fed(two_five_five).empty());
}

TEST_P(ItemDecoding, TextItemsAreTrimmed) {
    EclWriter writer(GetParam());
    writer.header("C", 2, "CHAR").text_block("AB              ");
    Section section(writer.open());
    RecordingList list;
    section.ListAll(list);
    EXPECT_EQ(list.m_items, (std::vector<std::string>{"'AB'", "''"}));
}

TEST_P(ItemDecoding, RefusedLetterComplainsAndDeliversNothing) {
    EclWriter writer(GetParam());
    writer.header("M", 0, "MESS");
    Section section(writer.open());
    ArrayFeeder feeder;
    testing::internal::CaptureStderr();
    section.FeedAll(feeder);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid Feed section type:M\n");
    EXPECT_EQ(feeder.size(), 0u);
}

TEST_P(ItemDecoding, RefusedLetterComplaintOfEveryNumericOperation) {
    EclWriter writer(GetParam());
    writer.header("C", 2, "CHAR").text_block("AB      CD      ");
    writer.section("N", "INTE", std::vector<std::int32_t>{1});
    Section section(writer.open());
    ArrayFeeder bit0, bit1;
    TBitCounts counts;
    TCoordsRecord record;
    const std::vector<std::function<void()>> operations{
        [&] { section.FeedBit0(bit0); }, [&] { section.FeedBit1(bit1); },
        [&] { section.CountBits(counts); }, [&] { section.ReadToIntRecord(record); }};
    for (const auto& operation : operations) {
        testing::internal::CaptureStderr();
        operation();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid Feed section type:C\n");
    }
    EXPECT_EQ(bit0.size() + bit1.size(), 0u);
    EXPECT_EQ(counts.bit0 + counts.bit1, 0u);
    EXPECT_EQ(record.cursor, 0u);
    // Each operation set the loaded state and left the stream at the data.
    EXPECT_TRUE(section.loaded());
    EXPECT_EQ(section.stream().tell(), section.data_position());
}

TEST_P(ItemDecoding, WrongPackSizeKeepsWhatWasDeliveredAndTheLoadedState) {
    EclWriter writer(GetParam());
    writer.header("C", 4, "CHAR").text_block("ONE     TWO     ").text_block("THREE   FOUR");
    writer.section("N", "INTE", std::vector<std::int32_t>{1});
    Section section(writer.open());
    RecordingList list;
    try {
        section.ListAll(list);
        FAIL() << "no exception";
    } catch (const std::runtime_error& p_error) {
        EXPECT_STREQ(p_error.what(), "Wrong pack size reading char section items");
    }
    EXPECT_EQ(list.m_items, (std::vector<std::string>{"'ONE'", "'TWO'"}));
    EXPECT_TRUE(section.loaded());
    // The stream stands behind the second block's leading length.
    EXPECT_EQ(section.stream().tell(), section.data_position() + 4 + 16 + 4 + 4);

    // The range form tests later blocks too, with the same outcome.
    RecordingList range;
    EXPECT_THROW(section.ListRange(range, 1, 3, 1), std::runtime_error);
    EXPECT_EQ(range.m_items, (std::vector<std::string>{"'TWO'"}));
    EXPECT_TRUE(section.loaded());
}

TEST_P(ItemDecoding, FloatingItemsBeyondInt32TruncateToTheSmallestInteger) {
    EclWriter writer(GetParam());
    writer.section("COORDS", "DOUB",
                   std::vector<double>{2147483647.9, -2147483648.9, 2147483648.0, -2.5e10, -7.9});
    Section section(writer.open());
    TCoordsRecord record;
    section.ReadToIntRecord(record);
    ASSERT_EQ(record.cursor, 5u);
    EXPECT_EQ(record.values[0], 2147483647);
    EXPECT_EQ(record.values[1], -2147483647 - 1);
    EXPECT_EQ(record.values[2], -2147483647 - 1);
    EXPECT_EQ(record.values[3], -2147483647 - 1);
    EXPECT_EQ(record.values[4], -7);
}

TEST_P(ItemDecoding, RangeIsTestedAgainstTheSectionBeforeTheStreamMoves) {
    EclWriter writer(GetParam());
    writer.section("R", "INTE", std::vector<std::int32_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    Section section(writer.open());
    const std::int64_t before = section.stream().tell();
    EXPECT_EQ(section.RangeCount(2, -1), 8);
    EXPECT_EQ(section.RangeCount(-1, -1), 11);
    EXPECT_EQ(section.RangeCount(10, 0), 0);
    ArrayFeeder feeder;
    try {
        section.FeedRange(feeder, 0, 100, 1);
        FAIL() << "no exception";
    } catch (const std::runtime_error& p_error) {
        EXPECT_STREQ(p_error.what(), "Requested items exceed section items count");
    }
    EXPECT_FALSE(section.loaded());
    EXPECT_EQ(section.stream().tell(), before);
    EXPECT_EQ(feeder.size(), 0u);
}

TEST_P(ItemDecoding, NegativeStartReadsWhatPrecedesTheDataUpToByteZero) {
    EclWriter writer(GetParam());
    writer.section("R", "INTE", std::vector<std::int32_t>{5, 6, 7});
    Section section(writer.open());
    ArrayFeeder feeder;
    section.FeedRange(feeder, -1, 2, 1);
    EXPECT_EQ(fed(feeder), (std::vector<double>{12, 5}));
    ArrayFeeder marker;
    section.FeedRange(marker, -7, 1, 1);
    EXPECT_EQ(fed(marker), (std::vector<double>{16}));
    ArrayFeeder none;
    try {
        section.FeedRange(none, -8, 1, 1);
        FAIL() << "no exception";
    } catch (const std::runtime_error& p_error) {
        EXPECT_STREQ(p_error.what(), "Requested items start before the file");
    }
    EXPECT_EQ(none.size(), 0u);
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, ItemDecoding, ::testing::Values(true, false),
                         [](const auto& p_info) { return p_info.param ? "Big" : "Little"; });

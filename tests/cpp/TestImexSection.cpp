#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <stdexcept>
#include <utility>
#include <vector>

#include "ImexWriter.h"
#include "builder/ArrayFeeder.h"
#include "imex/ChunkedReads.h"
#include "imex/ItemKinds.h"
#include "imex/Section.h"

using kelvara::imex::DoubleItem;
using kelvara::imex::IntItem;
using kelvara::imex::Section;
using kelvara::testing::FedValues;
using kelvara::testing::ImexWriter;
using ostrel::builder::ArrayFeeder;

namespace {

// A source over memory that records the size of every read call.
struct CountingSource {
    explicit CountingSource(std::vector<char> p_bytes) : m_bytes(std::move(p_bytes)) {}
    std::vector<char> m_bytes;
    std::size_t m_position = 0;
    std::vector<std::size_t> m_calls;
    std::size_t read(void* p_out, std::size_t p_size) {
        m_calls.push_back(p_size);
        const std::size_t n = std::min(p_size, m_bytes.size() - m_position);
        std::memcpy(p_out, m_bytes.data() + m_position, n);
        m_position += n;
        return n;
    }
};

std::vector<std::int32_t> Iota(std::size_t p_count, std::int32_t p_start = 0) {
    std::vector<std::int32_t> out(p_count);
    std::iota(out.begin(), out.end(), p_start);
    return out;
}

}  // namespace

TEST(ImexChunkedReads, FeedOf1024ItemsIsOneChunkAnd1025Two) {
    for (std::size_t count : {std::size_t(1024), std::size_t(1025), std::size_t(2049)}) {
        CountingSource source(std::vector<char>(count * 8));
        std::size_t delivered = 0;
        ASSERT_TRUE((kelvara::imex::feed_in_chunks<DoubleItem, false>(
            source, static_cast<std::int64_t>(count), [&](double) { ++delivered; })));
        EXPECT_EQ(delivered, count);
        std::vector<std::size_t> expected;
        for (std::size_t left = count; left > 0; left -= std::min<std::size_t>(left, 1024)) {
            expected.push_back(std::min<std::size_t>(left, 1024) * 8);
        }
        EXPECT_EQ(source.m_calls, expected) << count;
    }
}

TEST(ImexChunkedReads, ShortChunkDeliversNothingOfItself) {
    CountingSource source(std::vector<char>(1500 * 4));
    std::size_t delivered = 0;
    EXPECT_FALSE((kelvara::imex::feed_in_chunks<IntItem, true>(
        source, 2000, [&](std::int32_t) { ++delivered; })));
    EXPECT_EQ(delivered, 1024u);
}

TEST(ImexChunkedReads, IntReadCallsStayAt0x3DFFFItems) {
    CountingSource source(std::vector<char>(0x3E000 * 4));
    std::vector<std::int32_t> out(0x3E000);
    EXPECT_EQ(kelvara::imex::read_in_calls<IntItem>(source, out.data(), 0x3E000), 0x3E000 * 4);
    EXPECT_EQ(source.m_calls, (std::vector<std::size_t>{0x3DFFF * 4, 4}));
    EXPECT_EQ(0x3DFFF * 4, 1015804);
}

TEST(ImexChunkedReads, DoubleReadCallsStayAt0x1EFFFItems) {
    CountingSource source(std::vector<char>(0x1F000 * 8 * 2));
    std::vector<double> out(0x3E000);
    EXPECT_EQ(kelvara::imex::read_in_calls<DoubleItem>(source, out.data(), 0x3DFFF), 0x3DFFF * 8);
    EXPECT_EQ(source.m_calls, (std::vector<std::size_t>{0x1EFFF * 8, 0x1EFFF * 8, 1 * 8}));
    EXPECT_EQ(0x1EFFF * 8, 1015800);
}

TEST(ImexChunkedReads, ShortBulkReadReportsTheBytesThatArrived) {
    CountingSource source(std::vector<char>(10));
    std::vector<std::int32_t> out(5);
    EXPECT_EQ(kelvara::imex::read_in_calls<IntItem>(source, out.data(), 5), 10);
}

TEST(ImexSection, FeedIntRangeReadsChunksOf1024Items) {
    const auto values = Iota(3000, 5);
    for (bool big : {true, false}) {
        ImexWriter writer;
        writer.Record(ImexWriter::Items(values, big), big);
        auto stream = writer.open();
        Section section(stream, 0, false);
        for (auto [count, chunks] :
             {std::pair<std::int32_t, std::uint64_t>{1024, 1}, {1025, 2}, {2048, 2}, {2049, 3}}) {
            SCOPED_TRACE(count);
            ArrayFeeder feeder;
            const std::uint64_t before = stream->read_calls();
            ASSERT_TRUE(section.FeedIntRange(feeder, 1, count));
            EXPECT_EQ(stream->read_calls() - before, chunks);
            const auto fed = FedValues(feeder);
            ASSERT_EQ(fed.size(), static_cast<std::size_t>(count));
            EXPECT_EQ(fed.back(), values[count]);
        }
    }
}

TEST(ImexSection, ReadIntRangeTakes0x3E000ItemsInTwoReadCalls) {
    const auto values = Iota(0x3E000 + 3, 1);
    ImexWriter writer;
    writer.Record(ImexWriter::Items(values, false), false);
    auto stream = writer.open();
    Section section(stream, 0, false);
    std::vector<std::int32_t> out(0x3E000);
    for (auto [count, calls] : {std::pair<std::int32_t, std::uint64_t>{0x3DFFF, 1}, {0x3E000, 2}}) {
        SCOPED_TRACE(count);
        const std::uint64_t before = stream->file()->read_calls();
        ASSERT_TRUE(section.ReadIntRange(out.data(), 2, count));
        EXPECT_EQ(stream->file()->read_calls() - before, calls);
        EXPECT_EQ(out[0], values[2]);
        EXPECT_EQ(out[count - 1], values[2 + count - 1]);
    }
}

TEST(ImexSection, RangedReadsInEveryFrameAndOrder) {
    const auto values = Iota(3000, -100);
    ImexWriter writer;
    writer.Record(ImexWriter::Items(values, true), true)
        .Record(ImexWriter::Items(values, false), false)
        .Marked(ImexWriter::Items(values, false))
        .Bare(ImexWriter::Items(values, true));
    auto stream = writer.open();
    Section section(stream, 0, false);
    for (int block = 0; block < 4; ++block) {
        if (block == 3) section = Section(stream, section.start_pos(), true);
        SCOPED_TRACE(block);
        ArrayFeeder feeder;
        ASSERT_TRUE(section.FeedIntRange(feeder, 1000, 1025));
        const auto fed = FedValues(feeder);
        ASSERT_EQ(fed.size(), 1025u);
        for (std::size_t i = 0; i < fed.size(); ++i) ASSERT_EQ(fed[i], values[1000 + i]);

        std::vector<std::int32_t> raw(10);
        ASSERT_TRUE(section.ReadIntRange(raw.data(), 5, 10));
        const std::int32_t first = section.SwapBytes() ? __builtin_bswap32(raw[0]) : raw[0];
        EXPECT_EQ(first, values[5]);

        std::vector<std::int32_t> loaded{42, 43};
        ASSERT_TRUE(section.LoadIntVector(loaded, 0, -1));
        EXPECT_EQ(loaded, values);
        std::vector<std::int32_t> whole;
        ASSERT_TRUE(section.ReadWholeIntSection(whole));
        EXPECT_EQ(whole, values);
        section.Advance();
    }
}

TEST(ImexSection, DoubleRangesAndVectors) {
    std::vector<double> values(2500);
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = 0.25 * double(i) - 3;
    ImexWriter writer;
    writer.Record(ImexWriter::Items(values, true), true);
    Section section(writer.open(), 0, false);
    ArrayFeeder feeder;
    ASSERT_TRUE(section.FeedDoubleRange(feeder, 0, -1));
    EXPECT_EQ(FedValues(feeder), values);
    std::vector<double> loaded;
    ASSERT_TRUE(section.LoadDoubleVector(loaded, 100, 50));
    EXPECT_EQ(loaded, std::vector<double>(values.begin() + 100, values.begin() + 150));
    std::vector<double> raw(3);
    ASSERT_TRUE(section.ReadDoubleRange(raw.data(), 2497, 3));
    std::uint64_t bits;
    std::memcpy(&bits, &raw[2], 8);
    bits = __builtin_bswap64(bits);
    double last;
    std::memcpy(&last, &bits, 8);
    EXPECT_EQ(last, values.back());
}

TEST(ImexSection, RangeMayRunIntoTheRecordsTrailingWordButNotPastIt) {
    ImexWriter writer;
    writer.Record(ImexWriter::Items(std::vector<std::int32_t>{1, 2, 3}, false), false,
                  std::string("\x04\x00\x00\x00", 4));
    writer.Raw(std::string(64, '\0'));
    Section section(writer.open(), 0, false);
    ASSERT_EQ(section.end_pos(), 12 + 12 + 4);
    ArrayFeeder feeder;
    // Item 3 is the trailing word: the range ends at end_pos and passes.
    ASSERT_TRUE(section.FeedIntRange(feeder, 0, 4));
    EXPECT_EQ(FedValues(feeder), (std::vector<double>{1, 2, 3, 4}));
    std::vector<std::int32_t> raw(5);
    EXPECT_TRUE(section.ReadIntRange(raw.data(), 3, 1));
    EXPECT_EQ(raw[0], 4);
    EXPECT_FALSE(section.ReadIntRange(raw.data(), 3, 2));
    ArrayFeeder none;
    EXPECT_FALSE(section.FeedIntRange(none, 0, 5));
    EXPECT_EQ(none.size(), 0u);
    // A double range of two items reaches 4 bytes into the trailing word and passes as well.
    std::vector<double> doubles(2);
    EXPECT_TRUE(section.ReadDoubleRange(doubles.data(), 0, 2));
    EXPECT_FALSE(section.ReadDoubleRange(doubles.data(), 1, 2));
}

TEST(ImexSection, CountBelowOneReadsNothingAndIsTrue) {
    ImexWriter writer;
    writer.Marked(ImexWriter::Items(std::vector<std::int32_t>{1, 2}, false));
    Section section(writer.open(), 0, false);
    ArrayFeeder feeder;
    EXPECT_TRUE(section.FeedIntRange(feeder, 0, 0));
    EXPECT_TRUE(section.FeedIntRange(feeder, 1, -5));
    EXPECT_EQ(feeder.size(), 0u);
    std::vector<std::int32_t> vector{7, 7, 7};
    EXPECT_TRUE(section.LoadIntVector(vector, 0, -7));
    EXPECT_TRUE(vector.empty());
}

TEST(ImexSection, RangeBeforeTheStartOfTheFileFails) {
    ImexWriter writer;
    writer.Marked(ImexWriter::Items(std::vector<std::int32_t>{1, 2}, false));
    Section section(writer.open(), 0, false);
    ArrayFeeder feeder;
    EXPECT_FALSE(section.FeedIntRange(feeder, -3, 1));
    // A negative first that stays inside the file reads what lies there: the size word.
    EXPECT_TRUE(section.FeedIntRange(feeder, -1, 1));
    EXPECT_EQ(FedValues(feeder), (std::vector<double>{8}));
}

TEST(ImexSection, ShortReadsKeepWhatArrived) {
    const auto values = Iota(3000);
    ImexWriter writer;
    std::string payload = ImexWriter::Items(values, true);
    writer.Raw(ImexWriter::Items(std::vector<std::uint32_t>{3000 * 4 + 8}, true))
        .Raw(std::string("\x7F\xFF\xFF\xFF", 4))
        .Raw(ImexWriter::Items(std::vector<std::uint32_t>{3000 * 4}, true))
        .Raw(payload.substr(0, 2500 * 4));  // truncated inside the payload
    Section section(writer.open(), 0, false);
    ASSERT_TRUE(section.SwapBytes());
    ArrayFeeder feeder;
    EXPECT_FALSE(section.FeedIntRange(feeder, 0, -1));
    EXPECT_EQ(feeder.size(), 2048u);
    std::vector<std::int32_t> raw(3000, -1);
    EXPECT_FALSE(section.ReadIntRange(raw.data(), 2000, 600));
    EXPECT_EQ(__builtin_bswap32(raw[499]), 2499u);
    // A vector of a count the file could not fill is refused before it is touched.
    std::vector<std::int32_t> vector{9};
    EXPECT_THROW(section.LoadIntVector(vector, 0, -1), std::runtime_error);
    EXPECT_EQ(vector, std::vector<std::int32_t>{9});
    std::vector<std::int32_t> out(3000, -1);
    EXPECT_THROW(section.LoadWhole(out.data()), std::runtime_error);
    EXPECT_EQ(out[0], -1);
}

TEST(ImexSection, FailedVectorLoadLeavesItemsUnswappedAndOldItemsInPlace) {
    // The range runs past end_pos: the vector is sized, nothing read, false.
    ImexWriter writer;
    writer.Record(ImexWriter::Items(Iota(4, 1), true), true).Raw(std::string(100, '\0'));
    Section section(writer.open(), 0, false);
    std::vector<std::int32_t> vector{5, 6};
    EXPECT_FALSE(section.LoadIntVector(vector, 2, 4));
    EXPECT_EQ(vector, (std::vector<std::int32_t>{5, 6, 0, 0}));
}

TEST(ImexSection, LoadWholeSwapsOrCopies) {
    ImexWriter writer;
    writer.Bare(ImexWriter::Items(std::vector<double>{1.5, -2.5}, true));
    Section section(writer.open(), 0, true);
    std::vector<double> out(section.ItemsCount('d'));
    section.LoadWhole(out.data());
    EXPECT_EQ(out, (std::vector<double>{1.5, -2.5}));
}

TEST(ImexSection, CopyIsAnIndependentCursor) {
    ImexWriter writer;
    writer.Marked(ImexWriter::Items(std::vector<std::int32_t>{1}, false))
        .Marked(ImexWriter::Items(std::vector<std::int32_t>{2, 3}, false));
    Section first(writer.open(), 0, false);
    Section copy = first;
    ASSERT_TRUE(copy.Advance());
    EXPECT_EQ(first.start_pos(), 0);
    EXPECT_EQ(copy.start_pos(), 12);
    std::vector<std::int32_t> a, b;
    ASSERT_TRUE(first.ReadWholeIntSection(a));
    ASSERT_TRUE(copy.ReadWholeIntSection(b));
    EXPECT_EQ(a, std::vector<std::int32_t>{1});
    EXPECT_EQ(b, (std::vector<std::int32_t>{2, 3}));
}

TEST(ImexSection, UnknownCodeComplainsOnStandardError) {
    ImexWriter writer;
    writer.Marked(std::string(16, '\0'));
    Section section(writer.open(), 0, false);
    testing::internal::CaptureStderr();
    EXPECT_EQ(section.ItemsCount('z'), 0u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unknown section type:z\n");
}

TEST(ImexSection, HeaderFailuresLeaveTheFields) {
    ImexWriter writer;
    writer.Marked(std::string(8, '\0')).Raw(std::string(7, '\0'));
    Section section(writer.open(), 0, false);
    ASSERT_EQ(section.end_pos(), 16);
    EXPECT_FALSE(section.Advance());
    EXPECT_EQ(section.start_pos(), 16);
    EXPECT_EQ(section.data_pos(), 8);
    EXPECT_FALSE(section.GoTo(-1));
    EXPECT_EQ(section.start_pos(), -1);
    EXPECT_EQ(section.data_size(), 8u);
    EXPECT_TRUE(section.GoTo(0));
}

TEST(ImexSection, BulkReadsAcrossTheReadCallLimit) {
    const auto ints = Iota(0x3E000 + 5, 7);
    std::vector<double> doubles(0x1F000 + 3);
    for (std::size_t i = 0; i < doubles.size(); ++i) doubles[i] = double(i) * 0.5;
    ImexWriter writer;
    writer.Record(ImexWriter::Items(ints, true), true).Marked(ImexWriter::Items(doubles, false));
    Section section(writer.open(), 0, false);
    std::vector<std::int32_t> loaded;
    ASSERT_TRUE(section.LoadIntVector(loaded, 2, 0x3E000));
    EXPECT_EQ(loaded, std::vector<std::int32_t>(ints.begin() + 2, ints.begin() + 2 + 0x3E000));
    ASSERT_TRUE(section.Advance());
    std::vector<double> out(doubles.size());
    section.LoadWhole(out.data());
    EXPECT_EQ(out, doubles);
}

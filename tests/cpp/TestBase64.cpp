#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "ImexWriter.h"
#include "builder/ArrayFeeder.h"
#include "builder/CompleteCornersBuilder.h"
#include "mores/Base64.h"
#include "mores/Feeds.h"

using kelvara::testing::ImexWriter;

namespace {

std::shared_ptr<kelvara::stream::FileStream> TextStream(const std::string& p_text) {
    ImexWriter writer;
    writer.Raw(p_text);
    return writer.open();
}

template <class Value>
std::vector<Value> Decode(const std::string& p_text, std::int64_t p_count) {
    auto stream = TextStream(p_text);
    std::vector<Value> out;
    kelvara::mores::decode_base64<Value>(*stream, p_count,
                                         [&](Value p_value) { out.push_back(p_value); });
    return out;
}

}  // namespace

TEST(Base64, TableMapsTheAlphabetAndNothingElse) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    int inside = 0;
    for (int byte = 0; byte < 256; ++byte) {
        const auto value = kelvara::mores::decode_table[static_cast<unsigned char>(byte)];
        const auto at = alphabet.find(static_cast<char>(byte));
        if (at == std::string::npos) {
            EXPECT_EQ(value, 0xFF) << byte;
        } else {
            EXPECT_EQ(value, at);
            ++inside;
        }
    }
    EXPECT_EQ(inside, 64);
}

TEST(Base64, PaddedIntegerIsOneItem) {
    EXPECT_EQ(Decode<std::int32_t>("AQAAAA==", 8), std::vector<std::int32_t>{1});
}

TEST(Base64, StopsAtTheFirstByteOutsideTheAlphabet) {
    // Four ints: 22 characters; a line end after 16 leaves a full group of 12 bytes only.
    const std::string text = "AQAAAAIAAAADAAAA\nBAAAAA==";
    EXPECT_EQ(Decode<std::int32_t>(text, 100), (std::vector<std::int32_t>{1, 2, 3}));
    EXPECT_TRUE(Decode<double>("\nAAAAAAAA8D8=", 100).empty());
}

TEST(Base64, BudgetBelowOneReadsNothing) {
    auto stream = TextStream("AQAAAA==");
    stream->seek(2);
    int calls = 0;
    kelvara::mores::decode_base64<std::int32_t>(*stream, 0, [&](std::int32_t) { ++calls; });
    kelvara::mores::decode_base64<std::int32_t>(*stream, -9, [&](std::int32_t) { ++calls; });
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(stream->tell(), 2);
}

TEST(Base64, StreamStandsAtTheEndOfTheLastChunk) {
    std::string text(3000, 'A');
    text[1500] = '\n';
    auto stream = TextStream(text);
    std::size_t items = 0;
    kelvara::mores::decode_base64<double>(*stream, 1 << 30, [&](double) { ++items; });
    EXPECT_EQ(stream->tell(), 2048);
    // 1500 characters: 46 groups of 32, then 28 characters (7 quads, 21 bytes) dropped.
    EXPECT_EQ(items, 46u * 3);
}

TEST(Base64, FeedsCheckTheTypeBeforeReading) {
    auto stream = TextStream("AQAAAA==");
    ostrel::builder::ArrayFeeder feeder;
    EXPECT_THROW(kelvara::mores::FeedArray(*stream, 'x', 8, feeder), std::runtime_error);
    EXPECT_EQ(stream->tell(), 0);
    kelvara::mores::FeedArray(*stream, 'i', 8, feeder);
    EXPECT_EQ(feeder.size(), 1u);
}

TEST(Base64, CornerBandsMoveOncePerItem) {
    // Twelve doubles 0..11 as base-64.
    std::string bytes;
    for (int i = 0; i < 12; ++i) {
        const double value = i;
        bytes.append(reinterpret_cast<const char*>(&value), 8);
    }
    static const char* alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto b0 = static_cast<unsigned char>(bytes[i]);
        const auto b1 = static_cast<unsigned char>(bytes[i + 1]);
        const auto b2 = static_cast<unsigned char>(bytes[i + 2]);
        text += alphabet[b0 >> 2];
        text += alphabet[((b0 & 3) << 4) | (b1 >> 4)];
        text += alphabet[((b1 & 15) << 2) | (b2 >> 6)];
        text += alphabet[b2 & 63];
    }
    auto stream = TextStream(text);
    ostrel::builder::CompleteCornersBuilder builder(10, 1, 1);
    kelvara::mores::FeedCornersArray(*stream, static_cast<std::int64_t>(text.size()), 1, 3, 4,
                                     builder);
    EXPECT_EQ(builder.values(), (std::vector<double>{1, 2, 5, 6, 9, 10}));
}

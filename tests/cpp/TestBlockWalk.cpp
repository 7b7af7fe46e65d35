#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "EclWriter.h"
#include "TestSupport.h"
#include "eclipse/BlockWalk.h"
#include "eclipse/Section.h"

using kelvara::eclipse::BlockWalkCounts;
using kelvara::eclipse::JumpBlocks;
using kelvara::eclipse::Section;
using kelvara::eclipse::TBlockWalkCounts;
using kelvara::testing::EclWriter;
using kelvara::testing::OpenTemporary;

// The walks beside the first one on a long section: one for each lane but the first walk's.
constexpr int side_walks = kelvara::stream::FileStream::sparse_lanes - 1;

namespace {

// The 4-byte word at p_position of p_bytes in the given byte order.
std::int32_t word_at(const std::string& p_bytes, std::int64_t p_position, bool p_big) {
    std::uint32_t raw = 0;
    for (int i = 0; i < 4; ++i) {
        const auto byte = static_cast<unsigned char>(p_bytes[std::size_t(p_position) + i]);
        raw |= std::uint32_t(byte) << (p_big ? 8 * (3 - i) : 8 * i);
    }
    return static_cast<std::int32_t>(raw);
}

void put_word(std::string& p_bytes, std::int64_t p_position, std::int32_t p_value, bool p_big) {
    const auto raw = static_cast<std::uint32_t>(p_value);
    for (int i = 0; i < 4; ++i) {
        p_bytes[std::size_t(p_position) + i] =
            static_cast<char>(raw >> (p_big ? 8 * (3 - i) : 8 * i));
    }
}

struct TWalkResult {
    bool ok;
    std::int64_t end;
    std::string complaint;
};

// The walk over the blocks as a plain reader would do it, one leading word after the other:
// what JumpBlocks must answer, wherever it stands, whatever way it finds the blocks.
TWalkResult reference_walk(const std::string& p_bytes, std::int64_t p_position,
                           std::int32_t p_total, bool p_big) {
    const auto size = static_cast<std::int64_t>(p_bytes.size());
    // A word read at p_at moves the position over the bytes it found, up to four.
    const auto read = [&](std::int64_t p_at, std::int32_t& p_word, std::int64_t& p_after) {
        p_after = p_at + std::max<std::int64_t>(0, std::min<std::int64_t>(4, size - p_at));
        if (p_at + 4 > size) return false;
        p_word = word_at(p_bytes, p_at, p_big);
        return true;
    };
    std::int64_t done = 0;
    std::int64_t position = p_position;
    std::int64_t at = p_position;
    while (p_total >= 1 && done < p_total) {
        std::int32_t length, trailing;
        if (!read(position, length, at)) break;
        if (length < 0) break;
        if (!read(position + length + 4, trailing, at)) break;
        done += length;
        position += std::int64_t(length) + 8;
    }
    TWalkResult result{done == p_total, at, ""};
    if (!result.ok) {
        result.complaint =
            "Error on JumpItems: " + std::to_string(done) + " X " + std::to_string(p_total) + "\n";
    }
    return result;
}

// JumpBlocks on p_bytes from p_position: its answer, where the stream ends and what it said.
TWalkResult jump(const std::string& p_bytes, std::int64_t p_position, std::int32_t p_total,
                 bool p_big) {
    const auto stream = OpenTemporary(p_bytes, p_position);
    const std::uint16_t probe = 1;
    const bool little_host = *reinterpret_cast<const unsigned char*>(&probe) == 1;
    testing::internal::CaptureStderr();
    const bool ok = JumpBlocks(*stream, p_big == little_host, p_total);
    const std::string complaint = testing::internal::GetCapturedStderr();
    return TWalkResult{ok, stream->tell(), complaint};
}

void expect_same(const TWalkResult& p_got, const TWalkResult& p_want, const std::string& p_what) {
    EXPECT_EQ(p_got.ok, p_want.ok) << p_what;
    EXPECT_EQ(p_got.end, p_want.end) << p_what;
    EXPECT_EQ(p_got.complaint, p_want.complaint) << p_what;
}

// JumpBlocks on p_bytes, checked against the plain walk; its result, for further checks.
TWalkResult walk_as_plain(const std::string& p_bytes, std::int64_t p_position, std::int32_t p_total,
                          bool p_big, const std::string& p_what) {
    const TWalkResult got = jump(p_bytes, p_position, p_total, p_big);
    expect_same(got, reference_walk(p_bytes, p_position, p_total, p_big), p_what);
    return got;
}

TBlockWalkCounts since(const TBlockWalkCounts& p_before) {
    const TBlockWalkCounts& now = BlockWalkCounts();
    return TBlockWalkCounts{now.splits - p_before.splits, now.walks_taken - p_before.walks_taken,
                            now.blocks_taken - p_before.blocks_taken};
}

// One section of 4-byte items in blocks of random sizes from 1 to p_largest items; the
// position of its data and its byte total go to p_data and p_total.
void random_section(EclWriter& p_writer, std::mt19937& p_random, const std::string& p_name,
                    std::int32_t p_items, std::int32_t p_largest, std::int32_t p_value,
                    std::int64_t& p_data, std::int32_t& p_total) {
    p_writer.header(p_name, p_items, "INTE");
    p_data = static_cast<std::int64_t>(p_writer.size());
    p_total = 4 * p_items;
    std::uniform_int_distribution<std::int32_t> size(1, p_largest);
    for (std::int32_t left = p_items; left > 0;) {
        const std::int32_t n = std::min(left, size(p_random));
        p_writer.block(std::vector<std::int32_t>(std::size_t(n), p_value));
        left -= n;
    }
}

// The start of every block of the section whose data starts at p_data, up to p_end.
std::vector<std::int64_t> block_starts(const std::string& p_bytes, std::int64_t p_data,
                                       std::int64_t p_end, bool p_big) {
    std::vector<std::int64_t> starts;
    for (std::int64_t at = p_data; at < p_end; at += word_at(p_bytes, at, p_big) + 8) {
        starts.push_back(at);
    }
    return starts;
}

}  // namespace

TEST(BlockWalk, LongSectionsOfRandomBlocksAreSplitAmongWalks) {
    // Sections of both byte orders, each followed by the next header, the last by the end of
    // the file; every walk is split, and the first walk takes most blocks from the others.
    std::mt19937 random(7);
    EclWriter writer;
    std::vector<std::int64_t> positions;
    for (int k = 0; k < 6; ++k) {
        writer.order(k % 2 == 0);
        positions.push_back(static_cast<std::int64_t>(writer.size()));
        std::int64_t data;
        std::int32_t total;
        // Items that cannot be read as a block length of this file.
        random_section(writer, random, "S" + std::to_string(k), 60000, 400, 1000000 + k, data,
                       total);
    }
    const TBlockWalkCounts before = BlockWalkCounts();
    Section cursor(writer.open());
    std::size_t seen = 0;
    do {
        ASSERT_LT(seen, positions.size());
        EXPECT_EQ(cursor.Position(), positions[seen]);
        EXPECT_EQ(cursor.Name(), "S" + std::to_string(seen));
        ++seen;
    } while (cursor.Advance());
    EXPECT_EQ(seen, positions.size());
    EXPECT_EQ(cursor.Position(), static_cast<std::int64_t>(writer.size()));
    const TBlockWalkCounts counts = since(before);
    EXPECT_EQ(counts.splits, 6);
    EXPECT_EQ(counts.walks_taken, 6 * side_walks);
    // About 300 blocks a section, of which the side walks find about four fifths.
    EXPECT_GT(counts.blocks_taken, 6 * 200);
}

TEST(BlockWalk, SectionsLongerThanOneSplitAreSplitAgainAndAgain) {
    // About 20 MB of blocks of random sizes, then of even ones: each split spreads its walks over
    // no more than 8 MiB, and the walk splits again until the section is crossed.
    std::mt19937 random(31);
    for (bool even : {false, true}) {
        EclWriter writer(true);
        std::int64_t data;
        std::int32_t total;
        if (even) {
            writer.header("EVEN", 5000 * 1000, "REAL");
            data = static_cast<std::int64_t>(writer.size());
            total = 4 * 5000 * 1000;
            for (int b = 0; b < 5000; ++b) writer.block(std::vector<float>(1000, 0.5f));
        } else {
            random_section(writer, random, "UNEVEN", 5000000, 2000, 1000000, data, total);
        }
        const auto end = static_cast<std::int64_t>(writer.size());
        writer.header("NEXT", 1, "INTE").block(std::vector<std::int32_t>{1});
        const TBlockWalkCounts before = BlockWalkCounts();
        const TWalkResult got = walk_as_plain(writer.bytes(), data, total, true, "long section");
        EXPECT_TRUE(got.ok);
        EXPECT_EQ(got.end, end);
        const TBlockWalkCounts counts = since(before);
        EXPECT_GE(counts.splits, 3);
        EXPECT_GE(counts.walks_taken, 3 * side_walks - 1);
    }
}

TEST(BlockWalk, SectionsOfEvenBlocksAreSplitWhereTheirLengthPutsTheBlocks) {
    EclWriter writer(true);
    writer.header("EVEN", 300000, "REAL");
    for (int b = 0; b < 300; ++b) writer.block(std::vector<float>(1000, 0.5f));
    const auto end = static_cast<std::int64_t>(writer.size());
    writer.header("NEXT", 1, "INTE").block(std::vector<std::int32_t>{1});
    const TBlockWalkCounts before = BlockWalkCounts();
    const TWalkResult got = jump(writer.bytes(), 24, 4 * 300000, true);
    EXPECT_TRUE(got.ok);
    EXPECT_EQ(got.end, end);
    const TBlockWalkCounts counts = since(before);
    EXPECT_EQ(counts.splits, 1);
    EXPECT_EQ(counts.walks_taken, side_walks);
}

TEST(BlockWalk, BlocksThatChangeLengthLeaveTheGuessedStartsBehind) {
    // Even blocks at first, then blocks one item shorter: the starts guessed from the first
    // length are no block starts, and the side walks from them are passed over.
    for (bool big : {true, false}) {
        EclWriter writer(big);
        writer.header("CHANGE", 40 * 1000 + 400 * 999, "REAL");
        for (int b = 0; b < 40; ++b) writer.block(std::vector<float>(1000, 0.5f));
        for (int b = 0; b < 400; ++b) writer.block(std::vector<float>(999, 0.5f));
        const auto end = static_cast<std::int64_t>(writer.size());
        writer.header("NEXT", 1, "INTE").block(std::vector<std::int32_t>{1});
        const TBlockWalkCounts before = BlockWalkCounts();
        const std::int32_t total = 4 * (40 * 1000 + 400 * 999);
        const TWalkResult got = walk_as_plain(writer.bytes(), 24, total, big, "changed length");
        EXPECT_TRUE(got.ok);
        EXPECT_EQ(got.end, end);
        const TBlockWalkCounts counts = since(before);
        EXPECT_EQ(counts.splits, 1);
        EXPECT_EQ(counts.walks_taken, 0);
    }
}

TEST(BlockWalk, ItemsThatLookLikeBlocksLeadNowhereWrong) {
    // Items of 16 or of 0 read as blocks whose leading and trailing words agree, everywhere:
    // side walks start inside the items and step through blocks that are none.
    std::mt19937 random(11);
    for (std::int32_t value : {16, 0}) {
        for (bool big : {true, false}) {
            EclWriter writer(big);
            std::int64_t data, next_data;
            std::int32_t total, next_total;
            random_section(writer, random, "ALIKE", 50000, 300, value, data, total);
            const auto next = static_cast<std::int64_t>(writer.size());
            random_section(writer, random, "MORE", 50000, 300, value, next_data, next_total);
            const TBlockWalkCounts before = BlockWalkCounts();
            const std::string what = "items of " + std::to_string(value);
            const TWalkResult got = walk_as_plain(writer.bytes(), data, total, big, what);
            EXPECT_TRUE(got.ok) << what;
            EXPECT_EQ(got.end, next) << what;
            EXPECT_GE(since(before).splits, 1) << what;
        }
    }
}

TEST(BlockWalk, EmptyBlocksBehindTheSectionAreLeftWhereTheyAre) {
    // Empty blocks between the section and the next header: the last side walk steps on over
    // them, and the first walk, taking its blocks over, still stops where the section's bytes
    // are complete.
    std::mt19937 random(3);
    EclWriter writer(true);
    std::int64_t data;
    std::int32_t total;
    random_section(writer, random, "A", 60000, 400, 1, data, total);
    const auto end = static_cast<std::int64_t>(writer.size());
    for (int k = 0; k < 40; ++k) writer.block(std::vector<std::int32_t>{});
    writer.header("B", 1, "INTE").block(std::vector<std::int32_t>{9});
    const TBlockWalkCounts before = BlockWalkCounts();
    const TWalkResult got = walk_as_plain(writer.bytes(), data, total, true, "empty blocks");
    EXPECT_TRUE(got.ok);
    EXPECT_EQ(got.end, end);
    EXPECT_EQ(since(before).walks_taken, side_walks);
}

TEST(BlockWalk, TrailingWordsAreNotJudgedByTheWalk) {
    // A trailing word that differs from its leading word: the walks never compare them, so all
    // go on and end as a plain walk does.
    std::mt19937 random(5);
    EclWriter writer(false);
    std::int64_t data;
    std::int32_t total;
    random_section(writer, random, "A", 60000, 400, 1, data, total);
    const auto end = static_cast<std::int64_t>(writer.size());
    writer.header("B", 1, "INTE").block(std::vector<std::int32_t>{9});
    std::string bytes = writer.bytes();
    const std::vector<std::int64_t> starts = block_starts(bytes, data, end, false);
    const std::int64_t late = starts[starts.size() - 20];
    put_word(bytes, late + word_at(bytes, late, false) + 4, 12345, false);
    const TBlockWalkCounts before = BlockWalkCounts();
    const TWalkResult got = walk_as_plain(bytes, data, total, false, "bad trailing word");
    EXPECT_TRUE(got.ok);
    EXPECT_EQ(got.end, end);
    EXPECT_EQ(since(before).walks_taken, side_walks);
}

TEST(BlockWalk, SpoiltFilesAreWalkedAsAPlainWalkWalksThem) {
    // Length words changed to other lengths, negative ones, zeros and 16s, files cut short and
    // sections that claim more or fewer bytes than their blocks carry: the walk that goes part
    // of the way backwards must answer, stop and complain exactly as the plain walk does.
    std::mt19937 random(2024);
    TBlockWalkCounts before = BlockWalkCounts();
    for (int round = 0; round < 120; ++round) {
        const bool big = round % 2 == 0;
        EclWriter writer(big);
        std::int64_t data, next_data;
        std::int32_t total, next_total;
        random_section(writer, random, "A", 40000, 1 + round % 300 + 100, 1, data, total);
        const auto end = static_cast<std::int64_t>(writer.size());
        random_section(writer, random, "B", 30000, 400, 2, next_data, next_total);
        std::string bytes = writer.bytes();
        const std::vector<std::int64_t> starts =
            block_starts(bytes, data, static_cast<std::int64_t>(bytes.size()), big);
        std::uniform_int_distribution<std::size_t> pick(0, starts.size() - 1);
        const int changes = 1 + round % 3;
        for (int c = 0; c < changes; ++c) {
            const std::int64_t block = starts[pick(random)];
            const std::int32_t length = word_at(bytes, block, big);
            const bool trailing = random() % 2 == 0;
            const std::int64_t at = trailing ? block + length + 4 : block;
            const std::int32_t values[] = {-1,         0,          16,
                                           length + 8, length - 4, std::int32_t(random() % 100000)};
            put_word(bytes, at, values[random() % 6], big);
        }
        std::int32_t claimed = total;
        switch (round % 5) {
            case 1:
                bytes.resize(std::size_t(data + (end - data) * (random() % 100) / 100));
                break;
            case 2:
                claimed = total + 4 * std::int32_t(random() % 50);
                break;
            case 3:
                claimed = total - 4 * std::int32_t(random() % 50);
                break;
            default:
                break;
        }
        walk_as_plain(bytes, data, claimed, big, "round " + std::to_string(round));
        if (HasFailure()) break;
    }
    // Side walks were taken over in many rounds, and passed over or dropped in many others.
    const TBlockWalkCounts counts = since(before);
    EXPECT_GT(counts.splits, 60);
    EXPECT_GT(counts.walks_taken, 60);
    EXPECT_LT(counts.walks_taken, counts.splits * side_walks - 30);
}

TEST(BlockWalk, FilesCutInsideAnyBlockAreWalkedAsAPlainWalkWalksThem) {
    // Cut in a block's leading word, in its items, at its trailing word and inside it: wherever
    // the block lies, in the first walk's stretch or a side walk's, the walk stops there and
    // complains as the plain walk does.
    std::mt19937 random(77);
    EclWriter writer(true);
    std::int64_t data;
    std::int32_t total;
    random_section(writer, random, "A", 60000, 400, 1000000, data, total);
    const auto end = static_cast<std::int64_t>(writer.size());
    const std::vector<std::int64_t> starts = block_starts(writer.bytes(), data, end, true);
    for (std::size_t b = 20; b < starts.size(); b += 13) {
        const std::int64_t block = starts[b];
        const std::int64_t length = word_at(writer.bytes(), block, true);
        for (const std::int64_t cut : {block + 2, block + 4 + length / 2, block + 4 + length,
                                       block + 6 + length, block + 7 + length}) {
            const std::string bytes = writer.bytes().substr(0, std::size_t(cut));
            walk_as_plain(bytes, data, total, true,
                          "block " + std::to_string(b) + " cut at " + std::to_string(cut));
        }
        if (HasFailure()) break;
    }
}

TEST(BlockWalk, TinyFirstBlocksOfAHugeSectionAreSplitAndWalkedToTheEnd) {
    // Sixteen blocks of one byte, then the rest of a section that claims 2 GB: the side walks
    // are told of a thousand million blocks left, and the walk still stops where the file
    // ends, as the plain walk does.
    EclWriter writer(true);
    writer.header("BYTES", 0x7ff00000, "C001");
    for (int b = 0; b < 16; ++b) writer.text_block("x");
    for (int b = 0; b < 300; ++b) writer.text_block(std::string(std::size_t(1 + b % 7), 'y'));
    const TBlockWalkCounts before = BlockWalkCounts();
    const TWalkResult got = walk_as_plain(writer.bytes(), 24, 0x7ff00000, true, "tiny blocks");
    EXPECT_FALSE(got.ok);
    EXPECT_GE(since(before).splits, 1);
}

TEST(BlockWalk, UnspoiltRandomSectionsAgreeWithThePlainWalk) {
    std::mt19937 random(99);
    for (int round = 0; round < 40; ++round) {
        const bool big = round % 2 == 1;
        EclWriter writer(big);
        std::int64_t data, next_data;
        std::int32_t total, next_total;
        random_section(writer, random, "A", 20000 + 1000 * round, 50 + 20 * round, round, data,
                       total);
        if (round % 3 != 0) {
            random_section(writer, random, "B", 5000, 300, 1, next_data, next_total);
        }
        walk_as_plain(writer.bytes(), data, total, big, "round " + std::to_string(round));
    }
}

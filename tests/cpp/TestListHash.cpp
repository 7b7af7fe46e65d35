#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "CoreFailures.h"
#include "core/hash/ListHash.h"
#include "core/hash/SuperFastHash.h"

using ostrel::core::ListHash;

namespace {

std::vector<unsigned int> values_of(const ListHash::Run& p_run) {
    return std::vector<unsigned int>(p_run.begin, p_run.end);
}

}  // namespace

TEST(SuperFastHash, EightByteFormMatchesTheGeneralOne) {
    std::mt19937 random(7);
    for (int round = 0; round < 1000; ++round) {
        unsigned char bytes[8];
        for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
        EXPECT_EQ(ostrel::core::super_fast_hash8(bytes), ostrel::core::super_fast_hash(bytes, 8));
    }
}

TEST(SuperFastHash, StartsFromTheLengthAndHashesEmptyToZero) {
    const unsigned char zeros[8] = {};
    EXPECT_EQ(ostrel::core::super_fast_hash(zeros, 0), 0u);
    EXPECT_EQ(ostrel::core::super_fast_hash(nullptr, 8), 0u);
    // The length is the starting value: runs of zeros of other lengths differ.
    EXPECT_NE(ostrel::core::super_fast_hash(zeros, 8), ostrel::core::super_fast_hash(zeros, 4));
    EXPECT_NE(ostrel::core::super_fast_hash(zeros, 8), 0u);
    // Tails of one to three bytes take their own branch and differ from each other.
    const unsigned char text[3] = {'a', 'b', 'c'};
    EXPECT_NE(ostrel::core::super_fast_hash(text, 1), ostrel::core::super_fast_hash(text, 2));
    EXPECT_NE(ostrel::core::super_fast_hash(text, 2), ostrel::core::super_fast_hash(text, 3));
}

TEST(ListHash, ReservedKeysAreSevenBytes0x7FAndAnEighth) {
    unsigned char bytes[8];
    const ListHash::Key empty = ListHash::empty_key();
    std::memcpy(bytes, &empty, 8);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(bytes[i], 0x7F);
    EXPECT_EQ(bytes[7], 0x7E);
    const ListHash::Key deleted = ListHash::deleted_key();
    std::memcpy(bytes, &deleted, 8);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(bytes[i], 0x7F);
    EXPECT_EQ(bytes[7], 0x7D);
    // A (cell, face) key has a face below 7: its last byte is 0.
    const ListHash::Key key = ListHash::make_key(0x7F7F7F7Fu, 5);
    EXPECT_NE(key, empty);
    EXPECT_NE(key, deleted);
}

TEST(ListHash, BucketCountIsAPowerOfTwoOfAtLeast32WhoseHalfExceedsTheCount) {
    EXPECT_EQ(ListHash::bucket_count_for(0), 32u);
    EXPECT_EQ(ListHash::bucket_count_for(15), 32u);
    EXPECT_EQ(ListHash::bucket_count_for(16), 64u);
    EXPECT_EQ(ListHash::bucket_count_for(31), 64u);
    EXPECT_EQ(ListHash::bucket_count_for(32), 128u);
    ListHash hash;
    EXPECT_EQ(hash.builder_bucket_count(), 32u);
}

TEST(ListHash, ListsKeepTheOrderOfInsertion) {
    ListHash hash;
    const ListHash::Key key = ListHash::make_key(3, 1);
    hash.append(key, 9);
    hash.append(key, 2);
    hash.append(key, 7);
    ASSERT_NE(hash.builder_find(key), nullptr);
    EXPECT_EQ(*hash.builder_find(key), (std::vector<unsigned int>{9, 2, 7}));
    EXPECT_EQ(hash.builder_find(ListHash::make_key(3, 0)), nullptr);
    EXPECT_EQ(hash.builder_size(), 1u);
    hash.build();
    EXPECT_EQ(values_of(hash.find(key)), (std::vector<unsigned int>{9, 2, 7}));
    EXPECT_TRUE(hash.find(ListHash::make_key(3, 0)).empty());
}

TEST(ListHash, CollidingKeysAreAllFound) {
    // Keys whose hashes fall in one bucket of the first table: the probe steps past each.
    std::vector<ListHash::Key> same_bucket;
    const std::uint32_t target = ListHash::hash_of(ListHash::make_key(0, 0)) & 31u;
    for (unsigned int cell = 0; same_bucket.size() < 10; ++cell) {
        const ListHash::Key key = ListHash::make_key(cell, 2);
        if ((ListHash::hash_of(key) & 31u) == target) same_bucket.push_back(key);
    }
    ListHash hash;
    for (std::size_t i = 0; i < same_bucket.size(); ++i) {
        hash.append(same_bucket[i], static_cast<unsigned int>(i));
        hash.append(same_bucket[i], static_cast<unsigned int>(100 + i));
    }
    EXPECT_EQ(hash.builder_bucket_count(), 32u);
    for (std::size_t i = 0; i < same_bucket.size(); ++i) {
        ASSERT_NE(hash.builder_find(same_bucket[i]), nullptr);
        EXPECT_EQ(*hash.builder_find(same_bucket[i]),
                  (std::vector<unsigned int>{static_cast<unsigned int>(i),
                                             static_cast<unsigned int>(100 + i)}));
    }
    hash.build();
    for (std::size_t i = 0; i < same_bucket.size(); ++i) {
        EXPECT_EQ(values_of(hash.find(same_bucket[i])),
                  (std::vector<unsigned int>{static_cast<unsigned int>(i),
                                             static_cast<unsigned int>(100 + i)}));
    }
}

TEST(ListHash, GrowsWhenHalfTheBucketsWouldBeFilled) {
    ListHash hash;
    for (unsigned int cell = 0; cell < 15; ++cell) hash.append(ListHash::make_key(cell, 0), cell);
    EXPECT_EQ(hash.builder_bucket_count(), 32u);
    hash.append(ListHash::make_key(15, 0), 15);
    EXPECT_EQ(hash.builder_bucket_count(), 64u);
    // More values for a present key do not count as elements.
    for (int i = 0; i < 100; ++i) hash.append(ListHash::make_key(0, 0), 1);
    EXPECT_EQ(hash.builder_bucket_count(), 64u);
    std::map<ListHash::Key, std::vector<unsigned int>> expected;
    for (unsigned int cell = 0; cell < 16; ++cell) expected[ListHash::make_key(cell, 0)] = {cell};
    expected[ListHash::make_key(0, 0)].insert(expected[ListHash::make_key(0, 0)].end(), 100, 1u);
    for (unsigned int cell = 16; cell < 1000; ++cell) {
        for (unsigned int face = 0; face < 6; ++face) {
            hash.append(ListHash::make_key(cell, face), cell * 10 + face);
            expected[ListHash::make_key(cell, face)].push_back(cell * 10 + face);
        }
    }
    EXPECT_EQ(hash.builder_size(), expected.size());
    EXPECT_EQ(hash.builder_bucket_count(), ListHash::bucket_count_for(expected.size()));
    for (const auto& [key, values] : expected) {
        ASSERT_NE(hash.builder_find(key), nullptr);
        EXPECT_EQ(*hash.builder_find(key), values);
    }
    hash.build();
    EXPECT_EQ(hash.final_bucket_count(), ListHash::bucket_count_for(expected.size()));
    for (const auto& [key, values] : expected) EXPECT_EQ(values_of(hash.find(key)), values);
}

TEST(ListHash, DeletedKeysAreSkippedAndTheirBucketsReused) {
    ListHash hash;
    std::vector<ListHash::Key> keys;
    const std::uint32_t target = ListHash::hash_of(ListHash::make_key(0, 4)) & 31u;
    for (unsigned int cell = 0; keys.size() < 3; ++cell) {
        const ListHash::Key key = ListHash::make_key(cell, 4);
        if ((ListHash::hash_of(key) & 31u) == target) keys.push_back(key);
    }
    for (std::size_t i = 0; i < keys.size(); ++i) hash.append(keys[i], 10 + i);
    // Deleting the first of a chain keeps the later ones reachable past the deleted bucket.
    EXPECT_TRUE(hash.erase(keys[0]));
    EXPECT_FALSE(hash.erase(keys[0]));
    EXPECT_EQ(hash.builder_find(keys[0]), nullptr);
    ASSERT_NE(hash.builder_find(keys[2]), nullptr);
    EXPECT_EQ(*hash.builder_find(keys[2]), std::vector<unsigned int>{12});
    EXPECT_EQ(hash.builder_size(), 2u);
    // A new key takes the first deleted bucket on its way; the old list does not come back.
    hash.append(keys[0], 99);
    EXPECT_EQ(*hash.builder_find(keys[0]), std::vector<unsigned int>{99});
    // Many deletions and insertions never leave the table without an empty bucket.
    for (unsigned int round = 0; round < 200; ++round) {
        hash.append(ListHash::make_key(1000 + round, 1), round);
        EXPECT_TRUE(hash.erase(ListHash::make_key(1000 + round, 1)));
    }
    EXPECT_EQ(hash.builder_size(), 3u);
    EXPECT_EQ(hash.builder_bucket_count(), 32u);
    hash.build();
    EXPECT_EQ(values_of(hash.find(keys[0])), std::vector<unsigned int>{99});
    EXPECT_EQ(values_of(hash.find(keys[1])), std::vector<unsigned int>{11});
    EXPECT_TRUE(hash.find(ListHash::make_key(1100, 1)).empty());
}

TEST(ListHash, PackedFormHoldsEveryListAsCountThenValues) {
    ListHash hash;
    hash.append(ListHash::make_key(1, 0), 5);
    hash.append(ListHash::make_key(2, 3), 6);
    hash.append(ListHash::make_key(2, 3), 7);
    hash.append(ListHash::make_key(4, 5), 8);
    hash.erase(ListHash::make_key(4, 5));
    hash.build();
    const std::vector<unsigned int>& packed = hash.packed();
    ASSERT_EQ(packed.size(), 5u);
    // Runs follow one another: each count is followed by that many values.
    std::map<std::vector<unsigned int>, int> runs;
    for (std::size_t at = 0; at < packed.size(); at += 1 + packed[at]) {
        ASSERT_LE(at + 1 + packed[at], packed.size());
        runs[std::vector<unsigned int>(packed.begin() + at + 1,
                                       packed.begin() + at + 1 + packed[at])]++;
    }
    EXPECT_EQ(runs, (std::map<std::vector<unsigned int>, int>{{{5}, 1}, {{6, 7}, 1}}));
    const ListHash::Run run = hash.find(ListHash::make_key(2, 3));
    EXPECT_EQ(run.size(), 2u);
    EXPECT_EQ(run.begin[-1], 2u);
    EXPECT_EQ(hash.final_bucket_count(), 32u);
}

TEST(ListHash, AnEmptyBuilderBuildsAnEmptyForm) {
    ListHash hash;
    hash.build();
    EXPECT_TRUE(hash.packed().empty());
    EXPECT_TRUE(hash.find(ListHash::make_key(0, 0)).empty());
}

TEST(ListHash, ASecondBuildFails) {
    ListHash hash;
    hash.append(ListHash::make_key(0, 1), 1);
    hash.build();
    EXPECT_TRUE(hash.built());
    EXPECT_EQ(hash.builder_find(ListHash::make_key(0, 1)), nullptr);
    EXPECT_TRUE(FailsPrecondition([&] { hash.build(); }, "!m_zombie_flag",
                                  "Builder already built the structure. Do not reuse the "
                                  "builder, delete it.",
                                  "core/hash/ListHash"));
    // The packed form survives the failed call.
    EXPECT_EQ(values_of(hash.find(ListHash::make_key(0, 1))), std::vector<unsigned int>{1});
}

TEST(ListHash, ASecondDestructionOfTheBuilderFails) {
    const long before = ListHash::live_builder_count();
    ListHash hash;
    hash.destroy_builder();
    EXPECT_EQ(ListHash::live_builder_count(), before);
    EXPECT_TRUE(FailsPrecondition([&] { hash.destroy_builder(); }, "!m_zombie_flag",
                                  "Cannot destroy a builder already destroyed.",
                                  "core/hash/ListHash"));
    EXPECT_EQ(ListHash::live_builder_count(), before);
}

TEST(ListHash, LiveBuildersAreCounted) {
    const long before = ListHash::live_builder_count();
    {
        ListHash first;
        EXPECT_EQ(ListHash::live_builder_count(), before + 1);
        {
            ListHash second;
            EXPECT_EQ(ListHash::live_builder_count(), before + 2);
            second.build();
            EXPECT_EQ(ListHash::live_builder_count(), before + 1);
        }
        EXPECT_EQ(ListHash::live_builder_count(), before + 1);
    }
    EXPECT_EQ(ListHash::live_builder_count(), before);
}

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "builder/GrowingBuffer.h"

using ostrel::builder::GrowingBuffer;
using ostrel::builder::ReleasedValues;

namespace {

constexpr std::size_t MiB = std::size_t(1) << 20;

bool aligned_to_huge_pages(const void* p_data) {
    return reinterpret_cast<std::uintptr_t>(p_data) % (2 * MiB) == 0;
}

}  // namespace

TEST(GrowingBuffer, EmptyReservesNothingAndSmallReservesLittle) {
    GrowingBuffer<double> buffer;
    EXPECT_EQ(buffer.reserved_bytes(), 0u);
    buffer.push_back(1.0);
    EXPECT_LE(buffer.reserved_bytes(), 128u);
    for (int i = 0; i < 299; ++i) buffer.push_back(i);
    // Doubling from 16: 300 values sit in room for 512.
    EXPECT_EQ(buffer.capacity(), 512u);
}

TEST(GrowingBuffer, PushBackPastTheMappedThresholdKeepsOrder) {
    GrowingBuffer<int> buffer;
    const std::size_t n = 3 * MiB + 17;  // 12 MiB of ints: heap, then a mapping that moves
    for (std::size_t i = 0; i < n; ++i) buffer.push_back(static_cast<int>(i));
    ASSERT_EQ(buffer.size(), n);
    EXPECT_TRUE(aligned_to_huge_pages(buffer.data()));
    EXPECT_EQ(buffer.reserved_bytes() % (2 * MiB), 0u);
    std::vector<int> out(n);
    buffer.copy_to(out.data(), n);
    for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(out[i], static_cast<int>(i));
    EXPECT_EQ(buffer[MiB + 5], static_cast<int>(MiB + 5));
}

TEST(GrowingBuffer, ResizeGrowsWithFillAndShrinks) {
    GrowingBuffer<double> buffer;
    buffer.push_back(1.5);
    const std::size_t large = MiB + 3;  // 8 MiB of doubles
    buffer.resize(large, -2.0);
    ASSERT_EQ(buffer.size(), large);
    EXPECT_EQ(buffer[0], 1.5);
    EXPECT_EQ(buffer[1], -2.0);
    EXPECT_EQ(buffer[large - 1], -2.0);
    buffer.resize(2, 0.0);
    ASSERT_EQ(buffer.size(), 2u);
    EXPECT_LE(buffer.reserved_bytes(), 4096u);  // a mapped region keeps whole pages
    buffer.push_back(7.0);
    EXPECT_EQ(buffer[0], 1.5);
    EXPECT_EQ(buffer[2], 7.0);
    // Growing again from the shrunk mapping.
    buffer.resize(large, 3.0);
    EXPECT_EQ(buffer[1], -2.0);
    EXPECT_EQ(buffer[large - 1], 3.0);
    buffer.resize(0, 0.0);
    EXPECT_EQ(buffer.reserved_bytes(), 0u);
}

TEST(GrowingBuffer, TailWindowCommit) {
    GrowingBuffer<double> buffer;
    auto window = buffer.tail_space();
    ASSERT_GE(window.second - window.first, 1);
    window.first[0] = 4.0;
    window.first[1] = 5.0;
    buffer.commit(2);
    window = buffer.tail_space();
    EXPECT_EQ(window.first, buffer.data() + 2);
    EXPECT_EQ(static_cast<std::size_t>(window.second - window.first), buffer.capacity() - 2);
    std::vector<double> out(2);
    buffer.copy_to(out.data(), 2);
    EXPECT_EQ(out, (std::vector<double>{4.0, 5.0}));
}

TEST(GrowingBuffer, ReleaseHandsOverTheStorageAndLeavesTheBufferEmpty) {
    for (std::size_t n : {std::size_t(0), std::size_t(3), 2 * MiB + 1}) {
        GrowingBuffer<double> buffer;
        for (std::size_t i = 0; i < n; ++i) buffer.push_back(double(i));
        const double* before = buffer.data();
        ReleasedValues<double> values = buffer.release();
        EXPECT_EQ(values.size(), n);
        EXPECT_GE(values.reserved_bytes(), n * sizeof(double));
        if (n > 3) {
            // The mapped storage is the same place, trimmed to whole pages: no copy was made.
            EXPECT_EQ(values.data(), before);
            EXPECT_LT(values.reserved_bytes(), n * sizeof(double) + 4096);
        }
        for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(values.data()[i], double(i));
        EXPECT_EQ(buffer.size(), 0u);
        EXPECT_EQ(buffer.reserved_bytes(), 0u);
        buffer.push_back(9.0);
        EXPECT_EQ(buffer[0], 9.0);
        ReleasedValues<double> moved(std::move(values));
        EXPECT_EQ(moved.size(), n);
        EXPECT_EQ(values.size(), 0u);
    }
}

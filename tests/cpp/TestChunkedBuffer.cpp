#include <gtest/gtest.h>

#include <vector>

#include "builder/ChunkedBuffer.h"

using ostrel::builder::ChunkedBuffer;

TEST(ChunkedBuffer, PushBackAcrossChunksKeepsOrder) {
    ChunkedBuffer<int> buffer;
    const std::size_t n = 3 * ChunkedBuffer<int>::chunk_size + 17;
    for (std::size_t i = 0; i < n; ++i) buffer.push_back(static_cast<int>(i));
    ASSERT_EQ(buffer.size(), n);
    std::vector<int> out(n);
    buffer.copy_to(out.data(), n);
    for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(out[i], static_cast<int>(i));
    EXPECT_EQ(buffer[ChunkedBuffer<int>::chunk_size + 5],
              static_cast<int>(ChunkedBuffer<int>::chunk_size + 5));
}

TEST(ChunkedBuffer, ResizeGrowsWithFillAndShrinks) {
    ChunkedBuffer<double> buffer;
    buffer.push_back(1.5);
    buffer.resize(ChunkedBuffer<double>::chunk_size + 3, -2.0);
    ASSERT_EQ(buffer.size(), ChunkedBuffer<double>::chunk_size + 3);
    EXPECT_EQ(buffer[0], 1.5);
    EXPECT_EQ(buffer[1], -2.0);
    EXPECT_EQ(buffer[ChunkedBuffer<double>::chunk_size + 2], -2.0);
    buffer.resize(2, 0.0);
    ASSERT_EQ(buffer.size(), 2u);
    buffer.push_back(7.0);
    EXPECT_EQ(buffer[2], 7.0);
}

TEST(ChunkedBuffer, TailWindowCommit) {
    ChunkedBuffer<double> buffer;
    auto window = buffer.tail_space();
    ASSERT_EQ(static_cast<std::size_t>(window.second - window.first),
              ChunkedBuffer<double>::chunk_size);
    window.first[0] = 4.0;
    window.first[1] = 5.0;
    buffer.commit(2);
    window = buffer.tail_space();
    EXPECT_EQ(static_cast<std::size_t>(window.second - window.first),
              ChunkedBuffer<double>::chunk_size - 2);
    std::vector<double> out(2);
    buffer.copy_to(out.data(), 2);
    EXPECT_EQ(out, (std::vector<double>{4.0, 5.0}));
}

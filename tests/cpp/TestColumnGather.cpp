// The gather of chosen columns from every PARAMS record of a summary values file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "EclWriter.h"
#include "summary/ColumnGather.h"

namespace kelvara::summary {
namespace {

using testing::EclWriter;

constexpr std::int32_t items = 40000;

float Value(int p_record, int p_item) { return float(p_record * 100000 + p_item); }

// Records of `items` floats split into blocks of p_block items, each after a MINISTEP; their
// header positions go to p_positions.
EclWriter Records(bool p_big, int p_records, int p_block, std::vector<std::int64_t>& p_positions) {
    EclWriter writer(p_big);
    for (int r = 0; r < p_records; ++r) {
        writer.section("MINISTEP", "INTE", std::vector<std::int32_t>{r});
        p_positions.push_back(static_cast<std::int64_t>(writer.size()));
        writer.header("PARAMS", items, "REAL");
        for (int start = 0; start < items; start += p_block) {
            std::vector<float> block;
            for (int i = start; i < std::min(items, start + p_block); ++i) {
                block.push_back(Value(r, i));
            }
            writer.block(block);
        }
    }
    return writer;
}

struct Layout {
    bool big;
    int block;
};

class ColumnGather : public ::testing::TestWithParam<Layout> {};

void Expect(const std::vector<std::int32_t>& p_columns, int p_records) {
    const Layout layout = ::testing::TestWithParam<Layout>::GetParam();
    std::vector<std::int64_t> positions;
    auto stream = Records(layout.big, p_records, layout.block, positions).open();
    // The writer's big-endian records are the other byte order on this (little-endian) host.
    std::unique_ptr<bool[]> swaps(new bool[positions.size()]);
    for (std::size_t r = 0; r < positions.size(); ++r) swaps[r] = layout.big;
    std::vector<float> out(positions.size() * p_columns.size(), -7.0f);
    std::size_t failed = 99;
    const TRecords records{positions.data(), swaps.get(), positions.size(), items};
    const TColumns columns{p_columns.data(), p_columns.size()};
    const auto problem = GatherColumns(*stream->file(), records, columns, out.data(), failed);
    ASSERT_FALSE(problem) << problem.message;
    for (int r = 0; r < p_records; ++r) {
        for (std::size_t j = 0; j < p_columns.size(); ++j) {
            const float got = out[r * p_columns.size() + j];
            if (p_columns[j] < 0) {
                EXPECT_TRUE(std::isnan(got));
            } else {
                EXPECT_EQ(got, Value(r, p_columns[j])) << "record " << r << " column " << j;
            }
        }
    }
}

TEST_P(ColumnGather, FewColumnsAnyOrderAndMissingOnes) {
    Expect({0, 999, 1000, 39999, -1, 17345, 999}, 3);
}

TEST_P(ColumnGather, EveryColumn) {
    std::vector<std::int32_t> all(items);
    for (std::int32_t i = 0; i < items; ++i) all[i] = i;
    Expect(all, 4);
}

INSTANTIATE_TEST_SUITE_P(Layouts, ColumnGather,
                         ::testing::Values(Layout{true, 1000}, Layout{false, 1000},
                                           Layout{true, 700}, Layout{false, 40000}));

TEST(ColumnGatherProblems, ABrokenFrameNamesItsRecord) {
    std::vector<std::int64_t> positions;
    EclWriter writer = Records(true, 2, 1000, positions);
    writer.section("MINISTEP", "INTE", std::vector<std::int32_t>{2});
    positions.push_back(static_cast<std::int64_t>(writer.size()));
    writer.header("PARAMS", items, "REAL").block(std::vector<float>(10, 1.0f));  // too short
    writer.section("MINISTEP", "INTE", std::vector<std::int32_t>{3});
    auto stream = writer.open();
    bool swaps[3] = {true, true, true};
    for (const std::vector<std::int32_t>& wanted :
         {std::vector<std::int32_t>{5}, std::vector<std::int32_t>(items, 3)}) {
        std::vector<float> out(3 * wanted.size());
        std::size_t failed = 99;
        const TRecords records{positions.data(), swaps, 3, items};
        const TColumns columns{wanted.data(), wanted.size()};
        const auto problem = GatherColumns(*stream->file(), records, columns, out.data(), failed);
        EXPECT_TRUE(problem);
        EXPECT_EQ(failed, 2u);
        EXPECT_GT(problem.position, positions[2]);
    }
}

}  // namespace
}  // namespace kelvara::summary

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "builder/ArrayFeeder.h"
#include "builder/CompleteCornersBuilder.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "builder/TOstrelArray3DBuilder.h"

using namespace ostrel::builder;

namespace {

std::vector<double> values_of(const ArrayFeeder& p_feeder) {
    std::vector<double> out(p_feeder.size());
    p_feeder.copy_to(out.data());
    return out;
}

template <class T>
std::vector<T> values_of(const TOstrelArray1DBuilder<T>& p_builder) {
    std::vector<T> out(p_builder.size());
    p_builder.copy_to(out.data());
    return out;
}

}  // namespace

TEST(ArrayFeeder, CollectsInArrivalOrderAcrossChunks) {
    ArrayFeeder feeder;
    const std::size_t n = 200000;
    for (std::size_t i = 0; i < n; ++i) feeder.InsertNextValue(double(i) * 0.5);
    ASSERT_EQ(feeder.size(), n);
    const auto values = values_of(feeder);
    for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(values[i], double(i) * 0.5);
}

TEST(ArrayFeeder, EmptyFeederHoldsNothing) {
    ArrayFeeder feeder;
    EXPECT_EQ(feeder.size(), 0u);
}

TEST(Array1DBuilder, InsertsAtAppendCursorOverwritingFromZero) {
    TOstrelArray1DBuilder<double> builder(3, 9.0);
    ArrayFeeder& as_feeder = builder;
    as_feeder.InsertNextValue(1.0);
    as_feeder.InsertNextValue(2.0);
    EXPECT_EQ(values_of(builder), (std::vector<double>{1.0, 2.0, 9.0}));
    builder.AppendValue(3.0);
    builder.AppendValue(4.0);
    EXPECT_EQ(values_of(builder), (std::vector<double>{1.0, 2.0, 3.0, 4.0}));
    EXPECT_EQ(builder.append_cursor(), 4u);
}

TEST(Array1DBuilder, SetValueAtGrowsWithFillAndKeepsOperationOrder) {
    TOstrelArray1DBuilder<int> builder(2, -1);
    builder.InsertNextValue(5.0);
    builder.SetValueAt(0, 7.0);  // after the insertion: overwrites it
    builder.SetValueAt(4, 8.9);
    EXPECT_EQ(values_of(builder), (std::vector<int>{7, -1, -1, -1, 8}));
    EXPECT_THROW(builder.SetValueAt(-1, 1.0), std::out_of_range);
}

TEST(Array1DBuilder, ManyInsertionsCrossTheStagingWindow) {
    TOstrelArray1DBuilder<float> builder;
    for (int i = 0; i < 5000; ++i) builder.InsertNextValue(i + 0.25);
    const auto values = values_of(builder);
    ASSERT_EQ(values.size(), 5000u);
    for (int i = 0; i < 5000; ++i) ASSERT_EQ(values[i], float(i + 0.25));
}

TEST(Array1DBuilder, ShrinkingResizeThenAppendFillsTheGap) {
    TOstrelArray1DBuilder<int> builder(0, 3);
    for (int i = 0; i < 4; ++i) builder.AppendValue(i);
    builder.Resize(2);
    builder.AppendValue(10);
    EXPECT_EQ(values_of(builder), (std::vector<int>{0, 1, 3, 3, 10}));
}

TEST(Narrowing, IntTruncatesTowardZeroAndMapsTheUnrepresentableToTheMinimum) {
    EXPECT_EQ(Narrow<int>::apply(2.9), 2);
    EXPECT_EQ(Narrow<int>::apply(-2.9), -2);
    EXPECT_EQ(Narrow<int>::apply(3e9), std::numeric_limits<int>::min());
    EXPECT_EQ(Narrow<int>::apply(std::nan("")), std::numeric_limits<int>::min());
    EXPECT_EQ(Narrow<unsigned char>::apply(257.7), 1);
    EXPECT_EQ(Narrow<unsigned char>::apply(-1.0), 255);
}

TEST(Array3DBuilder, FillsCellOrderAndCountsOverflow) {
    TOstrelArray3DBuilder<unsigned char> builder(2, 1, 2, 7);
    for (double v : {1.0, 2.0, 3.0}) builder.InsertNextValue(v);
    EXPECT_EQ(builder.values(), (std::vector<unsigned char>{1, 2, 3, 7}));
    builder.InsertNextValue(4.0);
    builder.InsertNextValue(5.0);
    builder.InsertNextValue(6.0);
    EXPECT_EQ(builder.values(), (std::vector<unsigned char>{1, 2, 3, 4}));
    EXPECT_EQ(builder.overflow(), 2u);
    EXPECT_EQ(builder.filled(), 4u);
}

TEST(CompleteCornersBuilder, KeepsTwentyFourValuesPerCell) {
    CompleteCornersBuilder builder(1, 1, 1);
    EXPECT_EQ(builder.capacity(), 24u);
    for (int i = 0; i < 30; ++i) builder.InsertNextValue(i);
    ASSERT_EQ(builder.values().size(), 24u);
    EXPECT_EQ(builder.values()[23], 23.0);
    EXPECT_EQ(builder.overflow(), 6u);
}

TEST(CompleteCornersBuilder, RefusesExtentsWhoseProductOverflows) {
    EXPECT_THROW(CompleteCornersBuilder(std::size_t(1) << 40, std::size_t(1) << 20, 1 << 10),
                 std::length_error);
}

TEST(ArrayFeeder, SmallFeederReservesLittleAndGrowsWithTheData) {
    ArrayFeeder empty;
    EXPECT_EQ(empty.reserved_bytes(), 0u);
    ArrayFeeder one;
    one.InsertNextValue(2.5);
    EXPECT_LE(one.reserved_bytes(), 128u);
    ArrayFeeder many;
    for (int i = 0; i < 300; ++i) many.InsertNextValue(i);
    EXPECT_LE(many.reserved_bytes(), 2 * 300 * sizeof(double));
}

TEST(ArrayFeeder, TakeValuesHandsOverWithoutACopyAndLeavesItEmpty) {
    ArrayFeeder feeder;
    const std::size_t n = 300000;
    for (std::size_t i = 0; i < n; ++i) feeder.InsertNextValue(double(i));
    auto values = feeder.take_values();
    ASSERT_EQ(values.size(), n);
    for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(values.data()[i], double(i));
    EXPECT_EQ(feeder.size(), 0u);
    EXPECT_EQ(feeder.reserved_bytes(), 0u);
    feeder.InsertNextValue(1.0);
    EXPECT_EQ(values_of(feeder), (std::vector<double>{1.0}));
}

TEST(Array1DBuilder, SmallBuilderReservesLittle) {
    TOstrelArray1DBuilder<float> empty;
    EXPECT_EQ(empty.reserved_bytes(), 0u);
    TOstrelArray1DBuilder<float> one;
    one.InsertNextValue(1.0);
    EXPECT_LE(one.reserved_bytes(), 256u);
    TOstrelArray1DBuilder<int> indexed;
    indexed.SetValueAt(0, 4.0);
    EXPECT_LE(indexed.reserved_bytes(), 128u);
}

TEST(Array1DBuilder, TakeValuesFlushesHandsOverAndResetsTheCursor) {
    TOstrelArray1DBuilder<int> builder(2, -1);
    builder.SetValueAt(4, 9.0);
    builder.InsertNextValue(7.9);
    auto values = builder.take_values();
    ASSERT_EQ(values.size(), 5u);
    EXPECT_EQ(std::vector<int>(values.data(), values.data() + 5),
              (std::vector<int>{7, -1, -1, -1, 9}));
    EXPECT_EQ(builder.size(), 0u);
    EXPECT_EQ(builder.append_cursor(), 0u);
    builder.AppendValue(3.0);
    EXPECT_EQ(values_of(builder), (std::vector<int>{3}));
}

TEST(ArrayFeeder, InsertValuesFillsWindowAfterWindowInArrivalOrder) {
    // Runs of odd lengths, so that runs straddle the feeder's windows and chunks.
    ArrayFeeder feeder;
    TOstrelArray1DBuilder<float> builder;
    std::size_t next = 0;
    const std::size_t n = 3000000;
    while (next < n) {
        const std::size_t run = std::min<std::size_t>(n - next, 24 + next % 1001);
        const auto fill = [next](double* p_out, std::size_t p_first, std::size_t p_count) {
            for (std::size_t i = 0; i < p_count; ++i) p_out[i] = double(next + p_first + i);
        };
        feeder.InsertValues(run, fill);
        static_cast<ArrayFeeder&>(builder).InsertValues(run, fill);
        next += run;
    }
    const auto values = values_of(feeder);
    const auto narrowed = values_of(builder);
    ASSERT_EQ(values.size(), n);
    ASSERT_EQ(narrowed.size(), n);
    for (std::size_t i = 0; i < n; ++i) {
        ASSERT_EQ(values[i], double(i));
        ASSERT_EQ(narrowed[i], float(i));
    }
}

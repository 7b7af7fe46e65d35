#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "core/algorithm/HistogramBins.h"
#include "varnok/topology/SelectionNumbering.h"

using namespace ostrel::varnok;
using ostrel::core::HistogramBins;

TEST(SelectionNumbering, FlaggedCellsGetDenseNumbersInCellOrder) {
    const std::vector<unsigned char> flags = {1, 0, 7, 1, 0, 0};
    std::vector<unsigned int> numbers(flags.size());
    EXPECT_EQ(number_selected_cells(flags.data(), flags.size(), numbers.data()), 3u);
    EXPECT_EQ(numbers,
              (std::vector<unsigned int>{0, not_selected, 1, 2, not_selected, not_selected}));
    EXPECT_EQ(count_selected_cells(flags.data(), flags.size()), 3u);
    std::vector<unsigned short> ijk(9);
    // Box 3 x 2 x 1: cell 2 is (2, 0, 0), cell 3 is (0, 1, 0).
    write_selected_positions(numbers.data(), 3, 2, 1, ijk.data());
    EXPECT_EQ(ijk, (std::vector<unsigned short>{0, 0, 0, 2, 0, 0, 0, 1, 0}));
}

TEST(SelectionNumbering, NeighbourMasksMatchABruteForceWalk) {
    const unsigned short ni = 7, nj = 5, nk = 4;
    std::mt19937 random(3);
    std::vector<unsigned char> flags(ni * nj * nk);
    for (unsigned char& flag : flags) flag = random() % 3 != 0;
    std::vector<unsigned int> numbers(flags.size());
    const unsigned int n = number_selected_cells(flags.data(), flags.size(), numbers.data());
    std::vector<unsigned char> masks(n, 0xFF);
    write_neighbour_masks(numbers.data(), ni, nj, nk, masks.data());
    auto selected = [&](int i, int j, int k) {
        if (i < 0 || j < 0 || k < 0 || i >= ni || j >= nj || k >= nk) return false;
        return flags[i + ni * (j + nj * k)] != 0;
    };
    for (int k = 0; k < nk; ++k) {
        for (int j = 0; j < nj; ++j) {
            for (int i = 0; i < ni; ++i) {
                if (!selected(i, j, k)) continue;
                const int expected = selected(i - 1, j, k) * 1 + selected(i + 1, j, k) * 2 +
                                     selected(i, j - 1, k) * 4 + selected(i, j + 1, k) * 8 +
                                     selected(i, j, k - 1) * 16 + selected(i, j, k + 1) * 32;
                EXPECT_EQ(masks[numbers[i + ni * (j + nj * k)]], expected) << i << j << k;
            }
        }
    }
}

TEST(SelectionNumbering, FacesOfLateralAndVerticalPairs) {
    EXPECT_EQ(lateral_face(1, 0), 1u);
    EXPECT_EQ(lateral_face(-1, 0), 0u);
    EXPECT_EQ(lateral_face(0, 1), 3u);
    EXPECT_EQ(lateral_face(0, -1), 2u);
    EXPECT_EQ(lateral_face(2, 0), 6u);
    EXPECT_EQ(lateral_face(1, 1), 6u);
    EXPECT_EQ(lateral_face(0, 0), 6u);
    EXPECT_EQ(vertical_face(0, 3), 5u);
    EXPECT_EQ(vertical_face(3, 0), 4u);
    EXPECT_EQ(vertical_face(2, 2), 4u);
}

TEST(HistogramBins, TopEdgeGoesToTheLastBinOnlyWhenClosed) {
    const HistogramBins closed(0.0, 10.0, 5, true);
    const HistogramBins open(0.0, 10.0, 5, false);
    EXPECT_EQ(closed.element_count(), 7u);
    EXPECT_EQ(closed.index_of(10.0), 5u);
    EXPECT_EQ(open.index_of(10.0), 6u);
    EXPECT_EQ(closed.index_of(10.5), 6u);
    EXPECT_EQ(closed.index_of(-0.1), 0u);
    EXPECT_EQ(closed.index_of(std::nan("")), 6u);
}

TEST(HistogramBins, FourUnitBins) {
    const HistogramBins bins(0.0, 4.0, 4, false);
    EXPECT_EQ(bins.index_of(3.999), 4u);
    EXPECT_EQ(bins.index_of(0.0), 1u);
    EXPECT_EQ(bins.index_of(1.0), 2u);
    std::vector<double> result(bins.element_count(), 0.0);
    const double values[] = {-1.0, 0.5, 0.5, 3.5, 4.0};
    const double weights[] = {2.0, 1.0, 0.25, 3.0, 5.0};
    bins.accumulate(
        5, [&](std::size_t n) { return values[n]; }, [&](std::size_t n) { return weights[n]; },
        result.data());
    EXPECT_EQ(result, (std::vector<double>{2.0, 1.25, 0.0, 0.0, 3.0, 5.0}));
}

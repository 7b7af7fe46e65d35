// Corners on pillars, trilinear volumes and the cell loop of src/geometry.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "geometry/CellGeometry.h"

namespace {

using kelvara::geometry::ComputeCells;
using kelvara::geometry::OnPillar;
using kelvara::geometry::TCellOutputs;
using kelvara::geometry::TCorners;
using kelvara::geometry::TListedCells;
using kelvara::geometry::TPillarCells;
using kelvara::geometry::TrilinearVolume;

TCorners Box(double p_dx, double p_dy, double p_dz) {
    TCorners c;
    for (int n = 0; n < 8; ++n) {
        c[n] = {(n & 1) * p_dx, ((n >> 1) & 1) * p_dy, ((n >> 2) & 1) * p_dz};
    }
    return c;
}

TEST(CellGeometry, BoxVolume) { EXPECT_DOUBLE_EQ(TrilinearVolume(Box(2, 3, 4)), 24.0); }

TEST(CellGeometry, MirroredBoxHasThePositiveVolume) {
    EXPECT_DOUBLE_EQ(TrilinearVolume(Box(-2, 3, 4)), 24.0);
}

TEST(CellGeometry, OneCornerMovedDown) {
    // z = w (1 + d u v): the volume is 1 + d / 4.
    TCorners c = Box(1, 1, 1);
    c[7].z += 0.6;
    EXPECT_NEAR(TrilinearVolume(c), 1.15, 1e-15);
}

TEST(CellGeometry, CollapsedCellHasNoVolume) {
    TCorners c = Box(5, 5, 0);
    EXPECT_EQ(TrilinearVolume(c), 0.0);
}

TEST(CellGeometry, OnASlantedPillar) {
    const double pillar[6] = {0, 0, 100, 10, 20, 200};
    const auto p = OnPillar(pillar, 150.0);
    EXPECT_DOUBLE_EQ(p.x, 5);
    EXPECT_DOUBLE_EQ(p.y, 10);
    EXPECT_DOUBLE_EQ(p.z, 150);
}

TEST(CellGeometry, OnAPillarWithoutLength) {
    const float pillar[6] = {3, 4, 100, 3, 4, 100};
    const auto p = OnPillar(pillar, 120.0);
    EXPECT_EQ(p.x, 3);
    EXPECT_EQ(p.y, 4);
    EXPECT_EQ(p.z, 120);
}

TEST(CellGeometry, PillarCellsInFileOrder) {
    // Two cells along i on vertical pillars 0, 1, 3 apart, from depth 10 to depth 12.
    const std::vector<double> coord = {0, 0, 0, 0, 0, 1, 1, 0, 0, 1, 0, 1, 3, 0, 0, 3, 0, 1,
                                       0, 1, 0, 0, 1, 1, 1, 1, 0, 1, 1, 1, 3, 1, 0, 3, 1, 1};
    std::vector<float> zcorn(16, 10.0f);
    for (int n = 8; n < 16; ++n) zcorn[n] = 12.0f;
    std::vector<double> corners(48), centres(6), volumes(2);
    ComputeCells(TPillarCells<double, float>{coord.data(), zcorn.data(), 2, 1, 1}, 0, 2,
                 TCellOutputs{corners.data(), centres.data(), volumes.data()});
    EXPECT_DOUBLE_EQ(volumes[0], 2.0);
    EXPECT_DOUBLE_EQ(volumes[1], 4.0);
    EXPECT_DOUBLE_EQ(centres[3], 2.0);           // the second cell's centre x
    EXPECT_DOUBLE_EQ(corners[24 + 3 * 7], 3.0);  // its corner 111 at x = 3
    EXPECT_DOUBLE_EQ(corners[24 + 3 * 7 + 2], 12.0);
}

TEST(CellGeometry, ListedCellsSkipNullOutputs) {
    const TCorners box = Box(1, 2, 3);
    std::vector<float> values;
    for (const auto& p : box) values.insert(values.end(), {float(p.x), float(p.y), float(p.z)});
    double volume = std::numeric_limits<double>::quiet_NaN();
    ComputeCells(TListedCells<float>{values.data()}, 0, 1, TCellOutputs{nullptr, nullptr, &volume});
    EXPECT_DOUBLE_EQ(volume, 6.0);
}

}  // namespace

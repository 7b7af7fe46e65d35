#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "eclipse/NNCClassification.h"

using kelvara::eclipse::ClassifyDualNNC;
using kelvara::eclipse::ClassifyExternalNNC;
using kelvara::eclipse::TGridDims;
using kelvara::eclipse::TGridSections;

namespace {

const TGridDims dims{2, 3, 1};  // 6 cells a layer; layer 0 matrix, layer 1 and up fracture

std::shared_ptr<std::vector<std::int32_t>> list(std::vector<std::int32_t> p_items) {
    return std::make_shared<std::vector<std::int32_t>>(std::move(p_items));
}

}  // namespace

TEST(ClassifyDualNNC, EmptyListsClearTheNNCHeadCount) {
    TGridSections grid;
    grid.FaultNNCSize = 17;
    ClassifyDualNNC(dims, grid, {}, {}, 1);
    EXPECT_EQ(grid.FaultNNCSize, 0);
    EXPECT_EQ(grid.MatrixFaultNNCSize, 0);
    EXPECT_EQ(grid.FractureFaultNNCSize, 0);
    EXPECT_EQ(grid.DpDkNNCSize, 0);
    EXPECT_TRUE(grid.DpDkFrac2Matr);
}

TEST(ClassifyDualNNC, LayerThreshold) {
    TGridSections grid;
    ClassifyDualNNC(dims, grid, {6}, {7}, 1);
    EXPECT_EQ(grid.DpDkNNCSize, 1);
    EXPECT_FALSE(grid.DpDkFrac2Matr);
    EXPECT_EQ(grid.FaultNNCSize, 0);
}

TEST(ClassifyDualNNC, AllFractureToMatrix) {
    TGridSections grid;
    ClassifyDualNNC(dims, grid, {7, 8, 12, 13}, {1, 2, 3, 6}, 2);
    EXPECT_TRUE(grid.DpDkFrac2Matr);
    EXPECT_EQ(grid.DpDkNNCSize, 4);
    EXPECT_EQ(grid.FaultNNCSize, 0);
}

TEST(ClassifyDualNNC, MatrixToFractureWinsOverTheOtherDirection) {
    TGridSections grid;
    ClassifyDualNNC(dims, grid, {1, 2, 3, 7, 8}, {7, 8, 9, 1, 2}, 1);
    EXPECT_FALSE(grid.DpDkFrac2Matr);
    EXPECT_EQ(grid.DpDkNNCSize, 3);
    EXPECT_EQ(grid.FaultNNCSize, 2);
}

TEST(ClassifyDualNNC, InternalPairsAreCountedNotRefused) {
    TGridSections grid;
    ClassifyDualNNC(dims, grid, {1, 7, 0, -3}, {2, 8, 5, 7}, 2);
    EXPECT_EQ(grid.MatrixFaultNNCSize, 2);  // 1-2 and 0-5 (cell 0 is matrix)
    EXPECT_EQ(grid.FractureFaultNNCSize, 1);
    EXPECT_EQ(grid.DpDkNNCSize, 1);  // -3 (matrix) to 7
    EXPECT_EQ(grid.FaultNNCSize, 3);
}

TEST(ClassifyDualNNC, LongerSecondListIsNotLookedAt) {
    TGridSections grid;
    ClassifyDualNNC(dims, grid, {1}, {2, 7, 7}, 1);
    EXPECT_EQ(grid.MatrixFaultNNCSize, 1);
    EXPECT_EQ(grid.DpDkNNCSize, 0);
}

TEST(ClassifyDualNNC, ExtremeCellNumbersDoNotOverflow) {
    TGridSections grid;
    const std::int32_t low = std::numeric_limits<std::int32_t>::min();
    const std::int32_t high = std::numeric_limits<std::int32_t>::max();
    ClassifyDualNNC(TGridDims{65536, 65536, 1}, grid, {low}, {high}, 1);
    EXPECT_EQ(grid.MatrixFaultNNCSize, 1);  // high lies in layer 0 of layers of 2^32 cells
}

TEST(ClassifyDualNNCDeathTest, ShorterSecondListEndsTheProcess) {
    TGridSections grid;
    EXPECT_DEATH(ClassifyDualNNC(dims, grid, {1, 2}, {7}, 1),
                 "Contract violation: NNC2 index out of range");
}

TEST(ClassifyDualNNCDeathTest, LayerOfNoCellsEndsTheProcess) {
    TGridSections grid;
    EXPECT_DEATH(ClassifyDualNNC(TGridDims{0, 3, 1}, grid, {1}, {2}, 1),
                 "Contract violation: NNC classification of a grid with nx \\* ny == 0");
    ClassifyDualNNC(TGridDims{0, 3, 1}, grid, {}, {}, 1);  // no division without pairs
    EXPECT_EQ(grid.FaultNNCSize, 0);
}

TEST(ClassifyExternalNNC, MaskAndCounts) {
    TGridSections grid;
    ClassifyExternalNNC(dims, grid, list({6, 7, 0, 13}));
    ASSERT_TRUE(grid.DpDkExternalNNCMask);
    EXPECT_EQ(*grid.DpDkExternalNNCMask, (std::vector<char>{0, 1, 0, 1}));
    EXPECT_EQ(grid.MatrixExternalNNCSize, 2);
    EXPECT_EQ(grid.FractureExternalNNCSize, 2);
}

TEST(ClassifyExternalNNC, SecondListReplacesTheFirst) {
    TGridSections grid;
    ClassifyExternalNNC(dims, grid, list({7, 8, 9}));
    const auto first = grid.DpDkExternalNNCMask;
    ClassifyExternalNNC(dims, grid, list({1}));
    EXPECT_NE(grid.DpDkExternalNNCMask, first);
    EXPECT_EQ(*grid.DpDkExternalNNCMask, (std::vector<char>{0}));
    EXPECT_EQ(grid.MatrixExternalNNCSize, 1);
    EXPECT_EQ(grid.FractureExternalNNCSize, 0);
}

TEST(ClassifyExternalNNC, EmptyListGivesAnEmptyMask) {
    TGridSections grid;
    ClassifyExternalNNC(TGridDims{0, 0, 0}, grid, list({}));
    ASSERT_TRUE(grid.DpDkExternalNNCMask);
    EXPECT_TRUE(grid.DpDkExternalNNCMask->empty());
    EXPECT_EQ(grid.MatrixExternalNNCSize, 0);
    EXPECT_EQ(grid.FractureExternalNNCSize, 0);
}

namespace {

std::vector<std::string> g_dropped;

// Collects the diagnostics the classification composes and drops, for the test's life.
class DroppedDiagnostics : public ::testing::Test {
  protected:
    void SetUp() override {
        g_dropped.clear();
        kelvara::eclipse::SetDroppedDiagnosticObserver(
            [](const char* p_text) { g_dropped.emplace_back(p_text); });
    }
    void TearDown() override { kelvara::eclipse::SetDroppedDiagnosticObserver(nullptr); }
};

const std::string kUndefined = "Found an undefined NNC";
const std::string kInternal = "Found Internal NNC for the Matrix Grid in a DualPorosity Model";
const std::string kOneWay = "We do not support bi directional Dual NNC\nFound M->F and F->M grids";
const std::string kMaskTwice = "External NNC mask already defined for DpDk grid!";

}  // namespace

TEST_F(DroppedDiagnostics, UndefinedNNCOnEveryRun) {
    TGridSections grid;
    ClassifyDualNNC(dims, grid, {}, {}, 0);
    EXPECT_EQ(g_dropped, (std::vector<std::string>{kUndefined}));
}

TEST_F(DroppedDiagnostics, MatrixInternalOnlyInDualPermeability) {
    TGridSections grid;
    ClassifyDualNNC(dims, grid, {1}, {2}, 1);
    EXPECT_EQ(g_dropped, (std::vector<std::string>{kUndefined}));
    g_dropped.clear();
    ClassifyDualNNC(dims, grid, {1}, {2}, 2);
    EXPECT_EQ(g_dropped, (std::vector<std::string>{kUndefined, kInternal}));
    EXPECT_EQ(grid.MatrixFaultNNCSize, 1);  // counted all the same
}

TEST_F(DroppedDiagnostics, CrossingInExactlyOneDirection) {
    TGridSections grid;
    ClassifyDualNNC(dims, grid, {1}, {7}, 1);  // matrix to fracture only
    EXPECT_EQ(g_dropped, (std::vector<std::string>{kUndefined, kOneWay}));
    g_dropped.clear();
    ClassifyDualNNC(dims, grid, {7}, {1}, 1);  // fracture to matrix only
    EXPECT_EQ(g_dropped, (std::vector<std::string>{kUndefined, kOneWay}));
    g_dropped.clear();
    ClassifyDualNNC(dims, grid, {1, 7}, {7, 1}, 1);  // both directions
    EXPECT_EQ(g_dropped, (std::vector<std::string>{kUndefined}));
    g_dropped.clear();
    ClassifyDualNNC(dims, grid, {7}, {8}, 1);  // none crossing
    EXPECT_EQ(g_dropped, (std::vector<std::string>{kUndefined}));
}

TEST_F(DroppedDiagnostics, MaskAlreadyDefined) {
    TGridSections grid;
    ClassifyExternalNNC(dims, grid, list({1}));
    EXPECT_TRUE(g_dropped.empty());
    ClassifyExternalNNC(dims, grid, list({7}));
    EXPECT_EQ(g_dropped, (std::vector<std::string>{kMaskTwice}));
    EXPECT_EQ(grid.FractureExternalNNCSize, 1);
}

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "builder/SConnectionArrayFeeder.h"
#include "builder/SGridInfoAssembly.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "imex/FeedAdaptors.h"

using kelvara::builder::ConnectionTarget;
using kelvara::builder::SConnectionArrayFeeder;
using kelvara::builder::SGridInfo;
using kelvara::builder::SGridInfoAssembly;
using kelvara::builder::TConnectionRef;
using ostrel::builder::TOstrelArray1DBuilder;
using ostrel::builder::TOstrelArray3DBuilder;

namespace {

std::shared_ptr<SGridInfoAssembly> Assembly(const std::vector<std::vector<int>>& p_dims) {
    auto assembly = std::make_shared<SGridInfoAssembly>();
    for (const auto& dims : p_dims) {
        auto grid = std::make_shared<SGridInfo>();
        grid->ni = dims[0];
        grid->nj = dims[1];
        grid->nk = dims[2];
        assembly->AddGrid(grid);
    }
    assembly->CreateConnectionInfos();
    return assembly;
}

std::vector<int> KindIndex(const TConnectionRef& p_ref) {
    return {p_ref.grid, p_ref.kind, p_ref.index};
}

}  // namespace

TEST(GridRecords, DefaultGridInfo) {
    const SGridInfo grid;
    EXPECT_EQ(grid.ni, -1);
    EXPECT_EQ(grid.nj, -1);
    EXPECT_EQ(grid.nk, -1);
    EXPECT_EQ(grid.activeCount, 0);
    EXPECT_EQ(grid.gridIndex, -1);
    EXPECT_EQ(grid.hostGrid, -1);
    EXPECT_EQ(grid.hostCell, -1);
    EXPECT_TRUE(grid.childGrids.empty());
    EXPECT_EQ(grid.activeMask, nullptr);
    EXPECT_EQ(grid.selection, nullptr);
    EXPECT_EQ(grid.packedToHandle, nullptr);
}

TEST(GridRecords, NeighbourKindsIn432) {
    auto assembly = Assembly({{4, 3, 2}});
    EXPECT_EQ(KindIndex(assembly->AddConnection(5, 0, 6, 0)), (std::vector<int>{0, 0, 5}));
    EXPECT_EQ(KindIndex(assembly->AddConnection(5, 0, 9, 0)), (std::vector<int>{0, 1, 5}));
    EXPECT_EQ(KindIndex(assembly->AddConnection(5, 0, 17, 0)), (std::vector<int>{0, 2, 5}));
    EXPECT_EQ(KindIndex(assembly->AddConnection(5, 0, 7, 0)), (std::vector<int>{0, 3, 0}));
    EXPECT_EQ(KindIndex(assembly->AddConnection(6, 0, 5, 0)), (std::vector<int>{0, 3, 1}));
    const auto& info = *assembly->connectionInfos[0];
    EXPECT_EQ(info.nncCount, 2);
    EXPECT_EQ(*info.nnc1, (std::vector<std::int32_t>{5, 6}));
    EXPECT_EQ(*info.nnc2, (std::vector<std::int32_t>{7, 5}));
    EXPECT_EQ(assembly->connectionSequence.size(), 5u);
}

TEST(GridRecords, CellCountIn64Bits) {
    SGridInfo grid;
    grid.ni = grid.nj = 65535;
    grid.nk = 0;
    EXPECT_EQ(grid.CellCount(), 0);
    grid.nk = 65535;
    EXPECT_EQ(grid.CellCount(), std::int64_t(65535) * 65535 * 65535);
    grid.ni = grid.nj = grid.nk = std::numeric_limits<std::int32_t>::min();
    EXPECT_EQ(grid.CellCount(), -1);  // beyond 64 bits
}

TEST(GridRecords, StepsInAGridOfMoreThan2To31CellsALayer) {
    auto assembly = Assembly({{65535, 65535, 0}});
    EXPECT_EQ(KindIndex(assembly->AddConnection(-2, 0, -1, 0)), (std::vector<int>{0, 0, -2}));
    EXPECT_EQ(KindIndex(assembly->AddConnection(7, 0, 7 + 65535, 0)), (std::vector<int>{0, 1, 7}));
    const std::int32_t low = std::numeric_limits<std::int32_t>::min();
    const std::int32_t high = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(KindIndex(assembly->AddConnection(low, 0, high, 0)), (std::vector<int>{0, 3, 0}));
    EXPECT_EQ(KindIndex(assembly->AddConnection(high, 0, low, 0)), (std::vector<int>{0, 3, 1}));
}

TEST(GridRecords, StepOfOneWithNiOneIsKindOne) {
    auto assembly = Assembly({{1, 5, 5}});
    EXPECT_EQ(KindIndex(assembly->AddConnection(2, 0, 3, 0)), (std::vector<int>{0, 1, 2}));
}

TEST(GridRecords, ExternalKindsInOrderOfFirstMeeting) {
    auto assembly = Assembly({{2, 2, 1}, {1, 1, 1}, {1, 1, 1}});
    EXPECT_EQ(KindIndex(assembly->AddConnection(0, 0, 0, 2)), (std::vector<int>{0, 4, 0}));
    EXPECT_EQ(KindIndex(assembly->AddConnection(1, 0, 0, 1)), (std::vector<int>{0, 5, 0}));
    EXPECT_EQ(KindIndex(assembly->AddConnection(3, 0, 0, 2)), (std::vector<int>{0, 4, 1}));
    EXPECT_EQ(KindIndex(assembly->AddConnection(0, 1, 0, 0)), (std::vector<int>{1, 4, 0}));
    const auto& external = assembly->connectionInfos[0]->externalNNC;
    ASSERT_EQ(external.size(), 2u);
    EXPECT_EQ(external[0]->toGrid, 2);
    EXPECT_EQ(*external[0]->fromCells, (std::vector<std::int32_t>{0, 3}));
    EXPECT_EQ(assembly->connectionInfos[1]->externalNNC[0]->toGrid, 0);
}

TEST(GridRecords, PackedMapOfNoActiveCellStaysNull) {
    SGridInfo grid;
    grid.ni = grid.nj = grid.nk = 2;
    grid.CreateActiveMask();
    grid.CreateSelection();
    EXPECT_EQ(grid.activeCount, 0);
    grid.CreatePackedMap();
    EXPECT_EQ(grid.packedToHandle, nullptr);
}

TEST(GridRecords, SelectionNumbersCellsInOrder) {
    SGridInfo grid;
    grid.ni = 3;
    grid.nj = 1;
    grid.nk = 2;
    grid.CreateActiveMask();
    grid.activeMask->typed_data()[1] = 1;
    grid.activeMask->typed_data()[4] = 1;
    grid.CreateSelection();
    EXPECT_EQ(grid.activeCount, 2);
    ASSERT_NE(grid.SelectionNumbers(), nullptr);
    EXPECT_EQ(grid.SelectionNumbers()[1], 0u);
    EXPECT_EQ(grid.SelectionNumbers()[4], 1u);
    grid.CreatePackedMap();
    EXPECT_EQ(*grid.packedToHandle, (std::vector<std::int32_t>{0, 0}));
}

TEST(ConnectionFeeder, EmptyTargetPassesValuesOver) {
    auto assembly = Assembly({{4, 3, 2}});
    assembly->AddConnection(0, 0, 1, 0);  // kind 0, index 0
    assembly->AddConnection(5, 0, 7, 0);  // kind 3
    assembly->AddConnection(6, 0, 7, 0);  // kind 0, index 6
    auto along_i = std::make_shared<TOstrelArray1DBuilder<double>>(8, -1.0);
    std::vector<std::vector<ConnectionTarget>> table(1);
    table[0] = {ConnectionTarget(along_i), ConnectionTarget(), ConnectionTarget(),
                ConnectionTarget()};
    SConnectionArrayFeeder feeder(assembly, table);
    feeder.InsertNextValue(1.5);
    feeder.InsertNextValue(2.5);
    feeder.InsertNextValue(3.5);
    EXPECT_EQ(feeder.cursor(), 3u);
    EXPECT_EQ(along_i->value_at(0), 1.5);
    EXPECT_EQ(along_i->value_at(6), 3.5);
    EXPECT_EQ(along_i->value_at(1), -1.0);
}

TEST(ConnectionFeederDeathTest, CursorOffTheList) {
    auto assembly = Assembly({{2, 2, 2}});
    assembly->AddConnection(0, 0, 1, 0);
    SConnectionArrayFeeder feeder(assembly, {{ConnectionTarget()}});
    feeder.InsertNextValue(1.0);
    EXPECT_DEATH(feeder.InsertNextValue(2.0), "connection cursor inside connectionSequence");
}

TEST(GridRecordsDeathTest, ConnectionWithoutRecord) {
    SGridInfoAssembly assembly;
    assembly.AddGrid(std::make_shared<SGridInfo>());
    EXPECT_DEATH(assembly.AddConnection(0, 0, 1, 0), "first grid inside connectionInfos");
}

TEST(DeltaSplitter, FourByFiveKeepsTheDyRule) {
    TOstrelArray1DBuilder<double> dx, dy;
    TOstrelArray3DBuilder<double> dz(4, 5, 2);
    kelvara::imex::DeltaSplitter<double> splitter(4, 5, dx, dy, dz);
    for (int cell = 0; cell < 40; ++cell) {
        splitter(cell);
        splitter(1000.0 + cell);
        splitter(5000.0 + cell);
    }
    ASSERT_EQ(dx.size(), 4u);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(dx.value_at(i), i);
    const std::vector<double> rows{1000, 1004, 1009, 1013, 1017};
    ASSERT_EQ(dy.size(), rows.size());
    for (std::size_t r = 0; r < rows.size(); ++r) EXPECT_EQ(dy.value_at(r), rows[r]);
    EXPECT_EQ(dz.filled(), 40u);
    EXPECT_EQ(dz.values()[39], 5039.0);
}

TEST(DeltaSplitter, OneCell) {
    TOstrelArray1DBuilder<float> dx, dy;
    TOstrelArray3DBuilder<float> dz(1, 1, 1);
    kelvara::imex::DeltaSplitter<float> splitter(1, 1, dx, dy, dz);
    splitter(2.0);
    splitter(3.0);
    splitter(4.0);
    EXPECT_EQ(dx.size(), 1u);
    EXPECT_EQ(dy.size(), 1u);
    EXPECT_EQ(dz.filled(), 1u);
    EXPECT_EQ(dy.value_at(0), 3.0f);
}

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ImexWriter.h"
#include "builder/CompleteCornersBuilder.h"
#include "builder/SConnectionArrayFeeder.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "builder/TOstrelArray3DBuilder.h"
#include "imex/Loader.h"

using kelvara::imex::IGridSections;
using kelvara::imex::Loader;
using kelvara::imex::Section;
using kelvara::testing::ImexWriter;

namespace {

class MapSections : public IGridSections {
  public:
    std::int64_t SectionPos(const std::string& p_name) override {
        const auto found = m_positions.find(p_name);
        if (found == m_positions.end()) throw std::out_of_range(p_name);
        return found->second;
    }
    bool HasSection(const std::string& p_name) override { return m_positions.count(p_name) > 0; }
    std::map<std::string, std::int64_t> m_positions;
};

// A main grid of 3 x 2 x 1 (cell 2 inactive) refined in cell 4 by a grid of 2 x 1 x 1; packed
// cells in reverse order inside each grid.
struct SmallModel {
    ImexWriter writer;
    std::shared_ptr<MapSections> sections = std::make_shared<MapSections>();
    std::int64_t result = 0;
    std::int64_t connection_result = 0;

    void Ints(const std::string& p_name, const std::vector<std::int32_t>& p_items, bool p_big) {
        sections->m_positions[p_name] = static_cast<std::int64_t>(writer.size());
        writer.Record(ImexWriter::Items(p_items, p_big), p_big);
    }

    // p_first: the first cells of the connections (ICTPS1), packed cells from 1.
    explicit SmallModel(bool p_big, const std::vector<std::int32_t>& p_first = {4, 3, 5, 4}) {
        writer.Raw(std::string(8, '\0'));
        Ints("IGNTID", {3, 2}, p_big);
        Ints("IGNTJD", {2, 1}, p_big);
        Ints("IGNTKD", {1, 1}, p_big);
        Ints("ICSTPS", {1, 1, 0, 1, 1, -1, 1, 1}, p_big);
        Ints("IPSTCS", {5, 4, 2, 1, 8, 7}, p_big);
        Ints("ICSTCG", {0, 0, 0, 0, 2, 0, 0, 0}, p_big);
        Ints("ICSTGN", {1, 1, 1, 1, 1, 1, 2, 2}, p_big);
        // Packed cells from 1 are cells 4, 3, 1, 0, 7, 6: cell 0 -> 1 (along i), cell 1 -> 3
        // (no neighbour), cell 7 -> 6 (reversed, in grid 2), cell 0 -> 6 (to grid 2).
        Ints("ICTPS1", p_first, p_big);
        Ints("ICTPS2", {3, 2, 6, 6}, p_big);
        sections->m_positions["BLOCKSIZE"] = static_cast<std::int64_t>(writer.size());
        std::vector<double> sizes;
        for (int c = 0; c < 8; ++c) {
            sizes.push_back(1.0 + c);
            sizes.push_back(10.0 + c);
            sizes.push_back(100.0 + c);
        }
        writer.Record(ImexWriter::Items(sizes, p_big), p_big);
        result = static_cast<std::int64_t>(writer.size());
        writer.Record(ImexWriter::Items(std::vector<double>{0, 1, 2, 3, 4, 5}, p_big), p_big);
        connection_result = static_cast<std::int64_t>(writer.size());
        writer.Record(ImexWriter::Items(std::vector<std::int32_t>{7, 8, 9, 10}, p_big), p_big);
    }
};

}  // namespace

class ImexLoaderTest : public ::testing::TestWithParam<bool> {};

TEST_P(ImexLoaderTest, BuildsTheHierarchy) {
    SmallModel model(GetParam());
    auto stream = model.writer.open();
    Section section(stream, 0, false);
    Loader loader(section, model.sections);
    ASSERT_EQ(loader.GridCount(), 2);
    const auto main = loader.GridInfo(0);
    const auto child = loader.GridInfo(1);
    EXPECT_EQ(main->cellEnd, 6);
    EXPECT_EQ(child->cellBegin, 6);
    EXPECT_EQ(main->activeCount, 4);
    EXPECT_EQ(child->activeCount, 2);
    EXPECT_EQ(child->activeBegin, 4);
    EXPECT_EQ(*main->packedToHandle, (std::vector<std::int32_t>{3, 2, 1, 0}));
    EXPECT_EQ(*child->packedToHandle, (std::vector<std::int32_t>{1, 0}));
    EXPECT_EQ(child->hostGrid, 0);
    EXPECT_EQ(child->hostCell, 4);
    EXPECT_EQ(main->childGrids.at(4), 1);
    // Cell 4 lies at (1, 1, 0): x behind cell 3 (size 4), y one row up (size 12 of cell 2).
    EXPECT_EQ(child->originX, 4.0);
    EXPECT_EQ(child->originY, 12.0);
    const auto ijk = loader.HostCellIJK(1);
    ASSERT_TRUE(ijk.has_value());
    EXPECT_EQ(*ijk, (std::array<int, 3>{1, 1, 0}));
    EXPECT_FALSE(loader.HostCellIJK(0).has_value());
}

TEST_P(ImexLoaderTest, FeedsPackedAndCellArrays) {
    SmallModel model(GetParam());
    auto stream = model.writer.open();
    Loader loader(Section(stream, 0, false), model.sections);
    ostrel::builder::TOstrelArray1DBuilder<double> out(4, -1.0);
    EXPECT_TRUE(loader.FeedPackedGridFunction(0, model.result, 'd', out));
    EXPECT_EQ(out.value_at(3), 0.0);
    EXPECT_EQ(out.value_at(0), 3.0);
    EXPECT_THROW(loader.FeedPackedGridFunction(0, model.result, 'x', out), std::runtime_error);
    ostrel::builder::TOstrelArray3DBuilder<unsigned char> actnum(3, 2, 1);
    EXPECT_TRUE(loader.FeedActnum(0, actnum));
    EXPECT_EQ(actnum.values(), (std::vector<unsigned char>{1, 1, 0, 1, 1, 1}));
    ostrel::builder::TOstrelArray3DBuilder<double> missing(3, 2, 1);
    EXPECT_FALSE(loader.FeedGridArray("BLOCKPVOL", 0, missing));
}

TEST_P(ImexLoaderTest, SortsConnections) {
    SmallModel model(GetParam());
    auto stream = model.writer.open();
    Loader loader(Section(stream, 0, false), model.sections);
    loader.SetupConnections();
    loader.SetupConnections();
    const auto assembly = loader.GetGridAssembly();
    ASSERT_EQ(assembly->connectionSequence.size(), 4u);
    const auto& seq = assembly->connectionSequence;
    EXPECT_EQ(seq[0].kind, 0);
    EXPECT_EQ(seq[0].index, 3);  // packed cell of cell 0, from 0
    EXPECT_EQ(seq[1].kind, 3);
    EXPECT_EQ(seq[2].grid, 1);
    EXPECT_EQ(seq[2].kind, 3);  // reversed pair
    EXPECT_EQ(seq[3].kind, 4);
    auto along_i = std::make_shared<ostrel::builder::TOstrelArray1DBuilder<int>>(7, -1);
    auto external = std::make_shared<ostrel::builder::TOstrelArray1DBuilder<double>>(1, -1);
    using kelvara::builder::ConnectionTarget;
    kelvara::builder::SConnectionArrayFeeder feeder(
        assembly,
        {{ConnectionTarget(along_i), {}, {}, {}, ConnectionTarget(external)}, {{}, {}, {}, {}}});
    EXPECT_TRUE(loader.FeedConnectionGridFunctions(model.connection_result, 'i', feeder));
    EXPECT_EQ(along_i->value_at(3), 7);
    EXPECT_EQ(external->value_at(0), 10.0);

    // A bad type code moves the loader's section onto the block first, then raises.
    loader.stream().seek(0);
    try {
        loader.FeedConnectionGridFunctions(model.connection_result, 'q', feeder);
        ADD_FAILURE() << "a bad type code must raise";
    } catch (const std::runtime_error& p_error) {
        EXPECT_STREQ(p_error.what(), "Invalid section type must be 'i' or 'd'!");
    }
    const Section block(model.writer.open(), model.connection_result, false);
    EXPECT_GT(block.data_pos(), 0);
    EXPECT_EQ(loader.stream().tell(), block.data_pos());
}

TEST_P(ImexLoaderTest, RangeOfAGridFarBehindIsNotWrapped) {
    SmallModel model(GetParam());
    std::vector<double> corners(8 * 24);
    for (std::size_t n = 0; n < corners.size(); ++n) corners[n] = static_cast<double>(n);
    model.sections->m_positions["CORNERS"] = static_cast<std::int64_t>(model.writer.size());
    model.writer.Record(ImexWriter::Items(corners, GetParam()), GetParam());
    auto stream = model.writer.open();
    Loader loader(Section(stream, 0, false), model.sections);
    // 2^29 cells of 24 values lie 3 * 2^32 items in: far past the block, not at its item 0.
    const auto child = loader.GridInfo(1);
    child->cellBegin = 1 << 29;
    child->cellEnd = child->cellBegin + 2;
    ostrel::builder::CompleteCornersBuilder out(2, 1, 1);
    EXPECT_FALSE(loader.FeedCorners(1, out));
    EXPECT_TRUE(out.values().empty());
}

TEST_P(ImexLoaderTest, ConnectionItemOfMinus2To31EndsOnTheCheckedPath) {
    SmallModel model(GetParam(), {4, std::numeric_limits<std::int32_t>::min(), 5, 4});
    auto stream = model.writer.open();
    Loader loader(Section(stream, 0, false), model.sections);
    EXPECT_DEATH(loader.SetupConnections(), "Contract violation: ICTPS1 cell inside IPSTCS");
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, ImexLoaderTest, ::testing::Values(false, true));

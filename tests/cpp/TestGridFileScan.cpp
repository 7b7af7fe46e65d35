#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "EclWriter.h"
#include "eclipse/GridFileScan.h"
#include "eclipse/GridItemReads.h"
#include "eclipse/Section.h"

using kelvara::testing::EclWriter;
namespace eclipse = kelvara::eclipse;

namespace {

std::vector<std::int32_t> head(std::size_t p_size, std::vector<std::pair<std::size_t, int>> p_set) {
    std::vector<std::int32_t> items(p_size, 0);
    for (auto [index, value] : p_set) items[index] = value;
    return items;
}

std::vector<std::string> names(const std::vector<eclipse::TSectionData>& p_sections) {
    std::vector<std::string> out;
    for (const auto& section : p_sections) out.push_back(section.name);
    return out;
}

// A dual-permeability extended file: main grid 2x3x1 with NNC1/NNC2 and a local grid with NNCL.
EclWriter ExtendedDual(bool p_big) {
    EclWriter writer(p_big);
    writer.section("GDORIENT", "INTE", std::vector<std::int32_t>{1});
    writer.section("FILEHEAD", "INTE", head(100, {{5, 2}}));
    writer.section("GRIDHEAD", "INTE", head(100, {{1, 2}, {2, 3}, {3, 1}}));
    writer.section("ACTNUM", "INTE", std::vector<std::int32_t>(6, 3));
    writer.header("ENDGRID", 0, "INTE");
    writer.header("LGR", 1, "CHAR").text_block("LOCAL   ");
    writer.section("GRIDHEAD", "INTE", head(100, {{1, 1}, {2, 1}, {3, 2}, {4, 4}}));
    writer.header("ENDGRID", 0, "INTE");
    writer.header("ENDLGR", 0, "INTE");
    writer.section("NNCHEAD", "INTE", head(10, {{0, 3}, {1, 0}}));
    writer.header("NNC1", 3, "INTE")
        .block(std::vector<std::int32_t>{1, 7})
        .block(std::vector<std::int32_t>{8});
    writer.section("NNC2", "INTE", std::vector<std::int32_t>{7, 1, 2});
    writer.section("NNCHEAD", "INTE", head(10, {{0, 0}, {1, 4}}));
    writer.section("NNCL", "INTE", std::vector<std::int32_t>{1, 2, 3});
    return writer;
}

// A stream on the first p_size bytes of the writer's file.
std::shared_ptr<kelvara::stream::FileStream> open_cut(const EclWriter& p_writer,
                                                      std::size_t p_size) {
    char path[] = "/tmp/kelvara-cpp-cut-XXXXXX";
    const int fd = ::mkstemp(path);
    if (fd < 0) std::abort();
    if (::write(fd, p_writer.bytes().data(), p_size) != static_cast<ssize_t>(p_size)) std::abort();
    auto file = kelvara::stream::SharedFile::for_descriptor(fd);
    ::close(fd);
    ::unlink(path);
    return std::make_shared<kelvara::stream::FileStream>(file, 0);
}

}  // namespace

class GridFileScan : public ::testing::TestWithParam<bool> {};

TEST_P(GridFileScan, ExtendedDualCatalogue) {
    const EclWriter writer = ExtendedDual(GetParam());
    auto stream = writer.open(17);
    const eclipse::TGridFileMap map = eclipse::BuildExtGridMap(stream);
    EXPECT_EQ(stream->tell(), static_cast<std::int64_t>(writer.size()));
    EXPECT_EQ(map.gridNames, (std::vector<std::string>{"Main Grid", "LOCAL"}));
    EXPECT_EQ(names(map.fileSections), (std::vector<std::string>{"FILEHEAD"}));
    EXPECT_EQ(names(map.unknownSections), (std::vector<std::string>{"GDORIENT"}));
    EXPECT_TRUE(map.lgrGrids.empty());

    const auto& main = map.grids.at("Main Grid");
    EXPECT_EQ(names(main.sections),
              (std::vector<std::string>{"GRIDHEAD", "ACTNUM", "NNCHEAD", "NNC1", "NNC2"}));
    EXPECT_EQ(main.MatrixFaultNNCSize, 0);
    EXPECT_EQ(main.FractureFaultNNCSize, 0);
    EXPECT_EQ(main.DpDkNNCSize, 1);  // 1 - 7; 7 - 1 and 8 - 2 stay in FaultNNCSize
    EXPECT_FALSE(main.DpDkFrac2Matr);
    EXPECT_EQ(main.FaultNNCSize, 2);

    const auto& local = map.grids.at("LOCAL");
    EXPECT_EQ(names(local.sections), (std::vector<std::string>{"GRIDHEAD", "NNCHEAD", "NNCL"}));
    ASSERT_TRUE(local.DpDkExternalNNCMask);
    EXPECT_EQ(*local.DpDkExternalNNCMask, (std::vector<char>{0, 0, 1}));  // 1x1x2: cell 3 fracture
    EXPECT_EQ(local.MatrixExternalNNCSize, 2);
    EXPECT_EQ(local.FractureExternalNNCSize, 1);
}

TEST_P(GridFileScan, PlainCatalogueHalvesTheLayers) {
    EclWriter writer(GetParam());
    writer.section("DIMENS", "INTE", std::vector<std::int32_t>{1, 1, 4});
    writer.section("COORDS", "INTE", std::vector<std::int32_t>{1, 1, 1, 1, 1});
    writer.section("CORNERS", "REAL", std::vector<float>(24, 0.0f));
    writer.section("MAPAXES", "REAL", std::vector<float>(6, 0.0f));
    writer.section("NNCHEAD", "INTE", head(10, {{0, 5}}));
    // nz is 2 of 4: cells 1, 2 matrix, 3, 4 fracture.
    writer.section("NNC1", "REAL", std::vector<float>{2.9f, 3.0f});
    writer.section("NNC2", "DOUB", std::vector<double>{3.5, 4.0});
    const auto map = eclipse::BuildGridMap(writer.open(), 1);
    EXPECT_EQ(map.gridNames, (std::vector<std::string>{"Main Grid"}));
    EXPECT_EQ(names(map.fileSections), (std::vector<std::string>{"MAPAXES"}));
    const auto& main = map.grids.at("Main Grid");
    EXPECT_EQ(names(main.sections),
              (std::vector<std::string>{"DIMENS", "NNCHEAD", "NNC1", "NNC2"}));
    EXPECT_EQ(main.DpDkNNCSize, 1);  // 2 - 3
    EXPECT_EQ(main.FractureFaultNNCSize, 1);
    EXPECT_EQ(main.FaultNNCSize, 1);
}

TEST_P(GridFileScan, CutInsideALoadedSectionEndsTheScanBeforeIt) {
    const EclWriter whole = ExtendedDual(GetParam());
    // Cut inside the first GRIDHEAD's items (FILEHEAD and GDORIENT are whole).
    const std::size_t gridhead = 24 + 12 + 24 + 408;
    const auto map = eclipse::BuildExtGridMap(open_cut(whole, gridhead + 24 + 4 + 16));
    EXPECT_TRUE(map.gridNames.empty());
    EXPECT_EQ(names(map.fileSections), (std::vector<std::string>{"FILEHEAD"}));
}

TEST_P(GridFileScan, IntItemsTruncateTowardsZero) {
    EclWriter writer(GetParam());
    writer.header("DATA", 4, "DOUB")
        .block(std::vector<double>{-2.9, 2.9})
        .block(std::vector<double>{1e12, 7.0});
    auto stream = writer.open();
    eclipse::Section cursor(stream, 0);
    const auto items = eclipse::ReadIntItems(cursor);
    EXPECT_EQ(*items,
              (std::vector<std::int32_t>{-2, 2, std::numeric_limits<std::int32_t>::min(), 7}));
    EXPECT_EQ(stream->tell(), static_cast<std::int64_t>(writer.size()));
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, GridFileScan, ::testing::Values(true, false),
                         [](const auto& p_info) { return p_info.param ? "Big" : "Little"; });

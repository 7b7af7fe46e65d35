#include <gtest/gtest.h>

#include <vector>

#include "GridFunctionTesting.h"
#include "varnok/topology/CellWalk.h"
#include "varnok/topology/ReservoirTopology.h"

using namespace gf_testing;
using ostrel::varnok::ReservoirTopology;

namespace {

const char* const topology_file = "varnok/topology/ReservoirTopology";

struct Recorder : ITopologyVisitor {
    void visit(const Handle3& p_cell) override { cells.push_back(p_cell); }
    void visit(const Handle1& p_cell) override { numbers.push_back(p_cell); }
    void start(const std::shared_ptr<const ITopology>& p_topology) override {
        started = p_topology;
        ++starts;
    }
    std::vector<Handle3> cells;
    std::vector<Handle1> numbers;
    std::shared_ptr<const ITopology> started;
    int starts = 0;
};

struct AnyCell : CellPredicate {
    bool operator()(const AnyHandle&) const override { return true; }
};

}  // namespace

TEST(ReservoirTopology, ZeroNIStillWalksJAndK) {
    auto topology = std::make_shared<ReservoirTopology>(0, 5, 5);
    EXPECT_EQ(topology->number_of_cells(), 0u);
    Recorder recorder;
    topology->visit_all_cells(recorder);
    ASSERT_EQ(recorder.cells.size(), 25u);
    for (const Handle3& cell : recorder.cells) EXPECT_EQ(cell[0], 0);
    EXPECT_EQ(recorder.cells[5], (Handle3{{0, 0, 1}}));
    EXPECT_EQ(recorder.cells[24], (Handle3{{0, 4, 4}}));
    EXPECT_EQ(recorder.starts, 1);
    EXPECT_EQ(recorder.started.get(), topology.get());
    Recorder empty;
    ReservoirTopology(3, 3, 0).visit_all_cells(empty);
    EXPECT_TRUE(empty.cells.empty());
    EXPECT_EQ(empty.started, nullptr);
}

TEST(ReservoirTopology, OneCellCounts) {
    ReservoirTopology topology(1, 1, 1);
    EXPECT_EQ(topology.dimensions(), 3u);
    EXPECT_EQ(topology.number_of_cells(), 1u);
    EXPECT_EQ(topology.number_of_vertices(), 8u);
    EXPECT_EQ(topology.number_of_edges(), 12u);
    EXPECT_EQ(topology.number_of_faces(), 6u);
    Recorder recorder;
    topology.visit_all_cells(recorder);
    EXPECT_EQ(recorder.cells, (std::vector<Handle3>{Handle3{{0, 0, 0}}}));
}

TEST(ReservoirTopology, ShapesAndAcceptedHandles) {
    ReservoirTopology topology(4, 3, 2);
    EXPECT_EQ(topology.number_of_cells(), 24u);
    EXPECT_EQ(topology.cell_shape(), ArrayShape::extents16(4, 3, 2));
    EXPECT_EQ(topology.cell_shape().m_RankCode, 2u);
    EXPECT_EQ(topology.vertex_shape(), ArrayShape::extents16(4, 3, 2, 8));
    EXPECT_EQ(topology.vertex_shape().m_RankCode, 3u);
    EXPECT_EQ(topology.grid_shape(), topology.cell_shape());
    for (LocationType location : {onVertex, onCell, onLocation2, onLocation3}) {
        EXPECT_EQ(topology.accepted_handles(location), 5u);
    }
    EXPECT_EQ(topology.accepted_handles(onLocation4), 1u);
    EXPECT_EQ(topology.corners_per_cell(100, 200, 300), 8u);
    EXPECT_TRUE(topology.actives()->value(Handle3{{3, 2, 1}}));
    EXPECT_EQ(topology.actives()->location(), onCell);
    EXPECT_FALSE(topology.has_shared_vertex_information());
    EXPECT_FALSE(topology.has_lateral_connections());
    EXPECT_EQ(topology.shared_vertices().extents(), box(1, 1, 0));
}

TEST(ReservoirTopology, CellWalkIsIFastest) {
    ReservoirTopology topology(2, 2, 2);
    Recorder recorder;
    topology.visit_all_cells(recorder);
    ASSERT_EQ(recorder.cells.size(), 8u);
    for (unsigned n = 0; n < 8; ++n) {
        EXPECT_EQ(recorder.cells[n], to_handle3(n, 2, 2));
    }
}

TEST(ReservoirTopology, VertexWalkIsCornerFastest) {
    std::vector<Handle4> corners;
    ostrel::varnok::walk_vertices(box(2, 1, 1),
                                  [&](const Handle4& p_corner) { corners.push_back(p_corner); });
    ASSERT_EQ(corners.size(), 16u);
    for (unsigned short c = 0; c < 8; ++c) EXPECT_EQ(corners[c], (Handle4{{0, 0, 0, c}}));
    EXPECT_EQ(corners[8], (Handle4{{1, 0, 0, 0}}));
}

TEST(ReservoirTopology, ElementQueriesAreNotImplemented) {
    ReservoirTopology topology(2, 2, 2);
    HandleCollection elements;
    AdjacentsCollection adjacents;
    EXPECT_TRUE(FailsAvailability(
        [&] {
            topology.get_elements_on(onCell, AnyHandle(Handle3{{0, 0, 0}}), onVertex, AnyCell(),
                                     elements);
        },
        "do_get_elements_on", " is not implemented yet for ", "ostrel::varnok::ReservoirTopology",
        "", topology_file));
    EXPECT_TRUE(FailsAvailability(
        [&] {
            topology.get_adjacents_of(onCell, AnyHandle(Handle1(0)), onVertex, onCell, AnyCell(),
                                      adjacents);
        },
        "do_get_adjacents_of", " is not implemented yet for ", "ostrel::varnok::ReservoirTopology",
        "", topology_file));
}

TEST(ReservoirTopology, AttachedConnectionsAndVertices) {
    ReservoirTopology topology(2, 1, 1);
    topology.set_lateral_connections(array1<ostrel::varnok::CellPair>({{{0, 1}}}));
    topology.set_vertical_connections(array1<ostrel::varnok::CellPair>({}));
    EXPECT_TRUE(topology.has_lateral_connections());
    EXPECT_TRUE(topology.has_vertical_connections());
    EXPECT_EQ(topology.lateral_connections().size(), 1u);
    Array<ostrel::varnok::CellCorners, 3> corners(
        std::make_shared<VectorArrayImpl<ostrel::varnok::CellCorners>>(2u), box(2, 1, 1));
    topology.set_shared_vertices(corners);
    EXPECT_TRUE(topology.has_shared_vertex_information());
    EXPECT_EQ(topology.shared_vertices().extents(), box(2, 1, 1));
}

#include <gtest/gtest.h>

#include <vector>

#include "GridFunctionTesting.h"
#include "varnok/topology/ReservoirSelectionTopology.h"

using namespace gf_testing;
using ostrel::varnok::CellCorners;
using ostrel::varnok::CellPair;
using ostrel::varnok::ReservoirSelectionTopology;
using ostrel::varnok::ReservoirTopology;

namespace {

const char* const selection_file = "varnok/topology/ReservoirSelectionTopology";

std::shared_ptr<ReservoirSelectionTopology> select(const std::shared_ptr<ReservoirTopology>& p_box,
                                                   const std::vector<unsigned char>& p_flags) {
    ArrayGridFunction<unsigned char, 3> flags(array3<unsigned char>(p_box->shape(), p_flags));
    return std::make_shared<ReservoirSelectionTopology>(p_box.get(), p_box, flags);
}

std::vector<unsigned int> adjacent(const ReservoirSelectionTopology& p_selection,
                                   unsigned int p_cell, unsigned int p_face,
                                   unsigned char p_flags = 9) {
    std::vector<unsigned int> result{12345};
    p_selection.get_adjacent_cells(p_cell, p_face, result, p_flags);
    return result;
}

struct Counter : ITopologyVisitor {
    void visit(const Handle1& p_cell) override { cells.push_back(p_cell); }
    std::vector<Handle1> cells;
};

}  // namespace

TEST(ReservoirSelection, NoFlagsNoCells) {
    auto selection =
        select(std::make_shared<ReservoirTopology>(3, 2, 2), std::vector<unsigned char>(12, 0));
    EXPECT_EQ(selection->number_of_cells(), 0u);
    EXPECT_EQ(selection->number_of_vertices(), 0u);
    EXPECT_EQ(selection->selection_to_original().held_array().size(), 0u);
    EXPECT_EQ(selection->neighbour_masks().held_array().size(), 0u);
    EXPECT_EQ(selection->lateral_connections().size(), 0u);
    EXPECT_EQ(selection->cell_shape(), ArrayShape::flat(0));
    Counter counter;
    selection->visit_all_cells(counter);
    EXPECT_TRUE(counter.cells.empty());
    for (unsigned int number : selection->original_to_selection().held_array()) {
        EXPECT_EQ(number, 4294967295u);
    }
}

TEST(ReservoirSelection, AllFlaggedKeepsFlatNumbers) {
    auto selection = select(std::make_shared<ReservoirTopology>(2, 2, 1), {1, 1, 1, 1});
    ASSERT_EQ(selection->number_of_cells(), 4u);
    for (Handle1 cell = 0; cell < 4; ++cell) {
        EXPECT_EQ(selection->original_to_selection().value(cell), cell);
    }
    EXPECT_EQ(selection->neighbour_mask(0), 10);
    EXPECT_EQ(selection->neighbour_mask(3), 5);
    EXPECT_EQ(selection->cell_shape(), ArrayShape::flat(4));
    EXPECT_EQ(selection->vertex_shape(), ArrayShape::extents(4, 8));
    EXPECT_EQ(selection->vertex_shape().m_RankCode, 1u);
    EXPECT_EQ(selection->grid_shape(), ArrayShape::extents16(2, 2, 1));
    EXPECT_EQ(selection->number_of_faces(), 24u);
    Counter counter;
    selection->visit_all_cells(counter);
    EXPECT_EQ(counter.cells, (std::vector<Handle1>{0, 1, 2, 3}));
    // The arrays of the mappers are fixed in shape.
    EXPECT_TRUE(selection->original_to_selection().held_array().is_fixed_shape());
    EXPECT_TRUE(selection->selection_to_original().held_array().is_fixed_shape());
}

TEST(ReservoirSelection, UnselectedNeighbourClearsItsBit) {
    auto selection = select(std::make_shared<ReservoirTopology>(2, 2, 1), {1, 0, 1, 1});
    EXPECT_EQ(selection->number_of_cells(), 3u);
    EXPECT_EQ(adjacent(*selection, 0, 1), std::vector<unsigned int>{});
    EXPECT_EQ(selection->neighbour_mask(0) & 2, 0);
    EXPECT_EQ(selection->neighbour_mask(0), 8);
    EXPECT_EQ(adjacent(*selection, 0, 3), std::vector<unsigned int>{1});
    EXPECT_EQ(adjacent(*selection, 1, 1), std::vector<unsigned int>{2});
    EXPECT_EQ(adjacent(*selection, 2, 0), std::vector<unsigned int>{1});
    // Steps out of the box give nothing.
    EXPECT_EQ(adjacent(*selection, 0, 0), std::vector<unsigned int>{});
    EXPECT_EQ(adjacent(*selection, 0, 4), std::vector<unsigned int>{});
    EXPECT_EQ(adjacent(*selection, 0, 5), std::vector<unsigned int>{});
}

TEST(ReservoirSelection, NoFlagsGiveAnEmptyList) {
    auto box3 = std::make_shared<ReservoirTopology>(2, 1, 1);
    box3->set_lateral_connections(array1<CellPair>({{{0, 1}}}));
    auto selection = select(box3, {1, 1});
    EXPECT_EQ(adjacent(*selection, 0, 1, 0), std::vector<unsigned int>{});
    EXPECT_EQ(adjacent(*selection, 0, 1, 8), std::vector<unsigned int>{});
    EXPECT_EQ(adjacent(*selection, 0, 1, 1), std::vector<unsigned int>{1});
    EXPECT_EQ(adjacent(*selection, 0, 1, 2), std::vector<unsigned int>{1});
    EXPECT_EQ(adjacent(*selection, 0, 1, 3), (std::vector<unsigned int>{1, 1}));
    EXPECT_EQ(adjacent(*selection, 1, 0, 2), std::vector<unsigned int>{0});
}

TEST(ReservoirSelection, LateralPairWithAnUnselectedEndAddsNothing) {
    auto original = std::make_shared<ReservoirTopology>(3, 1, 1);
    original->set_lateral_connections(array1<CellPair>({{{0, 1}}, {{1, 2}}}));
    auto selection = select(original, {1, 0, 1});
    EXPECT_TRUE(selection->has_lateral_connections());
    EXPECT_EQ(selection->lateral_connections().size(), 0u);
    EXPECT_EQ(adjacent(*selection, 0, 1, 2), std::vector<unsigned int>{});
    EXPECT_EQ(adjacent(*selection, 1, 0, 2), std::vector<unsigned int>{});
    EXPECT_TRUE(selection->connection_hash().packed().empty());
}

TEST(ReservoirSelection, PairTwoApartIsStoredOnFaceSixAndNeverFound) {
    auto original = std::make_shared<ReservoirTopology>(3, 1, 1);
    original->set_lateral_connections(array1<CellPair>({{{0, 2}}}));
    auto selection = select(original, {1, 1, 1});
    ASSERT_EQ(selection->lateral_connections().size(), 1u);
    EXPECT_EQ(selection->lateral_connections()[0], (CellPair{{0, 2}}));
    const auto run = selection->connection_hash().find(ostrel::core::ListHash::make_key(0, 6));
    EXPECT_EQ(std::vector<unsigned int>(run.begin, run.end), std::vector<unsigned int>{2});
    const auto back = selection->connection_hash().find(ostrel::core::ListHash::make_key(2, 7));
    EXPECT_EQ(std::vector<unsigned int>(back.begin, back.end), std::vector<unsigned int>{0});
    for (unsigned int face = 0; face < 6; ++face) {
        EXPECT_EQ(adjacent(*selection, 0, face, 6).size(), 0u) << face;
        EXPECT_EQ(adjacent(*selection, 2, face, 6).size(), 0u) << face;
    }
}

TEST(ReservoirSelection, ConnectionsAreFoundOnTheirFaces) {
    // 2 x 2 x 2; lateral (0,0,0)-(0,1,0) across +J, vertical (1,0,0)-(1,0,1) across +K, and a
    // fault pair across -I given in the other order.
    auto original = std::make_shared<ReservoirTopology>(2, 2, 2);
    original->set_lateral_connections(array1<CellPair>({{{0, 2}}, {{5, 4}}}));
    original->set_vertical_connections(array1<CellPair>({{{5, 1}}}));
    auto selection = select(original, {1, 1, 1, 0, 1, 1, 0, 0});
    // Selected numbers: flat 0 1 2 4 5 -> 0 1 2 3 4.
    ASSERT_EQ(selection->number_of_cells(), 5u);
    EXPECT_EQ(adjacent(*selection, 0, 3, 2), std::vector<unsigned int>{2});
    EXPECT_EQ(adjacent(*selection, 2, 2, 2), std::vector<unsigned int>{0});
    EXPECT_EQ(adjacent(*selection, 4, 0, 2), std::vector<unsigned int>{3});
    EXPECT_EQ(adjacent(*selection, 3, 1, 2), std::vector<unsigned int>{4});
    EXPECT_EQ(adjacent(*selection, 4, 4, 4), std::vector<unsigned int>{1});
    EXPECT_EQ(adjacent(*selection, 1, 5, 4), std::vector<unsigned int>{4});
    EXPECT_EQ(adjacent(*selection, 1, 5, 2), std::vector<unsigned int>{});
    EXPECT_EQ(adjacent(*selection, 1, 5, 5), (std::vector<unsigned int>{4, 4}));
    EXPECT_EQ(selection->vertical_connections()[0], (CellPair{{4, 1}}));
    // Neighbour masks speak of plain neighbours only.
    EXPECT_EQ(selection->neighbour_mask(1), 2 * 0 + 1 + 32);
}

TEST(ReservoirSelection, SharedVerticesListTheirCellCorners) {
    auto original = std::make_shared<ReservoirTopology>(2, 1, 1);
    Array<CellCorners, 3> corners(std::make_shared<VectorArrayImpl<CellCorners>>(2u), box(2, 1, 1));
    corners[0] = CellCorners{{0, 1, 2, 3, 4, 5, 6, 7}};
    corners[1] = CellCorners{{1, 8, 3, 9, 5, 10, 7, 11}};
    original->set_shared_vertices(corners);
    auto selection = select(original, {1, 1});
    ASSERT_TRUE(selection->has_shared_vertices());
    EXPECT_EQ(selection->shared_vertex_count(), 12u);
    auto cells_of = [&](unsigned int p_vertex) {
        const auto run = selection->vertex_cells(p_vertex);
        return std::vector<unsigned int>(run.begin, run.end);
    };
    EXPECT_EQ(cells_of(0), std::vector<unsigned int>{0});
    EXPECT_EQ(cells_of(1), (std::vector<unsigned int>{1, 8}));
    EXPECT_EQ(cells_of(7), (std::vector<unsigned int>{7, 14}));
    EXPECT_EQ(cells_of(11), std::vector<unsigned int>{15});
    EXPECT_EQ(selection->cell_corners()[1], corners[1]);
    // Only cell 1 selected: vertices of cell 0 alone have empty lists.
    auto one = select(original, {0, 1});
    EXPECT_EQ(one->shared_vertex_count(), 12u);
    const auto empty = one->vertex_cells(0);
    EXPECT_TRUE(empty.empty());
    const auto shared = one->vertex_cells(1);
    EXPECT_EQ(std::vector<unsigned int>(shared.begin, shared.end), std::vector<unsigned int>{0});
}

TEST(ReservoirSelection, SharedVerticesNeedTheOriginalsInformation) {
    auto selection = select(std::make_shared<ReservoirTopology>(2, 1, 1), {1, 1});
    EXPECT_FALSE(selection->has_shared_vertices());
    EXPECT_TRUE(FailsPrecondition([&] { selection->build_shared_vertices(); },
                                  "this->s_topology->has_shared_vertex_information()",
                                  "Must have shared vertex information in the original topology "
                                  "to bring it to the selection.",
                                  selection_file));
}

TEST(ReservoirSelection, ActivesAnswerForHandle3Only) {
    auto selection = select(std::make_shared<ReservoirTopology>(2, 1, 1), {0, 3});
    auto actives = selection->actives();
    EXPECT_FALSE(actives->value(Handle3{{0, 0, 0}}));
    EXPECT_TRUE(actives->value(Handle3{{1, 0, 0}}));
    EXPECT_EQ(actives->accepted_handles(), 4u);
    EXPECT_EQ(actives->number_of_elements(), 0u);
    EXPECT_TRUE(FailsPrecondition([&] { actives->value(Handle1(0)); },
                                  "accepts<HandleType_>::value",
                                  wrong_handle_message("0", "Handle1", "Handle3"), gen_file));
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            actives->set_float64(Handle3{{0, 0, 0}}, 1.0);
        },
        "0", "Can't set values on this grid function, because is not Writable!", gen_file));
}

TEST(ReservoirSelection, KeepsItsOriginalAlive) {
    std::weak_ptr<ReservoirTopology> watch;
    std::shared_ptr<ReservoirSelectionTopology> selection;
    {
        auto original = std::make_shared<ReservoirTopology>(2, 1, 1);
        watch = original;
        selection = select(original, {1, 1});
    }
    EXPECT_FALSE(watch.expired());
    EXPECT_EQ(selection->topology().get(), watch.lock().get());
    selection.reset();
    EXPECT_TRUE(watch.expired());
}

TEST(ReservoirSelection, BuildersAreRetiredAfterConstruction) {
    auto original = std::make_shared<ReservoirTopology>(2, 2, 1);
    const long before = ostrel::core::ListHash::live_builder_count();
    auto selection = select(original, {1, 1, 1, 1});
    EXPECT_EQ(ostrel::core::ListHash::live_builder_count(), before);
    EXPECT_TRUE(selection->connection_hash().built());
}

TEST(ReservoirSelection, ElementQueriesAreNotImplemented) {
    auto selection = select(std::make_shared<ReservoirTopology>(1, 1, 1), {1});
    HandleCollection elements;
    struct AnyCell : CellPredicate {
        bool operator()(const AnyHandle&) const override { return true; }
    };
    EXPECT_TRUE(FailsAvailability(
        [&] {
            selection->get_elements_on(onCell, AnyHandle(Handle1(0)), onVertex, AnyCell(),
                                       elements);
        },
        "ReservoirSelectionTopology::do_get_elements_on", " is not implemented yet for ",
        "ostrel::varnok::ReservoirSelectionTopology", "", selection_file));
}

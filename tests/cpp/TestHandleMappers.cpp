#include <gtest/gtest.h>

#include "GridFunctionTesting.h"
#include "core/mapper/SelectionMappers.h"
#include "varnok/topology/ReservoirSelectionTopology.h"

using namespace gf_testing;
using ostrel::varnok::ReservoirSelectionTopology;
using ostrel::varnok::ReservoirTopology;

namespace {

const char* const unknown = "Mapper don't know how to map, etc, etc, etc";
const char* const mapper_file = "core/mapper/IHandleMapper";

// 2 x 2 x 1 with cell (1, 1, 0) unselected.
std::shared_ptr<ReservoirSelectionTopology> three_of_four() {
    auto topology = std::make_shared<ReservoirTopology>(2, 2, 1);
    ArrayGridFunction<unsigned char, 3> flags(array3<unsigned char>(box(2, 2, 1), {1, 1, 1, 0}));
    return std::make_shared<ReservoirSelectionTopology>(topology.get(), topology, flags);
}

}  // namespace

TEST(HandleMappers, PassGivesEachShapeBackAndKnowsNothingElse) {
    PassHandleMapper pass;
    const IHandleMapper& mapper = pass;
    EXPECT_EQ(mapper.map_handle(Handle1(7), handle_type_of<Handle1>()), 7u);
    EXPECT_EQ(mapper.map_handle(Handle2{{3, 4}}, handle_type_of<Handle2>()), (Handle2{{3, 4}}));
    EXPECT_EQ(mapper.map_handle(Handle3{{1, 2, 3}}, handle_type_of<Handle3>()),
              (Handle3{{1, 2, 3}}));
    EXPECT_EQ(mapper.map_handle(Handle4{{1, 2, 3, 7}}, handle_type_of<Handle4>()),
              (Handle4{{1, 2, 3, 7}}));
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            mapper.map_handle(Handle3{{1, 2, 3}}, handle_type_of<Handle1>());
        },
        "0", unknown, mapper_file));
    EXPECT_TRUE(FailsPrecondition([&] { mapper.map_handle(Handle1(0), handle_type_of<Handle4>()); },
                                  "0", unknown, mapper_file));
    EXPECT_EQ(mapper.map_any(AnyHandle(Handle3{{4, 5, 6}}), htHandle3).get<Handle3>(),
              (Handle3{{4, 5, 6}}));
}

TEST(HandleMappers, UnselectedCellMapsToTheMarkerAndNumbersMapBack) {
    auto selection = three_of_four();
    const IHandleMapper& to_selection = selection->original_to_selection();
    const IHandleMapper& to_original = selection->selection_to_original();
    EXPECT_EQ(to_selection.map_handle(Handle3{{1, 1, 0}}, handle_type_of<Handle1>()), 4294967295u);
    EXPECT_EQ(to_selection.map_handle(Handle3{{0, 1, 0}}, handle_type_of<Handle1>()), 2u);
    EXPECT_EQ(to_selection.map_handle(Handle1(3), handle_type_of<Handle1>()), 4294967295u);
    EXPECT_EQ(to_original.map_handle(Handle1(2), handle_type_of<Handle3>()), (Handle3{{0, 1, 0}}));
    EXPECT_EQ(to_original.map_handle(Handle1(2), handle_type_of<Handle1>()), 2u);
    EXPECT_TRUE(
        FailsPrecondition([&] { to_selection.map_handle(Handle1(0), handle_type_of<Handle3>()); },
                          "0", unknown, mapper_file));
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            to_original.map_handle(Handle3{{0, 0, 0}}, handle_type_of<Handle1>());
        },
        "0", unknown, mapper_file));
}

TEST(HandleMappers, OriginalToSelectionAndBackIsTheIdentity) {
    auto topology = std::make_shared<ReservoirTopology>(4, 3, 2);
    std::vector<unsigned char> values(24);
    for (std::size_t n = 0; n < values.size(); ++n) values[n] = (n * 7) % 3 != 0;
    ArrayGridFunction<unsigned char, 3> flags(array3<unsigned char>(box(4, 3, 2), values));
    ReservoirSelectionTopology selection(topology.get(), topology, flags);
    const auto& to_selection = selection.original_to_selection();
    const auto& to_original = selection.selection_to_original();
    ASSERT_GT(selection.number_of_cells(), 0u);
    for (Handle1 cell = 0; cell < selection.number_of_cells(); ++cell) {
        const Handle3 ijk = to_original.map_handle(cell, handle_type_of<Handle3>());
        EXPECT_EQ(to_selection.map_handle(ijk, handle_type_of<Handle1>()), cell);
        const Handle1 flat = to_original.map_handle(cell, handle_type_of<Handle1>());
        EXPECT_EQ(to_selection.map_handle(flat, handle_type_of<Handle1>()), cell);
    }
}

TEST(HandleMappers, LocalMappersCarryCorners) {
    auto selection = three_of_four();
    const IHandleMapper& to_selection = selection->original_to_selection_set().local_mapper(0);
    const IHandleMapper& to_original = selection->selection_to_original_set().local_mapper(2);
    EXPECT_EQ(to_selection.map_handle(Handle4{{1, 0, 0, 6}}, handle_type_of<Handle2>()),
              (Handle2{{1, 6}}));
    EXPECT_EQ(to_original.map_handle(Handle2{{2, 5}}, handle_type_of<Handle4>()),
              (Handle4{{0, 1, 0, 5}}));
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            to_selection.map_handle(Handle3{{0, 0, 0}}, handle_type_of<Handle1>());
        },
        "0", unknown, mapper_file));
}

TEST(HandleMappers, Handle2ToHandle2IsDeclaredButNotImplemented) {
    auto selection = three_of_four();
    const auto& local = selection->original_to_selection_set().local_mapper(1);
    const IHandleMapper& to_selection = local;
    EXPECT_TRUE(FailsAvailability(
        [&] {
            to_selection.map_handle(Handle2{{0, 0}}, handle_type_of<Handle2>());
        },
        "map", " is not implemented yet for ", local.type_name(), "",
        "core/mapper/SelectionMappers"));
    const auto& back = selection->selection_to_original_set().local_mapper(0);
    const IHandleMapper& to_original = back;
    EXPECT_TRUE(FailsAvailability(
        [&] {
            to_original.map_handle(Handle2{{0, 0}}, handle_type_of<Handle2>());
        },
        "map", " is not implemented yet for ", back.type_name(), "",
        "core/mapper/SelectionMappers"));
}

TEST(HandleMappers, AllFourMappersOfASetShareOneArray) {
    auto selection = three_of_four();
    const auto& set = selection->original_to_selection_set();
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_TRUE(set.local_mapper(i).held_array().implementation() ==
                    set.cell_mapper().held_array().implementation());
    }
    const auto& back = selection->selection_to_original_set();
    EXPECT_EQ(back.local_mapper(1).box_shape(), box(2, 2, 1));
    // A set assigned from another takes over name, location and the shared arrays.
    ostrel::core::OriginalToSelectionMapperSet<3> copy;
    auto& source = const_cast<ostrel::core::OriginalToSelectionMapperSet<3>&>(set);
    source.cell_mapper().set_name("cells");
    copy.assign(source);
    EXPECT_EQ(copy.cell_mapper().name(), "cells");
    EXPECT_TRUE(copy.second_local_mapper().held_array().implementation() ==
                set.local_mapper(1).held_array().implementation());
    // Mappers are grid functions over their arrays.
    EXPECT_EQ(set.cell_mapper().value(Handle3{{1, 0, 0}}), 1u);
    EXPECT_EQ(back.cell_mapper().value(Handle1(1)), (Handle3{{1, 0, 0}}));
}

#include <gtest/gtest.h>

#include <vector>

#include "GridFunctionTesting.h"
#include "varnok/topology/ReservoirSelectionTopology.h"

using namespace gf_testing;
using ostrel::mtm::RigidVector;
using ostrel::varnok::ReservoirSelectionTopology;
using ostrel::varnok::ReservoirTopology;

namespace {

using RV6d = RigidVector<6, double>;
const char* const histogram_file = "core/algorithm/CreateHistogram";

// A function known only through its typed interface: 6-tuples, the same everywhere.
struct SixImpl {
    using value_type = RV6d;
    using read_type = RV6d;
    using write_type = RV6d;
    using acceptable_handles = GenAcceptableHandlesTrait<Handle1, void, Handle3, void>;
    static constexpr bool holds_array = false;
    template <class H>
    RV6d get(const H&) const {
        return RV6d{{1, 2, 3, 4, 5, 6}};
    }
    unsigned int element_count() const { return 4294967295u; }
};
using SixFunction = GridFunction<SixImpl>;

const IArrayImplFactory& factory() { return *default_array_factory(); }

std::vector<double> values_of(const std::shared_ptr<IArray>& p_array) {
    const auto& typed = dynamic_cast<const Array<double, 1>&>(*p_array);
    return std::vector<double>(typed.begin(), typed.end());
}

std::shared_ptr<ReservoirSelectionTopology> select(const std::shared_ptr<ReservoirTopology>& p_box,
                                                   const std::vector<unsigned char>& p_flags) {
    ArrayGridFunction<unsigned char, 3> flags(array3<unsigned char>(p_box->shape(), p_flags));
    return std::make_shared<ReservoirSelectionTopology>(p_box.get(), p_box, flags);
}

}  // namespace

TEST(CreateArray, SameFactorySharesTheFunctionsStorage) {
    ReservoirTopology topology(2, 1, 1);
    ArrayGridFunction<float, 3> function(array3<float>(box(2, 1, 1), {1.0f, 2.0f}));
    std::shared_ptr<IArray> result = topology.create_array(function, factory());
    auto& typed = dynamic_cast<Array<float, 3>&>(*result);
    EXPECT_TRUE(typed.implementation() == function.held_array().implementation());
    typed(1, 0, 0) = 20.0f;
    EXPECT_EQ(function.value(Handle1(1)), 20.0f);
}

TEST(CreateArray, AnotherFactoryCopiesInCellOrder) {
    ReservoirTopology topology(2, 2, 1);
    ArrayGridFunction<int, 3> function(array3<int>(box(2, 2, 1), {1, 2, 3, 4}));
    CountingFactory counting;
    std::shared_ptr<IArray> result = topology.create_array(function, counting);
    EXPECT_EQ(counting.made, 1);
    auto& typed = dynamic_cast<Array<int, 3>&>(*result);
    EXPECT_FALSE(typed.implementation() == function.held_array().implementation());
    EXPECT_EQ(typed.extents(), box(2, 2, 1));
    EXPECT_EQ(std::vector<int>(typed.begin(), typed.end()), (std::vector<int>{1, 2, 3, 4}));
    typed[0] = 10;
    EXPECT_EQ(function.value(Handle1(0)), 1);
    // Copying needs the function on cells.
    function.set_location(onVertex);
    EXPECT_TRUE(FailsAvailability([&] { topology.create_array(function, counting); },
                                  "create_array", " is not available for ", function.type_name(),
                                  "", "varnok/topology/ReservoirTopology"));
}

TEST(CreateArray, InterfaceOnlyFunctionsAreReadValueByValue) {
    ReservoirTopology topology(2, 1, 2);
    std::shared_ptr<IArray> result = topology.create_array(AlwaysOneGridFunction(), factory());
    auto& typed = dynamic_cast<Array<int, 3>&>(*result);
    EXPECT_EQ(typed.extents(), box(2, 1, 2));
    EXPECT_EQ(std::vector<int>(typed.begin(), typed.end()), (std::vector<int>{1, 1, 1, 1}));
    AlwaysOneGridFunction on_vertices;
    on_vertices.set_location(onVertex);
    EXPECT_TRUE(FailsAvailability([&] { topology.create_array(on_vertices, factory()); },
                                  "create_array_by_values", " is not available for ",
                                  on_vertices.type_name(), "",
                                  "varnok/topology/ReservoirTopology"));
}

TEST(CreateArray, UnregisteredTypesFail) {
    ReservoirTopology topology(1, 1, 1);
    GridFunction<ArrayGridFunctionImpl<Array<long long, 3>>, PassHandleMapper, ostrel::is::Writable>
        wide(array3<long long>(box(1, 1, 1), {5}));
    EXPECT_TRUE(FailsPrecondition([&] { topology.create_array(wide, factory()); }, "0",
                                  "Can not convert this grid function, because there is no "
                                  "conversion registered for its type: " +
                                      wide.type_name() + "\n",
                                  "varnok/topology/ReservoirTopology"));
    // bool is no typed interface of the chains: the constant true function has no conversion.
    ConstantTrueGridFunction always;
    EXPECT_TRUE(FailsPrecondition([&] { topology.create_array(always, factory()); }, "0",
                                  "Can not convert this grid function, because there is no "
                                  "conversion registered for its type: " +
                                      always.type_name() + "\n",
                                  "varnok/topology/ReservoirTopology"));
}

TEST(CreateArray, SixTuplesFailInTheFactory) {
    ReservoirTopology topology(1, 1, 1);
    EXPECT_TRUE(FailsPrecondition(
        [&] { topology.create_array(SixFunction(), factory()); }, "0",
        "FromVectorArrayFactory: Can not create array whose element has this shape: [6, 1]",
        "core/array/VectorArrayImplFactory"));
    auto selection = select(std::make_shared<ReservoirTopology>(1, 1, 1), {1});
    EXPECT_TRUE(FailsPrecondition(
        [&] { selection->create_array(SixFunction(), factory()); }, "0",
        "FromVectorArrayFactory: Can not create array whose element has this shape: [6, 1]",
        "core/array/VectorArrayImplFactory"));
}

TEST(CreateArray, SelectionReadsViewsThroughItsCellMap) {
    auto original = std::make_shared<ReservoirTopology>(3, 2, 1);
    auto selection = select(original, {1, 0, 1, 0, 1, 1});
    auto property = std::make_shared<ArrayGridFunction<short, 3>>(
        array3<short>(box(3, 2, 1), {10, 11, 12, 13, 14, 15}));
    ViewGridFunction<short> view(property, selection->selection_to_original().held_array(),
                                 selection->shape());
    EXPECT_EQ(view.accepted_handles(), 1u);
    EXPECT_EQ(view.number_of_elements(), 4u);
    std::shared_ptr<IArray> result = selection->create_array(view, factory());
    auto& typed = dynamic_cast<Array<short, 1>&>(*result);
    EXPECT_EQ(std::vector<short>(typed.begin(), typed.end()), (std::vector<short>{10, 12, 14, 15}));
    // Views are read on cells only.
    view.set_location(onVertex);
    EXPECT_TRUE(FailsAvailability([&] { selection->create_array(view, factory()); },
                                  "create_array_of_view", " is not available for ",
                                  view.type_name(), "",
                                  "varnok/topology/ReservoirSelectionTopology"));
    // A view of long long has its own place in the chain.
    auto wide = std::make_shared<GridFunction<ArrayGridFunctionImpl<Array<long long, 3>>,
                                              PassHandleMapper, ostrel::is::Writable>>(
        array3<long long>(box(3, 2, 1), {0, 1, 2, 3, 4, 5}));
    ViewGridFunction<long long> wide_view(wide, selection->selection_to_original().held_array(),
                                          selection->shape());
    std::shared_ptr<IArray> wide_result = selection->create_array(wide_view, factory());
    auto& longs = dynamic_cast<Array<long long, 1>&>(*wide_result);
    EXPECT_EQ(std::vector<long long>(longs.begin(), longs.end()),
              (std::vector<long long>{0, 2, 4, 5}));
}

TEST(CreateArray, SelectionSharesRank1ArraysAndCopiesOnAnotherFactory) {
    auto selection = select(std::make_shared<ReservoirTopology>(2, 1, 1), {1, 1});
    ArrayGridFunction<unsigned short, 1> function(array1<unsigned short>({7, 8}));
    auto same = selection->create_array(function, factory());
    EXPECT_TRUE(same->implementation() == function.held_array().implementation());
    CountingFactory counting;
    auto copied = selection->create_array(function, counting);
    EXPECT_FALSE(copied->implementation() == function.held_array().implementation());
    auto& typed = dynamic_cast<Array<unsigned short, 1>&>(*copied);
    EXPECT_EQ(std::vector<unsigned short>(typed.begin(), typed.end()),
              (std::vector<unsigned short>{7, 8}));
    // The mapper functions are array functions too: original numbers by selected cell.
    auto one = selection->create_array(AlwaysOneGridFunction(), factory());
    EXPECT_EQ(one->size(), 2u);
    EXPECT_EQ((dynamic_cast<Array<int, 1>&>(*one).shape()), ArrayShape::flat(2));
}

TEST(CreateHistogram, TopEdgeFollowsTheClosedFlag) {
    ReservoirTopology topology(3, 1, 1);
    ArrayGridFunction<double, 3> function(array3<double>(box(3, 1, 1), {0.0, 5.0, 10.0}));
    AlwaysOneGridFunction one;
    EXPECT_EQ(values_of(topology.create_histogram(function, 0, 10, 2, one, factory(), true)),
              (std::vector<double>{0, 1, 2, 0}));
    EXPECT_EQ(values_of(topology.create_histogram(function, 0, 10, 2, one, factory(), false)),
              (std::vector<double>{0, 1, 1, 1}));
    // Through the function's own operation.
    EXPECT_EQ(values_of(function.create_histogram(topology, 0, 10, 2, one, factory(), true)),
              (std::vector<double>{0, 1, 2, 0}));
}

TEST(CreateHistogram, FourUnitBinsWithWeights) {
    ReservoirTopology topology(4, 1, 1);
    ArrayGridFunction<double, 3> function(array3<double>(box(4, 1, 1), {3.999, 0.0, -1.0, 4.0}));
    ArrayGridFunction<float, 3> weight(array3<float>(box(4, 1, 1), {0.5f, 2.0f, 3.0f, 4.0f}));
    EXPECT_EQ(values_of(topology.create_histogram(function, 0, 4, 4, weight, factory(), false)),
              (std::vector<double>{3, 2, 0, 0, 0.5, 4}));
    // A float64 weight in the box's cell order is read by cell number: the same sums.
    ArrayGridFunction<double, 3> doubles(array3<double>(box(4, 1, 1), {0.5, 2.0, 3.0, 4.0}));
    EXPECT_EQ(values_of(topology.create_histogram(function, 0, 4, 4, doubles, factory(), false)),
              (std::vector<double>{3, 2, 0, 0, 0.5, 4}));
    // A weight of another shape is read by (i, j, k).
    ArrayGridFunction<double, 3> wider(array3<double>(box(5, 1, 1), {0.5, 2.0, 3.0, 4.0, 100.0}));
    EXPECT_EQ(values_of(topology.create_histogram(function, 0, 4, 4, wider, factory(), false)),
              (std::vector<double>{3, 2, 0, 0, 0.5, 4}));
    // On corners the same function fails at the first handle.
    ArrayGridFunction<double, 3> on_corners(array3<double>(box(4, 1, 1), {0, 0, 0, 0}));
    on_corners.set_location(onVertex);
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            topology.create_histogram(on_corners, 0, 4, 4, AlwaysOneGridFunction(), factory(),
                                      false);
        },
        "accepts<HandleType_>::value",
        wrong_handle_message("[0, 0, 0, 0]", "Handle4", "Handle1, Handle3"), gen_file));
}

TEST(CreateHistogram, SelectionsCountTheirCellsAndCorners) {
    auto selection = select(std::make_shared<ReservoirTopology>(2, 2, 1), {1, 0, 1, 1});
    ArrayGridFunction<int, 1> function(array1<int>({1, 2, 2}));
    AlwaysOneGridFunction one;
    EXPECT_EQ(values_of(selection->create_histogram(function, 0, 3, 3, one, factory(), false)),
              (std::vector<double>{0, 0, 1, 2, 0}));
    AlwaysOneGridFunction on_corners;
    on_corners.set_location(onVertex);
    EXPECT_EQ(values_of(selection->create_histogram(on_corners, 0, 2, 2, one, factory(), false)),
              (std::vector<double>{0, 0, 24, 0}));
    // A rank-1 function on a box is in the chain, but reads Handle3: it fails at the first cell.
    ReservoirTopology topology(2, 1, 1);
    ArrayGridFunction<int, 1> flat(array1<int>({1, 2}));
    EXPECT_TRUE(
        FailsPrecondition([&] { topology.create_histogram(flat, 0, 3, 3, one, factory(), false); },
                          "accepts<HandleType_>::value",
                          wrong_handle_message("[0, 0, 0]", "Handle3", "Handle1"), gen_file));
    ReservoirTopology empty(2, 1, 0);
    EXPECT_EQ(values_of(empty.create_histogram(flat, 0, 3, 3, one, factory(), false)),
              (std::vector<double>{0, 0, 0, 0, 0}));
}

TEST(CreateHistogram, ZeroBinsFailBeforeAnythingElse) {
    ReservoirTopology topology(1, 1, 1);
    CountingFactory counting;
    ConstantTrueGridFunction unregistered;
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            topology.create_histogram(unregistered, 0, 1, 0, AlwaysOneGridFunction(), counting,
                                      false);
        },
        "p_bins >= 1", "Must have at least 1 bin for histogram.", histogram_file));
    EXPECT_EQ(counting.made, 0);
}

TEST(CreateHistogram, OtherLocationsFailAfterTheResultIsMade) {
    ReservoirTopology topology(1, 1, 1);
    AlwaysOneGridFunction function;
    function.set_location(onLocation2);
    CountingFactory counting;
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            topology.create_histogram(function, 0, 1, 1, AlwaysOneGridFunction(), counting, false);
        },
        "0", "Grid function location not supported on create_histogram.", histogram_file));
    EXPECT_EQ(counting.made, 1);
}

TEST(CreateHistogram, WeightsMustShareTheLocation) {
    ReservoirTopology topology(1, 1, 1);
    ArrayGridFunction<double, 3> function(array3<double>(box(1, 1, 1), {0.5}));
    ArrayGridFunction<double, 3> weight(array3<double>(box(1, 1, 1), {2.0}));
    weight.set_location(onVertex);
    EXPECT_TRUE(FailsPrecondition(
        [&] { topology.create_histogram(function, 0, 1, 1, weight, factory(), false); },
        "typeid(p_weight) == typeid(AlwaysOneGridFunction) || p_weight.location() == onCell",
        "Weight grid function location must be the same as of the main grid function location "
        "(onCell).",
        histogram_file));
    AlwaysOneGridFunction on_corners;
    on_corners.set_location(onVertex);
    ConstantTrueGridFunction cell_weight;
    EXPECT_TRUE(FailsPrecondition(
        [&] { topology.create_histogram(on_corners, 0, 2, 1, cell_weight, factory(), false); },
        "typeid(p_weight) == typeid(AlwaysOneGridFunction) || p_weight.location() == onVertex",
        "Weight grid function location must be the same as of the main grid function location "
        "(onVertex).",
        histogram_file));
    // The same location is fine; the plain count ignores the location of its weight.
    weight.set_location(onCell);
    EXPECT_EQ(values_of(topology.create_histogram(function, 0, 1, 1, weight, factory(), false)),
              (std::vector<double>{0, 2, 0}));
}

TEST(CreateHistogram, UnregisteredTypesFail) {
    ReservoirTopology topology(1, 1, 1);
    ConstantTrueGridFunction always;
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            topology.create_histogram(always, 0, 1, 1, AlwaysOneGridFunction(), factory(), false);
        },
        "0",
        "Can not convert this grid function, because there is no conversion registered for its "
        "type: " +
            always.type_name() + "\n",
        "varnok/topology/ReservoirTopology"));
}

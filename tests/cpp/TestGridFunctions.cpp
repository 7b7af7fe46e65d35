#include <gtest/gtest.h>

#include <sstream>

#include "GridFunctionTesting.h"

using namespace gf_testing;
using ostrel::mtm::RigidVector;

namespace {

using RV3d = RigidVector<3, double>;

std::string type_text(const std::type_info& p_type) { return demangled_type_name(p_type.name()); }

}  // namespace

TEST(GridFunctionInterfaces, InfiniteDomainPrintsInfinity) {
    AlwaysOneGridFunction one;
    EXPECT_EQ(one.number_of_elements(), 4294967295u);
    const std::string text = one.to_string();
    EXPECT_NE(text.find("  Number of Elements: (infinity)\n"), std::string::npos) << text;
}

TEST(GridFunctionInterfaces, DescriptionLines) {
    ArrayGridFunction<unsigned int, 3> function(array3<unsigned int>(box(2, 1, 1), {1, 2}));
    function.set_name("numbers");
    std::ostringstream stream;
    function.describe(stream, "> ", "ignored");
    const std::string text = stream.str();
    EXPECT_EQ(text.rfind("> GridFunction\n> ", 0), 0u) << text;
    EXPECT_NE(text.find("> GridFunction\n>   Name: \"numbers\"\n"), std::string::npos) << text;
    EXPECT_NE(text.find(">   Information: <null>\n"
                        ">   Accepted Handles: Handle1, Handle3\n"
                        ">   Location: 1\n"
                        ">   Result Scalar Type: uint32\n"
                        ">   Result Shape: [1, 1]\n"
                        ">   Number of Elements: 2\n"),
              std::string::npos)
        << text;
    ArrayGridFunction<RV3d, 1> tuples(array1<RV3d>({RV3d{{1, 2, 3}}}));
    EXPECT_NE(tuples.to_string().find("  Result Scalar Type: float64\n  Result Shape: [3, 1]\n"),
              std::string::npos);
}

TEST(GridFunctionInterfaces, CopySharesDeepCopyDoesNot) {
    auto function =
        std::make_shared<ArrayGridFunction<double, 3>>(array3<double>(box(2, 1, 1), {1.5, 2.5}));
    const IGridFunction& untyped = *function;
    std::shared_ptr<IGridFunction> shared = untyped.copy();
    std::shared_ptr<IGridFunction> deep = untyped.deep_copy();
    EXPECT_EQ(typeid(*shared), typeid(ArrayGridFunction<double, 3>));
    EXPECT_EQ(typeid(*deep), typeid(ArrayGridFunction<double, 3>));
    function->set_float64(Handle1(0), 7.0);
    EXPECT_EQ(shared->as_float64(Handle1(0)), 7.0);
    EXPECT_EQ(deep->as_float64(Handle1(0)), 1.5);
    deep->set_float64(Handle1(1), -1.0);
    EXPECT_EQ(function->value(Handle1(1)), 2.5);
    EXPECT_EQ(typeid(*untyped.create_empty()), typeid(ArrayGridFunction<double, 3>));
    EXPECT_FALSE(untyped.create_empty()->array()->implementation());
}

TEST(GridFunctionInterfaces, Float64AtHandle3IsTheValueWidened) {
    ArrayGridFunction<float, 3> function(array3<float>(box(2, 2, 1), {0.1f, 0.2f, 0.3f, 0.4f}));
    const Handle3 cell{{1, 1, 0}};
    EXPECT_EQ(function.as_float64(cell), static_cast<double>(function.value(cell)));
    EXPECT_EQ(function.as_float64(cell), static_cast<double>(0.4f));
    EXPECT_EQ(function.value(Handle3{{0, 1, 0}}), 0.3f);
}

TEST(GridFunctionInterfaces, ScalarRecordsCarryTypeAndValue) {
    ArrayGridFunction<short, 1> function(array1<short>({-4, 9}));
    const IGridFunction& untyped = function;
    const GenericScalarValue scalar = untyped.scalar_value(Handle1(1));
    EXPECT_EQ(scalar.type(), stInt16);
    EXPECT_EQ(scalar.get<short>(), 9);
    const GenericTupleValue tuple = untyped.tuple_value(Handle1(0));
    EXPECT_EQ(tuple.type(), stInt16);
    EXPECT_EQ(tuple.extent(0), 1u);
    EXPECT_EQ(tuple.extent(1), 1u);
    EXPECT_EQ(tuple.component<short>(0), -4);
    EXPECT_EQ(untyped.result_scalar_type(), stInt16);
    EXPECT_EQ(untyped.result_shape(), (ElementShape{{1, 1}}));
}

TEST(GridFunctionInterfaces, TupleRecordsAndTheScalarRefusal) {
    ArrayGridFunction<RV3d, 1> function(array1<RV3d>({RV3d{{1, 2, 3}}}));
    const IGridFunction& untyped = function;
    const GenericTupleValue tuple = untyped.tuple_value(Handle1(0));
    EXPECT_EQ(tuple.type(), stFloat64);
    EXPECT_EQ(tuple.extent(0), 3u);
    EXPECT_EQ(tuple.component<double>(2), 3.0);
    EXPECT_EQ(untyped.result_shape(), (ElementShape{{3, 1}}));
    EXPECT_TRUE(FailsPrecondition(
        [&] { untyped.scalar_value(Handle1(0)); }, "0",
        "Cannot convert object of type " + type_text(typeid(RV3d)) + " to a scalar.",
        "core/grid_function/ITypeGridFunction"));
}

TEST(GridFunctionInterfaces, NoFunctionChangesItsLocation) {
    AlwaysOneGridFunction one;
    EXPECT_TRUE(FailsAvailability([&] { one.change_location(onVertex); }, "do_change_location",
                                  " is not available for ", one.type_name(),
                                  "\nCan't change this GridFunction location.",
                                  "core/grid_function/IGridFunction"));
    EXPECT_EQ(one.location(), onCell);
}

TEST(GridFunctionComposition, Handle2OnARank3ArrayFails) {
    ArrayGridFunction<unsigned int, 3> function(array3<unsigned int>(box(2, 1, 1), {1, 2}));
    EXPECT_EQ(function.accepted_handles(), 5u);
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            function.value(Handle2{{0, 1}});
        },
        "accepts<HandleType_>::value",
        wrong_handle_message("[0, 1]", "Handle2", "Handle1, Handle3"), gen_file));
    // Each operation of a group fails alike.
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            function.as_int32(Handle2{{0, 1}});
        },
        "accepts<HandleType_>::value",
        wrong_handle_message("[0, 1]", "Handle2", "Handle1, Handle3"), gen_file));
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            function.set_float64(Handle4{{1, 0, 0, 7}}, 1.0);
        },
        "accepts<HandleType_>::value",
        wrong_handle_message("[1, 0, 0, 7]", "Handle4", "Handle1, Handle3"), gen_file));
    EXPECT_EQ(function.value(Handle1(1)), 2u);
}

TEST(GridFunctionComposition, UnsignedConvertsToDoubleAsUnsigned) {
    ArrayGridFunction<unsigned int, 1> function(array1<unsigned int>({4294967295u}));
    EXPECT_EQ(function.as_float64(Handle1(0)), 4294967295.0);
    EXPECT_TRUE(function.as_bool(Handle1(0)));
}

TEST(GridFunctionComposition, ConversionsOfScalars) {
    ArrayGridFunction<double, 1> function(array1<double>({-2.75, 0.0, 3.5}));
    EXPECT_EQ(function.as_int32(Handle1(0)), -2);
    EXPECT_EQ(function.as_int32(Handle1(2)), 3);
    EXPECT_FALSE(function.as_bool(Handle1(1)));
    EXPECT_TRUE(function.as_bool(Handle1(0)));
    function.set_float64(Handle1(1), 8.25);
    EXPECT_EQ(function.value(Handle1(1)), 8.25);
    ArrayGridFunction<int, 1> integers(array1<int>({0, 0}));
    integers.set_float64(Handle1(0), -3.9);
    integers.set_float64(Handle1(1), 3.9);
    EXPECT_EQ(integers.value(Handle1(0)), -3);
    EXPECT_EQ(integers.value(Handle1(1)), 3);
    ArrayGridFunction<bool, 1> flags(array1<bool>({false}));
    flags.set_float64(Handle1(0), 0.5);
    EXPECT_TRUE(flags.value(Handle1(0)));
}

TEST(GridFunctionComposition, TuplesConvertToNothing) {
    ArrayGridFunction<RV3d, 1> function(array1<RV3d>({RV3d{{1, 2, 3}}}));
    const std::string name = type_text(typeid(RV3d));
    EXPECT_TRUE(FailsPrecondition([&] { function.as_int32(Handle1(0)); }, "0",
                                  "Actual value_type (" + name + ") is not convertible to int32.",
                                  gen_file));
    EXPECT_TRUE(FailsPrecondition([&] { function.as_bool(Handle1(0)); }, "0",
                                  "Actual value_type (" + name + ") is not convertible to bool.",
                                  gen_file));
    EXPECT_TRUE(FailsPrecondition([&] { function.as_float64(Handle1(0)); }, "0",
                                  "Actual value_type (" + name + ") is not convertible to float64.",
                                  gen_file));
    EXPECT_TRUE(
        FailsPrecondition([&] { function.set_float64(Handle1(0), 1.0); }, "0",
                          "Actual value_type (" + name + ") is not convertible from float64.",
                          "core/grid_function/GenWritableGridFunction"));
    EXPECT_EQ(function.value(Handle1(0)), (RV3d{{1, 2, 3}}));
}

TEST(GridFunctionComposition, Rank1ArraysNeverAcceptHandle3) {
    ArrayGridFunction<int, 1> function(array1<int>({1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(function.accepted_handles(), 1u);
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            function.value(Handle3{{0, 0, 0}});
        },
        "accepts<HandleType_>::value", wrong_handle_message("[0, 0, 0]", "Handle3", "Handle1"),
        gen_file));
}

TEST(GridFunctionComposition, ConstantsAnswerEverywhere) {
    AlwaysOneGridFunction one;
    ConstantTrueGridFunction always;
    EXPECT_EQ(one.accepted_handles(), 15u);
    EXPECT_EQ(one.value(Handle4{{9, 9, 9, 9}}), 1);
    EXPECT_EQ(one.as_float64(Handle2{{100, 3}}), 1.0);
    EXPECT_EQ(one.as_int32(Handle1(12345)), 1);
    EXPECT_TRUE(always.value(Handle3{{5, 5, 5}}));
    EXPECT_EQ(always.number_of_elements(), 4294967295u);
    EXPECT_FALSE(one.has_array());
    EXPECT_TRUE(FailsPrecondition([&] { one.array(); }, "arr",
                                  "Can't get array: this Grid Function does not hold an array.",
                                  gen_file));
    EXPECT_TRUE(FailsPrecondition(
        [&] { one.set_float64(Handle1(0), 2.0); }, "0",
        "Can't set values on this grid function, because is not Writable!", gen_file));
    EXPECT_EQ(typeid(*one.copy()), typeid(AlwaysOneGridFunction));
}

TEST(GridFunctionComposition, ArrayIsSharedAndKeepsTheFunctionAlive) {
    std::shared_ptr<IArray> array;
    {
        auto function = std::make_shared<ArrayGridFunction<int, 1>>(array1<int>({3, 4}));
        array = function->array();
        EXPECT_TRUE(function->has_array());
        static_cast<Array<int, 1>&>(*array)[0] = 30;
        EXPECT_EQ(function->value(Handle1(0)), 30);
    }
    EXPECT_EQ((static_cast<Array<int, 1>&>(*array)[1]), 4);
}

TEST(GridFunctionComposition, SetArrayAndMakeUnique) {
    ArrayGridFunction<int, 1> function;
    auto replacement = std::make_shared<Array<int, 1>>(array1<int>({5, 6, 7}));
    function.set_array(replacement);
    EXPECT_EQ(function.number_of_elements(), 3u);
    EXPECT_EQ(function.value(Handle1(2)), 7);
    (*replacement)[2] = 70;
    EXPECT_EQ(function.value(Handle1(2)), 70);
    function.make_unique();
    (*replacement)[2] = 700;
    EXPECT_EQ(function.value(Handle1(2)), 70);
    EXPECT_ANY_THROW(function.set_array(std::make_shared<Array<double, 1>>()));
}

TEST(GridFunctionComposition, SetArrayBindsKeepingTheLeadingExtents) {
    ArrayGridFunction<int, 3> function(array3<int>(box(4, 1, 1), {1, 2, 3, 4}));
    auto other = std::make_shared<Array<int, 3>>(array3<int>(box(2, 2, 1), {10, 20, 30, 40}));
    function.set_array(other);
    {
        // A function that is not shared gives a new view of its array, kept alive in this block.
        const auto view = function.array();
        const auto& held = static_cast<const Array<int, 3>&>(*view);
        EXPECT_EQ(held.extents()[0], 4);
        EXPECT_EQ(held.extents()[1], 1);
        EXPECT_EQ(held.extents()[2], 1);
    }
    EXPECT_EQ(other->extents()[0], 2);
    // One storage for both: the values in storage order, a write through the other seen.
    EXPECT_EQ(other->use_count(), 2);
    EXPECT_EQ(function.value(Handle3{{3, 0, 0}}), 40);
    (*other)[1] = 200;
    EXPECT_EQ(function.value(Handle3{{1, 0, 0}}), 200);
}

TEST(GridFunctionComposition, WritableInterfacesOfTheMapperTypes) {
    ArrayGridFunction<unsigned int, 3> numbers(array3<unsigned int>(box(1, 1, 2), {0, 0}));
    IWritableTypeGridFunction<unsigned int, unsigned int>& writable = numbers;
    writable.set_value(Handle3{{0, 0, 1}}, 42u);
    EXPECT_EQ(numbers.value(Handle1(1)), 42u);
    ArrayGridFunction<Handle3, 1> positions(array1<Handle3>({Handle3{{0, 0, 0}}}));
    IWritableTypeGridFunction<const Handle3&, Handle3>& cells = positions;
    cells.set_value(Handle1(0), Handle3{{1, 2, 3}});
    EXPECT_EQ(positions.value(Handle1(0)), (Handle3{{1, 2, 3}}));
}

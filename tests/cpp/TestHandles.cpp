// Handles, RigidVector, the mask and scalar-type texts.
#include <gtest/gtest.h>

#include <sstream>

#include "CoreFailures.h"
#include "core/handle/Handles.h"

using namespace ostrel::core;

namespace {
std::string MaskText(std::uint32_t p_mask) {
    std::ostringstream stream;
    stream << AcceptedHandlesMask{p_mask};
    return stream.str();
}
}  // namespace

TEST(Handles, MaskTexts) {
    EXPECT_EQ(MaskText(0), "none");
    EXPECT_EQ(MaskText(8), "Handle4");
    EXPECT_EQ(MaskText(15), "Handle1, Handle2, Handle3, Handle4");
    EXPECT_EQ(MaskText(5), "Handle1, Handle3");
    EXPECT_EQ(MaskText(1), "Handle1");
    EXPECT_EQ(accepted_handles_text(6), "Handle2, Handle3");
}

TEST(Handles, ShapesTagsAndBitsFollowOneOrder) {
    EXPECT_EQ(HandleTraits<Handle1>::tag, htHandle1);
    EXPECT_EQ(HandleTraits<Handle2>::tag, htHandle2);
    EXPECT_EQ(HandleTraits<Handle3>::tag, htHandle3);
    EXPECT_EQ(HandleTraits<Handle4>::tag, htHandle4);
    EXPECT_EQ(HandleTraits<Handle1>::mask_bit, 1u);
    EXPECT_EQ(HandleTraits<Handle2>::mask_bit, 2u);
    EXPECT_EQ(HandleTraits<Handle3>::mask_bit, 4u);
    EXPECT_EQ(HandleTraits<Handle4>::mask_bit, 8u);
    EXPECT_STREQ(handle_type_name(htHandle1), "Handle1");
    EXPECT_STREQ(handle_type_name(htHandle4), "Handle4");
    static_assert(sizeof(Handle2) == 8 && sizeof(Handle4) == 8 && sizeof(Handle3) == 6);
    static_assert(sizeof(ostrel::mtm::RigidVector<6, double>) == 48);
    static_assert(sizeof(ostrel::mtm::RigidVector<3, int>) == 12);
}

TEST(Handles, ScalarTypeTexts) {
    const char* expected[] = {"float32", "float64", "int8",  "int16",
                              "int32",   "int64",   "uint8", "uint16",
                              "uint32",  "uint64",  "bool",  "<unknown scalar type>"};
    for (unsigned value = 0; value <= 11; ++value) {
        std::ostringstream stream;
        stream << static_cast<ScalarType>(value);
        EXPECT_EQ(stream.str(), expected[value]);
    }
    EXPECT_EQ(ElementTraits<int>::scalar_type, stInt32);
    EXPECT_EQ((ElementTraits<RigidVector<3, unsigned short>>::scalar_type), stUInt16);
    EXPECT_EQ((ElementTraits<RigidVector<3, unsigned short>>::tuple_size), 3u);
}

TEST(Handles, ExtentText) {
    EXPECT_EQ(extent_text(6, 1), "[6, 1]");
    EXPECT_EQ(extent_text(Handle2{{4294967295u, 0}}), "[4294967295, 0]");
}

TEST(Handles, AnyHandleGivesBackItsValue) {
    const AnyHandle any(Handle4{{1, 2, 3, 7}});
    EXPECT_EQ(any.type(), htHandle4);
    EXPECT_EQ(any.get<Handle4>(), (Handle4{{1, 2, 3, 7}}));
    const AnyHandle flat(Handle1(42));
    EXPECT_EQ(flat.get<Handle1>(), 42u);
    const AnyHandle pair(Handle2{{9, 5}});
    EXPECT_TRUE(pair.holds<Handle2>());
    EXPECT_EQ(pair.get<Handle2>()[1], 5u);
}

TEST(Handles, AnyHandleWrongTypeNamesStoredThenRequested) {
    const AnyHandle any(Handle3{{1, 2, 3}});
    EXPECT_TRUE(FailsPrecondition(
        [&] { any.get<Handle1>(); }, "(m_HandleType) == (htHandle1)",
        "\nGetting the wrong type: data has type 'Handle3', but trying to get with type "
        "'Handle1'.",
        "core/handle/Handles"));
    const AnyHandle pair(Handle2{{1, 2}});
    EXPECT_TRUE(FailsPrecondition(
        [&] { pair.get<Handle4>(); }, "(m_HandleType) == (htHandle4)",
        "\nGetting the wrong type: data has type 'Handle2', but trying to get with type "
        "'Handle4'.",
        "core/handle/Handles"));
    EXPECT_TRUE(FailsPrecondition(
        [&] { pair.get<Handle3>(); }, "(m_HandleType) == (htHandle3)",
        "\nGetting the wrong type: data has type 'Handle2', but trying to get with type "
        "'Handle3'.",
        "core/handle/Handles"));
    EXPECT_TRUE(FailsPrecondition(
        [&] { any.get<Handle2>(); }, "(m_HandleType) == (htHandle2)",
        "\nGetting the wrong type: data has type 'Handle3', but trying to get with type "
        "'Handle2'.",
        "core/handle/Handles"));
}

TEST(Handles, FlatAndBoxConversions) {
    const unsigned NI = 4, NJ = 3;
    EXPECT_EQ(to_handle3(NI * NJ, NI, NJ), (Handle3{{0, 0, 1}}));
    EXPECT_EQ(to_handle3(7, NI, NJ), (Handle3{{3, 1, 0}}));
    EXPECT_EQ(to_handle1(Handle3{{3, 2, 1}}, NI, NJ), 3u + 4u * (2u + 3u * 1u));
    for (unsigned flat = 0; flat < NI * NJ * 2; ++flat) {
        EXPECT_EQ(to_handle1(to_handle3(flat, NI, NJ), NI, NJ), flat);
    }
}

TEST(Handles, RigidVectorValueSemantics) {
    RigidVector<4, float> a{{1, 2, 3, 4}};
    RigidVector<4, float> b = a;
    EXPECT_EQ(a, b);
    b[2] = 9;
    EXPECT_NE(a, b);
    EXPECT_EQ(a[2], 3.0f);
    EXPECT_EQ(decltype(a)::size(), 4u);
}

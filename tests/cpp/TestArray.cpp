// Array<T,N>: binding, sharing, fixed shape, refresh, resize, reset, equality, negate, scale,
// and ArrayGenerator.
#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "CoreFailures.h"
#include "core/array/Array.h"
#include "core/array/ArrayGenerator.h"
#include "core/array/VectorArrayImpl.h"

using namespace ostrel::core;
using ostrel::mtm::RigidVector;

namespace {

const IArrayImplFactory* Factory() { return default_array_factory(); }

const char* const kSharingMessage =
    "An Array was resized, but it was sharing the same implementation with another array that "
    "had fixed shape.";
const char* const kSharingExpression = "old_size == 0 || !m_IsFixedShape || m_Size == old_size";
const char* const kResizeFixed = "Trying to resize an array with fixed shape.";
const char* const kResetFixed = "Trying to reset an array with fixed shape.";

}  // namespace

TEST(Array, UnboundArrayHasNothing) {
    Array<int, 1> array;
    EXPECT_EQ(array.size(), 0u);
    EXPECT_EQ(array.data(), nullptr);
    EXPECT_EQ(array.use_count(), 0);
    EXPECT_FALSE(array.unique());
    EXPECT_EQ(array.implementation(), nullptr);
    EXPECT_EQ(array.dimensions(), 1u);
    EXPECT_EQ(array.scalar_type(), stInt32);
    EXPECT_EQ(array.element_shape(), (ElementShape{{1, 1}}));
}

TEST(Array, FactoryConstructionGivesZerosOrTheValue) {
    Array<float, 1> zeros(Factory(), 4);
    ASSERT_EQ(zeros.size(), 4u);
    for (float value : zeros) EXPECT_EQ(value, 0.0f);
    EXPECT_TRUE(zeros.unique());
    EXPECT_EQ(zeros.factory(), Factory());
    Array<short, 3> filled(Factory(), Handle3{{2, 2, 2}}, short(-4));
    ASSERT_EQ(filled.size(), 8u);
    for (short value : filled) EXPECT_EQ(value, -4);
}

TEST(Array, CopiesShareStorage) {
    Array<int, 1> first(Factory(), 3);
    Array<int, 1> second(first);
    EXPECT_EQ(first.use_count(), 2);
    EXPECT_FALSE(first.unique());
    second[1] = 42;
    EXPECT_EQ(first[1], 42);
    EXPECT_EQ(first.data(), second.data());
    Array<int, 1> third;
    third = first;
    EXPECT_EQ(first.use_count(), 3);
    second.resize(10);
    EXPECT_EQ(first.size(), 10u);
    EXPECT_EQ(third.size(), 10u);
    EXPECT_EQ(third[1], 42);
}

TEST(Array, MakeUniqueGivesOwnCopyAlsoOnFixedShape) {
    Array<double, 1> first(Factory(), 2, 1.5);
    Array<double, 1> second(first);
    second.set_fixed_shape();
    second.make_unique();
    EXPECT_TRUE(first.unique());
    EXPECT_TRUE(second.unique());
    second[0] = 3.0;
    EXPECT_EQ(first[0], 1.5);
    EXPECT_EQ(second[1], 1.5);
}

TEST(Array, ResizeThroughSharerOfFixedArrayFailsAfterTheStorageResized) {
    Array<int, 1> fixed(Factory(), 4);
    fixed.set_fixed_shape();
    Array<int, 1> other(fixed);
    EXPECT_TRUE(FailsPrecondition([&] { other.resize(6); }, kSharingExpression, kSharingMessage,
                                  "core/array/Array1D.ext"));
    EXPECT_EQ(fixed.implementation()->count(), 6u);
    // The failure reports, it does not restore: the fixed array holds the new size.
    EXPECT_EQ(fixed.size(), 6u);
}

TEST(Array, ResizeOfFixedArrayFails) {
    Array<int, 1> fixed(Factory(), 4);
    fixed.set_fixed_shape();
    EXPECT_TRUE(FailsPrecondition([&] { fixed.resize(5); }, "!m_IsFixedShape", kResizeFixed,
                                  "core/array/Array1D.ext"));
    EXPECT_EQ(fixed.size(), 4u);
}

TEST(Array, ResizeToThePresentSizeDoesNothing) {
    Array<int, 1> fixed(Factory(), 4);
    fixed.set_fixed_shape();
    EXPECT_NO_THROW(fixed.resize(4));
    Array<int, 3> cube(Factory(), Handle3{{2, 2, 2}});
    cube.set_fixed_shape();
    EXPECT_NO_THROW(cube.resize(Handle3{{2, 2, 2}}));
    EXPECT_EQ(cube.size(), 8u);
}

TEST(Array, ResizeWithoutStorageOnlySetsTheSize) {
    Array<int, 1> array;
    array.resize(7);
    EXPECT_EQ(array.size(), 7u);
    EXPECT_EQ(array.data(), nullptr);
    EXPECT_EQ(array.implementation(), nullptr);
    // Neither storage nor data: reset leaves it alone.
    array.reset();
    EXPECT_EQ(array.size(), 7u);
}

TEST(Array, BindingFixedEmptyArrayToNonEmptyStorageFails) {
    Array<int, 1> fixed;
    fixed.set_fixed_shape();
    auto storage = std::make_shared<VectorArrayImpl<int>>(3);
    EXPECT_TRUE(FailsPrecondition([&] { fixed.reset(storage); },
                                  "!this->m_IsFixedShape || new_size == this->m_Size", kResetFixed,
                                  "core/array/Array1D.inl"));
    EXPECT_NO_THROW(fixed.reset());
    EXPECT_EQ(fixed.implementation(), nullptr);
}

TEST(Array, BindingFixedArrayToStorageOfTheSameSizePasses) {
    Array<int, 1> fixed(Factory(), 3);
    fixed.set_fixed_shape();
    auto storage = std::make_shared<VectorArrayImpl<int>>(3);
    fixed.reset(storage);
    EXPECT_EQ(fixed.implementation(), storage);
    EXPECT_EQ(storage.use_count(), 2);
}

TEST(Array, ResetOfFixedNonEmptyArrayFails) {
    Array<int, 1> fixed(Factory(), 3);
    fixed.set_fixed_shape();
    EXPECT_TRUE(FailsPrecondition([&] { fixed.reset(); },
                                  "!this->m_IsFixedShape || this->size() == 0", kResetFixed,
                                  "core/array/Array1D.inl"));
    Array<int, 1> loose(Factory(), 3);
    loose.reset();
    EXPECT_EQ(loose.size(), 0u);
    EXPECT_EQ(loose.data(), nullptr);
}

TEST(Array, InitFromFactoryOfFixedArrayFails) {
    Array<int, 1> fixed(Factory(), 3);
    fixed.set_fixed_shape();
    EXPECT_TRUE(FailsPrecondition([&] { fixed.init(*Factory(), 4); },
                                  "!this->m_IsFixedShape || p_InitialSize == this->m_Size",
                                  kResetFixed, "core/array/Array1D.inl"));
    EXPECT_NO_THROW(fixed.init(*Factory(), 3));

    Array<int, 3> cube(Factory(), Handle3{{2, 3, 4}});
    cube.set_fixed_shape();
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            cube.init(*Factory(), Handle3{{2, 3, 5}});
        },
        "!this->m_IsFixedShape || all(this->m_shape == p_shape)", kResizeFixed,
        "core/array/Array3D.inl"));
    EXPECT_NO_THROW(cube.init(*Factory(), Handle3{{2, 3, 4}}));
}

TEST(Array, ResizeOfFixed3DArrayChecksLeadingExtents) {
    Array<int, 3> cube(Factory(), Handle3{{2, 3, 4}});
    cube.set_fixed_shape();
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            cube.resize(Handle3{{3, 2, 4}});
        },
        "!this->m_IsFixedShape || (this->m_shape[I] == p_shape[I] && this->m_NI_times_NJ == "
        "p_shape[I] * p_shape[J])",
        kResizeFixed, "core/array/Array3D.inl"));
    // Same leading extents: the rank-3 check passes and the flat resize refuses.
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            cube.resize(Handle3{{2, 3, 5}});
        },
        "!m_IsFixedShape", kResizeFixed, "core/array/Array1D.ext"));
}

TEST(Array, ThreeDimensionalRefreshFollowsTheStorage) {
    Array<int, 3> cube(Factory(), Handle3{{2, 3, 4}});
    EXPECT_EQ(cube.shape(), ArrayShape::extents16(2, 3, 4));
    cube.implementation()->resize(30);
    EXPECT_EQ(cube.extents(), (Handle3{{2, 3, 5}}));
    EXPECT_EQ(cube.shape(), ArrayShape::extents16(2, 3, 5));
    EXPECT_TRUE(FailsPrecondition(
        [&] { cube.implementation()->resize(31); }, "this->size() % m_NI_times_NJ == 0",
        "Trying to resize a 3D array to a size that is not multiple to its dimensions.",
        "core/array/Array3D.inl"));
}

TEST(Array, ZeroExtentShapeIsNormalised) {
    Array<int, 3> cube(Factory(), Handle3{{0, 5, 7}});
    EXPECT_EQ(cube.extents(), (Handle3{{1, 5, 0}}));
    EXPECT_EQ(cube.ni_times_nj(), 5u);
    EXPECT_EQ(cube.size(), 0u);
    Array<int, 3> flat(Factory(), Handle3{{3, 0, 2}});
    EXPECT_EQ(flat.extents(), (Handle3{{3, 1, 0}}));
    EXPECT_EQ(flat.ni_times_nj(), 3u);
}

TEST(Array, ThreeDimensionalElementOrder) {
    Array<int, 3> cube(Factory(), Handle3{{2, 3, 4}});
    for (unsigned i = 0; i < cube.size(); ++i) cube[i] = static_cast<int>(i);
    EXPECT_EQ(cube(1, 2, 3), 1 + 2 * 2 + 3 * 6);
    EXPECT_EQ(cube(Handle3{{1, 0, 2}}), 1 + 12);
}

TEST(Array, TwoDimensionalRefreshFollowsTheStorage) {
    Array<double, 2> grid(Factory(), 3, 2);
    EXPECT_EQ(grid.shape(), ArrayShape::extents(3, 2));
    grid(2, 1) = 9.0;
    EXPECT_EQ(grid[5], 9.0);
    grid.resize(12);
    EXPECT_EQ(grid.extent(1), 4u);
    EXPECT_TRUE(FailsPrecondition(
        [&] { grid.resize(13); }, "this->size() % m_shape[I] == 0",
        "Trying to resize a 2D array to a size that is not multiple to its dimensions.",
        "core/array/Array2D.inl"));
}

TEST(Array, FactoryOfUnboundArrayFails) {
    Array<int, 1> array;
    EXPECT_TRUE(FailsPrecondition([&] { array.factory(); }, "m_Impl",
                                  "This array does not have an internal implementation.",
                                  "core/array/Array1D.inl"));
}

TEST(Array, StorageOfAnotherElementSizeIsRefused) {
    auto storage = std::make_shared<VectorArrayImpl<double>>(2);
    EXPECT_TRUE(
        FailsPrecondition([&] { Array<int, 1> array(storage); },
                          "p_ArrayImplementation->element_size() == sizeof(value_type)",
                          "\nArray implementation have a different element type (or tuple size).\n"
                          "Element size for Array: 4\nElement size for Array Implementation: 8.",
                          "core/array/Array1D.inl"));
    EXPECT_TRUE(observations().observers_of(storage.get()).empty());
}

TEST(Array, NegateSignedFloatingAndTheirTuples) {
    Array<int, 1> ints(Factory(), 3);
    ints[0] = 5;
    ints[1] = -7;
    ints[2] = std::numeric_limits<int>::min();
    ints.negate();
    EXPECT_EQ(ints[0], -5);
    EXPECT_EQ(ints[1], 7);
    EXPECT_EQ(ints[2], std::numeric_limits<int>::min());  // wraps
    Array<RigidVector<3, double>, 1> tuples(Factory(), 1);
    tuples[0] = RigidVector<3, double>{{1.0, -2.0, 0.5}};
    tuples.negate();
    EXPECT_EQ(tuples[0], (RigidVector<3, double>{{-1.0, 2.0, -0.5}}));
    // No storage holds 6-tuples: such an array stays unbound, and negate is offered all the same.
    Array<RigidVector<6, double>, 1> six;
    EXPECT_NO_THROW(six.negate());
    EXPECT_THROW(six.reset(std::make_shared<VectorArrayImpl<RigidVector<3, double>>>(2)),
                 tamblin::IPreconditionException);
    EXPECT_EQ(six.element_shape(), (ElementShape{{6, 1}}));
}

TEST(Array, NegateOfUnsignedFailsAlsoWhenEmpty) {
    const char* const message =
        "Error: trying to negate an unsigned array or an array that is not scalar.";
    Array<unsigned int, 1> empty;
    EXPECT_TRUE(FailsPrecondition([&] { empty.negate(); }, "is_not_unsigned<T_>::value", message,
                                  "core/array/Array1D.inl"));
    Array<bool, 1> flags(Factory(), 1);
    EXPECT_TRUE(FailsPrecondition([&] { flags.negate(); }, "is_not_unsigned<T_>::value", message,
                                  "core/array/Array1D.inl"));
    Array<RigidVector<8, unsigned int>, 3> corners;
    EXPECT_TRUE(FailsPrecondition([&] { corners.negate(); }, "is_not_unsigned<T_>::value", message,
                                  "core/array/Array1D.inl"));
}

TEST(Array, ScaleTruncatesRoundsAndTestsForZero) {
    Array<int, 1> ints(Factory(), 2);
    ints[0] = 3;
    ints[1] = -3;
    ints.scale(0.5);
    EXPECT_EQ(ints[0], 1);
    EXPECT_EQ(ints[1], -1);
    Array<float, 1> floats(Factory(), 1, 1.0f);
    floats.scale(0.1);
    EXPECT_EQ(floats[0], static_cast<float>(0.1));
    Array<bool, 1> flags(Factory(), 2);
    flags[0] = true;
    flags.scale(0.5);
    EXPECT_TRUE(flags[0]);
    EXPECT_FALSE(flags[1]);
    flags.scale(0.0);
    EXPECT_FALSE(flags[0]);
    Array<unsigned char, 1> bytes(Factory(), 2, static_cast<unsigned char>(200));
    bytes.scale(2.0);
    EXPECT_EQ(bytes[0], 255);  // saturates at the end of the range
    bytes.scale(-1.0);
    EXPECT_EQ(bytes[0], 0);
}

TEST(Array, ScaleOfTuplesFailsAlsoWhenEmpty) {
    Array<RigidVector<2, float>, 1> empty;
    EXPECT_TRUE(FailsPrecondition([&] { empty.scale(2.0); }, "is_scalar_type<T_>::value",
                                  "Error: trying to scale an array that is not scalar.",
                                  "core/array/Array1D.inl"));
}

TEST(Array, EqualityComparesBytesAcrossRanks) {
    Array<int, 3> cube(Factory(), Handle3{{2, 2, 1}});
    Array<int, 1> line(Factory(), 4);
    for (unsigned i = 0; i < 4; ++i) {
        cube[i] = static_cast<int>(i);
        line[i] = static_cast<int>(i);
    }
    EXPECT_TRUE(cube == line);
    EXPECT_TRUE(line == cube);
    EXPECT_FALSE(line != cube);
    line[3] = 9;
    EXPECT_TRUE(cube != line);
    Array<unsigned int, 1> other_type(Factory(), 4);
    const Array<unsigned int, 1> shorter(Factory(), 3);
    EXPECT_FALSE(other_type == shorter);
    Array<float, 1> floats(Factory(), 4);
    Array<int, 1> zeros(Factory(), 4);
    EXPECT_FALSE(zeros == floats);  // another element type is never equal
    Array<int, 1> shared(zeros);
    EXPECT_TRUE(shared == zeros);
    EXPECT_TRUE(zeros == zeros);
    Array<int, 1> unbound;
    const Array<int, 1> another_unbound;
    EXPECT_TRUE(unbound == another_unbound);
}

TEST(Array, DestructorComplaintGoesToStandardError) {
    testing::internal::CaptureStderr();
    {
        Array<int, 1> array(Factory(), 2);
        // Take the link away behind the array's back, so that its own detach fails.
        detach(array.implementation().get(), &array);
    }
    const std::string complaint = testing::internal::GetCapturedStderr();
    EXPECT_EQ(complaint.find("Exception thrown while destroying Array:\n"
                             "Trying to remove an invalid observation"),
              0u)
        << complaint;
}

TEST(Array, DeadArrayLeavesNoObservation) {
    auto storage = std::make_shared<VectorArrayImpl<int>>(2);
    {
        Array<int, 1> array(storage);
        EXPECT_EQ(observations().observers_of(storage.get()).size(), 1u);
    }
    EXPECT_TRUE(observations().observers_of(storage.get()).empty());
    EXPECT_NO_THROW(storage->resize(3));
}

TEST(Array, StorageDyingFirstClearsItsObservations) {
    Array<int, 1> array(Factory(), 2);
    ISubject* storage = array.implementation().get();
    array.reset();
    EXPECT_FALSE(observations().has_subject(storage));
    EXPECT_TRUE(observations().subjects_of(&array).empty());
}

TEST(ArrayGenerator, GrowsByDoublingAndHandsOutOnce) {
    ArrayGenerator<unsigned int> generator;
    EXPECT_EQ(generator.capacity(), 12u);
    for (unsigned i = 0; i < 13; ++i) generator.push_back(i * 10);
    EXPECT_EQ(generator.capacity(), 24u);
    Array<unsigned int, 1> result = generator.create_array();
    EXPECT_EQ(result.size(), 13u);
    EXPECT_EQ(result[12], 120u);
    EXPECT_EQ(result.use_count(), 2);  // shares the generator's buffer
    EXPECT_TRUE(generator.already_created());
    EXPECT_TRUE(FailsPrecondition([&] { generator.create_array(); }, "!this->already_created()",
                                  "Using an ArrayGenerator that have already created the array!",
                                  "core/array/ArrayGenerator"));
}

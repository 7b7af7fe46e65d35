// Array storage: VectorArrayImpl and the default factory.
#include <gtest/gtest.h>

#include <memory>

#include "CoreFailures.h"
#include "core/array/Array.h"
#include "core/array/VectorArrayImpl.h"
#include "core/array/VectorArrayImplFactory.h"

using namespace ostrel::core;
using ostrel::mtm::RigidVector;

namespace {

template <class T>
std::shared_ptr<VectorArrayImpl<T>> MakeStorage(unsigned p_count = 0) {
    return std::make_shared<VectorArrayImpl<T>>(p_count);
}

template <class T>
unsigned MaxSizeOf() {
    return VectorArrayImpl<T>().max_size();
}

}  // namespace

TEST(ArrayStorage, NewStorageIsEmptyThenZeroThenEmptyAgain) {
    auto storage = MakeStorage<double>();
    ArrayShape shape;
    shape.m_Words[0] = 99;
    EXPECT_EQ(storage->data(shape), nullptr);
    EXPECT_EQ(shape, ArrayShape::flat(0));
    storage->resize(3);
    auto* values = static_cast<double*>(storage->data(shape));
    ASSERT_NE(values, nullptr);
    EXPECT_EQ(shape.count(), 3u);
    EXPECT_EQ(shape.m_RankCode, 0u);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(values[i], 0.0);
    values[1] = 5.0;
    storage->resize(5);
    values = static_cast<double*>(storage->data(shape));
    EXPECT_EQ(values[1], 5.0);  // kept elements keep their values
    EXPECT_EQ(values[4], 0.0);  // new ones are zero
    storage->resize(0);
    EXPECT_EQ(storage->data(shape), nullptr);
    EXPECT_EQ(shape.count(), 0u);
}

TEST(ArrayStorage, ResizeBeyondMaxSizeFailsAndChangesNothing) {
    auto storage = MakeStorage<int>(2);
    CountingObserver observer;
    attach(storage.get(), &observer);
    const unsigned limit = storage->max_size();
    EXPECT_EQ(limit, 1073741759u);
    EXPECT_TRUE(FailsPrecondition([&] { storage->resize(limit + 1); },
                                  "p_NewSize <= this->max_size()",
                                  "Trying to resize array to invalid size: 1073741760 elements.\n"
                                  "Maximum size is: 1073741759\n",
                                  "core/array/IArrayImpl.inl"));
    EXPECT_EQ(storage->count(), 2u);
    EXPECT_EQ(observer.updates, 0);
    detach(storage.get(), &observer);
}

TEST(ArrayStorage, ResizeNotifiesAlsoAtTheSameSize) {
    auto storage = MakeStorage<float>(4);
    CountingObserver observer;
    attach(storage.get(), &observer);
    storage->resize(4);
    EXPECT_EQ(observer.updates, 1);
    storage->resize(6);
    EXPECT_EQ(observer.updates, 2);
}

TEST(ArrayStorage, MaxSizeTable) {
    EXPECT_EQ(MaxSizeOf<unsigned char>(), 4294967039u);
    EXPECT_EQ(MaxSizeOf<bool>(), 4294967039u);
    EXPECT_EQ(MaxSizeOf<short>(), 2147483519u);
    EXPECT_EQ((MaxSizeOf<RigidVector<3, unsigned char>>()), 1431655679u);
    EXPECT_EQ(MaxSizeOf<float>(), 1073741759u);
    EXPECT_EQ((MaxSizeOf<RigidVector<3, short>>()), 715827839u);
    EXPECT_EQ(MaxSizeOf<double>(), 536870879u);
    EXPECT_EQ((MaxSizeOf<RigidVector<3, int>>()), 357913919u);
    EXPECT_EQ((MaxSizeOf<RigidVector<2, double>>()), 268435439u);
    EXPECT_EQ((MaxSizeOf<RigidVector<4, unsigned int>>()), 268435439u);
    EXPECT_EQ((MaxSizeOf<RigidVector<3, double>>()), 178956959u);
    EXPECT_EQ((MaxSizeOf<RigidVector<4, double>>()), 134217719u);
    EXPECT_EQ((MaxSizeOf<RigidVector<8, unsigned int>>()), 134217719u);
}

TEST(ArrayStorage, BoolStorageHoldsOneBytePerElement) {
    auto storage = MakeStorage<bool>(3);
    EXPECT_EQ(storage->element_size(), 1u);
    ArrayShape shape;
    bool* flags = static_cast<bool*>(storage->data(shape));
    flags[2] = true;
    Array<bool, 1> array(storage);
    EXPECT_FALSE(array[0]);
    EXPECT_TRUE(array[2]);
}

TEST(ArrayStorage, FactoryMakesZeroTuples) {
    auto storage = make_array_impl(*default_array_factory(), stInt32, ElementShape{{3, 1}}, 5);
    EXPECT_EQ(storage->element_size(), 12u);
    EXPECT_EQ(storage->count(), 5u);
    ArrayShape shape;
    auto* tuples = static_cast<RigidVector<3, int>*>(storage->data(shape));
    for (unsigned i = 0; i < 5; ++i) EXPECT_EQ(tuples[i], (RigidVector<3, int>{{0, 0, 0}}));
    EXPECT_NE((std::dynamic_pointer_cast<VectorArrayImpl<RigidVector<3, int>>>(storage)), nullptr);
    EXPECT_EQ(storage->factory(), default_array_factory());
    auto empty = make_array_impl(*default_array_factory(), stBool, ElementShape{{1, 1}});
    EXPECT_EQ(empty->count(), 0u);
    EXPECT_NE(std::dynamic_pointer_cast<VectorArrayImpl<bool>>(empty), nullptr);
}

TEST(ArrayStorage, FactoryMakesEveryScalarAndTuple) {
    for (unsigned scalar = 0; scalar < 11; ++scalar) {
        const unsigned sizes[] = {4, 8, 1, 2, 4, 8, 1, 2, 4, 8, 1};
        for (unsigned tuple = 1; tuple <= 4; ++tuple) {
            auto storage =
                make_array_impl(*default_array_factory(), static_cast<ScalarType>(scalar),
                                ElementShape{{tuple, 1}}, 2);
            EXPECT_EQ(storage->element_size(), sizes[scalar] * tuple);
            EXPECT_EQ(storage->count(), 2u);
        }
    }
}

TEST(ArrayStorage, FactoryRefusesNonScalarsAndOtherShapes) {
    const auto* factory = default_array_factory();
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            make_array_impl(*factory, stNotAScalar, ElementShape{{1, 1}}, 3);
        },
        "p_scalar_type != stNotAScalar",
        "Cannot make an Array of non-scalars from a generic Factory!",
        "core/array/VectorArrayImplFactory"));
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            make_array_impl(*factory, stFloat64, ElementShape{{6, 1}});
        },
        "0", "FromVectorArrayFactory: Can not create array whose element has this shape: [6, 1]",
        "core/array/VectorArrayImplFactory"));
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            make_array_impl(*factory, stUInt32, ElementShape{{8, 1}}, 1);
        },
        "0", "FromVectorArrayFactory: Can not create array whose element has this shape: [8, 1]",
        "core/array/VectorArrayImplFactory"));
    EXPECT_TRUE(FailsPrecondition(
        [&] {
            make_array_impl(*factory, stInt8, ElementShape{{2, 2}}, 1);
        },
        "0", "FromVectorArrayFactory: Can not create array whose element has this shape: [2, 2]",
        "core/array/VectorArrayImplFactory"));
}

TEST(ArrayStorage, CloneHasNoObserversAndIsIndependent) {
    auto storage = MakeStorage<int>(3);
    CountingObserver observer;
    attach(storage.get(), &observer);
    ArrayShape shape;
    static_cast<int*>(storage->data(shape))[0] = 7;
    std::shared_ptr<IArrayImpl> copy(storage->clone());
    EXPECT_TRUE(observations().observers_of(copy.get()).empty());
    EXPECT_EQ(static_cast<int*>(copy->data(shape))[0], 7);
    copy->resize(10);
    static_cast<int*>(copy->data(shape))[0] = 8;
    EXPECT_EQ(observer.updates, 0);
    EXPECT_EQ(storage->count(), 3u);
    EXPECT_EQ(static_cast<int*>(storage->data(shape))[0], 7);
    storage->resize(1);
    EXPECT_EQ(copy->count(), 10u);
    EXPECT_EQ(observer.updates, 1);
}

TEST(ArrayStorage, CreateArrayViewsTheStorage) {
    auto storage = MakeStorage<RigidVector<8, unsigned int>>(4);
    std::unique_ptr<IArray> array(storage->create_array());
    EXPECT_EQ(array->dimensions(), 1u);
    EXPECT_EQ(array->size(), 4u);
    EXPECT_EQ(array->scalar_type(), stUInt32);
    EXPECT_EQ(array->element_shape(), (ElementShape{{8, 1}}));
    EXPECT_EQ(array->implementation(), storage);
    storage->resize(6);
    EXPECT_EQ(array->size(), 6u);
}

// ConvertHandles: 1-based cell numbers to 0-based handles, in place.
#include <gtest/gtest.h>

#include <limits>

#include "CoreFailures.h"
#include "core/array/Array.h"
#include "eclipse/HandleConversion.h"

using namespace ostrel::core;
using kelvara::eclipse::ConvertHandles;

TEST(ConvertHandles, IntArrayLosesOne) {
    Array<int, 1> cells(default_array_factory(), 3);
    cells[0] = 1;
    cells[1] = 101;
    cells[2] = 400;
    CountingObserver observer;
    attach(cells.implementation().get(), &observer);
    EXPECT_TRUE(ConvertHandles(10, 10, 4, &cells));
    EXPECT_EQ(cells[0], 0);
    EXPECT_EQ(cells[1], 100);
    EXPECT_EQ(cells[2], 399);
    EXPECT_EQ(observer.updates, 0);   // written straight into the storage
    EXPECT_EQ(cells.use_count(), 1);  // the temporary is gone
    // Not idempotent: a second call subtracts 1 again.
    EXPECT_TRUE(ConvertHandles(10, 10, 4, &cells));
    EXPECT_EQ(cells[1], 99);
    detach(cells.implementation().get(), &observer);
}

TEST(ConvertHandles, EmptyArrayWithZeroLayerNeedsNoDivision) {
    Array<int, 1> empty(default_array_factory(), 0);
    EXPECT_TRUE(ConvertHandles(0, 5, 1, &empty));
    Array<float, 3> unbound;
    EXPECT_TRUE(ConvertHandles(3, 0, 1, &unbound));
}

TEST(ConvertHandles, FloatCubeKeepsItsShapeAndLosesFractions) {
    Array<float, 3> cube(default_array_factory(), Handle3{{2, 1, 1}});
    cube[0] = 7.0f;
    cube[1] = 2.7f;
    EXPECT_TRUE(ConvertHandles(2, 1, 1, &cube));
    EXPECT_EQ(cube[0], 6.0f);
    EXPECT_EQ(cube[1], 1.0f);
    EXPECT_EQ(cube.extents(), (Handle3{{2, 1, 1}}));
}

TEST(ConvertHandles, IntCubeAndNegativeValues) {
    Array<int, 3> cube(default_array_factory(), Handle3{{1, 1, 2}});
    cube[0] = -5;
    cube[1] = std::numeric_limits<int>::min();
    EXPECT_TRUE(ConvertHandles(7, 3, 1, &cube));
    EXPECT_EQ(cube[0], -6);
    EXPECT_EQ(cube[1], std::numeric_limits<int>::max());  // 32-bit wrap-around
}

TEST(ConvertHandles, OtherArraysAreRefused) {
    Array<double, 1> doubles(default_array_factory(), 1, 5.0);
    EXPECT_FALSE(ConvertHandles(1, 1, 1, &doubles));
    EXPECT_EQ(doubles[0], 5.0);
    Array<unsigned int, 1> unsigned_cells(default_array_factory(), 1, 5u);
    EXPECT_FALSE(ConvertHandles(1, 1, 1, &unsigned_cells));
    EXPECT_FALSE(ConvertHandles(1, 1, 1, nullptr));
}

TEST(ConvertHandlesDeathTest, ZeroLayerOnNonEmptyArrayEndsTheProcess) {
    Array<int, 1> cells(default_array_factory(), 1, 3);
    EXPECT_DEATH(ConvertHandles(0, 10, 1, &cells), "division by nx \\* ny = 0");
}

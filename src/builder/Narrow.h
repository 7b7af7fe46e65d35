#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace ostrel::builder {

// Narrowing of a fed double to a builder's element type. Every value crosses into a builder as
// a double; these conversions are defined for every double, NaN and infinities included.
template <class T>
struct Narrow;

template <>
struct Narrow<double> {
    static double apply(double p_value) { return p_value; }
};

template <>
struct Narrow<float> {
    static float apply(double p_value) { return static_cast<float>(p_value); }
};

// Truncation toward zero; a value outside the range of int, and NaN, give the smallest int.
template <>
struct Narrow<int> {
    static int apply(double p_value) {
        if (p_value > -2147483649.0 && p_value < 2147483648.0) return static_cast<int>(p_value);
        return std::numeric_limits<int>::min();
    }
};

// Truncation toward zero, then the low 8 bits, as an integer converts to unsigned char.
template <>
struct Narrow<unsigned char> {
    static unsigned char apply(double p_value) {
        return static_cast<unsigned char>(static_cast<unsigned int>(Narrow<int>::apply(p_value)));
    }
};

}  // namespace ostrel::builder

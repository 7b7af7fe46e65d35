#include "eclipse/HandleConversion.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "core/array/Array.h"
#include "core/pattern/Contract.h"

namespace kelvara::eclipse {

namespace {

using ostrel::core::Array;

// A float element truncated toward zero to a 32-bit integer; values beyond the range stay at its
// ends, NaN gives 0.
inline std::int32_t truncated(float p_value) {
    constexpr float kUpper = 2147483648.0f;  // 2^31, the first value past the range
    if (std::isnan(p_value)) return 0;
    if (p_value >= kUpper) return std::numeric_limits<std::int32_t>::max();
    if (p_value < -kUpper) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(p_value);
}

// v - 1 with 32-bit wrap-around, as the layer arithmetic gives it: the layer k cancels out.
inline std::int32_t converted(std::int32_t p_value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(p_value) - 1u);
}

// Works on a temporary array bound to the same storage, so that the host's own array is what
// changes. The per-element division by nx*ny cancels out of the result; its one effect, the
// fault when nx*ny is 0, is taken once before the loop.
template <class T>
void convert(const Array<T, 1>& p_array, long long p_layer) {
    Array<T, 1> temporary(p_array);
    const unsigned int size = temporary.size();
    if (size != 0 && p_layer == 0) {
        ostrel::core::contract_violation("ConvertHandles: integer division by nx * ny = 0",
                                         __FILE__, __LINE__);
    }
    T* const data = temporary.typed_data();
    for (unsigned int i = 0; i < size; ++i) {
        if constexpr (std::is_same_v<T, float>) {
            data[i] = static_cast<float>(converted(truncated(data[i])));
        } else {
            data[i] = converted(data[i]);
        }
    }
}

}  // namespace

bool ConvertHandles(int p_nx, int p_ny, int /*p_nz*/, ostrel::core::IArray* p_array) {
    if (p_array == nullptr) return false;
    const long long layer = static_cast<long long>(p_nx) * p_ny;
    if (auto* ints = dynamic_cast<Array<int, 1>*>(p_array)) {
        convert(*ints, layer);
    } else if (auto* int_cube = dynamic_cast<Array<int, 3>*>(p_array)) {
        convert<int>(*int_cube, layer);
    } else if (auto* floats = dynamic_cast<Array<float, 1>*>(p_array)) {
        convert(*floats, layer);
    } else if (auto* float_cube = dynamic_cast<Array<float, 3>*>(p_array)) {
        convert<float>(*float_cube, layer);
    } else {
        return false;
    }
    return true;
}

}  // namespace kelvara::eclipse

#pragma once

// Helpers of the grid function, mapper and topology tests: arrays from values, a check of the
// availability failure, and a factory that counts what it makes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CoreFailures.h"
#include "core/array/Array.h"
#include "core/array/IArrayImpl.h"
#include "core/array/VectorArrayImpl.h"
#include "core/grid_function/GenGridFunction.h"

namespace gf_testing {

using namespace ostrel::core;

inline Handle3 box(unsigned short p_ni, unsigned short p_nj, unsigned short p_nk) {
    return Handle3{{p_ni, p_nj, p_nk}};
}

// An Array<T,3> of the given shape with values in cell order.
template <class T>
Array<T, 3> array3(const Handle3& p_shape, const std::vector<T>& p_values) {
    Array<T, 3> result(default_array_factory(), p_shape);
    for (std::size_t n = 0; n < p_values.size(); ++n) result.typed_data()[n] = p_values[n];
    return result;
}

template <class T>
Array<T, 1> array1(const std::vector<T>& p_values) {
    Array<T, 1> result(default_array_factory(), static_cast<unsigned int>(p_values.size()));
    for (std::size_t n = 0; n < p_values.size(); ++n)
        result[static_cast<unsigned>(n)] = p_values[n];
    return result;
}

// The call fails with IAvailabilityException, whose message starts with a signature naming
// p_function_name, then p_kind and p_type_name, then p_more; file p_file.
template <class Call>
::testing::AssertionResult FailsAvailability(Call&& p_call, const std::string& p_function_name,
                                             const std::string& p_kind,
                                             const std::string& p_type_name,
                                             const std::string& p_more, const std::string& p_file) {
    try {
        p_call();
    } catch (const IAvailabilityException& p_failure) {
        const std::string message = p_failure.message();
        const std::string tail = p_kind + p_type_name + p_more;
        if (message.size() < tail.size() ||
            message.compare(message.size() - tail.size(), tail.size(), tail) != 0) {
            return ::testing::AssertionFailure() << "message: [" << message << "]";
        }
        if (message.find(p_function_name) == std::string::npos ||
            message.find(p_function_name) > message.size() - tail.size()) {
            return ::testing::AssertionFailure() << "signature: [" << message << "]";
        }
        if (p_failure.file() != p_file) {
            return ::testing::AssertionFailure() << "file: " << p_failure.file();
        }
        return ::testing::AssertionSuccess();
    } catch (const std::exception& p_other) {
        return ::testing::AssertionFailure() << "another exception: " << p_other.what();
    }
    return ::testing::AssertionFailure() << "no exception";
}

// Makes storage through the default factory and counts the calls.
class CountingFactory : public IArrayImplFactory {
  public:
    IArrayImpl* create_impl(ScalarType p_scalar_type, const ElementShape& p_element_shape,
                            unsigned int p_count) const override {
        ++made;
        return default_array_factory()->create_impl(p_scalar_type, p_element_shape, p_count);
    }
    IArrayImpl* create_impl(ScalarType p_scalar_type,
                            const ElementShape& p_element_shape) const override {
        ++made;
        return default_array_factory()->create_impl(p_scalar_type, p_element_shape);
    }
    mutable int made = 0;
};

// The wrong-handle message for a handle text, shape name and mask text.
inline std::string wrong_handle_message(const std::string& p_handle, const std::string& p_name,
                                        const std::string& p_accepted) {
    return "\nTrying to access a grid function with the wrong handle type.\nHandle passed: " +
           p_handle + " (" + p_name + ")\nAccepted handles: (" + p_accepted + ")\n";
}

inline const char* const gen_file = "core/grid_function/GenGridFunction";

}  // namespace gf_testing

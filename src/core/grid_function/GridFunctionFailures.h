#pragma once

// The failures of the generated grid function operations, out of line so that each instance
// does not carry its own copy of the message code.
#include <cstdint>
#include <string>
#include <typeinfo>

#include "core/Export.h"
#include "core/handle/Handles.h"

namespace ostrel::core {

// The text of a handle in messages: a number for Handle1, "[a, b, ...]" for the tuples.
OSTREL_CORE_API std::string handle_text(const Handle1& p_handle);
OSTREL_CORE_API std::string handle_text(const Handle2& p_handle);
OSTREL_CORE_API std::string handle_text(const Handle3& p_handle);
OSTREL_CORE_API std::string handle_text(const Handle4& p_handle);

// A handle shape that the function does not accept (file core/grid_function/GenGridFunction).
[[noreturn]] OSTREL_CORE_API void fail_wrong_handle(const std::string& p_handle_text,
                                                    HandleType p_type, std::uint32_t p_accepted,
                                                    unsigned int p_line);
// A value type that does not convert to bool, float64 or int32 (p_target).
[[noreturn]] OSTREL_CORE_API void fail_not_convertible(const std::type_info& p_value_type,
                                                       const char* p_target, unsigned int p_line);
// A value type that float64 does not convert to (file GenWritableGridFunction).
[[noreturn]] OSTREL_CORE_API void fail_not_convertible_from_float64(
    const std::type_info& p_value_type, unsigned int p_line);
// A function without an array asked for it.
[[noreturn]] OSTREL_CORE_API void fail_no_array(unsigned int p_line);
// An array of another type given to set_array.
[[noreturn]] OSTREL_CORE_API void fail_wrong_array_type(unsigned int p_line);
// Writing through a Const function.
[[noreturn]] OSTREL_CORE_API void fail_not_writable(unsigned int p_line);

}  // namespace ostrel::core

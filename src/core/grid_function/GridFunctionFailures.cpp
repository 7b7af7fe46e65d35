#include "core/grid_function/GridFunctionFailures.h"

#include <sstream>

#include "core/IOstrelObject.h"
#include "core/pattern/Assert.h"

namespace ostrel::core {

namespace {

const char* const s_file = "core/grid_function/GenGridFunction";

template <class H>
std::string tuple_text(const H& p_handle) {
    std::ostringstream text;
    text << "[";
    for (unsigned i = 0; i < H::size(); ++i) {
        text << (i ? ", " : "") << static_cast<unsigned int>(p_handle[i]);
    }
    text << "]";
    return text.str();
}

}  // namespace

std::string handle_text(const Handle1& p_handle) { return std::to_string(p_handle); }
std::string handle_text(const Handle2& p_handle) { return extent_text(p_handle); }
std::string handle_text(const Handle3& p_handle) { return tuple_text(p_handle); }
std::string handle_text(const Handle4& p_handle) { return tuple_text(p_handle); }

void fail_wrong_handle(const std::string& p_handle_text, HandleType p_type,
                       std::uint32_t p_accepted, unsigned int p_line) {
    std::ostringstream message;
    message << "\nTrying to access a grid function with the wrong handle type.\n"
            << "Handle passed: " << p_handle_text << " (" << handle_type_name(p_type) << ")\n"
            << "Accepted handles: (" << accepted_handles_text(p_accepted) << ")\n";
    throw tamblin::IPreconditionException("accepts<HandleType_>::value", message.str(), s_file,
                                          p_line);
}

void fail_not_convertible(const std::type_info& p_value_type, const char* p_target,
                          unsigned int p_line) {
    std::ostringstream message;
    message << "Actual value_type (" << demangled_type_name(p_value_type.name())
            << ") is not convertible to " << p_target << ".";
    throw tamblin::IPreconditionException("0", message.str(), s_file, p_line);
}

void fail_not_convertible_from_float64(const std::type_info& p_value_type, unsigned int p_line) {
    std::ostringstream message;
    message << "Actual value_type (" << demangled_type_name(p_value_type.name())
            << ") is not convertible from float64.";
    throw tamblin::IPreconditionException("0", message.str(),
                                          "core/grid_function/GenWritableGridFunction", p_line);
}

void fail_no_array(unsigned int p_line) {
    throw tamblin::IPreconditionException(
        "arr", "Can't get array: this Grid Function does not hold an array.", s_file, p_line);
}

void fail_wrong_array_type(unsigned int p_line) {
    throw tamblin::IPreconditionException(
        "arr", "Can't set array: the array is not of the type that this Grid Function holds.",
        s_file, p_line);
}

void fail_not_writable(unsigned int p_line) {
    throw tamblin::IPreconditionException(
        "0", "Can't set values on this grid function, because is not Writable!", s_file, p_line);
}

}  // namespace ostrel::core

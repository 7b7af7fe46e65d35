#include "core/handle/Handles.h"

#include <cstdio>
#include <sstream>

namespace ostrel::core {

namespace {
constexpr const char* kHandleNames[] = {"Handle1", "Handle2", "Handle3", "Handle4"};
constexpr const char* kScalarNames[] = {"float32", "float64", "int8",  "int16",
                                        "int32",   "int64",   "uint8", "uint16",
                                        "uint32",  "uint64",  "bool",  "<unknown scalar type>"};
constexpr const char* kHandleTagExpressions[] = {
    "(m_HandleType) == (htHandle1)", "(m_HandleType) == (htHandle2)",
    "(m_HandleType) == (htHandle3)", "(m_HandleType) == (htHandle4)"};

// The scratch buffer of the extent text.
char s_extent_scratch[64];
}  // namespace

const char* handle_type_name(HandleType p_type) {
    return p_type <= htHandle4 ? kHandleNames[p_type] : "<unknown handle type>";
}

std::ostream& operator<<(std::ostream& p_stream, AcceptedHandlesMask p_mask) {
    if (p_mask.m_Mask == 0) return p_stream << "none";
    const char* separator = "";
    for (unsigned bit = 0; bit < 4; ++bit) {
        if ((p_mask.m_Mask & (1u << bit)) == 0) continue;
        p_stream << separator << kHandleNames[bit];
        separator = ", ";
    }
    return p_stream;
}

std::string accepted_handles_text(std::uint32_t p_mask) {
    std::ostringstream stream;
    stream << AcceptedHandlesMask{p_mask};
    return stream.str();
}

const char* scalar_type_name(ScalarType p_type) {
    return p_type < stNotAScalar ? kScalarNames[p_type] : kScalarNames[stNotAScalar];
}

std::ostream& operator<<(std::ostream& p_stream, ScalarType p_type) {
    return p_stream << scalar_type_name(p_type);
}

std::string extent_text(unsigned int p_first, unsigned int p_second) {
    std::snprintf(s_extent_scratch, sizeof s_extent_scratch, "[%u, %u]", p_first, p_second);
    return s_extent_scratch;
}

std::string extent_text(const Handle2& p_pair) { return extent_text(p_pair[0], p_pair[1]); }

void AnyHandle::check_type(HandleType p_requested) const {
    OSTREL_PRECONDITION(m_HandleType == p_requested, kHandleTagExpressions[p_requested],
                        "core/handle/Handles",
                        "\nGetting the wrong type: data has type '"
                            << handle_type_name(m_HandleType) << "', but trying to get with type '"
                            << handle_type_name(p_requested) << "'.");
}

}  // namespace ostrel::core

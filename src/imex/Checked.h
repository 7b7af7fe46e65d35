#pragma once

#include <cstdint>
#include <vector>

#include "core/pattern/Contract.h"

namespace kelvara::imex {

// Element p_index of a vector read from the file; outside it the checked-container failure
// path ends the process before anything is read.
inline std::int32_t CheckedAt(const std::vector<std::int32_t>& p_vector, std::int64_t p_index,
                              const char* p_what) {
    if (p_index < 0 || static_cast<std::uint64_t>(p_index) >= p_vector.size()) {
        ostrel::core::contract_violation(p_what, __FILE__, __LINE__);
    }
    return p_vector[static_cast<std::size_t>(p_index)];
}

}  // namespace kelvara::imex

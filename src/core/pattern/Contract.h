#pragma once

#include "core/Export.h"

namespace ostrel::core {

// The checked-container failure path: a violated precondition of a container (an index out
// of range, a lookup that found nothing) prints one line naming what was violated and where,
// then ends the process. It never raises into the host and never touches memory first.
[[noreturn]] OSTREL_CORE_API void contract_violation(const char* p_what, const char* p_file,
                                                     int p_line) noexcept;

}  // namespace ostrel::core

#define OSTREL_CHECK_CONTRACT(expr, what)                                            \
    do {                                                                             \
        if (!(expr)) ::ostrel::core::contract_violation((what), __FILE__, __LINE__); \
    } while (false)

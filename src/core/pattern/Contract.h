#pragma once

#include "core/Export.h"

namespace ostrel::core {

// The checked-container failure path: a violated precondition of a container (an index out
// of range, a lookup that found nothing) prints one line naming what was violated and where,
// then ends the process. It never raises into the host and never touches memory first.
//
// Fuzzing builds (OSTREL_CONTRACT_THROWS) throw ContractViolation instead, after the same line,
// so that the fuzzer can tell these deliberate ends from crashes and go on with the next input.
// It derives from no standard exception, so no catch clause of the readers takes it.
#if defined(OSTREL_CONTRACT_THROWS)
struct ContractViolation {
    const char* what;
};
#define OSTREL_CONTRACT_NOEXCEPT
#else
#define OSTREL_CONTRACT_NOEXCEPT noexcept
#endif
[[noreturn]] OSTREL_CORE_API void contract_violation(const char* p_what, const char* p_file,
                                                     int p_line) OSTREL_CONTRACT_NOEXCEPT;

}  // namespace ostrel::core

#define OSTREL_CHECK_CONTRACT(expr, what)                                            \
    do {                                                                             \
        if (!(expr)) ::ostrel::core::contract_violation((what), __FILE__, __LINE__); \
    } while (false)

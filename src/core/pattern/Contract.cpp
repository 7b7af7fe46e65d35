#include "core/pattern/Contract.h"

#include <cstdio>
#include <cstdlib>

namespace ostrel::core {

void contract_violation(const char* p_what, const char* p_file,
                        int p_line) OSTREL_CONTRACT_NOEXCEPT {
    std::fprintf(stderr, "Contract violation: %s (%s:%d)\n", p_what, p_file, p_line);
    std::fflush(stderr);
#if defined(OSTREL_CONTRACT_THROWS)
    throw ContractViolation{p_what};
#else
    std::abort();
#endif
}

}  // namespace ostrel::core

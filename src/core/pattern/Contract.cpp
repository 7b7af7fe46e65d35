#include "core/pattern/Contract.h"

#include <cstdio>
#include <cstdlib>

namespace ostrel::core {

void contract_violation(const char* p_what, const char* p_file, int p_line) noexcept {
    std::fprintf(stderr, "Contract violation: %s (%s:%d)\n", p_what, p_file, p_line);
    std::fflush(stderr);
    std::abort();
}

}  // namespace ostrel::core

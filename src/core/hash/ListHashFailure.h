#pragma once

#include "core/pattern/Exceptions.h"

namespace ostrel::core {

// The failed check of a retired builder.
[[noreturn]] inline void throw_list_hash_failure(const char* p_message, unsigned int p_line) {
    throw tamblin::IPreconditionException("!m_zombie_flag", p_message, "core/hash/ListHash",
                                          p_line);
}

}  // namespace ostrel::core

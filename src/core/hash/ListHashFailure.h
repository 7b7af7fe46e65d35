#pragma once

#include <stdexcept>
#include <string>

namespace ostrel::core {

// The failed check of a retired builder (expression "!m_zombie_flag", file core/hash/ListHash).
[[noreturn]] inline void throw_list_hash_failure(const char* p_message, unsigned int p_line) {
    throw std::logic_error(std::string(p_message) +
                           " (!m_zombie_flag, core/hash/ListHash:" + std::to_string(p_line) + ")");
}

}  // namespace ostrel::core

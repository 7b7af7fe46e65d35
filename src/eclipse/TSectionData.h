#pragma once

#include <cstdint>
#include <string>

namespace kelvara::eclipse {

// The flat record of one section: where its header lies, its trimmed name, all four characters
// of its type, and its item count.
struct TSectionData {
    std::int64_t position = 0;
    std::string name;
    std::string type;
    std::int32_t size = 0;
};

}  // namespace kelvara::eclipse

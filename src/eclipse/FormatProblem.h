#pragma once

#include <cstdint>
#include <string>

namespace kelvara::eclipse {

// What is wrong with a file that does not hold what an ECLIPSE unformatted file holds: a text for
// a person and the byte where it was found. The checked readers report it instead of throwing or
// complaining, so that the layer above can raise its own error naming the file.
struct TFormatProblem {
    std::string message;  // empty when all is well
    std::int64_t position = -1;

    explicit operator bool() const { return !message.empty(); }
};

// The message of a block length that a section of p_total bytes in items of p_item_size bytes,
// of which p_done bytes were carried by earlier blocks, cannot have; nullptr when it fits.
const char* BadBlockLength(std::int32_t p_length, std::int32_t p_item_size, std::int64_t p_done,
                           std::int64_t p_total);

}  // namespace kelvara::eclipse

#pragma once

#include <cstdint>

#include "stream/FileStream.h"

namespace kelvara::eclipse {

// Walks over the length-framed blocks of a section of p_total bytes from where the stream
// stands, reading only their length words; p_swap reverses each word. True when the blocks
// carried exactly p_total bytes; otherwise the walk says so on the standard error and returns
// false. The stream then stands behind the last block walked.
bool JumpBlocks(stream::FileStream& p_stream, bool p_swap, std::int32_t p_total);

// What the walks of this thread did beside their plain walk (see BlockWalk.cpp): sections split
// among side walks, side walks taken over and the blocks taken from them. For tests and
// benchmarks that must know which way a walk went.
struct TBlockWalkCounts {
    std::int64_t splits = 0;
    std::int64_t walks_taken = 0;
    std::int64_t blocks_taken = 0;
};
TBlockWalkCounts& BlockWalkCounts();

}  // namespace kelvara::eclipse

#pragma once

// Structure-aware mutation: an input is taken apart into the frames of its format, one frame's
// payload or one of its words is changed (or frames are copied, dropped, swapped or split), and
// the frames are written back with consistent length words. Most mutants therefore reach past
// the frame checks into the code that reads headers and items; a share of plain byte mutations
// keeps broken frames in the corpus too.

#include <cstddef>
#include <cstdint>

#include "Harness.h"

namespace kelvara::fuzz {

std::size_t Mutate(Format p_format, std::uint8_t* p_data, std::size_t p_size,
                   std::size_t p_max_size, unsigned int p_seed);

}  // namespace kelvara::fuzz

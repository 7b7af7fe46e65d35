#pragma once

#include <cstdint>
#include <memory>

#include "eclipse/ItemRecords.h"
#include "stream/FileStream.h"

namespace ostrel::builder {
class ArrayFeeder;
}

namespace kelvara::eclipse {

// The activity of the two halves of a dual-porosity or dual-permeability grid: one word per cell,
// bit 0 for the matrix cell, bit 1 for the fracture cell. A negative position reads where the
// stream stands.

// Counts bit 0 and bit 1 over all words of the section at p_position.
TBitCounts DpDkExtGridActiveCellsCount(const std::shared_ptr<stream::FileStream>& p_stream,
                                       std::int64_t p_position);

// Feeds bit 0 (p_matrix) or bit 1 of every word of the section at p_position as 0.0 or 1.0.
// p_count is taken and not used: the section's own count decides.
void ReadExtGridDpDkActnumSections(const std::shared_ptr<stream::FileStream>& p_stream,
                                   std::int32_t p_count, std::int64_t p_position, bool p_matrix,
                                   ostrel::builder::ArrayFeeder& p_feeder);

// Feeds bit 0 (p_matrix) or bit 1 of item 4 of p_count COORDS sections from p_position on, by
// the walks of the plain grid layout ("Number of section error" when the count does not come out).
void ReadGridDpDkActnumSections(const std::shared_ptr<stream::FileStream>& p_stream,
                                std::int32_t p_count, std::int64_t p_position, bool p_matrix,
                                ostrel::builder::ArrayFeeder& p_feeder);

}  // namespace kelvara::eclipse

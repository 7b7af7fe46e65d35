#pragma once

#include <cstddef>
#include <cstdint>

#include "eclipse/FormatProblem.h"
#include "eclipse/ItemType.h"
#include "stream/SharedFile.h"

namespace kelvara::eclipse {

// The bytes the typed read of p_count items of p_type writes: INTE, REAL, DOUB their item size
// each (native byte order), LOGI one (0 or 1), text items four per character (UCS-4 code points
// of the Latin-1 bytes, trimmed of blanks on both sides and padded with zeros), MESS none.
std::int64_t TypedBytes(TItemType p_type, std::int64_t p_count);

// Reads all p_count items of the section whose data starts at p_data_position into p_out, which
// holds TypedBytes of them. Numbers go from the file straight into p_out and are byte-reversed
// there when p_swap is set; logical and text items pass through a small buffer to be converted.
// Takes no lock and calls nothing of Python: it may run without the interpreter's lock.
// Returns the problem found, empty when all went well; p_out is then undefined.
TFormatProblem ReadTypedItems(const stream::SharedFile& p_file, std::int64_t p_data_position,
                              bool p_swap, TItemType p_type, std::int64_t p_count, void* p_out);

// Reads the first items of p_sections INTE sections (header positions p_positions, item counts
// p_counts, byte orders p_swaps) into the rows of p_out, p_width integers a row: the items a
// section holds up to p_width, the rest of its row left as the caller filled it. Small records
// of one cell each, as a plain grid file's COORDS, come in by one call. On a problem,
// p_failed receives the index of the section concerned.
TFormatProblem ReadIntRecords(const stream::SharedFile& p_file, const std::int64_t* p_positions,
                              const std::int32_t* p_counts, const bool* p_swaps,
                              std::size_t p_sections, std::int32_t p_width, std::int32_t* p_out,
                              std::size_t& p_failed);

}  // namespace kelvara::eclipse

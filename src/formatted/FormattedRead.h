#pragma once

#include <cstdint>

#include "eclipse/ItemType.h"
#include "formatted/SectionText.h"
#include "stream/SharedFile.h"

namespace kelvara::formatted {

// Reads all p_count items of the formatted section whose header line starts at p_position (line
// p_line) into p_out, which holds eclipse::TypedBytes of them, in the typed read's layout: INTE
// int32, REAL float, DOUB double, LOGI bool, text items four bytes a character (trimmed of
// blanks, zeros behind), MESS nothing. Each value is parsed from the text straight into its
// place. The header there must still say p_type and p_count, and the items must end where the
// next header or the file begins. Takes no lock and calls nothing of Python. Returns the problem
// found, empty when all went well; p_out is then undefined.
TTextProblem ReadFormattedItems(const stream::SharedFile& p_file, std::int64_t p_position,
                                std::int64_t p_line, eclipse::TItemType p_type,
                                std::int32_t p_count, void* p_out);

}  // namespace kelvara::formatted

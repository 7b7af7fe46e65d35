#pragma once

#include <cstddef>
#include <cstdint>

#include "eclipse/FormatProblem.h"
#include "stream/SharedFile.h"

namespace kelvara::summary {

// The PARAMS records of one values file: the header position of each, whether its numbers are in
// the other byte order, and the number of float items every one of them holds.
struct TRecords {
    const std::int64_t* positions = nullptr;
    const bool* swaps = nullptr;
    std::size_t size = 0;
    std::int32_t items = 0;
};

// The columns wanted from every record: item indices, -1 for a column the file lacks (NaN).
struct TColumns {
    const std::int32_t* items = nullptr;
    std::size_t size = 0;
};

// Gathers the chosen columns of every record into p_out, one row of p_columns.size floats a
// record, in native byte order. The item positions are computed once from the standard block
// layout (1000 items a block); the leading length of every block an item is taken from is checked,
// and a record whose frames differ is read whole through the checked frame walk instead. Few
// columns are read item group by item group; many are read from the file's pages through a
// mapped window that slides over the file, so that all columns take one pass and no more than a
// window (and one record) of the file is held at a time. Takes no lock and calls nothing of Python.
// On a problem, p_failed receives the index of the record concerned; p_out is then undefined.
eclipse::TFormatProblem GatherColumns(const stream::SharedFile& p_file, const TRecords& p_records,
                                      const TColumns& p_columns, float* p_out,
                                      std::size_t& p_failed);

}  // namespace kelvara::summary

#pragma once

#include <cstddef>
#include <cstdint>

#include "eclipse/FormatProblem.h"
#include "stream/SharedFile.h"

namespace kelvara::eclipse {

// Takes the data of one section out of its length-framed blocks, straight into the caller's
// memory. Each fill reads the raw bytes (payload and frame words) into the destination itself and
// then moves the payload down over the frame words it has read, so that nothing is copied
// through a buffer of the reader's own. Every frame is checked: positive lengths of whole items,
// no block beyond the section's bytes, equal leading and trailing lengths. Positional reads only:
// readers of one file in several threads do not disturb each other.
class PayloadReader {
  public:
    PayloadReader(const stream::SharedFile& p_file, std::int64_t p_data_position, bool p_swap,
                  std::int64_t p_total, std::int32_t p_item_size);

    // Places the next p_want payload bytes at p_out; false with a problem when the file does not
    // hold them.
    bool fill(char* p_out, std::size_t p_want);
    // Checks the trailing length of the last block once every payload byte was taken.
    bool finish();

    const TFormatProblem& problem() const { return m_problem; }

  private:
    bool open_block(std::int64_t p_frame_position);
    bool fail(const char* p_message, std::int64_t p_position);
    std::int32_t word(const unsigned char* p_bytes) const;

    // Raw bytes read at one stroke at most; the destination is the landing area, so this only
    // bounds how much is moved down after each read while it is still in the cache.
    static constexpr std::size_t max_read = std::size_t(1) << 18;

    const stream::SharedFile& m_file;
    std::int64_t m_file_position;
    bool m_swap;
    std::int64_t m_total;
    std::int32_t m_item_size;
    std::int64_t m_opened = 0;         // payload bytes of the blocks opened so far
    std::int64_t m_block_left = 0;     // payload bytes of the open block still to come
    std::int32_t m_block_length = -1;  // length of the open block; -1 before the first
    unsigned char m_frame[8] = {};
    std::size_t m_frame_have = 0;
    TFormatProblem m_problem;
};

}  // namespace kelvara::eclipse

#include "eclipse/PayloadReader.h"

#include <algorithm>
#include <cstring>

namespace kelvara::eclipse {

const char* BadBlockLength(std::int32_t p_length, std::int32_t p_item_size, std::int64_t p_done,
                           std::int64_t p_total) {
    if (p_length <= 0) return "a data block of no positive length";
    if (p_item_size > 0 && p_length % p_item_size != 0) {
        return "a data block that holds no whole number of items";
    }
    if (p_done + p_length > p_total) return "data blocks that carry more bytes than the item count";
    return nullptr;
}

PayloadReader::PayloadReader(const stream::SharedFile& p_file, std::int64_t p_data_position,
                             bool p_swap, std::int64_t p_total, std::int32_t p_item_size)
    : m_file(p_file),
      m_file_position(p_data_position),
      m_swap(p_swap),
      m_total(p_total),
      m_item_size(p_item_size) {}

std::int32_t PayloadReader::word(const unsigned char* p_bytes) const {
    std::uint32_t raw;
    std::memcpy(&raw, p_bytes, 4);
    if (m_swap) raw = __builtin_bswap32(raw);
    std::int32_t value;
    std::memcpy(&value, &raw, 4);
    return value;
}

bool PayloadReader::fail(const char* p_message, std::int64_t p_position) {
    m_problem.message = p_message;
    m_problem.position = p_position;
    return false;
}

bool PayloadReader::open_block(std::int64_t p_frame_position) {
    const unsigned char* leading = m_frame;
    if (m_block_length >= 0) {
        if (word(m_frame) != m_block_length) {
            return fail("a data block whose trailing length differs from its leading length",
                        p_frame_position);
        }
        leading += 4;
        p_frame_position += 4;
    }
    const std::int32_t length = word(leading);
    if (const char* bad = BadBlockLength(length, m_item_size, m_opened, m_total)) {
        return fail(bad, p_frame_position);
    }
    m_block_length = length;
    m_block_left = length;
    m_opened += length;
    return true;
}

bool PayloadReader::fill(char* p_out, std::size_t p_want) {
    std::size_t placed = 0;
    while (placed < p_want) {
        // The raw bytes land where the payload goes; there are never fewer payload bytes in them
        // than raw bytes read, so they never reach past what the caller asked for.
        char* land = p_out + placed;
        const std::size_t got =
            m_file.read_at(land, std::min(p_want - placed, max_read), m_file_position);
        if (got == 0) return fail("the file ends inside the section's data", m_file_position);
        const char* from = land;
        const char* end = land + got;
        char* to = land;
        while (from < end) {
            if (m_block_left > 0) {
                const std::size_t n =
                    std::min<std::size_t>(static_cast<std::size_t>(m_block_left), end - from);
                if (to != from) std::memmove(to, from, n);
                to += n;
                from += n;
                m_block_left -= static_cast<std::int64_t>(n);
                continue;
            }
            const std::size_t need = m_block_length < 0 ? 4 : 8;
            const std::size_t n = std::min<std::size_t>(need - m_frame_have, end - from);
            std::memcpy(m_frame + m_frame_have, from, n);
            m_frame_have += n;
            from += n;
            if (m_frame_have == need) {
                m_frame_have = 0;
                const std::int64_t frame_position =
                    m_file_position + (from - land) - static_cast<std::int64_t>(need);
                if (!open_block(frame_position)) return false;
            }
        }
        m_file_position += static_cast<std::int64_t>(got);
        placed = static_cast<std::size_t>(to - p_out);
    }
    return true;
}

bool PayloadReader::finish() {
    if (m_block_length < 0) return true;  // a section without blocks
    unsigned char trailing[4];
    if (m_file.read_at(trailing, 4, m_file_position) < 4) {
        return fail("the file ends inside the section's data", m_file_position);
    }
    if (word(trailing) != m_block_length) {
        return fail("a data block whose trailing length differs from its leading length",
                    m_file_position);
    }
    return true;
}

}  // namespace kelvara::eclipse

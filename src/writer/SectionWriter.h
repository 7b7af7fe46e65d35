#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "eclipse/ItemType.h"
#include "writer/ByteSink.h"

namespace kelvara::writer {

// The items of one section as they lie in memory: native int32 (INTE), float32 (REAL), float64
// (DOUB), one byte a truth value (LOGI, any byte other than 0 is true), or p_chars bytes a text
// item, padded with NUL or blanks (CHAR, C0nn).
struct TItems {
    const void* data = nullptr;
    std::int64_t count = 0;
    std::int32_t chars = 0;  // bytes of one text item in memory
};

// Writes sections, one after the other, into a sink through a buffer of its own: the big-endian
// unformatted layout (a header record, then the items in blocks of 1000, 105 for text, each
// framed by its length) or the formatted text layout that simulators write (a header line, then
// the items a fixed number a line, each block starting on a line of its own). Floating-point
// values are written with 9 (REAL) and 17 (DOUB) significant digits, so that they read back
// exactly.
class SectionWriter {
  public:
    explicit SectionWriter(ByteSink& p_sink);

    // p_name is blank-padded to 8 characters and p_type is a type of four characters; both
    // checked by the caller. Throws what the sink throws.
    void write(const std::string& p_name, const char* p_type, const TItems& p_items,
               bool p_formatted);
    // Hands every buffered byte to the sink.
    void flush();

  private:
    // Room for p_size more bytes in the buffer, flushing first when there is not.
    char* room(std::size_t p_size);
    void put(const char* p_data, std::size_t p_size);

    void unformatted(const std::string& p_name, const char* p_type, eclipse::TItemType p_kind,
                     const TItems& p_items);
    void formatted(const std::string& p_name, const char* p_type, eclipse::TItemType p_kind,
                   const TItems& p_items);

    static constexpr std::size_t buffer_bytes = std::size_t(4) << 20;

    ByteSink& m_sink;
    std::vector<char> m_buffer;
    std::size_t m_fill = 0;
};

}  // namespace kelvara::writer

#pragma once

// A small writer of ECLIPSE unformatted files for the C++ tests: sections with items split into
// blocks, in either byte order, written to a temporary file.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "stream/FileStream.h"
#include "stream/SharedFile.h"

namespace kelvara::testing {

class EclWriter {
  public:
    explicit EclWriter(bool p_big_endian = true) : m_big(p_big_endian) {}

    EclWriter& order(bool p_big_endian) {
        m_big = p_big_endian;
        return *this;
    }

    EclWriter& header(const std::string& p_name, std::int32_t p_count, const std::string& p_type) {
        word(16);
        std::string name = p_name;
        name.resize(8, ' ');
        m_bytes += name;
        word(p_count);
        m_bytes += p_type.substr(0, 4);
        word(16);
        return *this;
    }

    // A block of 4-byte items (ints, or floats by their bits).
    template <class T>
    EclWriter& block(const std::vector<T>& p_items) {
        static_assert(sizeof(T) == 4 || sizeof(T) == 8, "items are 4 or 8 bytes");
        const auto length = static_cast<std::int32_t>(p_items.size() * sizeof(T));
        word(length);
        for (const T& item : p_items) item_bytes(&item, sizeof(T));
        word(length);
        return *this;
    }

    // A block of raw payload bytes (text items, say), framed by its length.
    EclWriter& text_block(const std::string& p_payload) {
        const auto length = static_cast<std::int32_t>(p_payload.size());
        word(length);
        m_bytes += p_payload;
        word(length);
        return *this;
    }

    template <class T>
    EclWriter& section(const std::string& p_name, const std::string& p_type,
                       const std::vector<T>& p_items) {
        header(p_name, static_cast<std::int32_t>(p_items.size()), p_type);
        if (!p_items.empty()) block(p_items);
        return *this;
    }

    std::size_t size() const { return m_bytes.size(); }
    const std::string& bytes() const { return m_bytes; }

    // Writes the file and opens a stream on it at p_position; the file is removed at once, the
    // stream's descriptor keeps it readable.
    std::shared_ptr<stream::FileStream> open(std::int64_t p_position = 0) const {
        return OpenTemporary(m_bytes, p_position);
    }

  private:
    void word(std::int32_t p_value) { item_bytes(&p_value, 4); }
    void item_bytes(const void* p_item, std::size_t p_size) {
        char raw[8];
        std::memcpy(raw, p_item, p_size);
        if (m_big) {
            for (std::size_t i = 0; i < p_size / 2; ++i) std::swap(raw[i], raw[p_size - 1 - i]);
        }
        m_bytes.append(raw, p_size);
    }

    bool m_big;
    std::string m_bytes;
};

}  // namespace kelvara::testing

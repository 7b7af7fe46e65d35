#pragma once

// A small writer of IMEX framed blocks for the C++ tests: bare, record and marked frames with
// items in either byte order, written to a temporary file.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "stream/FileStream.h"

namespace kelvara::testing {

class ImexWriter {
  public:
    // Items of 4 or 8 bytes, reversed when p_big is set and the host is little-endian.
    template <class T>
    static std::string Items(const std::vector<T>& p_items, bool p_big) {
        std::string out;
        for (const T& item : p_items) {
            char raw[sizeof(T)];
            std::memcpy(raw, &item, sizeof(T));
            if (p_big) {
                for (std::size_t i = 0; i < sizeof(T) / 2; ++i) {
                    std::swap(raw[i], raw[sizeof(T) - 1 - i]);
                }
            }
            out.append(raw, sizeof(T));
        }
        return out;
    }

    ImexWriter& Bare(const std::string& p_payload) {
        Word(static_cast<std::uint32_t>(p_payload.size()), true);
        m_bytes += p_payload;
        return *this;
    }

    ImexWriter& Record(const std::string& p_payload, bool p_big,
                       const std::string& p_trailing = "\xAA\xBB\xCC\xDD") {
        const auto size = static_cast<std::uint32_t>(p_payload.size());
        Word(size + 8, p_big);
        m_bytes += Marker();
        Word(size, p_big);
        m_bytes += p_payload;
        m_bytes += p_trailing;
        return *this;
    }

    ImexWriter& Marked(const std::string& p_payload) {
        m_bytes += Marker();
        Word(static_cast<std::uint32_t>(p_payload.size()), false);
        m_bytes += p_payload;
        return *this;
    }

    ImexWriter& Raw(const std::string& p_bytes) {
        m_bytes += p_bytes;
        return *this;
    }

    std::size_t size() const { return m_bytes.size(); }

    std::shared_ptr<stream::FileStream> open() const { return OpenTemporary(m_bytes); }

  private:
    static std::string Marker() { return std::string("\x7F\xFF\xFF\xFF", 4); }
    void Word(std::uint32_t p_word, bool p_big) {
        m_bytes += Items(std::vector<std::uint32_t>{p_word}, p_big);
    }

    std::string m_bytes;
};

}  // namespace kelvara::testing

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

#include "stream/MappedWindow.h"
#include "stream/SharedFile.h"

namespace kelvara::stream {

// A buffered reading position on a shared file. Every stream has a position and a buffer of its
// own, so streams on one file never disturb each other. The buffer starts small and grows while
// reading runs on sequentially, so a cursor that only reads headers stays cheap and a bulk read
// moves through large strides; a seek inside the buffer costs nothing.
class FileStream {
  public:
    FileStream(std::shared_ptr<SharedFile> p_file, std::int64_t p_position);

    std::int64_t tell() const { return m_base + static_cast<std::int64_t>(m_cursor); }
    // A seek inside the buffer only moves the cursor; any other empties the buffer.
    void seek(std::int64_t p_position) {
        const std::int64_t offset = p_position - m_base;
        if (offset >= 0 && offset <= static_cast<std::int64_t>(m_fill)) {
            m_cursor = static_cast<std::size_t>(offset);
            return;
        }
        jump(p_position);
    }

    // Reads up to p_size bytes; fewer only at the end of the file.
    std::size_t read(void* p_out, std::size_t p_size);
    // How many read calls this stream was asked for: for tests that must know how a reader
    // splits its work into reads.
    std::uint64_t read_calls() const { return m_read_calls; }

    // Buffered bytes at the position: at least p_min of them unless the file ends first.
    // p_avail receives how many there are; consume() moves the position over those used.
    const char* window(std::size_t p_min, std::size_t& p_avail) {
        if (m_fill - m_cursor < p_min) refill(p_min);
        p_avail = m_fill - m_cursor;
        return m_view + m_cursor;
    }
    void consume(std::size_t p_size) { m_cursor += p_size; }
    // The p_size bytes at the position when the buffer holds them all, else nullptr; nothing
    // is read and the position does not move.
    const char* buffered(std::size_t p_size) const {
        return m_fill - m_cursor >= p_size ? m_view + m_cursor : nullptr;
    }

    // Reads up to p_size bytes at the position, fewer only at the end of the file, without
    // filling the buffer: bytes that the buffer holds come from it, others from a mapped view of
    // the file. Meant for the few bytes a walk reads between long jumps.
    std::size_t read_sparse(void* p_out, std::size_t p_size);

    // Walks may look at bytes far from the position while they go on reading there. They read
    // through a few mapped windows of the file, one for each of sparse_lanes lanes: a lane reads
    // from whichever window holds the bytes, and maps the window it misses in its own place, so
    // that walks in the same stretch of the file share one mapping, and walks in different
    // stretches do not take windows away from each other. read_sparse reads through lane 0.
    static constexpr int sparse_lanes = 4;
    // Reads up to p_size bytes at p_position through p_lane, fewer only at the end of the file.
    // Neither the position nor the buffer moves.
    std::size_t peek(int p_lane, void* p_out, std::size_t p_size, std::int64_t p_position) {
        // The window that served the lane last is asked first.
        if (const char* data = m_lanes[m_served[p_lane]].inside(p_position, p_size)) {
            std::memcpy(p_out, data, p_size);
            return p_size;
        }
        return peek_mapped(p_lane, p_out, p_size, p_position);
    }
    // Gives back the walks' windows that end at or before p_position: a walk going on forward
    // needs them no more, and their pages need not stay mapped beside the ones ahead.
    void drop_windows_behind(std::int64_t p_position) {
        for (MappedWindow& window : m_lanes) {
            if (window.mapped() && window.end() <= p_position) window.unmap();
        }
    }
    // Makes sure that a window holds p_position, mapping the window of p_lane when none does;
    // false at or past the end of the file, or when the file cannot be mapped.
    bool hold(int p_lane, std::int64_t p_position);
    // The bytes from p_position on in a window that holds them, and in p_avail how many the
    // window holds there; nullptr when none does. Maps nothing: valid until a lane maps another
    // window in place of the one that holds them.
    const char* held(int p_lane, std::int64_t p_position, std::size_t& p_avail) const {
        const MappedWindow* window = holder(p_lane, p_position);
        return window != nullptr ? window->holding(p_position, p_avail) : nullptr;
    }
    // A hint that a lane will soon read at p_position.
    void prefetch_ahead(int p_lane, std::int64_t p_position) const {
        if (const MappedWindow* window = holder(p_lane, p_position)) window->prefetch(p_position);
    }

    // Bytes of the file behind the position; 0 at or past the end.
    std::int64_t remaining() const;
    // Gives a large buffer and the mapped view back; called when a host call is over.
    void relax();

    const std::shared_ptr<SharedFile>& file() const { return m_file; }

  private:
    // The window that holds p_position, the one that served p_lane last asked first; nullptr
    // when none does.
    const MappedWindow* holder(int p_lane, std::int64_t p_position) const {
        std::size_t avail;
        const MappedWindow& served = m_lanes[m_served[p_lane]];
        if (served.holding(p_position, avail) != nullptr) return &served;
        for (const MappedWindow& window : m_lanes) {
            if (window.holding(p_position, avail) != nullptr) return &window;
        }
        return nullptr;
    }
    void refill(std::size_t p_min);
    bool view_mapped(std::size_t p_min);
    void jump(std::int64_t p_position);
    std::size_t peek_mapped(int p_lane, void* p_out, std::size_t p_size, std::int64_t p_position);

    static constexpr std::size_t min_chunk = 4096;
    static constexpr std::size_t max_chunk = std::size_t(1) << 20;

    std::shared_ptr<SharedFile> m_file;
    std::unique_ptr<char[]> m_storage;
    // The bytes from m_base on: the buffer, or, on a long sequential run, the file's pages in
    // the mapped view, read in place without a copy.
    const char* m_view = nullptr;
    std::size_t m_capacity = 0;
    std::size_t m_chunk = min_chunk;
    std::int64_t m_base;                 // file offset of m_view[0]
    std::size_t m_cursor = 0;            // position inside the buffer
    std::size_t m_fill = 0;              // valid bytes in the buffer
    MappedWindow m_mapped;               // the view of long sequential runs
    MappedWindow m_lanes[sparse_lanes];  // the views of walks
    int m_served[sparse_lanes] = {};     // the window that served each lane last
    std::uint64_t m_read_calls = 0;
};

// The signed word of 4 bytes in file order, reversed when Swap is set.
template <bool Swap>
inline std::int32_t word_of(const void* p_bytes) {
    std::uint32_t raw;
    std::memcpy(&raw, p_bytes, 4);
    if (Swap) raw = __builtin_bswap32(raw);
    std::int32_t word;
    std::memcpy(&word, &raw, 4);
    return word;
}

// Reads one 4-byte word, reversed when Swap is set; false at the end of the file.
template <bool Swap>
inline bool read_word(FileStream& p_stream, std::int32_t& p_word) {
    std::size_t avail;
    const char* data = p_stream.window(4, avail);
    if (avail < 4) return false;
    p_word = word_of<Swap>(data);
    p_stream.consume(4);
    return true;
}

// Reads one 4-byte word by read_sparse, reversed when Swap is set; false at the end of the file.
template <bool Swap>
inline bool read_sparse_word(FileStream& p_stream, std::int32_t& p_word) {
    // Most small blocks lie inside the buffer: their words are taken from it in place.
    if (const char* data = p_stream.buffered(4)) {
        p_word = word_of<Swap>(data);
        p_stream.consume(4);
        return true;
    }
    char bytes[4];
    if (p_stream.read_sparse(bytes, 4) < 4) return false;
    p_word = word_of<Swap>(bytes);
    return true;
}

// Reads one 4-byte word at p_position by peek through p_lane, reversed when Swap is set; false
// at the end of the file.
template <bool Swap>
inline bool peek_word(FileStream& p_stream, int p_lane, std::int64_t p_position,
                      std::int32_t& p_word) {
    char bytes[4];
    if (p_stream.peek(p_lane, bytes, 4, p_position) < 4) return false;
    p_word = word_of<Swap>(bytes);
    return true;
}

// Calls p_body(std::integral_constant<bool, Swap>{}) with Swap set to p_swap, so that a loop
// inside is made once per byte order and takes no decision on it per item.
template <class Body>
decltype(auto) with_byte_order(bool p_swap, Body&& p_body) {
    if (p_swap) return p_body(std::true_type{});
    return p_body(std::false_type{});
}

}  // namespace kelvara::stream

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace kelvara::stream {

class SharedFile;

// Asks the processor to bring the line at p_address into the cache. GCC drops a
// __builtin_prefetch whose address it computes under a condition, so on x86 the instruction is
// written out; it never faults, whatever the address.
inline void fetch_ahead(const char* p_address) {
#if defined(__x86_64__) || defined(__i386__)
    asm volatile("prefetcht0 %0" : : "m"(*p_address));
#else
    __builtin_prefetch(p_address);
#endif
}

// A read-only view of one stretch of a file, mapped into memory, that moves along as reads ask
// for other stretches. A walk that looks at a few bytes between long jumps (the length words of
// blocks) reads them from the file's pages this way: no system call and no copy of the bytes in
// between, where a buffered read would fetch a page for every word. When the file cannot be
// mapped, reads go to the file directly instead.
class MappedWindow {
  public:
    MappedWindow() = default;
    ~MappedWindow() { unmap(); }
    MappedWindow(const MappedWindow&) = delete;
    MappedWindow& operator=(const MappedWindow&) = delete;

    // Reads up to p_size bytes at p_offset of p_file; fewer only at the end of the file.
    std::size_t read_at(const SharedFile& p_file, void* p_out, std::size_t p_size,
                        std::int64_t p_offset);
    // The mapped bytes at p_offset of p_file and in p_avail how many follow them in the window
    // (mapping the window that holds p_offset); nullptr when the offset lies at or past the end
    // of the file or the file cannot be mapped. Valid until the window moves or is given back.
    const char* view(const SharedFile& p_file, std::int64_t p_offset, std::size_t& p_avail);
    // The bytes at p_offset when the present window holds that offset, and in p_avail how many
    // follow them in the window; nullptr otherwise. Maps nothing.
    const char* holding(std::int64_t p_offset, std::size_t& p_avail) const {
        if (m_data == nullptr || p_offset < m_offset) return nullptr;
        const auto skip = static_cast<std::uint64_t>(p_offset - m_offset);
        if (skip >= m_length) return nullptr;
        p_avail = m_length - skip;
        return m_data + skip;
    }
    // The p_size bytes at p_offset when the present window holds them all, else nullptr; maps
    // nothing, so that a caller can take the common case inline and fall back to read_at.
    const char* inside(std::int64_t p_offset, std::size_t p_size) const {
        std::size_t avail;
        const char* data = holding(p_offset, avail);
        return data != nullptr && avail >= p_size ? data : nullptr;
    }
    // Asks the processor to fetch the byte at p_offset ahead of a read there, when the present
    // window holds it; a hint only, which costs no fault and no system call.
    void prefetch(std::int64_t p_offset) const {
        std::size_t avail;
        if (const char* data = holding(p_offset, avail)) fetch_ahead(data);
    }
    // Gives the mapping back.
    void unmap();
    // Whether a window is mapped, and the file offset where it ends.
    bool mapped() const { return m_data != nullptr; }
    std::int64_t end() const { return m_offset + static_cast<std::int64_t>(m_length); }

    static constexpr std::size_t window_bytes = std::size_t(32) << 20;
    // The window of a file behind a reader, which is fetched rather than mapped.
    static constexpr std::size_t fetched_bytes = std::size_t(1) << 20;

  private:
    // Maps the window that holds p_offset; false when the offset lies at or past the end of the
    // file or the file cannot be mapped.
    bool map(const SharedFile& p_file, std::int64_t p_offset);

    const char* m_data = nullptr;
    bool m_borrowed = false;         // a window onto memory (a file in memory, m_copy): no unmap
    std::unique_ptr<char[]> m_copy;  // the fetched window of a file behind a reader
    std::int64_t m_offset = 0;       // file offset of m_data[0]
    std::size_t m_length = 0;
};

}  // namespace kelvara::stream

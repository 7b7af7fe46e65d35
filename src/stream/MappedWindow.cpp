#include "stream/MappedWindow.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>

#include "stream/SharedFile.h"

namespace kelvara::stream {

bool MappedWindow::map(const SharedFile& p_file, std::int64_t p_offset) {
    unmap();
    const std::int64_t size = p_file.size();
    if (p_offset < 0 || p_offset >= size) return false;
    // A file behind a reader cannot be mapped: a smaller window of it is fetched at one stroke
    // into memory of the window's own, so that the words a walk looks at cost no call each.
    const bool fetched = p_file.fetched();
    const auto window = static_cast<std::int64_t>(fetched ? fetched_bytes : window_bytes);
    const std::int64_t start = p_offset / window * window;
    const auto length = static_cast<std::size_t>(std::min(window, size - start));
    if (fetched) {
        if (!m_copy) m_copy.reset(new char[fetched_bytes]);
        const std::size_t got = p_file.read_at(m_copy.get(), length, start);
        if (got <= static_cast<std::size_t>(p_offset - start)) return false;
        m_data = m_copy.get();
        m_borrowed = true;
        m_offset = start;
        m_length = got;
        return true;
    }
    // A file in memory is its own mapping.
    if (const char* memory = p_file.memory()) {
        m_data = memory + start;
        m_borrowed = true;
        m_offset = start;
        m_length = length;
        return true;
    }
    void* data = ::mmap(nullptr, length, PROT_READ, MAP_SHARED, p_file.descriptor(),
                        static_cast<off_t>(start));
    if (data == MAP_FAILED) return false;
    m_data = static_cast<const char*>(data);
    m_offset = start;
    m_length = length;
    return true;
}

void MappedWindow::unmap() {
    if (m_data != nullptr && !m_borrowed) ::munmap(const_cast<char*>(m_data), m_length);
    m_data = nullptr;
    m_borrowed = false;
    m_offset = 0;
    m_length = 0;
}

const char* MappedWindow::view(const SharedFile& p_file, std::int64_t p_offset,
                               std::size_t& p_avail) {
    if (const char* data = holding(p_offset, p_avail)) return data;
    if (!map(p_file, p_offset)) return nullptr;
    return holding(p_offset, p_avail);
}

std::size_t MappedWindow::read_at(const SharedFile& p_file, void* p_out, std::size_t p_size,
                                  std::int64_t p_offset) {
    auto* out = static_cast<char*>(p_out);
    std::size_t done = 0;
    while (done < p_size) {
        const std::int64_t at = p_offset + static_cast<std::int64_t>(done);
        std::size_t avail;
        const char* data = view(p_file, at, avail);
        // Past the end, or a file that cannot be mapped: the file answers directly.
        if (data == nullptr) return done + p_file.read_at(out + done, p_size - done, at);
        const std::size_t n = std::min(p_size - done, avail);
        std::memcpy(out + done, data, n);
        done += n;
    }
    return done;
}

}  // namespace kelvara::stream

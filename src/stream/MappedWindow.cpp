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
    const auto window = static_cast<std::int64_t>(window_bytes);
    const std::int64_t start = p_offset / window * window;
    const auto length = static_cast<std::size_t>(std::min(window, size - start));
    void* data = ::mmap(nullptr, length, PROT_READ, MAP_SHARED, p_file.descriptor(),
                        static_cast<off_t>(start));
    if (data == MAP_FAILED) return false;
    m_data = static_cast<const char*>(data);
    m_offset = start;
    m_length = length;
    return true;
}

void MappedWindow::unmap() {
    if (m_data != nullptr) ::munmap(const_cast<char*>(m_data), m_length);
    m_data = nullptr;
    m_offset = 0;
    m_length = 0;
}

const char* MappedWindow::view(const SharedFile& p_file, std::int64_t p_offset,
                               std::size_t& p_avail) {
    const bool inside =
        m_data != nullptr && p_offset >= m_offset && p_offset < m_offset + std::int64_t(m_length);
    if (!inside && !map(p_file, p_offset)) return nullptr;
    const auto skip = static_cast<std::size_t>(p_offset - m_offset);
    p_avail = m_length - skip;
    return m_data + skip;
}

std::size_t MappedWindow::read_at(const SharedFile& p_file, void* p_out, std::size_t p_size,
                                  std::int64_t p_offset) {
    auto* out = static_cast<char*>(p_out);
    std::size_t done = 0;
    while (done < p_size) {
        const std::int64_t at = p_offset + static_cast<std::int64_t>(done);
        const bool inside =
            m_data != nullptr && at >= m_offset && at < m_offset + std::int64_t(m_length);
        if (!inside && !map(p_file, at)) {
            // Past the end, or a file that cannot be mapped: the file answers directly.
            return done + p_file.read_at(out + done, p_size - done, at);
        }
        const auto skip = static_cast<std::size_t>(at - m_offset);
        const std::size_t n = std::min(p_size - done, m_length - skip);
        std::memcpy(out + done, m_data + skip, n);
        done += n;
    }
    return done;
}

}  // namespace kelvara::stream

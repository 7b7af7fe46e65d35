#include "stream/FileStream.h"

#include <algorithm>
#include <utility>

namespace kelvara::stream {

FileStream::FileStream(std::shared_ptr<SharedFile> p_file, std::int64_t p_position)
    : m_file(std::move(p_file)), m_base(p_position) {}

void FileStream::jump(std::int64_t p_position) {
    m_base = p_position;
    m_cursor = 0;
    m_fill = 0;
    m_view = m_storage.get();
    m_chunk = min_chunk;  // a jump ends a sequential run
}

std::size_t FileStream::read(void* p_out, std::size_t p_size) {
    ++m_read_calls;
    auto* out = static_cast<char*>(p_out);
    std::size_t done = 0;
    while (done < p_size) {
        std::size_t avail;
        const char* data = window(1, avail);
        if (avail == 0) break;
        const std::size_t n = std::min(avail, p_size - done);
        std::memcpy(out + done, data, n);
        consume(n);
        done += n;
    }
    return done;
}

bool FileStream::view_mapped(std::size_t p_min) {
    const std::int64_t position = tell();
    std::size_t avail = 0;
    const char* view = m_mapped.view(*m_file, position, avail);
    if (view == nullptr) return false;
    // The window must hold what is asked for, or all that the file still holds.
    if (avail < p_min && static_cast<std::int64_t>(avail) < m_file->size() - position) {
        return false;
    }
    m_base = position;
    m_cursor = 0;
    m_fill = avail;
    m_view = view;
    return true;
}

void FileStream::refill(std::size_t p_min) {
    const std::size_t unread = m_fill - m_cursor;
    const bool sequential = m_fill > 0 && unread < p_min;
    if (sequential && m_chunk < max_chunk) m_chunk *= 2;
    // A long sequential run reads the file's pages where they lie, through the mapped view,
    // rather than copying them into the buffer.
    if (sequential && m_chunk >= max_chunk && tell() >= 0 && view_mapped(p_min)) return;
    const std::size_t want = std::max(m_chunk, p_min);
    if (want > m_capacity) {
        std::unique_ptr<char[]> storage(new char[want]);
        if (unread > 0) std::memcpy(storage.get(), m_view + m_cursor, unread);
        m_storage = std::move(storage);
        m_capacity = want;
    } else if (unread > 0 && (m_cursor > 0 || m_view != m_storage.get())) {
        std::memmove(m_storage.get(), m_view + m_cursor, unread);
    }
    m_view = m_storage.get();
    m_base += static_cast<std::int64_t>(m_cursor);
    m_cursor = 0;
    m_fill = unread;
    if (m_base < 0) return;  // nothing lies before the start of a file
    m_fill += m_file->read_at(m_storage.get() + unread, want - unread,
                              m_base + static_cast<std::int64_t>(unread));
}

std::size_t FileStream::read_sparse(void* p_out, std::size_t p_size) {
    if (const char* data = buffered(p_size)) {
        std::memcpy(p_out, data, p_size);
        consume(p_size);
        return p_size;
    }
    const std::int64_t position = tell();
    const std::size_t done = position < 0 ? 0 : peek(0, p_out, p_size, position);
    // The buffer no longer stands at the position: it is emptied, as by a seek.
    jump(position + static_cast<std::int64_t>(done));
    return done;
}

std::size_t FileStream::peek_mapped(int p_lane, void* p_out, std::size_t p_size,
                                    std::int64_t p_position) {
    if (p_position < 0) return 0;
    const MappedWindow* window = holder(p_lane, p_position);
    if (const char* data = window != nullptr ? window->inside(p_position, p_size) : nullptr) {
        m_served[p_lane] = static_cast<int>(window - m_lanes);
        std::memcpy(p_out, data, p_size);
        return p_size;
    }
    m_served[p_lane] = p_lane;
    return m_lanes[p_lane].read_at(*m_file, p_out, p_size, p_position);
}

bool FileStream::hold(int p_lane, std::int64_t p_position) {
    if (holder(p_lane, p_position) != nullptr) return true;
    std::size_t avail;
    return p_position >= 0 && m_lanes[p_lane].view(*m_file, p_position, avail) != nullptr;
}

std::int64_t FileStream::remaining() const {
    return std::max<std::int64_t>(0, m_file->size() - tell());
}

void FileStream::relax() {
    const bool mapped = m_view != m_storage.get();
    const bool large = m_capacity > 64 * 1024;
    // Bytes seen through the mapped view go with it, and so does a large buffer.
    if (mapped || large) jump(tell());
    m_mapped.unmap();
    for (MappedWindow& window : m_lanes) window.unmap();
    if (!large) return;
    m_storage.reset();
    m_view = nullptr;
    m_capacity = 0;
}

}  // namespace kelvara::stream

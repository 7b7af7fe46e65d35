#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace ostrel::builder {

namespace detail {

// Chunks are 2 MiB, aligned to 2 MiB. All chunks behind the first are offered to the kernel as
// huge pages: a large feed then costs a page fault per 2 MiB instead of one per 4 KiB, while a
// small feeder only ever touches the first chunk's ordinary pages.
constexpr std::size_t chunk_bytes = std::size_t(1) << 21;

struct ChunkFree {
    void operator()(void* p_chunk) const { std::free(p_chunk); }
};

inline void* allocate_chunk(bool p_huge) {
    void* chunk = std::aligned_alloc(chunk_bytes, chunk_bytes);
    if (chunk == nullptr) throw std::bad_alloc();
#if defined(MADV_HUGEPAGE)
    if (p_huge) ::madvise(chunk, chunk_bytes, MADV_HUGEPAGE);
#else
    (void)p_huge;
#endif
    return chunk;
}

constexpr int log2_of(std::size_t p_value) { return p_value <= 1 ? 0 : 1 + log2_of(p_value / 2); }

}  // namespace detail

template <class T>
class ChunkedBuffer {
  public:
    static_assert(std::is_trivially_copyable_v<T> && (sizeof(T) & (sizeof(T) - 1)) == 0,
                  "elements are plain values whose size is a power of two");
    static constexpr std::size_t chunk_shift =
        detail::log2_of(detail::chunk_bytes) - detail::log2_of(sizeof(T));
    static constexpr std::size_t chunk_size = std::size_t(1) << chunk_shift;
    static constexpr std::size_t chunk_mask = chunk_size - 1;

    std::size_t size() const { return m_size; }

    T& operator[](std::size_t p_index) {
        return m_chunks[p_index >> chunk_shift].get()[p_index & chunk_mask];
    }
    const T& operator[](std::size_t p_index) const {
        return m_chunks[p_index >> chunk_shift].get()[p_index & chunk_mask];
    }

    // Free space behind the last element, allocating a new chunk when the last one is full.
    std::pair<T*, T*> tail_space() {
        const std::size_t offset = m_size & chunk_mask;
        if (offset == 0 && (m_size >> chunk_shift) == m_chunks.size()) {
            m_chunks.emplace_back(static_cast<T*>(detail::allocate_chunk(!m_chunks.empty())));
        }
        T* chunk = m_chunks[m_size >> chunk_shift].get();
        return {chunk + offset, chunk + chunk_size};
    }

    // Declares p_count elements written into the window of tail_space().
    void commit(std::size_t p_count) { m_size += p_count; }

    void push_back(T p_value) {
        *tail_space().first = p_value;
        ++m_size;
    }

    // Grows with p_fill or shrinks; shrinking releases chunks no longer needed.
    void resize(std::size_t p_size, T p_fill) {
        while (m_size < p_size) {
            auto window = tail_space();
            const std::size_t n =
                std::min<std::size_t>(p_size - m_size, std::size_t(window.second - window.first));
            std::fill_n(window.first, n, p_fill);
            m_size += n;
        }
        m_size = p_size;
        m_chunks.resize((p_size + chunk_mask) >> chunk_shift);
    }

    // Copies the first p_count elements (at most size()) into p_out, in order.
    void copy_to(T* p_out, std::size_t p_count) const {
        p_count = std::min(p_count, m_size);
        for (std::size_t c = 0; p_count > 0; ++c) {
            const std::size_t n = std::min(p_count, chunk_size);
            std::copy_n(m_chunks[c].get(), n, p_out);
            p_out += n;
            p_count -= n;
        }
    }

    void clear() {
        m_chunks.clear();
        m_size = 0;
    }

  private:
    std::vector<std::unique_ptr<T, detail::ChunkFree>> m_chunks;
    std::size_t m_size = 0;
};

}  // namespace ostrel::builder

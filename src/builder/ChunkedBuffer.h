#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace ostrel::builder {

// Growable storage made of fixed-size chunks. Growing never copies what is stored, so the
// peak memory of a feed stays at the values' size plus one chunk, and element addresses are
// stable. The tail of the last chunk can be handed out as a raw window for direct writes.
template <class T>
class ChunkedBuffer {
  public:
    static constexpr std::size_t chunk_shift = 16;
    static constexpr std::size_t chunk_size = std::size_t(1) << chunk_shift;
    static constexpr std::size_t chunk_mask = chunk_size - 1;

    std::size_t size() const { return m_size; }

    T& operator[](std::size_t p_index) {
        return m_chunks[p_index >> chunk_shift][p_index & chunk_mask];
    }
    const T& operator[](std::size_t p_index) const {
        return m_chunks[p_index >> chunk_shift][p_index & chunk_mask];
    }

    // Free space behind the last element, allocating a new chunk when the last one is full.
    std::pair<T*, T*> tail_space() {
        const std::size_t offset = m_size & chunk_mask;
        if (offset == 0 && (m_size >> chunk_shift) == m_chunks.size()) {
            m_chunks.push_back(std::unique_ptr<T[]>(new T[chunk_size]));
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
    std::vector<std::unique_ptr<T[]>> m_chunks;
    std::size_t m_size = 0;
};

}  // namespace ostrel::builder

#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace ostrel::builder {

namespace detail {

// Storage of the feeders: one contiguous region that grows with the data. A small region lives
// on the heap and grows by realloc, so a feeder of a few values reserves a few hundred bytes at
// most. From 1 MiB on the region is mapped on its own, 2 MiB aligned and offered to the kernel
// as huge pages: a large feed then costs a page fault per 2 MiB instead of one per 4 KiB, and
// the region grows by moving its page tables (mremap), never by copying values. Being
// contiguous, the region can be handed over as it stands.
constexpr std::size_t huge_page_bytes = std::size_t(1) << 21;
constexpr std::size_t map_threshold_bytes = std::size_t(1) << 20;
constexpr std::size_t first_region_bytes = 128;
constexpr std::size_t page_bytes = 4096;

constexpr std::size_t round_up(std::size_t p_value, std::size_t p_step) {
    return (p_value + p_step - 1) / p_step * p_step;
}

struct Region {
    void* data = nullptr;
    std::size_t bytes = 0;
    bool mapped = false;
};

inline void free_region(Region& p_region) noexcept {
    if (p_region.data != nullptr) {
        if (p_region.mapped) {
            ::munmap(p_region.data, p_region.bytes);
        } else {
            std::free(p_region.data);
        }
    }
    p_region = Region{};
}

// A fresh mapping of p_bytes (a multiple of 2 MiB) at a 2 MiB boundary, huge pages advised.
inline void* map_aligned(std::size_t p_bytes) {
    const std::size_t span = p_bytes + huge_page_bytes;
    void* raw = ::mmap(nullptr, span, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (raw == MAP_FAILED) throw std::bad_alloc();
    const auto start = reinterpret_cast<std::uintptr_t>(raw);
    const std::uintptr_t aligned = round_up(start, huge_page_bytes);
    if (aligned > start) ::munmap(raw, aligned - start);
    const std::size_t tail = start + span - (aligned + p_bytes);
    if (tail > 0) ::munmap(reinterpret_cast<void*>(aligned + p_bytes), tail);
    void* data = reinterpret_cast<void*>(aligned);
#if defined(MADV_HUGEPAGE)
    ::madvise(data, p_bytes, MADV_HUGEPAGE);
#endif
    return data;
}

// p_region grown to at least p_bytes, keeping its first p_used bytes.
inline Region grow_region(Region p_region, std::size_t p_used, std::size_t p_bytes) {
    if (!p_region.mapped && p_bytes <= map_threshold_bytes) {
        void* data = std::realloc(p_region.data, p_bytes);
        if (data == nullptr) throw std::bad_alloc();
        return Region{data, p_bytes, false};
    }
    p_bytes = round_up(p_bytes, huge_page_bytes);
    void* data = map_aligned(p_bytes);
    if (!p_region.mapped) {
        if (p_used > 0) std::memcpy(data, p_region.data, p_used);
        std::free(p_region.data);
        return Region{data, p_bytes, true};
    }
    // The pages move to the new place, which was reserved 2 MiB aligned so that huge pages move
    // whole; the mapping reserved there is replaced.
    void* moved =
        ::mremap(p_region.data, p_region.bytes, p_bytes, MREMAP_MAYMOVE | MREMAP_FIXED, data);
    if (moved == MAP_FAILED) {
        ::munmap(data, p_bytes);
        throw std::bad_alloc();
    }
#if defined(MADV_HUGEPAGE)
    ::madvise(moved, p_bytes, MADV_HUGEPAGE);
#endif
    return Region{moved, p_bytes, true};
}

// p_region cut down to its first p_used bytes (a mapped one to whole pages).
inline Region fit_region(Region p_region, std::size_t p_used) {
    if (p_used == 0) {
        free_region(p_region);
        return Region{};
    }
    if (p_region.mapped) {
        const std::size_t keep = round_up(p_used, page_bytes);
        if (keep < p_region.bytes) {
            ::munmap(static_cast<char*>(p_region.data) + keep, p_region.bytes - keep);
            p_region.bytes = keep;
        }
        return p_region;
    }
    if (p_used < p_region.bytes) {
        if (void* data = std::realloc(p_region.data, p_used)) return Region{data, p_used, false};
    }
    return p_region;
}

}  // namespace detail

// Values taken out of a buffer: they own their storage and free it when destroyed. A NumPy array
// made over data() keeps one of these alive, so values are handed over without a copy.
template <class T>
class ReleasedValues {
  public:
    ReleasedValues() = default;
    ReleasedValues(detail::Region p_region, std::size_t p_size)
        : m_region(p_region), m_size(p_size) {}
    ~ReleasedValues() { detail::free_region(m_region); }
    ReleasedValues(ReleasedValues&& p_other) noexcept
        : m_region(std::exchange(p_other.m_region, detail::Region{})),
          m_size(std::exchange(p_other.m_size, 0)) {}
    ReleasedValues& operator=(ReleasedValues&& p_other) noexcept {
        if (this != &p_other) {
            detail::free_region(m_region);
            m_region = std::exchange(p_other.m_region, detail::Region{});
            m_size = std::exchange(p_other.m_size, 0);
        }
        return *this;
    }

    T* data() const { return static_cast<T*>(m_region.data); }
    std::size_t size() const { return m_size; }
    // Bytes of storage held, at least size() * sizeof(T).
    std::size_t reserved_bytes() const { return m_region.bytes; }

  private:
    detail::Region m_region;
    std::size_t m_size = 0;
};

// A contiguous array of plain values that grows with the data, see detail above.
template <class T>
class GrowingBuffer {
  public:
    static_assert(std::is_trivially_copyable_v<T>, "elements are plain values");

    GrowingBuffer() = default;
    ~GrowingBuffer() { detail::free_region(m_region); }
    GrowingBuffer(const GrowingBuffer&) = delete;
    GrowingBuffer& operator=(const GrowingBuffer&) = delete;

    std::size_t size() const { return m_size; }
    std::size_t capacity() const { return m_region.bytes / sizeof(T); }
    // Bytes of storage held.
    std::size_t reserved_bytes() const { return m_region.bytes; }
    T* data() { return static_cast<T*>(m_region.data); }
    const T* data() const { return static_cast<const T*>(m_region.data); }

    T& operator[](std::size_t p_index) { return data()[p_index]; }
    const T& operator[](std::size_t p_index) const { return data()[p_index]; }

    // Free space behind the last element, never empty: the buffer grows when it is full.
    std::pair<T*, T*> tail_space() {
        if (m_size == capacity()) reserve(m_size + 1);
        return {data() + m_size, data() + capacity()};
    }

    // Declares p_count elements written into the window of tail_space().
    void commit(std::size_t p_count) { m_size += p_count; }

    void push_back(T p_value) {
        *tail_space().first = p_value;
        ++m_size;
    }

    // Room for at least p_count elements: twice the present room when that is more, so that
    // appending one by one costs amortised constant time.
    void reserve(std::size_t p_count) {
        if (p_count <= capacity()) return;
        if (p_count > max_size()) throw std::bad_alloc();
        const std::size_t wanted = std::max({p_count, std::min(2 * capacity(), max_size()),
                                             detail::first_region_bytes / sizeof(T)});
        m_region = detail::grow_region(m_region, m_size * sizeof(T), wanted * sizeof(T));
    }

    // Grows with p_fill or shrinks; shrinking to less than half the room gives the rest back.
    void resize(std::size_t p_size, T p_fill) {
        if (p_size > m_size) {
            reserve(p_size);
            std::fill(data() + m_size, data() + p_size, p_fill);
        }
        m_size = p_size;
        if (p_size < capacity() / 2) m_region = detail::fit_region(m_region, p_size * sizeof(T));
    }

    // Copies the first p_count elements (at most size()) into p_out, in order.
    void copy_to(T* p_out, std::size_t p_count) const {
        p_count = std::min(p_count, m_size);
        if (p_count > 0) std::memcpy(p_out, data(), p_count * sizeof(T));
    }

    // Hands the elements over with their storage and leaves the buffer empty.
    ReleasedValues<T> release() {
        ReleasedValues<T> values(detail::fit_region(m_region, m_size * sizeof(T)), m_size);
        m_region = detail::Region{};
        m_size = 0;
        return values;
    }

    void clear() {
        detail::free_region(m_region);
        m_size = 0;
    }

  private:
    static constexpr std::size_t max_size() { return (std::size_t(1) << 62) / sizeof(T); }

    detail::Region m_region;
    std::size_t m_size = 0;
};

}  // namespace ostrel::builder

#pragma once

// The allocator of array storage. Large blocks (4 MiB and more) are aligned to 2 MiB and offered
// to the kernel as huge pages, as NumPy does for its arrays: filling a large array then costs a
// page fault per 2 MiB instead of one per 4 KiB. Small blocks come from operator new.
#include <sys/mman.h>

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

namespace ostrel::core {

template <class T>
struct StorageAllocator {
    using value_type = T;

    static constexpr std::size_t kHugePage = std::size_t(1) << 21;
    static constexpr std::size_t kLargeBlock = std::size_t(1) << 22;

    StorageAllocator() = default;
    template <class U>
    StorageAllocator(const StorageAllocator<U>&) {}

    T* allocate(std::size_t p_count) {
        if (p_count > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        const std::size_t bytes = p_count * sizeof(T);
        if (bytes < kLargeBlock) return static_cast<T*>(::operator new(bytes));
        const std::size_t rounded = (bytes + kHugePage - 1) / kHugePage * kHugePage;
        void* block = std::aligned_alloc(kHugePage, rounded);
        if (block == nullptr) throw std::bad_alloc();
#if defined(MADV_HUGEPAGE)
        ::madvise(block, rounded, MADV_HUGEPAGE);
#endif
        return static_cast<T*>(block);
    }

    void deallocate(T* p_block, std::size_t p_count) {
        if (p_count * sizeof(T) < kLargeBlock) {
            ::operator delete(p_block);
        } else {
            std::free(p_block);
        }
    }

    template <class U>
    bool operator==(const StorageAllocator<U>&) const {
        return true;
    }
    template <class U>
    bool operator!=(const StorageAllocator<U>&) const {
        return false;
    }
};

}  // namespace ostrel::core

#pragma once

// VectorArrayImpl<T>: storage in one contiguous vector of T (large ones on huge pages). For bool
// the vector holds one byte per element, so that data hands out a plain bool pointer. One template
// for the 45 storage types, instantiated in VectorArrayImplInstances.cpp.
#include <type_traits>
#include <vector>

#include "core/array/ElementTypes.h"
#include "core/array/IArrayImpl.h"
#include "core/array/StorageAllocator.h"

namespace ostrel::core {

// The byte that holds one bool element.
struct BoolByte {
    bool m_value;
};

template <class T>
class OSTREL_CORE_API VectorArrayImpl final : public IArrayImpl {
  public:
    using value_type = T;

    VectorArrayImpl();
    // p_count zero elements.
    explicit VectorArrayImpl(unsigned int p_count);
    // A copy of the elements [p_first, p_last), written once.
    VectorArrayImpl(const T* p_first, const T* p_last);
    ~VectorArrayImpl() override;

    void* data(ArrayShape& p_shape) override;
    void do_resize(unsigned int p_NewSize) override;
    IArrayImpl* clone() const override;
    unsigned int element_size() const override { return sizeof(T); }
    const IArrayImplFactory* factory() const override;
    unsigned int max_size() const override { return 4294967039u / element_size(); }
    IArray* create_array() override;

    // Reserved room, in elements.
    std::size_t capacity() const { return m_vector.capacity(); }

  private:
    using stored_type = std::conditional_t<std::is_same_v<T, bool>, BoolByte, T>;
    static_assert(sizeof(stored_type) == sizeof(T), "one stored element per element");

    VectorArrayImpl(const VectorArrayImpl& p_other);

    std::vector<stored_type, StorageAllocator<stored_type>> m_vector;
};

#define OSTREL_EXTERN_VECTOR_ARRAY_IMPL(...) \
    extern template class OSTREL_CORE_TEMPLATE_API VectorArrayImpl<__VA_ARGS__>;
OSTREL_FOR_EACH_STORAGE_TYPE(OSTREL_EXTERN_VECTOR_ARRAY_IMPL)
#undef OSTREL_EXTERN_VECTOR_ARRAY_IMPL

}  // namespace ostrel::core

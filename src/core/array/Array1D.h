#pragma once

// Array<T,N>: a typed view over shared storage. The view caches the data pointer and the size,
// so that element access is a direct read; it observes its storage, which tells it of every
// size change. Copies share the storage. Ranks 2 and 3 add leading extents that stay fixed while
// the last one follows the size. One template, instantiated for every element type in
// ArrayInstances*.cpp; the definitions are in Array1D.inl, Array2D.inl and Array3D.inl.
#include <memory>

#include "core/Export.h"
#include "core/array/ElementTypes.h"
#include "core/array/IArray.h"
#include "core/array/IArrayImpl.h"
#include "core/pattern/Subject.h"

namespace ostrel::core {

template <class T, unsigned N>
class Array;

template <class T>
class OSTREL_CORE_API Array<T, 1> : public IArray, public IObserver {
  public:
    using value_type = T;
    static constexpr unsigned rank = 1;

    // Unbound: no storage.
    Array();
    // Storage of p_InitialSize zero elements from p_factory.
    explicit Array(const IArrayImplFactory* p_factory, unsigned int p_InitialSize = 0);
    // The same, with every element set to p_value.
    Array(const IArrayImplFactory* p_factory, unsigned int p_InitialSize, const T& p_value);
    // Bound to p_ArrayImplementation, which must hold elements of the size of T.
    explicit Array(std::shared_ptr<IArrayImpl> p_ArrayImplementation);
    // Shares the other array's storage.
    Array(const Array& p_other);
    Array& operator=(const Array& p_other);
    ~Array() override;

    unsigned int dimensions() const override { return 1; }
    ScalarType scalar_type() const override { return ElementTraits<T>::scalar_type; }
    unsigned int size() const override { return m_Size; }
    ArrayShape shape() const override;
    bool operator==(const IArray& p_other) const override;
    bool operator!=(const IArray& p_other) const override { return !(*this == p_other); }
    void make_unique() override;
    void* data() override { return m_Data; }
    void set_fixed_shape() override { m_IsFixedShape = true; }
    bool is_fixed_shape() const override { return m_IsFixedShape; }
    void reset(std::shared_ptr<IArrayImpl> p_impl) override;
    void reset() override;
    std::shared_ptr<IArrayImpl> implementation() override { return m_Impl; }
    std::shared_ptr<const IArrayImpl> implementation() const override { return m_Impl; }
    void negate() override;
    void scale(double p_factor) override;
    const IArrayImplFactory* factory() const override;
    long use_count() const override { return m_Impl ? m_Impl.use_count() : 0; }
    bool unique() const override { return m_Impl && m_Impl.use_count() == 1; }
    ElementShape element_shape() const override {
        return ElementShape{{ElementTraits<T>::tuple_size, 1}};
    }

    // Refreshes the cached pointer and size from the storage.
    void update() override;

    // Changes the count. Nothing when it is the present one; fails on a fixed shape. Through the
    // storage, so that every array sharing it refreshes; without storage only the cached size
    // changes.
    void resize(unsigned int p_NewSize);
    // Makes new storage of p_InitialSize elements through p_factory and binds to it.
    void init(const IArrayImplFactory& p_factory, unsigned int p_InitialSize);

    T& operator[](unsigned int p_index) { return m_Data[p_index]; }
    const T& operator[](unsigned int p_index) const { return m_Data[p_index]; }
    T* begin() { return m_Data; }
    T* end() { return m_Data + m_Size; }
    const T* begin() const { return m_Data; }
    const T* end() const { return m_Data + m_Size; }
    T* typed_data() { return m_Data; }
    const T* typed_data() const { return m_Data; }

  protected:
    // Steps of the refresh common to all ranks; false when there is no storage.
    bool refresh_cache();
    // Leaves the storage: removes the observation and drops the storage and the cache.
    void detach_storage();

    T* m_Data = nullptr;
    unsigned int m_Size = 0;
    std::shared_ptr<IArrayImpl> m_Impl;
    bool m_IsFixedShape = false;
};

// Whether negate is offered: signed and floating scalars and tuples of them.
template <class T>
struct is_not_unsigned {
    static constexpr bool value = ElementTraits<T>::scalar_type != stNotAScalar &&
                                  ElementTraits<T>::scalar_type != stBool &&
                                  std::is_signed_v<typename ElementTraits<T>::scalar>;
};

// Whether scale is offered: scalars, bool included.
template <class T>
struct is_scalar_type {
    static constexpr bool value = ElementTraits<T>::is_scalar;
};

}  // namespace ostrel::core

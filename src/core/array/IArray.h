#pragma once

// IArray: the run-time interface of every typed array, whatever its element type and rank.
#include <memory>

#include "core/Export.h"
#include "core/array/ArrayShape.h"
#include "core/handle/Handles.h"

namespace ostrel::core {

class IArrayImpl;
class IArrayImplFactory;

class OSTREL_CORE_API IArray {
  public:
    IArray() = default;
    IArray(const IArray&) = default;
    IArray& operator=(const IArray&) = default;
    virtual ~IArray();

    // 1, 2 or 3.
    virtual unsigned int dimensions() const = 0;
    // The scalar type of the element, or of the tuple's element.
    virtual ScalarType scalar_type() const = 0;
    virtual unsigned int size() const = 0;
    virtual ArrayShape shape() const = 0;
    // Equal when the other array has the same element type, the same size and the same bytes;
    // rank and shape are not compared.
    virtual bool operator==(const IArray& p_other) const = 0;
    virtual bool operator!=(const IArray& p_other) const = 0;
    // Gives the array a copy of its storage of its own.
    virtual void make_unique() = 0;
    virtual void* data() = 0;
    // Once set, the element count may not change any more.
    virtual void set_fixed_shape() = 0;
    virtual bool is_fixed_shape() const = 0;
    // Binds to p_impl (null: unbinds).
    virtual void reset(std::shared_ptr<IArrayImpl> p_impl) = 0;
    // Unbinds.
    virtual void reset() = 0;
    virtual std::shared_ptr<IArrayImpl> implementation() = 0;
    virtual std::shared_ptr<const IArrayImpl> implementation() const = 0;
    virtual void negate() = 0;
    virtual void scale(double p_factor) = 0;
    // The storage's factory; fails on an unbound array.
    virtual const IArrayImplFactory* factory() const = 0;
    // Owners of the storage; 0 without storage.
    virtual long use_count() const = 0;
    // True only with storage that has one owner.
    virtual bool unique() const = 0;
    // (tuple length, 1).
    virtual ElementShape element_shape() const = 0;
};

}  // namespace ostrel::core

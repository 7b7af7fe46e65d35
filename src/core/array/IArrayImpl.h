#pragma once

// Array storage: a flat run of elements of one type, shared by the arrays that view it, with
// no notion of dimensions. Every size change goes through resize, which tells every array that
// observes the storage to refresh its cached data pointer and size.
#include <memory>

#include "core/Export.h"
#include "core/array/ArrayShape.h"
#include "core/handle/Handles.h"
#include "core/pattern/Subject.h"

namespace ostrel::core {

class IArray;
class IArrayImplFactory;

class OSTREL_CORE_API IArrayImpl : public ISubject,
                                   public std::enable_shared_from_this<IArrayImpl> {
  public:
    IArrayImpl() = default;
    ~IArrayImpl() override;

    // Writes the flat shape (count, rank code 0); the first element, or null when empty.
    virtual void* data(ArrayShape& p_shape) = 0;
    // Changes the count; new elements are zero. No checks and no notification.
    virtual void do_resize(unsigned int p_NewSize) = 0;
    // A deep copy of the elements with no observers, owned by the caller.
    virtual IArrayImpl* clone() const = 0;
    virtual unsigned int element_size() const = 0;
    // The default factory of the process.
    virtual const IArrayImplFactory* factory() const = 0;
    // The largest element count: (2^32 - 257) div element_size.
    virtual unsigned int max_size() const = 0;
    // A new array viewing this storage with the shape that data reports (rank code 0: rank 1,
    // 1: rank 2, else rank 3), owned by the caller.
    virtual IArray* create_array() = 0;

    // The count that data reports.
    unsigned int count() {
        ArrayShape shape;
        data(shape);
        return shape.count();
    }

    // Resizes and tells every observer, also when the count stays as it was. Fails beyond
    // max_size, leaving the storage and its observers as they were.
    void resize(unsigned int p_NewSize);
};

// Makes storage by run-time element type.
class OSTREL_CORE_API IArrayImplFactory {
  public:
    virtual ~IArrayImplFactory();
    // p_count zero elements of scalar type p_scalar_type and shape p_element_shape.
    virtual IArrayImpl* create_impl(ScalarType p_scalar_type, const ElementShape& p_element_shape,
                                    unsigned int p_count) const = 0;
    // The same, empty.
    virtual IArrayImpl* create_impl(ScalarType p_scalar_type,
                                    const ElementShape& p_element_shape) const = 0;
};

// The factory's result, owned by a shared pointer at once (so that shared_from_this works).
OSTREL_CORE_API std::shared_ptr<IArrayImpl> make_array_impl(const IArrayImplFactory& p_factory,
                                                            ScalarType p_scalar_type,
                                                            const ElementShape& p_element_shape,
                                                            unsigned int p_count);
OSTREL_CORE_API std::shared_ptr<IArrayImpl> make_array_impl(const IArrayImplFactory& p_factory,
                                                            ScalarType p_scalar_type,
                                                            const ElementShape& p_element_shape);

// The default factory of the process (a VectorArrayImplFactory).
OSTREL_CORE_API const IArrayImplFactory* default_array_factory();

}  // namespace ostrel::core

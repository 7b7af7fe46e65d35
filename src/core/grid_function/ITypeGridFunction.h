#pragma once

// ITypeGridFunction<R>: a grid function whose values are read as R (the element type for
// scalars, a const reference for tuples). IWritableTypeGridFunction<R,W> adds writing as W.
// The generic records of IGridFunction are made here from the typed value, so that a concrete
// class only supplies value().
#include <sstream>
#include <type_traits>
#include <typeinfo>

#include "core/grid_function/IGridFunction.h"
#include "core/pattern/Assert.h"

namespace ostrel::core {

// The element type behind a read type: R without reference and const.
template <class R>
using element_of_t = std::remove_cv_t<std::remove_reference_t<R>>;

template <class R>
constexpr bool is_scalar_result_v = ElementTraits<element_of_t<R>>::is_scalar;

template <class R>
class OSTREL_CORE_API ITypeGridFunction
    : public std::conditional_t<is_scalar_result_v<R>, IScalarGridFunction, IGridFunction> {
  public:
    using result_type = R;
    using element_type = element_of_t<R>;

    virtual R value(const Handle4& p_handle) const = 0;
    virtual R value(const Handle3& p_handle) const = 0;
    virtual R value(const Handle2& p_handle) const = 0;
    virtual R value(const Handle1& p_handle) const = 0;

    GenericScalarValue scalar_value(const Handle4& p_handle) const override {
        return scalar_of(p_handle);
    }
    GenericScalarValue scalar_value(const Handle3& p_handle) const override {
        return scalar_of(p_handle);
    }
    GenericScalarValue scalar_value(const Handle2& p_handle) const override {
        return scalar_of(p_handle);
    }
    GenericScalarValue scalar_value(const Handle1& p_handle) const override {
        return scalar_of(p_handle);
    }
    GenericTupleValue tuple_value(const Handle4& p_handle) const override {
        return GenericTupleValue::of<element_type>(value(p_handle));
    }
    GenericTupleValue tuple_value(const Handle3& p_handle) const override {
        return GenericTupleValue::of<element_type>(value(p_handle));
    }
    GenericTupleValue tuple_value(const Handle2& p_handle) const override {
        return GenericTupleValue::of<element_type>(value(p_handle));
    }
    GenericTupleValue tuple_value(const Handle1& p_handle) const override {
        return GenericTupleValue::of<element_type>(value(p_handle));
    }
    ScalarType result_scalar_type() const override {
        return ElementTraits<element_type>::scalar_type;
    }
    ElementShape result_shape() const override {
        return ElementShape{{ElementTraits<element_type>::tuple_size, 1}};
    }

  private:
    template <class H>
    GenericScalarValue scalar_of(const H& p_handle) const {
        if constexpr (is_scalar_result_v<R>) {
            return GenericScalarValue::of<element_type>(value(p_handle));
        } else {
            (void)p_handle;
            OSTREL_PRECONDITION(false, "0", "core/grid_function/ITypeGridFunction",
                                "Cannot convert object of type "
                                    << demangled_type_name(typeid(element_type).name())
                                    << " to a scalar.");
            return GenericScalarValue();
        }
    }
};

template <class R, class W>
class OSTREL_CORE_API IWritableTypeGridFunction : public ITypeGridFunction<R> {
  public:
    using write_type = W;

    virtual void set_value(const Handle4& p_handle, W p_value) = 0;
    virtual void set_value(const Handle3& p_handle, W p_value) = 0;
    virtual void set_value(const Handle2& p_handle, W p_value) = 0;
    virtual void set_value(const Handle1& p_handle, W p_value) = 0;
};

}  // namespace ostrel::core

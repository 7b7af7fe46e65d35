#pragma once

// GridFunction<Impl,Mapper,Access>: a concrete grid function put together from a value source
// (Impl), a handle mapper and an access tag. Every operation of the interfaces is generated
// here; whether an operation reads the data or fails for a handle shape is decided at compile
// time from the source's list of accepted handles.
#include <memory>
#include <type_traits>
#include <typeinfo>

#include "core/grid_function/GridFunctionFailures.h"
#include "core/grid_function/GridFunctionImpls.h"
#include "core/grid_function/ITypeGridFunction.h"
#include "core/mapper/IHandleMapper.h"
#include "core/topology/ITopology.h"

namespace ostrel::is {
struct OSTREL_CORE_API Const {};
struct OSTREL_CORE_API Writable {};
}  // namespace ostrel::is

namespace ostrel::core {

// The (read, write) pairs that have a writable interface.
template <class R, class W>
struct has_writable_interface : std::false_type {};
template <>
struct has_writable_interface<unsigned int, unsigned int> : std::true_type {};
template <>
struct has_writable_interface<unsigned char, unsigned char> : std::true_type {};
template <>
struct has_writable_interface<const Handle3&, Handle3> : std::true_type {};

template <class Impl, class Access>
using grid_function_interface_t = std::conditional_t<
    std::is_same_v<Access, is::Writable> &&
        has_writable_interface<typename Impl::read_type, typename Impl::write_type>::value,
    IWritableTypeGridFunction<typename Impl::read_type, typename Impl::write_type>,
    ITypeGridFunction<typename Impl::read_type>>;

template <class Mapper, class Interface, class Impl, class Access, class R>
class OSTREL_CORE_API GridFunctionCommon : public Interface,
                                           public Impl,
                                           public Impl::acceptable_handles {
  public:
    using impl_type = Impl;
    using value_type = typename Impl::value_type;
    using read_type = R;
    template <class HandleType_>
    using accepts =
        std::bool_constant<accepts_handle_v<typename Impl::acceptable_handles, HandleType_>>;

    GridFunctionCommon() = default;
    // Constructs the value source from the arguments (an array, a viewed function, ...).
    template <class First, class... Rest,
              class = std::enable_if_t<!std::is_base_of_v<GridFunctionCommon, std::decay_t<First>>>>
    explicit GridFunctionCommon(First&& p_first, Rest&&... p_rest)
        : Impl(std::forward<First>(p_first), std::forward<Rest>(p_rest)...) {}

    // The value at a handle, without a virtual call.
    template <class HandleType_>
    R read(const HandleType_& p_handle) const {
        if constexpr (accepts<HandleType_>::value) {
            return Impl::get(m_mapper.template map_direct<HandleType_>(p_handle));
        } else {
            fail_wrong_handle(handle_text(p_handle), HandleTraits<HandleType_>::tag,
                              accepted_mask_v<typename Impl::acceptable_handles>, __LINE__);
        }
    }

    R value(const Handle4& p_handle) const override { return read(p_handle); }
    R value(const Handle3& p_handle) const override { return read(p_handle); }
    R value(const Handle2& p_handle) const override { return read(p_handle); }
    R value(const Handle1& p_handle) const override { return read(p_handle); }

    bool as_bool(const Handle4& p_handle) const override { return convert<bool>(p_handle); }
    bool as_bool(const Handle3& p_handle) const override { return convert<bool>(p_handle); }
    bool as_bool(const Handle2& p_handle) const override { return convert<bool>(p_handle); }
    bool as_bool(const Handle1& p_handle) const override { return convert<bool>(p_handle); }
    double as_float64(const Handle4& p_handle) const override { return convert<double>(p_handle); }
    double as_float64(const Handle3& p_handle) const override { return convert<double>(p_handle); }
    double as_float64(const Handle2& p_handle) const override { return convert<double>(p_handle); }
    double as_float64(const Handle1& p_handle) const override { return convert<double>(p_handle); }
    int as_int32(const Handle4& p_handle) const override { return convert<int>(p_handle); }
    int as_int32(const Handle3& p_handle) const override { return convert<int>(p_handle); }
    int as_int32(const Handle2& p_handle) const override { return convert<int>(p_handle); }
    int as_int32(const Handle1& p_handle) const override { return convert<int>(p_handle); }

    std::uint32_t accepted_handles() const override {
        return accepted_mask_v<typename Impl::acceptable_handles>;
    }
    unsigned int number_of_elements() const override { return Impl::element_count(); }
    bool has_array() const override { return Impl::holds_array; }

    // The held array, kept alive together with this function when the function is shared;
    // otherwise a new view of the same storage.
    std::shared_ptr<IArray> array() const override {
        if constexpr (Impl::holds_array) {
            using A = typename Impl::array_type;
            const A& held = Impl::held_array();
            if (std::shared_ptr<const IOstrelObject> self = this->weak_from_this().lock()) {
                return std::shared_ptr<IArray>(std::const_pointer_cast<IOstrelObject>(self),
                                               const_cast<A*>(&held));
            }
            return std::make_shared<A>(held);
        } else {
            fail_no_array(__LINE__);
        }
    }
    void set_array(const std::shared_ptr<IArray>& p_array) override {
        if constexpr (Impl::holds_array) {
            // Binds the held array to the other array's storage: the held array keeps its own
            // leading extents and only its last follows the storage's size.
            using A = typename Impl::array_type;
            A* arr = dynamic_cast<A*>(p_array.get());
            if (!arr) fail_wrong_array_type(__LINE__);
            Impl::held_array().reset(arr->implementation());
        } else {
            (void)p_array;
            fail_no_array(__LINE__);
        }
    }
    void make_unique() override {
        if constexpr (Impl::holds_array) Impl::held_array().make_unique();
    }
    bool prepare_for_reading() const override { return false; }

    std::shared_ptr<IArray> create_histogram(const ITopology& p_topology, double p_minimum,
                                             double p_maximum, int p_bins,
                                             const IGridFunction& p_weight,
                                             const IArrayImplFactory& p_factory,
                                             bool p_closed) const override {
        return p_topology.create_histogram(*this, p_minimum, p_maximum, p_bins, p_weight, p_factory,
                                           p_closed);
    }

    const Mapper& mapper() const { return m_mapper; }

  protected:
    template <class To, class HandleType_>
    To convert(const HandleType_& p_handle) const {
        if constexpr (ElementTraits<value_type>::is_scalar) {
            if constexpr (std::is_same_v<To, bool>) {
                return read(p_handle) != 0;
            } else {
                return static_cast<To>(read(p_handle));
            }
        } else {
            (void)p_handle;
            fail_not_convertible(typeid(R),
                                 std::is_same_v<To, bool>     ? "bool"
                                 : std::is_same_v<To, double> ? "float64"
                                                              : "int32",
                                 __LINE__);
        }
    }

    Mapper m_mapper;
};

// The writing side: set_value and set_float64 on a Writable function, failures on a Const one.
template <class Base, class Access>
class GridFunctionAccess;

template <class Base>
class OSTREL_CORE_API GridFunctionAccess<Base, is::Const> : public Base {
  public:
    using Base::Base;
    void set_float64(const Handle4&, double) override { fail_not_writable(__LINE__); }
    void set_float64(const Handle3&, double) override { fail_not_writable(__LINE__); }
    void set_float64(const Handle2&, double) override { fail_not_writable(__LINE__); }
    void set_float64(const Handle1&, double) override { fail_not_writable(__LINE__); }
};

template <class Base>
class OSTREL_CORE_API GridFunctionAccess<Base, is::Writable> : public Base {
  public:
    using Base::Base;
    using Impl = typename Base::impl_type;
    using W = typename Impl::write_type;

    // Stores at a handle, without a virtual call.
    template <class HandleType_>
    void write(const HandleType_& p_handle, const W& p_value) {
        if constexpr (Base::template accepts<HandleType_>::value) {
            Impl::put(this->m_mapper.template map_direct<HandleType_>(p_handle), p_value);
        } else {
            (void)p_value;
            fail_wrong_handle(handle_text(p_handle), HandleTraits<HandleType_>::tag,
                              accepted_mask_v<typename Impl::acceptable_handles>, __LINE__);
        }
    }

    // These override the writable interface's operations where the function has one.
    void set_value(const Handle4& p_handle, W p_value) { write(p_handle, p_value); }
    void set_value(const Handle3& p_handle, W p_value) { write(p_handle, p_value); }
    void set_value(const Handle2& p_handle, W p_value) { write(p_handle, p_value); }
    void set_value(const Handle1& p_handle, W p_value) { write(p_handle, p_value); }

    void set_float64(const Handle4& p_handle, double p_value) override {
        write_float64(p_handle, p_value);
    }
    void set_float64(const Handle3& p_handle, double p_value) override {
        write_float64(p_handle, p_value);
    }
    void set_float64(const Handle2& p_handle, double p_value) override {
        write_float64(p_handle, p_value);
    }
    void set_float64(const Handle1& p_handle, double p_value) override {
        write_float64(p_handle, p_value);
    }

  private:
    template <class HandleType_>
    void write_float64(const HandleType_& p_handle, double p_value) {
        if constexpr (ElementTraits<W>::is_scalar) {
            write(p_handle, static_cast<W>(p_value));
        } else {
            (void)p_handle;
            (void)p_value;
            fail_not_convertible_from_float64(typeid(W), __LINE__);
        }
    }
};

template <class Impl, class Mapper = PassHandleMapper, class Access = is::Const>
class OSTREL_CORE_API GridFunction
    : public GridFunctionAccess<GridFunctionCommon<Mapper, grid_function_interface_t<Impl, Access>,
                                                   Impl, Access, typename Impl::read_type>,
                                Access> {
    using Base =
        GridFunctionAccess<GridFunctionCommon<Mapper, grid_function_interface_t<Impl, Access>, Impl,
                                              Access, typename Impl::read_type>,
                           Access>;

  public:
    using access_type = Access;
    using Base::Base;
    GridFunction() = default;
    GridFunction(const GridFunction&) = default;
    GridFunction& operator=(const GridFunction&) = default;

    std::shared_ptr<IGridFunction> create_empty() const override {
        return std::make_shared<GridFunction>();
    }
    std::shared_ptr<IGridFunction> copy() const override {
        return std::make_shared<GridFunction>(*this);
    }
    std::shared_ptr<IGridFunction> deep_copy() const override {
        std::shared_ptr<IGridFunction> result = copy();
        result->make_unique();
        return result;
    }
};

// The grid function over an array of rank 1 or 3.
template <class T, unsigned N>
using ArrayGridFunction =
    GridFunction<ArrayGridFunctionImpl<Array<T, N>>, PassHandleMapper, is::Writable>;
// True on every handle.
using ConstantTrueGridFunction =
    GridFunction<StaticConstantGridFunctionImpl<bool, 1>, PassHandleMapper, is::Const>;
// 1 on every handle: the weight of a plain count.
using AlwaysOneGridFunction =
    GridFunction<StaticConstantGridFunctionImpl<int, 1>, PassHandleMapper, is::Const>;
// A full-grid array function seen through a selection.
template <class T>
using ViewGridFunction =
    GridFunction<ViewGridFunctionImpl<ArrayGridFunction<T, 3>>, PassHandleMapper, is::Const>;

}  // namespace ostrel::core

// The grid functions of the system, compiled once in GridFunctionInstances.cpp.
// clang-format off
#define OSTREL_FOR_EACH_GRID_FUNCTION_ARRAY_TYPE(X)                                   \
    X(double) X(float) X(int) X(unsigned int) X(short) X(unsigned short)              \
    X(signed char) X(unsigned char) X(bool) X(::ostrel::mtm::RigidVector<3, double>) \
    X(::ostrel::mtm::RigidVector<3, unsigned short>)                                  \
    X(::ostrel::mtm::RigidVector<4, unsigned short>)
#define OSTREL_FOR_EACH_GRID_FUNCTION_VIEW_TYPE(X)                                     \
    X(float) X(double) X(signed char) X(short) X(int) X(long long) X(unsigned char) \
    X(unsigned short) X(unsigned int)
// clang-format on

namespace ostrel::core {

#define OSTREL_EXTERN_ARRAY_GRID_FUNCTION(...)                                         \
    extern template class OSTREL_CORE_TEMPLATE_API GridFunction<                       \
        ArrayGridFunctionImpl<Array<__VA_ARGS__, 1>>, PassHandleMapper, is::Writable>; \
    extern template class OSTREL_CORE_TEMPLATE_API GridFunction<                       \
        ArrayGridFunctionImpl<Array<__VA_ARGS__, 3>>, PassHandleMapper, is::Writable>;
#define OSTREL_EXTERN_VIEW_GRID_FUNCTION(...)                    \
    extern template class OSTREL_CORE_TEMPLATE_API GridFunction< \
        ViewGridFunctionImpl<ArrayGridFunction<__VA_ARGS__, 3>>, PassHandleMapper, is::Const>;
OSTREL_FOR_EACH_GRID_FUNCTION_ARRAY_TYPE(OSTREL_EXTERN_ARRAY_GRID_FUNCTION)
OSTREL_FOR_EACH_GRID_FUNCTION_VIEW_TYPE(OSTREL_EXTERN_VIEW_GRID_FUNCTION)
extern template class OSTREL_CORE_TEMPLATE_API GridFunction<
    ArrayGridFunctionImpl<Array<mtm::RigidVector<6, double>, 1>>, PassHandleMapper, is::Writable>;
extern template class OSTREL_CORE_API
    GridFunction<StaticConstantGridFunctionImpl<bool, 1>, PassHandleMapper, is::Const>;
extern template class OSTREL_CORE_API
    GridFunction<StaticConstantGridFunctionImpl<int, 1>, PassHandleMapper, is::Const>;
#undef OSTREL_EXTERN_ARRAY_GRID_FUNCTION
#undef OSTREL_EXTERN_VIEW_GRID_FUNCTION

}  // namespace ostrel::core

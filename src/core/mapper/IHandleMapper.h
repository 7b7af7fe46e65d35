#pragma once

// A handle mapper carries a handle of one shape on one grid to a handle of another shape on
// another grid. IHandleMapper has one operation per (from, to) pair of shapes; GenHandleMapper
// implements those that its trait lists by calling its Impl, and fails on all others.
#include <type_traits>

#include "core/Export.h"
#include "core/handle/Handles.h"
#include "core/pattern/Assert.h"

namespace ostrel::core {

// Selects the target shape of map_handle.
template <class H>
struct handle_type_of {
    using type = H;
};

class OSTREL_CORE_API IHandleMapper {
  public:
    virtual ~IHandleMapper();

    virtual Handle4 map_handle(const Handle4& p_from, handle_type_of<Handle4>) const = 0;
    virtual Handle3 map_handle(const Handle4& p_from, handle_type_of<Handle3>) const = 0;
    virtual Handle2 map_handle(const Handle4& p_from, handle_type_of<Handle2>) const = 0;
    virtual Handle1 map_handle(const Handle4& p_from, handle_type_of<Handle1>) const = 0;
    virtual Handle4 map_handle(const Handle3& p_from, handle_type_of<Handle4>) const = 0;
    virtual Handle3 map_handle(const Handle3& p_from, handle_type_of<Handle3>) const = 0;
    virtual Handle2 map_handle(const Handle3& p_from, handle_type_of<Handle2>) const = 0;
    virtual Handle1 map_handle(const Handle3& p_from, handle_type_of<Handle1>) const = 0;
    virtual Handle4 map_handle(const Handle2& p_from, handle_type_of<Handle4>) const = 0;
    virtual Handle3 map_handle(const Handle2& p_from, handle_type_of<Handle3>) const = 0;
    virtual Handle2 map_handle(const Handle2& p_from, handle_type_of<Handle2>) const = 0;
    virtual Handle1 map_handle(const Handle2& p_from, handle_type_of<Handle1>) const = 0;
    virtual Handle4 map_handle(const Handle1& p_from, handle_type_of<Handle4>) const = 0;
    virtual Handle3 map_handle(const Handle1& p_from, handle_type_of<Handle3>) const = 0;
    virtual Handle2 map_handle(const Handle1& p_from, handle_type_of<Handle2>) const = 0;
    virtual Handle1 map_handle(const Handle1& p_from, handle_type_of<Handle1>) const = 0;

    // The same for a handle of any shape, to the shape p_to.
    AnyHandle map_any(const AnyHandle& p_from, HandleType p_to) const;
};

// A (from, to) pair of handle shapes.
template <class From, class To>
struct HandleMapping {};

// The pairs that a mapper knows, decided at compile time.
template <class... Mappings>
struct GenHandleMappingsTrait {
    template <class From, class To>
    static constexpr bool maps = (std::is_same_v<HandleMapping<From, To>, Mappings> || ...);
};

[[noreturn]] OSTREL_CORE_API void fail_unknown_mapping(unsigned int p_line);

template <class Impl, class Trait>
class OSTREL_CORE_API GenHandleMapper : public IHandleMapper, public Impl {
  public:
    using Impl::Impl;
    GenHandleMapper() = default;

    // The mapping without the virtual call, for the bulk loops.
    template <class To, class From>
    To map_direct(const From& p_from) const {
        if constexpr (Trait::template maps<From, To>) {
            return Impl::map(p_from, handle_type_of<To>());
        } else {
            (void)p_from;
            fail_unknown_mapping(__LINE__);
        }
    }

    Handle4 map_handle(const Handle4& p, handle_type_of<Handle4>) const override {
        return map_direct<Handle4>(p);
    }
    Handle3 map_handle(const Handle4& p, handle_type_of<Handle3>) const override {
        return map_direct<Handle3>(p);
    }
    Handle2 map_handle(const Handle4& p, handle_type_of<Handle2>) const override {
        return map_direct<Handle2>(p);
    }
    Handle1 map_handle(const Handle4& p, handle_type_of<Handle1>) const override {
        return map_direct<Handle1>(p);
    }
    Handle4 map_handle(const Handle3& p, handle_type_of<Handle4>) const override {
        return map_direct<Handle4>(p);
    }
    Handle3 map_handle(const Handle3& p, handle_type_of<Handle3>) const override {
        return map_direct<Handle3>(p);
    }
    Handle2 map_handle(const Handle3& p, handle_type_of<Handle2>) const override {
        return map_direct<Handle2>(p);
    }
    Handle1 map_handle(const Handle3& p, handle_type_of<Handle1>) const override {
        return map_direct<Handle1>(p);
    }
    Handle4 map_handle(const Handle2& p, handle_type_of<Handle4>) const override {
        return map_direct<Handle4>(p);
    }
    Handle3 map_handle(const Handle2& p, handle_type_of<Handle3>) const override {
        return map_direct<Handle3>(p);
    }
    Handle2 map_handle(const Handle2& p, handle_type_of<Handle2>) const override {
        return map_direct<Handle2>(p);
    }
    Handle1 map_handle(const Handle2& p, handle_type_of<Handle1>) const override {
        return map_direct<Handle1>(p);
    }
    Handle4 map_handle(const Handle1& p, handle_type_of<Handle4>) const override {
        return map_direct<Handle4>(p);
    }
    Handle3 map_handle(const Handle1& p, handle_type_of<Handle3>) const override {
        return map_direct<Handle3>(p);
    }
    Handle2 map_handle(const Handle1& p, handle_type_of<Handle2>) const override {
        return map_direct<Handle2>(p);
    }
    Handle1 map_handle(const Handle1& p, handle_type_of<Handle1>) const override {
        return map_direct<Handle1>(p);
    }
};

// Each shape to itself.
class OSTREL_CORE_API PassHandleMapperImpl {
  public:
    template <class H>
    H map(const H& p_handle, handle_type_of<H>) const {
        return p_handle;
    }
};

using PassAcceptableHandleMappingsTrait =
    GenHandleMappingsTrait<HandleMapping<Handle4, Handle4>, HandleMapping<Handle3, Handle3>,
                           HandleMapping<Handle2, Handle2>, HandleMapping<Handle1, Handle1>>;

using PassHandleMapper = GenHandleMapper<PassHandleMapperImpl, PassAcceptableHandleMappingsTrait>;

}  // namespace ostrel::core

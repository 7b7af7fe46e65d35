#pragma once

// The value types that address grid elements, and the enumerations that the core shares: the
// four handle shapes, AnyHandle, the mask of accepted handles, LocationType and ScalarType.
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <type_traits>

#include "core/Export.h"
#include "core/handle/RigidVector.h"
#include "core/pattern/Assert.h"

namespace ostrel::core {

using mtm::RigidVector;

// A flat element number.
using Handle1 = unsigned int;
// (selected cell, corner): the vertex handle of a selection.
using Handle2 = RigidVector<2, unsigned int>;
// (i, j, k) of a cell of the box; 16 bits per axis.
using Handle3 = RigidVector<3, unsigned short>;
// (i, j, k, corner): the vertex handle of a full topology.
using Handle4 = RigidVector<4, unsigned short>;

// The order of the four shapes: of the mask bits, of the tags and of the names.
template <class... Handles>
struct GenAcceptableHandlesTrait {
    template <class H>
    static constexpr int index_of() {
        int index = 0;
        int found = -1;
        ((std::is_same_v<H, Handles> ? (found = index, ++index) : ++index), ...);
        return found;
    }
    static constexpr int count = sizeof...(Handles);
};
using AcceptableHandles = GenAcceptableHandlesTrait<Handle1, Handle2, Handle3, Handle4>;

enum HandleType : std::uint32_t { htHandle1 = 0, htHandle2 = 1, htHandle3 = 2, htHandle4 = 3 };

template <class H>
struct HandleTraits {
    static_assert(AcceptableHandles::index_of<H>() >= 0, "not a handle shape");
    static constexpr HandleType tag = static_cast<HandleType>(AcceptableHandles::index_of<H>());
    static constexpr std::uint32_t mask_bit = 1u << AcceptableHandles::index_of<H>();
};

// "Handle1" .. "Handle4".
OSTREL_CORE_API const char* handle_type_name(HandleType p_type);

// A set of handle shapes: bit 1, 2, 4, 8 for Handle1 .. Handle4.
struct AcceptedHandlesMask {
    std::uint32_t m_Mask = 0;
};
// "none" for 0, else the names of the set bits in ascending order joined by ", ".
OSTREL_CORE_API std::ostream& operator<<(std::ostream& p_stream, AcceptedHandlesMask p_mask);
OSTREL_CORE_API std::string accepted_handles_text(std::uint32_t p_mask);

// What kind of grid element a grid function lives on. Locations 2 and 3 are further element
// kinds that the topologies treat like onVertex and onCell; location 4 is addressed by Handle1
// only.
enum LocationType : std::uint32_t {
    onVertex = 0,
    onCell = 1,
    onLocation2 = 2,
    onLocation3 = 3,
    onLocation4 = 4
};

enum ScalarType : std::uint32_t {
    stFloat32 = 0,
    stFloat64 = 1,
    stInt8 = 2,
    stInt16 = 3,
    stInt32 = 4,
    stInt64 = 5,
    stUInt8 = 6,
    stUInt16 = 7,
    stUInt32 = 8,
    stUInt64 = 9,
    stBool = 10,
    stNotAScalar = 11
};

// "float32" .. "bool"; "<unknown scalar type>" for stNotAScalar.
OSTREL_CORE_API const char* scalar_type_name(ScalarType p_type);
OSTREL_CORE_API std::ostream& operator<<(std::ostream& p_stream, ScalarType p_type);

// The scalar type and tuple length of an element type.
template <class T>
struct ElementTraits {
    static constexpr ScalarType scalar_type = stNotAScalar;
    static constexpr unsigned tuple_size = 1;
    static constexpr bool is_scalar = false;
};
#define OSTREL_SCALAR_TRAIT(type, value)                 \
    template <>                                          \
    struct ElementTraits<type> {                         \
        using scalar = type;                             \
        static constexpr ScalarType scalar_type = value; \
        static constexpr unsigned tuple_size = 1;        \
        static constexpr bool is_scalar = true;          \
    };
OSTREL_SCALAR_TRAIT(float, stFloat32)
OSTREL_SCALAR_TRAIT(double, stFloat64)
OSTREL_SCALAR_TRAIT(signed char, stInt8)
OSTREL_SCALAR_TRAIT(short, stInt16)
OSTREL_SCALAR_TRAIT(int, stInt32)
OSTREL_SCALAR_TRAIT(long long, stInt64)
OSTREL_SCALAR_TRAIT(unsigned char, stUInt8)
OSTREL_SCALAR_TRAIT(unsigned short, stUInt16)
OSTREL_SCALAR_TRAIT(unsigned int, stUInt32)
OSTREL_SCALAR_TRAIT(unsigned long long, stUInt64)
OSTREL_SCALAR_TRAIT(bool, stBool)
#undef OSTREL_SCALAR_TRAIT
template <unsigned N, class S>
struct ElementTraits<RigidVector<N, S>> {
    using scalar = S;
    static constexpr ScalarType scalar_type = ElementTraits<S>::scalar_type;
    static constexpr unsigned tuple_size = N;
    static constexpr bool is_scalar = false;
};

// The text of an extent pair, "[a, b]", used for element shapes and Handle2 in messages.
OSTREL_CORE_API std::string extent_text(unsigned int p_first, unsigned int p_second);
OSTREL_CORE_API std::string extent_text(const Handle2& p_pair);

// Any of the four handle shapes by value, with its tag.
class OSTREL_CORE_API AnyHandle {
  public:
    AnyHandle() : AnyHandle(Handle1(0)) {}
    template <class H, class = std::enable_if_t<(AcceptableHandles::index_of<H>() >= 0)>>
    AnyHandle(const H& p_handle) : m_HandleType(HandleTraits<H>::tag) {
        static_assert(sizeof(H) <= sizeof(m_Storage), "handle larger than its storage");
        std::memcpy(m_Storage, &p_handle, sizeof(H));
    }

    HandleType type() const { return m_HandleType; }

    template <class H>
    bool holds() const {
        return m_HandleType == HandleTraits<H>::tag;
    }

    // The stored value; fails when another shape is stored.
    template <class H>
    H get() const {
        check_type(HandleTraits<H>::tag);
        H result;
        std::memcpy(&result, m_Storage, sizeof(H));
        return result;
    }

  private:
    void check_type(HandleType p_requested) const;

    alignas(4) unsigned char m_Storage[8];
    HandleType m_HandleType;
};

// Flat cell number of (i, j, k) on a box NI x NJ, and back. Neither checks its input.
inline Handle1 to_handle1(const Handle3& p_ijk, unsigned int p_NI, unsigned int p_NJ) {
    return (p_NJ * p_ijk[2] + p_ijk[1]) * p_NI + p_ijk[0];
}
inline Handle3 to_handle3(Handle1 p_flat, unsigned int p_NI, unsigned int p_NJ) {
    const unsigned int rest = p_flat / p_NI;
    return Handle3{{static_cast<unsigned short>(p_flat % p_NI),
                    static_cast<unsigned short>(rest % p_NJ),
                    static_cast<unsigned short>(rest / p_NJ)}};
}

}  // namespace ostrel::core

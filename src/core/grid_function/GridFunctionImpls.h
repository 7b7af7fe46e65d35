#pragma once

// The value sources of GridFunction: an array (ArrayGridFunctionImpl), a constant that is part of
// the type (StaticConstantGridFunctionImpl) and a view of a full-grid function through a
// selection's cell map (ViewGridFunctionImpl). Each says which handle shapes it answers for, the
// type in which its values are read and, for arrays, in which they are written.
#include <memory>
#include <type_traits>

#include "core/array/Array1D.h"
#include "core/array/Array3D.h"
#include "core/handle/Handles.h"

namespace ostrel::core {

// Whether a list of accepted handles (GenAcceptableHandlesTrait, a place not used is void)
// holds a shape, and the mask of the list: both decided at compile time.
template <class Trait, class HandleType_>
constexpr bool accepts_handle_v = Trait::template index_of<HandleType_>() >= 0;
template <class Trait>
constexpr std::uint32_t accepted_mask_v = (accepts_handle_v<Trait, Handle1> ? 1u : 0u) |
                                          (accepts_handle_v<Trait, Handle2> ? 2u : 0u) |
                                          (accepts_handle_v<Trait, Handle3> ? 4u : 0u) |
                                          (accepts_handle_v<Trait, Handle4> ? 8u : 0u);

// Value, reference (read) and writable types of an array type. Scalars are read by value, tuples
// by const reference.
template <class A>
struct ArrayTraits;
template <class T, unsigned N>
struct ArrayTraits<Array<T, N>> {
    using value_type = T;
    using reference = std::conditional_t<ElementTraits<T>::is_scalar, T, const T&>;
    using writable_type = T;
    using acceptable_handles =
        std::conditional_t<N == 3, GenAcceptableHandlesTrait<Handle1, void, Handle3, void>,
                           GenAcceptableHandlesTrait<Handle1, void, void, void>>;
};

template <class A, class Traits = ArrayTraits<A>>
class ArrayGridFunctionImpl {
  public:
    using array_type = A;
    using value_type = typename Traits::value_type;
    using read_type = typename Traits::reference;
    using write_type = typename Traits::writable_type;
    using acceptable_handles = typename Traits::acceptable_handles;
    static constexpr bool holds_array = true;

    ArrayGridFunctionImpl() = default;
    explicit ArrayGridFunctionImpl(const A& p_array) : m_array(p_array) {}

    // Unchecked: the caller holds valid handles.
    read_type get(const Handle1& p_handle) const { return m_array.typed_data()[p_handle]; }
    read_type get(const Handle3& p_handle) const { return m_array(p_handle); }
    void put(const Handle1& p_handle, const value_type& p_value) {
        m_array.typed_data()[p_handle] = p_value;
    }
    void put(const Handle3& p_handle, const value_type& p_value) { m_array(p_handle) = p_value; }

    unsigned int element_count() const { return m_array.size(); }
    A& held_array() { return m_array; }
    const A& held_array() const { return m_array; }

  protected:
    A m_array;
};

// V, whatever the handle. Holds nothing.
template <class T, int V>
class StaticConstantGridFunctionImpl {
  public:
    using value_type = T;
    using read_type = T;
    using write_type = T;
    using acceptable_handles = GenAcceptableHandlesTrait<Handle1, Handle2, Handle3, Handle4>;
    static constexpr bool holds_array = false;

    template <class H>
    T get(const H&) const {
        return static_cast<T>(V);
    }
    unsigned int element_count() const { return 4294967295u; }
};

// The value of a full-grid array function G at the cell that a selected cell number stands for:
// the selection's cell map gives (i, j, k), and (NJ*k + j)*NI + i indexes the viewed array.
template <class G>
class ViewGridFunctionImpl {
  public:
    using viewed_type = G;
    using value_type = typename G::value_type;
    using read_type = value_type;
    using write_type = value_type;
    using acceptable_handles = GenAcceptableHandlesTrait<Handle1, void, void, void>;
    static constexpr bool holds_array = false;

    ViewGridFunctionImpl() = default;
    ViewGridFunctionImpl(std::shared_ptr<const G> p_viewed, const Array<Handle3, 1>& p_cell_map,
                         const Handle3& p_box)
        : m_viewed(std::move(p_viewed)), m_cell_map(p_cell_map), m_box(p_box) {}

    read_type get(const Handle1& p_handle) const {
        const Handle3& ijk = m_cell_map.typed_data()[p_handle];
        const unsigned int flat =
            (static_cast<unsigned int>(m_box[1]) * ijk[2] + ijk[1]) * m_box[0] + ijk[0];
        return m_viewed->held_array().typed_data()[flat];
    }
    unsigned int element_count() const { return m_cell_map.size(); }

    // The values of selected cells 0 .. p_count-1 in order, as get gives them, with the
    // pointers read once.
    void copy_values(value_type* p_out, unsigned int p_count) const {
        const Handle3* cells = m_cell_map.typed_data();
        const value_type* values = m_viewed->held_array().typed_data();
        const unsigned int ni = m_box[0];
        const unsigned int nj = m_box[1];
        for (unsigned int n = 0; n < p_count; ++n) {
            const Handle3& ijk = cells[n];
            p_out[n] = values[(nj * ijk[2] + ijk[1]) * ni + ijk[0]];
        }
    }

    const std::shared_ptr<const G>& viewed() const { return m_viewed; }
    const Array<Handle3, 1>& cell_map() const { return m_cell_map; }
    const Handle3& box() const { return m_box; }

  private:
    std::shared_ptr<const G> m_viewed;
    Array<Handle3, 1> m_cell_map;
    Handle3 m_box{{0, 0, 0}};
};

}  // namespace ostrel::core

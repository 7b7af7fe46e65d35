#pragma once

// The mappers between a full box of cells and a selection of them. Each is at once a grid
// function over its mapping array: original-to-selection holds for every original cell its
// selected number (or 4294967295), selection-to-original holds for every selected number the
// (i, j, k) of its cell and the box shape. None checks its input: they run once per cell in the
// bulk loops.
#include "core/grid_function/GenGridFunction.h"
#include "core/mapper/IHandleMapper.h"

namespace ostrel::core {

namespace hmt {
// Maps cells.
struct CellHandleMapper {};
// Maps the corners of cells.
struct LocalHandleMapper {};
}  // namespace hmt

// Handle2 to Handle2 of the local mappers: declared, not finished.
[[noreturn]] OSTREL_CORE_API void fail_local_handle2_mapping(const IOstrelObject& p_mapper,
                                                             const char* p_signature,
                                                             unsigned int p_line);

template <unsigned D, class Kind>
class OSTREL_CORE_API OriginalToSelectionMapperImpl : public ArrayGridFunction<unsigned int, D> {
  public:
    using ArrayGridFunction<unsigned int, D>::ArrayGridFunction;

    Handle1 map(const Handle3& p_cell, handle_type_of<Handle1>) const {
        return this->m_array(p_cell);
    }
    Handle1 map(const Handle1& p_cell, handle_type_of<Handle1>) const {
        return this->m_array.typed_data()[p_cell];
    }
    Handle2 map(const Handle4& p_corner, handle_type_of<Handle2>) const {
        return Handle2{{this->m_array(p_corner[0], p_corner[1], p_corner[2]), p_corner[3]}};
    }
    Handle2 map(const Handle2&, handle_type_of<Handle2>) const {
        fail_local_handle2_mapping(*this, __PRETTY_FUNCTION__, __LINE__);
    }
};

template <unsigned D>
class OSTREL_CORE_API SelectionToOriginalMapperImplBase : public ArrayGridFunction<Handle3, 1> {
  public:
    using ArrayGridFunction<Handle3, 1>::ArrayGridFunction;

    const Handle3& box_shape() const { return m_box_shape; }
    void set_box_shape(const Handle3& p_shape) { m_box_shape = p_shape; }

  protected:
    Handle3 m_box_shape{{0, 0, 0}};
};

template <unsigned D, class Kind>
class OSTREL_CORE_API SelectionToOriginalMapperImpl : public SelectionToOriginalMapperImplBase<D> {
  public:
    using SelectionToOriginalMapperImplBase<D>::SelectionToOriginalMapperImplBase;

    Handle3 map(const Handle1& p_cell, handle_type_of<Handle3>) const {
        return this->m_array.typed_data()[p_cell];
    }
    Handle1 map(const Handle1& p_cell, handle_type_of<Handle1>) const {
        const Handle3& ijk = this->m_array.typed_data()[p_cell];
        return (static_cast<unsigned int>(this->m_box_shape[1]) * ijk[2] + ijk[1]) *
                   this->m_box_shape[0] +
               ijk[0];
    }
    Handle4 map(const Handle2& p_corner, handle_type_of<Handle4>) const {
        const Handle3& ijk = this->m_array.typed_data()[p_corner[0]];
        return Handle4{{ijk[0], ijk[1], ijk[2], static_cast<unsigned short>(p_corner[1])}};
    }
    Handle2 map(const Handle2&, handle_type_of<Handle2>) const {
        fail_local_handle2_mapping(*this, __PRETTY_FUNCTION__, __LINE__);
    }
};

using OriginalToSelectionCellMapper = GenHandleMapper<
    OriginalToSelectionMapperImpl<3, hmt::CellHandleMapper>,
    GenHandleMappingsTrait<HandleMapping<Handle3, Handle1>, HandleMapping<Handle1, Handle1>>>;
using OriginalToSelectionLocalMapper = GenHandleMapper<
    OriginalToSelectionMapperImpl<3, hmt::LocalHandleMapper>,
    GenHandleMappingsTrait<HandleMapping<Handle4, Handle2>, HandleMapping<Handle2, Handle2>>>;
using SelectionToOriginalCellMapper = GenHandleMapper<
    SelectionToOriginalMapperImpl<3, hmt::CellHandleMapper>,
    GenHandleMappingsTrait<HandleMapping<Handle1, Handle3>, HandleMapping<Handle1, Handle1>>>;
using SelectionToOriginalLocalMapper = GenHandleMapper<
    SelectionToOriginalMapperImpl<3, hmt::LocalHandleMapper>,
    GenHandleMappingsTrait<HandleMapping<Handle2, Handle4>, HandleMapping<Handle2, Handle2>>>;

// One cell mapper and three local mappers, all bound to the same array, so that the mapping is
// built once.
template <class CellMapper, class LocalMapper>
class OSTREL_CORE_API HandleMapperSet {
  public:
    virtual ~HandleMapperSet() = default;

    virtual LocalMapper& third_local_mapper() { return m_local[2]; }
    virtual LocalMapper& second_local_mapper() { return m_local[1]; }
    virtual LocalMapper& first_local_mapper() { return m_local[0]; }
    virtual CellMapper& cell_mapper() { return m_cell; }
    // Copies information, name, location and array of each of the four; the arrays are shared.
    virtual void assign(HandleMapperSet& p_other) {
        copy_mapper(m_cell, p_other.cell_mapper());
        copy_mapper(m_local[0], p_other.first_local_mapper());
        copy_mapper(m_local[1], p_other.second_local_mapper());
        copy_mapper(m_local[2], p_other.third_local_mapper());
    }

    const CellMapper& cell_mapper() const { return m_cell; }
    const LocalMapper& local_mapper(unsigned p_index) const { return m_local[p_index]; }
    // Binds the three local mappers to the cell mapper's array.
    void bind_locals_to_cell_mapper() {
        for (LocalMapper& local : m_local) bind_like(local, m_cell);
    }

  private:
    template <class To, class From>
    static void bind_like(To& p_to, const From& p_from) {
        p_to.held_array() = p_from.held_array();
        if constexpr (std::is_base_of_v<SelectionToOriginalMapperImplBase<3>, To>) {
            p_to.set_box_shape(p_from.box_shape());
        }
    }
    template <class M>
    static void copy_mapper(M& p_to, M& p_from) {
        p_to.set_info(p_from.info());
        p_to.set_name(p_from.name());
        p_to.set_location(p_from.location());
        bind_like(p_to, p_from);
    }

    CellMapper m_cell;
    LocalMapper m_local[3];
};

template <unsigned D>
using OriginalToSelectionMapperSet =
    HandleMapperSet<OriginalToSelectionCellMapper, OriginalToSelectionLocalMapper>;
template <unsigned D>
using SelectionToOriginalMapperSet =
    HandleMapperSet<SelectionToOriginalCellMapper, SelectionToOriginalLocalMapper>;

}  // namespace ostrel::core

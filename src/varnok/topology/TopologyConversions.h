#pragma once

// The typed code behind create_array and create_histogram of both topologies. A topology is
// described by its cells: how a result array of its cells is made, and the handles of its walks
// (Handle3 and Handle4 on a box, Handle1 and Handle2 on a selection).
#include <memory>

#include "core/algorithm/CreateHistogram.h"
#include "core/algorithm/DispatchChain.h"
#include "core/array/Array.h"
#include "core/pattern/Assert.h"
#include "varnok/topology/CellWalk.h"

namespace ostrel::varnok::conversion {

// The cells of a box: results of rank 3 in the box's shape.
struct BoxCells {
    core::Handle3 shape;
    const char* file;

    unsigned int count() const { return static_cast<unsigned int>(shape[0]) * shape[1] * shape[2]; }
    template <class E>
    std::shared_ptr<core::Array<E, 3>> make(const core::IArrayImplFactory& p_factory) const {
        return std::make_shared<core::Array<E, 3>>(&p_factory, shape);
    }
    template <class Visit>
    void walk(Visit&& p_visit) const {
        walk_cells(shape, p_visit);
    }
    template <class Visit>
    void walk_corners(Visit&& p_visit) const {
        walk_vertices(shape, p_visit);
    }
};

// The cells of a selection: results of rank 1, one element per selected cell.
struct SelectedCells {
    unsigned int n;
    const char* file;

    unsigned int count() const { return n; }
    template <class E>
    std::shared_ptr<core::Array<E, 1>> make(const core::IArrayImplFactory& p_factory) const {
        return std::make_shared<core::Array<E, 1>>(&p_factory, n);
    }
    template <class Visit>
    void walk(Visit&& p_visit) const {
        for (core::Handle1 cell = 0; cell < n; ++cell) p_visit(cell);
    }
    template <class Visit>
    void walk_corners(Visit&& p_visit) const {
        for (unsigned int cell = 0; cell < n; ++cell) {
            for (unsigned int corner = 0; corner < 8; ++corner) {
                p_visit(core::Handle2{{cell, corner}});
            }
        }
    }
};

// Stores the value of each cell, in walk order, in a fresh result.
template <class Cells, class Result, class Read>
void fill(const Cells& p_cells, Result& p_result, Read&& p_read) {
    if (p_result.size() == 0 || p_cells.count() == 0) return;
    auto* out = p_result.typed_data();
    p_cells.walk([&](const auto& p_handle) { *out++ = p_read(p_handle); });
}

// An array function: its own array when it is on the requested factory (nothing is copied),
// otherwise a new array of its values.
template <class Cells, class T, unsigned N>
std::shared_ptr<core::IArray> create_array(const Cells& p_cells,
                                           const core::ArrayGridFunction<T, N>& p_function,
                                           const core::IArrayImplFactory& p_factory) {
    const core::Array<T, N>& held = p_function.held_array();
    if (held.factory() == &p_factory) return std::make_shared<core::Array<T, N>>(held);
    auto result = p_cells.template make<T>(p_factory);
    if (p_function.location() != core::onCell) {
        OSTREL_NOT_AVAILABLE(p_function, " is not available for ", p_cells.file, "");
    }
    fill(p_cells, *result, [&](const auto& p_handle) { return p_function.read(p_handle); });
    return result;
}

// Any other function: a new array of the values that p_read gives.
template <class E, class Cells, class Read>
std::shared_ptr<core::IArray> create_array_by_values(const Cells& p_cells,
                                                     const core::IGridFunction& p_function,
                                                     const core::IArrayImplFactory& p_factory,
                                                     Read&& p_read) {
    auto result = p_cells.template make<E>(p_factory);
    if (p_function.location() != core::onCell) {
        OSTREL_NOT_AVAILABLE(p_function, " is not available for ", p_cells.file, "");
    }
    fill(p_cells, *result, p_read);
    return result;
}

// The chain of create_array: array functions of the topology's rank, then (on a selection)
// views, then the typed interfaces.
template <class Cells, template <class> class ArrayFunction, class ArrayChain, class ViewTypes>
std::shared_ptr<core::IArray> create_array_dispatch(const Cells& p_cells,
                                                    const core::IGridFunction& p_function,
                                                    const core::IArrayImplFactory& p_factory) {
    std::shared_ptr<core::IArray> result;
    if (core::dispatch_chain<ArrayFunction>(p_function, ArrayChain{}, [&](const auto& p_typed) {
            result = create_array(p_cells, p_typed, p_factory);
        })) {
        return result;
    }
    if (core::dispatch_chain<core::ViewGridFunction>(
            p_function, ViewTypes{}, [&](const auto& p_view) {
                using View = std::decay_t<decltype(p_view)>;
                result = create_array_by_values<typename View::value_type>(
                    p_cells, p_view, p_factory,
                    [&](const auto& p_handle) { return p_view.read(p_handle); });
            })) {
        return result;
    }
    if (core::dispatch_chain<core::ITypeGridFunction>(
            p_function, core::InterfaceChain{}, [&](const auto& p_typed) {
                using Typed = std::decay_t<decltype(p_typed)>;
                p_typed.prepare_for_reading();
                result = create_array_by_values<typename Typed::element_type>(
                    p_cells, p_typed, p_factory, [&](const auto& p_handle) -> decltype(auto) {
                        return p_typed.value(p_handle);
                    });
            })) {
        return result;
    }
    core::fail_no_conversion(p_function, p_cells.file, __LINE__);
}

template <class Cells, class Read>
std::shared_ptr<core::IArray> histogram_of(const Cells& p_cells,
                                           const core::IGridFunction& p_function, Read&& p_read,
                                           double p_minimum, double p_maximum, int p_bins,
                                           const core::IGridFunction& p_weight,
                                           const core::IArrayImplFactory& p_factory,
                                           bool p_closed) {
    return core::create_histogram(
        p_function, p_read, p_minimum, p_maximum, p_bins, p_weight, p_factory, p_closed,
        [&](auto&& p_visit) { p_cells.walk(p_visit); },
        [&](auto&& p_visit) { p_cells.walk_corners(p_visit); });
}

// The chain of create_histogram: array functions of rank 1, then the typed interfaces. A scalar
// interface that is in fact an array function of rank 3 is read without a call per value.
template <class Cells>
std::shared_ptr<core::IArray> create_histogram_dispatch(
    const Cells& p_cells, const core::IGridFunction& p_function, double p_minimum, double p_maximum,
    int p_bins, const core::IGridFunction& p_weight, const core::IArrayImplFactory& p_factory,
    bool p_closed) {
    core::histogram_detail::check_bins(p_bins, __LINE__);
    std::shared_ptr<core::IArray> result;
    auto run = [&](const auto& p_typed, auto&& p_read) {
        result = histogram_of(p_cells, p_typed, p_read, p_minimum, p_maximum, p_bins, p_weight,
                              p_factory, p_closed);
    };
    if (core::dispatch_chain<core::FlatArrayFunction>(
            p_function, core::FlatArrayChain{}, [&](const auto& p_typed) {
                using Typed = std::decay_t<decltype(p_typed)>;
                run(p_typed,
                    [&](const auto& p_handle) { return p_typed.Typed::as_float64(p_handle); });
            })) {
        return result;
    }
    if (core::dispatch_chain<core::ITypeGridFunction>(
            p_function, core::InterfaceChain{}, [&](const auto& p_typed) {
                using Typed = std::decay_t<decltype(p_typed)>;
                using E = typename Typed::element_type;
                if constexpr (core::ElementTraits<E>::is_scalar) {
                    using Box = core::ArrayGridFunction<E, 3>;
                    if (const Box* box = dynamic_cast<const Box*>(&p_typed)) {
                        run(*box,
                            [box](const auto& p_handle) { return box->Box::as_float64(p_handle); });
                        return;
                    }
                }
                run(p_typed, [&](const auto& p_handle) { return p_typed.as_float64(p_handle); });
            })) {
        return result;
    }
    core::fail_no_conversion(p_function, p_cells.file, __LINE__);
}

}  // namespace ostrel::varnok::conversion

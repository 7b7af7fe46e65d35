#pragma once

// The typed code behind create_array and create_histogram of both topologies. A topology is
// described by its cells: how a result array of its cells is made, and the handles of its walks
// (Handle3 and Handle4 on a box, Handle1 and Handle2 on a selection).
#include <algorithm>
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

// A view through a selection: the values of the viewed array at the selected cells, gathered
// in one pass.
template <class Cells, class T>
std::shared_ptr<core::IArray> create_array_of_view(const Cells& p_cells,
                                                   const core::ViewGridFunction<T>& p_view,
                                                   const core::IArrayImplFactory& p_factory) {
    auto result = p_cells.template make<T>(p_factory);
    if (p_view.location() != core::onCell) {
        OSTREL_NOT_AVAILABLE(p_view, " is not available for ", p_cells.file, "");
    }
    // A view made for another selection is read no further than its own cell map.
    const unsigned int count = std::min(p_cells.count(), p_view.number_of_elements());
    if (result->size() >= count) p_view.copy_values(result->typed_data(), count);
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
                result = create_array_of_view(p_cells, p_view, p_factory);
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

template <class Cells, class Read, class ReadWeight, class WalkCells>
std::shared_ptr<core::IArray> histogram_of(
    const Cells& p_cells, const core::IGridFunction& p_function, Read&& p_read, double p_minimum,
    double p_maximum, int p_bins, const core::IGridFunction& p_weight, ReadWeight&& p_read_weight,
    const core::IArrayImplFactory& p_factory, bool p_closed, WalkCells&& p_walk_cells) {
    return core::create_histogram(p_function, p_read, p_minimum, p_maximum, p_bins, p_weight,
                                  p_read_weight, p_factory, p_closed, p_walk_cells,
                                  [&](auto&& p_visit) { p_cells.walk_corners(p_visit); });
}

// Whether an array of rank 3 lies in the box's own cell order, so that the n-th cell of the walk
// is its n-th element.
inline bool in_cell_order(const BoxCells& p_cells, const core::Handle3& p_extents) {
    return p_cells.count() != 0 && p_extents == p_cells.shape;
}
inline bool in_cell_order(const SelectedCells&, const core::Handle3&) { return false; }

// Reads a value at a handle: at a cell number from p_data, otherwise through p_other.
template <class T, class Other>
auto flat_or(const T* p_data, Other p_other) {
    return [p_data, p_other](const auto& p_handle) -> double {
        if constexpr (std::is_same_v<std::decay_t<decltype(p_handle)>, core::Handle1>) {
            return static_cast<double>(p_data[p_handle]);
        } else {
            return p_other(p_handle);
        }
    };
}

// The chain of create_histogram: array functions of rank 1, then the typed interfaces. A scalar
// interface that is in fact an array function of rank 3 is read without a call per value, and
// when it and its weight lie in the box's cell order the cells are walked by number.
template <class Cells>
std::shared_ptr<core::IArray> create_histogram_dispatch(
    const Cells& p_cells, const core::IGridFunction& p_function, double p_minimum, double p_maximum,
    int p_bins, const core::IGridFunction& p_weight, const core::IArrayImplFactory& p_factory,
    bool p_closed) {
    core::histogram_detail::check_bins(p_bins, __LINE__);
    std::shared_ptr<core::IArray> result;
    const core::ReadWeight read_weight{&p_weight};
    auto walk = [&](auto&& p_visit) { p_cells.walk(p_visit); };
    auto run = [&](const auto& p_typed, auto&& p_read) {
        result = histogram_of(p_cells, p_typed, p_read, p_minimum, p_maximum, p_bins, p_weight,
                              read_weight, p_factory, p_closed, walk);
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
                        auto read_box = [box](const auto& p_handle) {
                            return box->Box::as_float64(p_handle);
                        };
                        const core::Array<E, 3>& values = box->held_array();
                        if (in_cell_order(p_cells, values.extents())) {
                            using WeightBox = core::ArrayGridFunction<double, 3>;
                            const auto* weights = dynamic_cast<const WeightBox*>(&p_weight);
                            const bool count =
                                typeid(p_weight) == typeid(core::AlwaysOneGridFunction);
                            if (count ||
                                (weights && weights->held_array().extents() == values.extents())) {
                                const unsigned int cells = p_cells.count();
                                auto by_number = [cells](auto&& p_visit) {
                                    for (core::Handle1 cell = 0; cell < cells; ++cell)
                                        p_visit(cell);
                                };
                                const double* weight_data =
                                    count ? nullptr : weights->held_array().typed_data();
                                result = histogram_of(p_cells, *box,
                                                      flat_or(values.typed_data(), read_box),
                                                      p_minimum, p_maximum, p_bins, p_weight,
                                                      flat_or(weight_data, read_weight), p_factory,
                                                      p_closed, by_number);
                                return;
                            }
                        }
                        run(*box, read_box);
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

#pragma once

// The histogram of a grid function over a topology's cells or vertices, weighted by a second
// function read at the same handles. The caller gives the typed reader of values and the walks
// of its topology.
#include <memory>
#include <typeinfo>

#include "core/algorithm/HistogramBins.h"
#include "core/array/Array.h"
#include "core/grid_function/GenGridFunction.h"

namespace ostrel::core {

namespace histogram_detail {
OSTREL_CORE_API void check_bins(int p_bins, unsigned int p_line);
OSTREL_CORE_API void check_weight(const IGridFunction& p_weight, LocationType p_location,
                                  unsigned int p_line);
[[noreturn]] OSTREL_CORE_API void fail_location(unsigned int p_line);
}  // namespace histogram_detail

// The weight as float64 at a handle, through the weight's interface.
struct ReadWeight {
    const IGridFunction* weight;
    template <class H>
    double operator()(const H& p_handle) const {
        return weight->as_float64(p_handle);
    }
};

// p_read(handle) and p_read_weight(handle) give value and weight as float64 (the caller may
// read either without a call per value when it knows where they lie); p_walk_cells and
// p_walk_vertices call their argument with each handle of the walk.
template <class Read, class ReadWeightAt, class WalkCells, class WalkVertices>
std::shared_ptr<IArray> create_histogram(const IGridFunction& p_function, Read&& p_read,
                                         double p_minimum, double p_maximum, int p_bins,
                                         const IGridFunction& p_weight,
                                         ReadWeightAt&& p_read_weight,
                                         const IArrayImplFactory& p_factory, bool p_closed,
                                         WalkCells&& p_walk_cells, WalkVertices&& p_walk_vertices) {
    histogram_detail::check_bins(p_bins, __LINE__);
    auto result =
        std::make_shared<Array<double, 1>>(&p_factory, static_cast<unsigned int>(p_bins) + 2u);
    const HistogramBins bins(p_minimum, p_maximum, p_bins, p_closed);
    double* counts = result->typed_data();
    const bool plain_count = typeid(p_weight) == typeid(AlwaysOneGridFunction);
    auto add = [&](const auto& p_handle) {
        counts[bins.index_of(p_read(p_handle))] += p_read_weight(p_handle);
    };
    auto count = [&](const auto& p_handle) { counts[bins.index_of(p_read(p_handle))] += 1.0; };
    const LocationType location = p_function.location();
    if (location == onVertex) {
        histogram_detail::check_weight(p_weight, onVertex, __LINE__);
        if (plain_count) {
            p_walk_vertices(count);
        } else {
            p_walk_vertices(add);
        }
    } else if (location == onCell) {
        histogram_detail::check_weight(p_weight, onCell, __LINE__);
        if (plain_count) {
            p_walk_cells(count);
        } else {
            p_walk_cells(add);
        }
    } else {
        histogram_detail::fail_location(__LINE__);
    }
    return result;
}

}  // namespace ostrel::core

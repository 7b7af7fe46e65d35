#pragma once

// What the registration files of grid functions and topologies share.
#include <memory>

#include "bindings/Common.h"
#include "core/grid_function/IGridFunction.h"

namespace kelvara::bindings {

template <class T>
struct type_tag {
    using type = T;
};

// The weight of a histogram: the given function, or the plain count for None.
const ostrel::core::IGridFunction& WeightOrCount(
    const std::shared_ptr<ostrel::core::IGridFunction>& p_weight);

}  // namespace kelvara::bindings

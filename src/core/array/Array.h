#pragma once

// The typed arrays of all ranks, with the list of their 137 instances (defined in
// ArrayInstances*.cpp).
#include "core/array/Array1D.h"
#include "core/array/Array2D.h"
#include "core/array/Array3D.h"

namespace ostrel::core {

#define OSTREL_EXTERN_ARRAY_123(...)                                      \
    extern template class OSTREL_CORE_TEMPLATE_API Array<__VA_ARGS__, 1>; \
    extern template class OSTREL_CORE_TEMPLATE_API Array<__VA_ARGS__, 2>; \
    extern template class OSTREL_CORE_TEMPLATE_API Array<__VA_ARGS__, 3>;
#define OSTREL_EXTERN_ARRAY_13(...)                                       \
    extern template class OSTREL_CORE_TEMPLATE_API Array<__VA_ARGS__, 1>; \
    extern template class OSTREL_CORE_TEMPLATE_API Array<__VA_ARGS__, 3>;
OSTREL_FOR_EACH_STORAGE_TYPE(OSTREL_EXTERN_ARRAY_123)
OSTREL_FOR_EACH_STORAGELESS_TYPE(OSTREL_EXTERN_ARRAY_13)
#undef OSTREL_EXTERN_ARRAY_123
#undef OSTREL_EXTERN_ARRAY_13

}  // namespace ostrel::core

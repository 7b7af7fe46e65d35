// The rank-2 instances of Array<T,N>.
#include "core/array/Array.h"
#include "core/array/Array2D.inl"

namespace ostrel::core {

#define OSTREL_INSTANTIATE_ARRAY(...) template class Array<__VA_ARGS__, 2>;
OSTREL_FOR_EACH_STORAGE_TYPE(OSTREL_INSTANTIATE_ARRAY)

#undef OSTREL_INSTANTIATE_ARRAY

}  // namespace ostrel::core

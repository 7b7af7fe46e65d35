// The 45 instances of VectorArrayImpl<T>.
#include "core/array/Array.h"
#include "core/array/VectorArrayImpl.inl"

namespace ostrel::core {

#define OSTREL_INSTANTIATE_VECTOR_ARRAY_IMPL(...) template class VectorArrayImpl<__VA_ARGS__>;
OSTREL_FOR_EACH_STORAGE_TYPE(OSTREL_INSTANTIATE_VECTOR_ARRAY_IMPL)
#undef OSTREL_INSTANTIATE_VECTOR_ARRAY_IMPL

}  // namespace ostrel::core

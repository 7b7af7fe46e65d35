#pragma once

// Arrays made and reached by run-time element type: the scalar type, the tuple length and the
// rank pick one of the 137 instances of Array<T,N>. For hosts that know the type only at run
// time (the Python bindings); the core itself uses the typed classes.
#include <memory>

#include "core/Export.h"
#include "core/array/Array.h"

namespace ostrel::core {

// Whether Array<T,N> exists for this scalar type, tuple length and rank.
OSTREL_CORE_API bool has_array_instance(ScalarType p_scalar_type, unsigned int p_tuple_size,
                                        unsigned int p_rank);

// An unbound Array<T,N>; null when there is no such instance.
OSTREL_CORE_API std::shared_ptr<IArray> make_unbound_array(ScalarType p_scalar_type,
                                                           unsigned int p_tuple_size,
                                                           unsigned int p_rank);

// Array<T,N> initialised from p_factory with the extents (rank 1: p_extents[0] elements; rank 2:
// NI, NJ; rank 3: NI, NJ, NK, each at most 65535); null when there is no such instance.
OSTREL_CORE_API std::shared_ptr<IArray> make_array_from_factory(const IArrayImplFactory& p_factory,
                                                                ScalarType p_scalar_type,
                                                                unsigned int p_tuple_size,
                                                                unsigned int p_rank,
                                                                const unsigned int p_extents[3]);

// Storage holding a copy of p_count elements at p_source, written once; null when no storage
// holds this element type.
OSTREL_CORE_API std::shared_ptr<IArrayImpl> make_storage_copy(ScalarType p_scalar_type,
                                                              unsigned int p_tuple_size,
                                                              const void* p_source,
                                                              unsigned int p_count);

// Array<T,N> bound to p_storage with the leading extents of p_extents (NI for rank 2; NI, NJ for
// rank 3); null when there is no such instance.
OSTREL_CORE_API std::shared_ptr<IArray> make_array_on(std::shared_ptr<IArrayImpl> p_storage,
                                                      ScalarType p_scalar_type,
                                                      unsigned int p_tuple_size,
                                                      unsigned int p_rank,
                                                      const unsigned int p_extents[3]);

// Storage of p_count zero elements of any element type that has storage (also those that the
// default factory refuses); null when there is none.
OSTREL_CORE_API std::shared_ptr<IArrayImpl> make_storage(ScalarType p_scalar_type,
                                                         unsigned int p_tuple_size,
                                                         unsigned int p_count);

// A copy of p_array made by its own copy constructor: the same type, the same leading extents,
// the same storage.
OSTREL_CORE_API std::shared_ptr<IArray> share_array(const IArray& p_array);

// Array<T,1>::resize, for any rank; false when p_array is none of the instances.
OSTREL_CORE_API bool resize_flat(IArray& p_array, unsigned int p_NewSize);

// Array<T,3>::resize with a shape; false when p_array is not a rank-3 array.
OSTREL_CORE_API bool resize_with_shape(IArray& p_array, const Handle3& p_shape);

// The extents of an array: (size) for rank 1, (NI, NJ) for rank 2, (NI, NJ, NK) for rank 3.
OSTREL_CORE_API void array_extents(const IArray& p_array, unsigned int p_extents[3]);

}  // namespace ostrel::core

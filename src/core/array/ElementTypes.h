#pragma once

// The element types of the core's arrays. Storage (VectorArrayImpl) exists for the 45 storage
// types: the 11 scalars, their 2-, 3- and 4-tuples, and the 8-tuple of unsigned int. Arrays exist
// for every storage type in ranks 1, 2 and 3, and for the 6-tuple of double in ranks 1 and 3.
// The lists are X-macros: X is called with each type (variadic, since tuple types hold a comma).
#include "core/handle/Handles.h"

// clang-format off
#define OSTREL_FOR_EACH_SCALAR_TYPE(X)                                                       \
    X(float) X(double) X(signed char) X(short) X(int) X(long long) X(unsigned char)       \
    X(unsigned short) X(unsigned int) X(unsigned long long) X(bool)
// clang-format on

#define OSTREL_FOR_EACH_TUPLE_TYPE_OF(N, X)              \
    X(::ostrel::mtm::RigidVector<N, float>)              \
    X(::ostrel::mtm::RigidVector<N, double>)             \
    X(::ostrel::mtm::RigidVector<N, signed char>)        \
    X(::ostrel::mtm::RigidVector<N, short>)              \
    X(::ostrel::mtm::RigidVector<N, int>)                \
    X(::ostrel::mtm::RigidVector<N, long long>)          \
    X(::ostrel::mtm::RigidVector<N, unsigned char>)      \
    X(::ostrel::mtm::RigidVector<N, unsigned short>)     \
    X(::ostrel::mtm::RigidVector<N, unsigned int>)       \
    X(::ostrel::mtm::RigidVector<N, unsigned long long>) \
    X(::ostrel::mtm::RigidVector<N, bool>)

#define OSTREL_FOR_EACH_TUPLE_STORAGE_TYPE(X) \
    OSTREL_FOR_EACH_TUPLE_TYPE_OF(2, X)       \
    OSTREL_FOR_EACH_TUPLE_TYPE_OF(3, X)       \
    OSTREL_FOR_EACH_TUPLE_TYPE_OF(4, X) X(::ostrel::mtm::RigidVector<8, unsigned int>)

// The 45 types with storage.
#define OSTREL_FOR_EACH_STORAGE_TYPE(X) \
    OSTREL_FOR_EACH_SCALAR_TYPE(X)      \
    OSTREL_FOR_EACH_TUPLE_STORAGE_TYPE(X)

// The element type of arrays without storage of their own type (ranks 1 and 3 only).
#define OSTREL_FOR_EACH_STORAGELESS_TYPE(X) X(::ostrel::mtm::RigidVector<6, double>)

namespace ostrel::core {

// Calls p_visit(T{}) with the scalar type named by p_type (a value-initialised T stands for the
// type); false for stNotAScalar and anything out of range.
template <class Visit>
bool visit_scalar_type(ScalarType p_type, Visit&& p_visit) {
    switch (p_type) {
        case stFloat32:
            p_visit(float{});
            return true;
        case stFloat64:
            p_visit(double{});
            return true;
        case stInt8:
            p_visit(static_cast<signed char>(0));
            return true;
        case stInt16:
            p_visit(short{});
            return true;
        case stInt32:
            p_visit(int{});
            return true;
        case stInt64:
            p_visit(static_cast<long long>(0));
            return true;
        case stUInt8:
            p_visit(static_cast<unsigned char>(0));
            return true;
        case stUInt16:
            p_visit(static_cast<unsigned short>(0));
            return true;
        case stUInt32:
            p_visit(0u);
            return true;
        case stUInt64:
            p_visit(0ull);
            return true;
        case stBool:
            p_visit(false);
            return true;
        default:
            return false;
    }
}

}  // namespace ostrel::core

#include "core/array/VectorArrayImplFactory.h"

#include "core/array/VectorArrayImpl.h"
#include "core/pattern/Assert.h"

namespace ostrel::core {

namespace {

constexpr const char* kFactoryFile = "core/array/VectorArrayImplFactory";

// The storage of p_count elements of scalar type p_scalar_type, as S, or RigidVector<N,S> for an
// element shape (N, 1) with N = 2, 3, 4.
IArrayImpl* create_vector_impl(ScalarType p_scalar_type, const ElementShape& p_element_shape,
                               unsigned int p_count) {
    OSTREL_PRECONDITION(p_scalar_type != stNotAScalar, "p_scalar_type != stNotAScalar",
                        kFactoryFile,
                        "Cannot make an Array of non-scalars from a generic Factory!");
    IArrayImpl* result = nullptr;
    visit_scalar_type(p_scalar_type, [&](auto p_scalar) {
        using S = decltype(p_scalar);
        if (p_element_shape[1] != 1) return;
        switch (p_element_shape[0]) {
            case 1:
                result = new VectorArrayImpl<S>(p_count);
                break;
            case 2:
                result = new VectorArrayImpl<mtm::RigidVector<2, S>>(p_count);
                break;
            case 3:
                result = new VectorArrayImpl<mtm::RigidVector<3, S>>(p_count);
                break;
            case 4:
                result = new VectorArrayImpl<mtm::RigidVector<4, S>>(p_count);
                break;
            default:
                break;
        }
    });
    OSTREL_PRECONDITION(result != nullptr, "0", kFactoryFile,
                        "FromVectorArrayFactory: Can not create array whose element has this "
                        "shape: "
                            << extent_text(p_element_shape));
    return result;
}

}  // namespace

VectorArrayImplFactory::~VectorArrayImplFactory() = default;

IArrayImpl* VectorArrayImplFactory::create_impl(ScalarType p_scalar_type,
                                                const ElementShape& p_element_shape,
                                                unsigned int p_count) const {
    return create_vector_impl(p_scalar_type, p_element_shape, p_count);
}

IArrayImpl* VectorArrayImplFactory::create_impl(ScalarType p_scalar_type,
                                                const ElementShape& p_element_shape) const {
    return create_vector_impl(p_scalar_type, p_element_shape, 0);
}

const IArrayImplFactory* default_array_factory() {
    static const VectorArrayImplFactory s_factory;
    return &s_factory;
}

}  // namespace ostrel::core

#include "core/array/IArrayImpl.h"

#include "core/pattern/Assert.h"

namespace ostrel::core {

IArrayImpl::~IArrayImpl() = default;

void IArrayImpl::resize(unsigned int p_NewSize) {
    const unsigned int limit = max_size();
    OSTREL_PRECONDITION(p_NewSize <= limit, "p_NewSize <= this->max_size()",
                        "core/array/IArrayImpl.inl",
                        "Trying to resize array to invalid size: "
                            << p_NewSize << " elements.\nMaximum size is: " << limit << "\n");
    do_resize(p_NewSize);
    notify(this);
}

IArrayImplFactory::~IArrayImplFactory() = default;

std::shared_ptr<IArrayImpl> make_array_impl(const IArrayImplFactory& p_factory,
                                            ScalarType p_scalar_type,
                                            const ElementShape& p_element_shape,
                                            unsigned int p_count) {
    return std::shared_ptr<IArrayImpl>(
        p_factory.create_impl(p_scalar_type, p_element_shape, p_count));
}

std::shared_ptr<IArrayImpl> make_array_impl(const IArrayImplFactory& p_factory,
                                            ScalarType p_scalar_type,
                                            const ElementShape& p_element_shape) {
    return std::shared_ptr<IArrayImpl>(p_factory.create_impl(p_scalar_type, p_element_shape));
}

}  // namespace ostrel::core

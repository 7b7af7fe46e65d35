#pragma once

// The default factory: VectorArrayImpl storage by run-time element type. It makes scalars and
// their 2-, 3- and 4-tuples; any other element shape is refused.
#include "core/array/IArrayImpl.h"

namespace ostrel::core {

class OSTREL_CORE_API VectorArrayImplFactory final : public IArrayImplFactory {
  public:
    ~VectorArrayImplFactory() override;
    IArrayImpl* create_impl(ScalarType p_scalar_type, const ElementShape& p_element_shape,
                            unsigned int p_count) const override;
    IArrayImpl* create_impl(ScalarType p_scalar_type,
                            const ElementShape& p_element_shape) const override;
};

}  // namespace ostrel::core

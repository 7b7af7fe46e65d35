#include "builder/SGridInfo.h"

#include "core/array/IArrayImpl.h"

namespace kelvara::builder {

void SGridInfo::CreateActiveMask() {
    const ostrel::core::Handle3 shape{{static_cast<unsigned short>(ni),
                                       static_cast<unsigned short>(nj),
                                       static_cast<unsigned short>(nk)}};
    activeMask = std::make_shared<ostrel::core::Array<unsigned char, 3>>(
        ostrel::core::default_array_factory(), shape, static_cast<unsigned char>(0));
}

void SGridInfo::CreatePackedMap() {
    if (activeCount > 0) {
        packedToHandle =
            std::make_shared<std::vector<std::int32_t>>(static_cast<std::size_t>(activeCount), 0);
    }
}

}  // namespace kelvara::builder

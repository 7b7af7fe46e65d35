#include "builder/SGridInfo.h"

#include "core/array/IArrayImpl.h"

namespace kelvara::builder {

std::int64_t SGridInfo::CellCount() const {
    std::int64_t cells = 0;
    if (__builtin_mul_overflow(std::int64_t(ni) * nj, std::int64_t(nk), &cells)) return -1;
    return cells;
}

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

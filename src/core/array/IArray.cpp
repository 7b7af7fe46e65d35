#include "core/array/IArray.h"

namespace ostrel::core {

IArray::~IArray() = default;

}  // namespace ostrel::core

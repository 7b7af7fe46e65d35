#pragma once

#include <cstddef>

namespace kelvara::eclipse {

// Converts p_items items of a kind (IntItem, LogiItem, RealItem, DoubItem) from their file bytes
// to doubles in p_out, reversing each when Swap is set. Built once for the processor baseline
// and once for AVX2, chosen when the library loads, so that a long run of items is converted
// many at a time on a processor that can.
template <class Kind, bool Swap>
void convert_items(const char* p_bytes, double* p_out, std::size_t p_items);

}  // namespace kelvara::eclipse

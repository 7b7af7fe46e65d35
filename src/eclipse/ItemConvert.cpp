#include "eclipse/ItemConvert.h"

#include "eclipse/ItemKinds.h"

namespace kelvara::eclipse {

// The loop below is vectorised by the compiler; byte reversal needs AVX2 for that on x86-64, so
// the function is cloned for it where the compiler can make clones.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
#define KELVARA_ITEM_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define KELVARA_ITEM_CLONES
#endif

template <class Kind, bool Swap>
KELVARA_ITEM_CLONES void convert_items(const char* p_bytes, double* p_out, std::size_t p_items) {
    for (std::size_t i = 0; i < p_items; ++i) {
        p_out[i] = Kind::to_double(Kind::template load<Swap>(p_bytes + i * Kind::size));
    }
}

#define KELVARA_CONVERT_ITEMS(KIND)                                              \
    template void convert_items<KIND, false>(const char*, double*, std::size_t); \
    template void convert_items<KIND, true>(const char*, double*, std::size_t);

KELVARA_CONVERT_ITEMS(IntItem)
KELVARA_CONVERT_ITEMS(LogiItem)
KELVARA_CONVERT_ITEMS(RealItem)
KELVARA_CONVERT_ITEMS(DoubItem)

#undef KELVARA_CONVERT_ITEMS

}  // namespace kelvara::eclipse

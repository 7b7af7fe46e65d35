#include "eclipse/ItemSize.h"

#include <cstdio>

namespace kelvara::eclipse {

void ComplainUnknownType(const char* p_type) {
    std::fputs("Unknown section type:", stderr);
    std::fwrite(p_type, 1, 4, stderr);
    std::fputc('\n', stderr);
}

}  // namespace kelvara::eclipse

#include "eclipse/ItemSize.h"

#include <cstdio>
#include <cstring>

namespace kelvara::eclipse {

std::int32_t ItemSize(const char* p_type) {
    switch (p_type[0]) {
        case 'C':
        case 'D':
            return 8;
        case 'I':
        case 'L':
        case 'R':
            return 4;
        case 'M':
            return 0;
        default:
            std::fputs("Unknown section type:", stderr);
            std::fwrite(p_type, 1, 4, stderr);
            std::fputc('\n', stderr);
            return -1;
    }
}

std::size_t TrimBlanks(char* p_text, std::size_t p_width) {
    std::size_t length = p_width;
    if (length > 0 && p_text[0] == ' ') {
        std::size_t blanks = 0;
        while (blanks < p_width && p_text[blanks] == ' ') ++blanks;
        length -= blanks;
        std::memmove(p_text, p_text + blanks, length);
    }
    if (length > 0 && p_text[length - 1] == ' ') {
        while (length > 0 && p_text[length - 1] == ' ') --length;
        p_text[length] = '\0';
    }
    return length;
}

}  // namespace kelvara::eclipse

#include "eclipse/ItemType.h"

#include <cstring>

namespace kelvara::eclipse {

namespace {

bool is_digit(char p_char) { return p_char >= '0' && p_char <= '9'; }

}  // namespace

bool ParseItemType(const char* p_type, TItemType& p_out) {
    struct Known {
        const char* text;
        ItemClass kind;
        std::int32_t size;
    };
    static const Known known[] = {
        {"INTE", ItemClass::Inte, 4}, {"REAL", ItemClass::Real, 4}, {"DOUB", ItemClass::Doub, 8},
        {"LOGI", ItemClass::Logi, 4}, {"CHAR", ItemClass::Char, 8}, {"MESS", ItemClass::Mess, 0},
    };
    for (const Known& type : known) {
        if (std::memcmp(p_type, type.text, 4) == 0) {
            p_out = TItemType{type.kind, type.size};
            return true;
        }
    }
    // C0nn: text items of nn characters, nn from 01 to 99.
    if (p_type[0] == 'C' && p_type[1] == '0' && is_digit(p_type[2]) && is_digit(p_type[3])) {
        const std::int32_t size = (p_type[2] - '0') * 10 + (p_type[3] - '0');
        if (size == 0) return false;
        p_out = TItemType{ItemClass::Char, size};
        return true;
    }
    return false;
}

}  // namespace kelvara::eclipse

#include "formatted/FormattedRead.h"

#include <algorithm>
#include <type_traits>

#include "formatted/TextCursor.h"
#include "formatted/ValueParse.h"

namespace kelvara::formatted {

namespace {

// One walk per item kind, so that the kind is decided once per section and not per value.
template <class T>
TTextProblem read_numbers(TextCursor& p_cursor, const THeader& p_header, T* p_out) {
    return WalkItems(p_cursor, p_header, [p_out](std::string_view p_token, std::size_t p_i) {
        if constexpr (std::is_same_v<T, std::int32_t>) {
            return ParseInteger(p_token, p_out[p_i]);
        } else if constexpr (std::is_same_v<T, bool>) {
            return ParseLogical(p_token, p_out[p_i]);
        } else {
            return ParseReal(p_token, p_out[p_i]);
        }
    });
}

TTextProblem read_texts(TextCursor& p_cursor, const THeader& p_header, std::uint32_t* p_out) {
    const auto width = static_cast<std::size_t>(p_header.item_type.size);
    return WalkItems(p_cursor, p_header, [p_out, width](std::string_view p_token, std::size_t p_i) {
        std::size_t begin = 0;
        std::size_t end = p_token.size();
        while (begin < end && p_token[begin] == ' ') ++begin;
        while (end > begin && p_token[end - 1] == ' ') --end;
        std::uint32_t* out = p_out + p_i * width;
        for (std::size_t c = begin; c < end; ++c) {
            *out++ = static_cast<unsigned char>(p_token[c]);
        }
        std::fill(out, p_out + (p_i + 1) * width, 0u);
        return true;
    });
}

}  // namespace

TTextProblem ReadFormattedItems(const stream::SharedFile& p_file, std::int64_t p_position,
                                std::int64_t p_line, eclipse::TItemType p_type,
                                std::int32_t p_count, void* p_out) {
    TextCursor cursor(p_file, p_position, p_line);
    THeader header;
    if (!cursor.SkipBlanks()) return ProblemAt(cursor, "no section header at this place");
    TTextProblem problem = ReadHeader(cursor, header);
    if (problem) return problem;
    if (header.count != p_count || header.item_type.kind != p_type.kind ||
        header.item_type.size != p_type.size) {
        return ProblemAt(cursor, "the section header is not the one catalogued");
    }
    switch (p_type.kind) {
        case eclipse::ItemClass::Inte:
            problem = read_numbers(cursor, header, static_cast<std::int32_t*>(p_out));
            break;
        case eclipse::ItemClass::Real:
            problem = read_numbers(cursor, header, static_cast<float*>(p_out));
            break;
        case eclipse::ItemClass::Doub:
            problem = read_numbers(cursor, header, static_cast<double*>(p_out));
            break;
        case eclipse::ItemClass::Logi:
            problem = read_numbers(cursor, header, static_cast<bool*>(p_out));
            break;
        case eclipse::ItemClass::Char:
            problem = read_texts(cursor, header, static_cast<std::uint32_t*>(p_out));
            break;
        case eclipse::ItemClass::Mess:
            break;
    }
    if (problem) return problem;
    return ExpectSectionEnd(cursor, header);
}

}  // namespace kelvara::formatted

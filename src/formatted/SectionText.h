#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "eclipse/ItemType.h"
#include "formatted/TextCursor.h"

namespace kelvara::formatted {

// What is wrong with a formatted file: a text for a person that ends with the line it was found
// on, and the byte. Empty when all is well.
struct TTextProblem {
    std::string message;
    std::int64_t position = -1;

    explicit operator bool() const { return !message.empty(); }
};

// The problem p_what found where p_cursor stands, told with its line.
TTextProblem ProblemAt(const TextCursor& p_cursor, const std::string& p_what);

// A section header line: 'NAME    '   count 'TYPE'.
struct THeader {
    std::string name;  // trimmed of blanks
    std::string type;  // the four characters
    eclipse::TItemType item_type;
    std::int32_t count = 0;
    std::int64_t position = 0;  // the byte where its line starts
    std::int64_t line = 0;      // 1-based
};

// Reads the header at the cursor, which stands on its opening quote (past any blanks), and the
// rest of its line, which must be blank.
TTextProblem ReadHeader(TextCursor& p_cursor, THeader& p_header);

// Walks the p_header.count items that follow a header, handing each token to p_take (the token,
// the item's index), which is false for a value it cannot take. Numbers and logicals are runs of
// characters between blanks, texts quoted items of at most the type's characters. A problem:
// the file ends first, the next header comes first, a token that p_take refuses. The
// cursor stands behind the last item afterwards.
template <class Take>
TTextProblem WalkItems(TextCursor& p_cursor, const THeader& p_header, Take&& p_take);

// After the items of a section: the next thing must be a header or the end of the file.
TTextProblem ExpectSectionEnd(TextCursor& p_cursor, const THeader& p_header);

// --- implementation of the template -----------------------------------------------------------

TTextProblem EndedEarly(const TextCursor& p_cursor, const THeader& p_header, std::int64_t p_done);
TTextProblem HeaderCameEarly(const TextCursor& p_cursor, const THeader& p_header,
                             std::int64_t p_done);
TTextProblem Refused(const TextCursor& p_cursor, const THeader& p_header, std::string_view p_token);

inline bool IsBlank(char p_c) { return p_c == ' ' || p_c == '\t' || p_c == '\r' || p_c == '\n'; }

// Numbers and logicals: a tight loop over the window while it holds a whole token ahead, the
// cursor's own steps near the end of the file.
template <class Take>
TTextProblem WalkWords(TextCursor& p_cursor, const THeader& p_header, Take&& p_take) {
    std::int32_t i = 0;
    while (i < p_header.count) {
        const std::string_view window = p_cursor.Window(TextCursor::max_token * 64);
        const char* p = window.data();
        const char* end = window.data() + window.size();
        if (window.size() > TextCursor::max_token) {
            // Stop a whole token short of the window's end, so that no token is cut by it.
            const char* stop = end - TextCursor::max_token;
            std::int64_t lines = 0;
            const char* line_begin = nullptr;
            while (i < p_header.count && p < stop) {
                while (p < stop && IsBlank(*p)) {
                    if (*p == '\n') {
                        ++lines;
                        line_begin = p + 1;
                    }
                    ++p;
                }
                if (p >= stop) break;
                if (*p == '\'') {
                    p_cursor.Commit(p, lines, line_begin);
                    return HeaderCameEarly(p_cursor, p_header, i);
                }
                const char* begin = p;
                const char* limit = begin + TextCursor::max_token;
                while (p < limit && !IsBlank(*p)) ++p;
                const std::string_view token(begin, static_cast<std::size_t>(p - begin));
                if (!p_take(token, static_cast<std::size_t>(i))) {
                    p_cursor.Commit(p, lines, line_begin);
                    return Refused(p_cursor, p_header, token);
                }
                ++i;
            }
            p_cursor.Commit(p, lines, line_begin);
            continue;
        }
        // Near the end of the file: one token at a time.
        if (!p_cursor.SkipBlanks()) return EndedEarly(p_cursor, p_header, i);
        if (p_cursor.Peek() == '\'') return HeaderCameEarly(p_cursor, p_header, i);
        const std::string_view token = p_cursor.Word();
        if (!p_take(token, static_cast<std::size_t>(i))) return Refused(p_cursor, p_header, token);
        ++i;
    }
    return {};
}

template <class Take>
TTextProblem WalkItems(TextCursor& p_cursor, const THeader& p_header, Take&& p_take) {
    if (p_header.item_type.kind != eclipse::ItemClass::Char) {
        return WalkWords(p_cursor, p_header, p_take);
    }
    const auto width = static_cast<std::size_t>(p_header.item_type.size);
    for (std::int32_t i = 0; i < p_header.count; ++i) {
        if (!p_cursor.SkipBlanks()) return EndedEarly(p_cursor, p_header, i);
        std::string_view token;
        if (!p_cursor.Quoted(width, token)) return Refused(p_cursor, p_header, p_cursor.Word());
        if (!p_take(token, static_cast<std::size_t>(i))) {
            return Refused(p_cursor, p_header, token);
        }
    }
    return {};
}

}  // namespace kelvara::formatted

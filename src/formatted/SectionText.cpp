#include "formatted/SectionText.h"

#include "formatted/ValueParse.h"

namespace kelvara::formatted {

namespace {

std::string trimmed(std::string_view p_text) {
    std::size_t begin = 0;
    std::size_t end = p_text.size();
    while (begin < end && p_text[begin] == ' ') ++begin;
    while (end > begin && p_text[end - 1] == ' ') --end;
    return std::string(p_text.substr(begin, end - begin));
}

std::string shown(std::string_view p_token) {
    // Long junk is cut, so that a message stays a line.
    constexpr std::size_t longest = 40;
    if (p_token.size() > longest) return "'" + std::string(p_token.substr(0, longest)) + "...'";
    return "'" + std::string(p_token) + "'";
}

}  // namespace

TTextProblem ProblemAt(const TextCursor& p_cursor, const std::string& p_what) {
    return {p_what + ", on line " + std::to_string(p_cursor.line()), p_cursor.offset()};
}

TTextProblem ReadHeader(TextCursor& p_cursor, THeader& p_header) {
    p_header.position = p_cursor.line_start();
    p_header.line = p_cursor.line();
    std::string_view text;
    if (!p_cursor.Quoted(8, text)) {
        return ProblemAt(p_cursor, "not a section header: " + shown(p_cursor.Word()));
    }
    p_header.name = trimmed(text);
    p_cursor.SkipSpaces();
    const std::string_view count = p_cursor.Word();
    if (!ParseInteger(count, p_header.count)) {
        return ProblemAt(p_cursor, "a section header without a count: " + shown(count));
    }
    if (p_header.count < 0) {
        return ProblemAt(p_cursor, "a negative item count " + std::to_string(p_header.count));
    }
    p_cursor.SkipSpaces();
    if (!p_cursor.Quoted(4, text) || text.size() != 4) {
        return ProblemAt(p_cursor, "a section header without a quoted type of four characters");
    }
    p_header.type = std::string(text);
    if (!eclipse::ParseItemType(text.data(), p_header.item_type)) {
        return ProblemAt(p_cursor, "unknown section type " + shown(text));
    }
    if (p_header.item_type.kind == eclipse::ItemClass::Mess && p_header.count != 0) {
        return ProblemAt(p_cursor, "a MESS section with items");
    }
    p_cursor.SkipSpaces();
    if (!p_cursor.AtEnd() && p_cursor.Peek() != '\n') {
        return ProblemAt(p_cursor, "more than a section header on its line");
    }
    return {};
}

TTextProblem EndedEarly(const TextCursor& p_cursor, const THeader& p_header, std::int64_t p_done) {
    return ProblemAt(p_cursor, "the file ends after " + std::to_string(p_done) + " of the " +
                                   std::to_string(p_header.count) + " items");
}

TTextProblem HeaderCameEarly(const TextCursor& p_cursor, const THeader& p_header,
                             std::int64_t p_done) {
    return ProblemAt(p_cursor, "the header counts " + std::to_string(p_header.count) +
                                   " items but " + std::to_string(p_done) + " follow");
}

TTextProblem Refused(const TextCursor& p_cursor, const THeader& p_header,
                     std::string_view p_token) {
    TTextProblem problem =
        ProblemAt(p_cursor, "a value that is no " + p_header.type + " item: " + shown(p_token));
    problem.position -= static_cast<std::int64_t>(p_token.size());
    return problem;
}

TTextProblem ExpectSectionEnd(TextCursor& p_cursor, const THeader& p_header) {
    if (!p_cursor.SkipBlanks() || p_cursor.Peek() == '\'') return {};
    return ProblemAt(p_cursor,
                     "more items than the header's count of " + std::to_string(p_header.count));
}

}  // namespace kelvara::formatted

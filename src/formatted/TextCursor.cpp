#include "formatted/TextCursor.h"

#include <algorithm>
#include <cstring>

namespace kelvara::formatted {

namespace {

// Bytes per refill: large enough that the reads cost little beside the parse.
constexpr std::size_t window_bytes = std::size_t(1) << 20;

bool is_blank(char p_c) { return p_c == ' ' || p_c == '\t' || p_c == '\r' || p_c == '\n'; }

}  // namespace

TextCursor::TextCursor(const stream::SharedFile& p_file, std::int64_t p_position,
                       std::int64_t p_line)
    : m_file(p_file),
      m_data(new char[window_bytes + max_token]),
      m_size(p_file.size()),
      m_base(p_position),
      m_line(p_line),
      m_line_start(p_position) {}

void TextCursor::Ensure(std::size_t p_bytes) {
    if (available() >= p_bytes) return;
    const std::int64_t file_left = m_size - offset();
    if (file_left <= static_cast<std::int64_t>(available())) return;
    // Keep what is left of the window at its front and fill up behind it.
    const std::size_t kept = available();
    std::memmove(m_data.get(), m_data.get() + m_at, kept);
    m_base += static_cast<std::int64_t>(m_at);
    m_at = 0;
    m_filled = kept;
    const std::size_t want = std::min<std::int64_t>(
        window_bytes + max_token - kept, m_size - m_base - static_cast<std::int64_t>(kept));
    const std::size_t got =
        m_file.read_at(m_data.get() + kept, want, m_base + static_cast<std::int64_t>(kept));
    m_filled += got;
    // A read that came short (the file shrank, or an error) ends the text there.
    if (got < want) m_size = m_base + static_cast<std::int64_t>(m_filled);
}

bool TextCursor::AtEnd() {
    Ensure(1);
    return available() == 0;
}

bool TextCursor::SkipBlanks() {
    for (;;) {
        Ensure(1);
        if (available() == 0) return false;
        // Walk the window without a refill test per character.
        const char* p = m_data.get() + m_at;
        const char* end = m_data.get() + m_filled;
        while (p < end && is_blank(*p)) {
            if (*p == '\n') {
                ++m_line;
                m_line_start = m_base + (p - m_data.get()) + 1;
            }
            ++p;
        }
        m_at = static_cast<std::size_t>(p - m_data.get());
        if (p < end) return true;
    }
}

void TextCursor::SkipSpaces() {
    for (;;) {
        Ensure(1);
        if (available() == 0) return;
        const char c = m_data[m_at];
        if (c != ' ' && c != '\t' && c != '\r') return;
        ++m_at;
    }
}

std::string_view TextCursor::Word() {
    Ensure(max_token);
    const char* begin = m_data.get() + m_at;
    const char* end = begin + std::min(available(), max_token);
    const char* p = begin;
    while (p < end && !is_blank(*p)) ++p;
    m_at += static_cast<std::size_t>(p - begin);
    return {begin, static_cast<std::size_t>(p - begin)};
}

bool TextCursor::Quoted(std::size_t p_max, std::string_view& p_out) {
    Ensure(std::min(p_max + 2, max_token));
    if (available() == 0 || m_data[m_at] != '\'') return false;
    const char* begin = m_data.get() + m_at + 1;
    const char* end = m_data.get() + m_at + std::min(available(), p_max + 2);
    const char* p = begin;
    while (p < end && *p != '\'' && *p != '\n') ++p;
    if (p == end || *p != '\'') return false;
    p_out = {begin, static_cast<std::size_t>(p - begin)};
    m_at += p_out.size() + 2;
    return true;
}

}  // namespace kelvara::formatted

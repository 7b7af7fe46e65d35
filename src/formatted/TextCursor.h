#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "stream/SharedFile.h"

namespace kelvara::formatted {

// A forward reader over the text of a formatted file: a window of the file in a buffer of its
// own, refilled by positional reads as the reader moves on, so that no file is loaded whole. It
// counts the lines it passes, so that a problem can be told by line as well as by byte.
class TextCursor {
  public:
    // The longest token a caller may ask for at once; the window always holds that much ahead
    // of the cursor unless the file ends first.
    static constexpr std::size_t max_token = 256;

    TextCursor(const stream::SharedFile& p_file, std::int64_t p_position, std::int64_t p_line);

    // Skips blanks and line ends. False when the file ends first.
    bool SkipBlanks();
    // Skips blanks within the line only (not its end).
    void SkipSpaces();
    // True at the end of the file.
    bool AtEnd();
    // The character under the cursor; only valid when AtEnd() is false.
    char Peek() const { return m_data[m_at]; }

    // The run of characters up to the next blank, line end or the end of the file, and moves
    // past it. Longer runs than max_token are cut there (the caller sees a token that is
    // max_token long and refuses it).
    std::string_view Word();
    // A quoted item at the cursor: the text between this quote and the next one on the same
    // line, at most p_max characters. False when there is no closing quote in reach; the cursor
    // then stays where it was.
    bool Quoted(std::size_t p_max, std::string_view& p_out);

    // For tight loops over the values: the unread text in the window, at least p_bytes of it
    // unless the file ends first; Commit moves the cursor to p_at (inside that text), counting
    // p_lines line ends passed, the last of which ended just before p_line_begin.
    std::string_view Window(std::size_t p_bytes) {
        Ensure(p_bytes);
        return {m_data.get() + m_at, available()};
    }
    void Commit(const char* p_at, std::int64_t p_lines, const char* p_line_begin) {
        if (p_lines > 0) {
            m_line += p_lines;
            m_line_start = m_base + (p_line_begin - m_data.get());
        }
        m_at = static_cast<std::size_t>(p_at - m_data.get());
    }

    std::int64_t offset() const { return m_base + static_cast<std::int64_t>(m_at); }
    // 1-based number of the line the cursor stands on, and the byte where that line starts.
    std::int64_t line() const { return m_line; }
    std::int64_t line_start() const { return m_line_start; }
    std::int64_t file_size() const { return m_size; }

  private:
    // Makes at least p_bytes bytes available from the cursor, or all that is left of the file.
    void Ensure(std::size_t p_bytes);
    std::size_t available() const { return m_filled - m_at; }

    const stream::SharedFile& m_file;
    std::unique_ptr<char[]> m_data;
    std::int64_t m_size;
    std::int64_t m_base;  // file offset of m_data[0]
    std::size_t m_at = 0;
    std::size_t m_filled = 0;
    std::int64_t m_line;
    std::int64_t m_line_start;
};

}  // namespace kelvara::formatted

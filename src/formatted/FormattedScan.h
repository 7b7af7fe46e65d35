#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "eclipse/FormatProblem.h"
#include "formatted/TextCursor.h"
#include "stream/SharedFile.h"

namespace kelvara::formatted {

// True when the file's first character that is not blank is a quote: the start of a formatted
// file's first header. An unformatted file starts with a length word, never with a blank or a
// quote.
bool LooksFormatted(const stream::SharedFile& p_file);

// The catalogue of every section of a formatted file, in file order, in the same table as the
// unformatted scan gives: header positions (the byte where a header's line starts), counts, name
// and type ids. Each header must parse and each section must hold exactly the items its count
// says; the values themselves are parsed only when a section is read. The first thing that is
// not so ends the walk with a problem (its message names the line) and the section where it was
// found. The walk goes in steps, so that a caller can show its progress between them.
class FormattedScanner {
  public:
    explicit FormattedScanner(std::shared_ptr<stream::SharedFile> p_file);

    // Walks on over at least p_bytes bytes of the file, or to its end. True when the walk is
    // over: the file ended after a whole section, or a problem was found.
    bool Step(std::int64_t p_bytes);

    bool done() const { return m_done; }
    std::int64_t position() const { return m_cursor.offset(); }
    std::int64_t file_size() const { return m_cursor.file_size(); }
    const eclipse::TFormatProblem& problem() const { return m_problem; }
    const std::string& problem_section() const { return m_problem_section; }
    std::int64_t problem_section_position() const { return m_problem_section_position; }

    std::vector<std::int64_t> positions;
    std::vector<std::int32_t> counts;
    std::vector<std::int32_t> name_ids;
    std::vector<std::int32_t> type_ids;
    std::vector<std::int64_t> lines;  // 1-based line of each header
    std::vector<std::string> names;
    std::vector<std::string> types;

  private:
    bool ScanOne();
    std::int32_t Intern(std::unordered_map<std::string, std::int32_t>& p_index,
                        std::vector<std::string>& p_list, const std::string& p_text);

    std::shared_ptr<stream::SharedFile> m_file;
    TextCursor m_cursor;
    bool m_done = false;
    eclipse::TFormatProblem m_problem;
    std::string m_problem_section;
    std::int64_t m_problem_section_position = -1;
    std::unordered_map<std::string, std::int32_t> m_name_index;
    std::unordered_map<std::string, std::int32_t> m_type_index;
};

}  // namespace kelvara::formatted

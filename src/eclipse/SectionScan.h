#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "eclipse/FormatProblem.h"
#include "stream/FileStream.h"
#include "stream/SharedFile.h"

namespace kelvara::eclipse {

// A checked catalogue of every section of a file, in file order. Unlike the cursor's walk it
// trusts nothing: each header must carry the marker 16 in one byte order at both ends and a known
// type, each count must fit in the rest of the file, and each block must be framed as the
// section's count demands. The first thing that is not so ends the walk with a problem and the
// section where it was found; nothing is written to any stream. The walk goes in steps, so that a
// caller can show its progress between them.
class SectionScanner {
  public:
    explicit SectionScanner(std::shared_ptr<stream::SharedFile> p_file);

    // Walks on over at least p_bytes bytes of the file, or to its end. True when the walk is
    // over: the file ended after a whole section, or a problem was found.
    bool Step(std::int64_t p_bytes);

    bool done() const { return m_done; }
    std::int64_t position() const { return m_position; }
    std::int64_t file_size() const { return m_size; }
    // Where the walk stopped short, and in which section (name and header position); the section
    // position is -1 when the problem lies before any header.
    const TFormatProblem& problem() const { return m_problem; }
    const std::string& problem_section() const { return m_problem_section; }
    std::int64_t problem_section_position() const { return m_problem_section_position; }

    // The catalogue: one entry per section in each of these, in file order. Names (trimmed of
    // blanks) and types are numbered in the order they were first met.
    std::vector<std::int64_t> positions;
    std::vector<std::int32_t> counts;
    std::vector<std::int32_t> name_ids;
    std::vector<std::int32_t> type_ids;
    std::vector<std::uint8_t> swaps;  // 1: big-endian section
    std::vector<std::string> names;
    std::vector<std::string> types;

  private:
    bool ScanOne();
    bool Fail(const char* p_message, std::int64_t p_position);
    std::int32_t Intern(std::unordered_map<std::string, std::int32_t>& p_index,
                        std::vector<std::string>& p_list, std::string p_text);

    std::shared_ptr<stream::SharedFile> m_file;
    stream::FileStream m_stream;
    std::int64_t m_size;
    std::int64_t m_position = 0;
    bool m_done = false;
    TFormatProblem m_problem;
    std::string m_problem_section;
    std::int64_t m_problem_section_position = -1;
    std::unordered_map<std::string, std::int32_t> m_name_index;
    std::unordered_map<std::string, std::int32_t> m_type_index;
};

}  // namespace kelvara::eclipse

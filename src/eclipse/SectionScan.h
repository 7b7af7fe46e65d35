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

// A checked catalogue of every section of a file, in file order, found from the headers. Each
// header must carry the marker 16 in one byte order at both ends and a known type, and each count
// must fit in the rest of the file. A section's end is first guessed from the standard blocks
// (1000 items a block, 105 for text) and the guess is taken when the first block's leading
// length, the last block's trailing length and the leading word of the next header (or the end
// of the file) agree with it; otherwise the section's block frames are walked, and each must be
// framed as the count demands. A header that is not one behind a guessed section makes that
// section walked after all, so that a guess never hides a problem nor invents a section. Frames
// inside a guessed section are checked when the section is read.
//
// An array of more than 2^31 - 1 items comes as a header of type X231 whose count is minus the
// number of whole 2^31 items, right followed by the header of the same name with the rest as its
// count and the true type, and then the blocks of all the items: it is one entry of the
// catalogue, at the X231 header, with the whole count.
//
// The first thing that is not so ends the walk with a problem and the section where it was
// found; nothing is written to any stream. The walk goes in steps, so that a caller can show its
// progress between them.
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
    std::vector<std::int64_t> counts;
    std::vector<std::int32_t> name_ids;
    std::vector<std::int32_t> type_ids;
    std::vector<std::uint8_t> swaps;  // 1: big-endian section
    std::vector<std::string> names;
    std::vector<std::string> types;

    // How many sections were taken by their guess, and how many were walked: for tests and
    // benchmarks that must know which way the scan went.
    std::int64_t guessed() const { return m_guessed; }
    std::int64_t walked() const { return m_walked; }

  private:
    struct THeader;
    bool ScanOne();
    bool ReadHeader(std::int64_t p_start, THeader& p_header);
    bool Guess(const THeader& p_header, std::int64_t p_data, std::int64_t p_count,
               std::int64_t& p_end);
    bool Walk(const THeader& p_header, std::int64_t p_data, std::int64_t p_total,
              std::int64_t& p_end);
    bool RetryByWalk();
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
    // The header position of the last section when it was taken by its guess, else -1.
    std::int64_t m_last_guess = -1;
    // The next section is walked whatever its guess says.
    bool m_walk_next = false;
    std::int64_t m_guessed = 0;
    std::int64_t m_walked = 0;
    std::unordered_map<std::string, std::int32_t> m_name_index;
    std::unordered_map<std::string, std::int32_t> m_type_index;
};

}  // namespace kelvara::eclipse

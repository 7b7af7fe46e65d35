#include "formatted/FormattedScan.h"

#include <utility>

#include "formatted/SectionText.h"

namespace kelvara::formatted {

bool LooksFormatted(const stream::SharedFile& p_file) {
    TextCursor cursor(p_file, 0, 1);
    return cursor.SkipBlanks() && cursor.Peek() == '\'';
}

FormattedScanner::FormattedScanner(std::shared_ptr<stream::SharedFile> p_file)
    : m_file(std::move(p_file)), m_cursor(*m_file, 0, 1) {}

bool FormattedScanner::Step(std::int64_t p_bytes) {
    const std::int64_t until = m_cursor.offset() + p_bytes;
    while (!m_done && m_cursor.offset() < until) {
        if (!ScanOne()) m_done = true;
    }
    return m_done;
}

bool FormattedScanner::ScanOne() {
    if (!m_cursor.SkipBlanks()) return false;
    THeader header;
    TTextProblem problem = ReadHeader(m_cursor, header);
    // A header that failed before its name was read names no section.
    const bool named = !problem || !header.name.empty();
    if (!problem) {
        // The values are only counted here; they are parsed when the section is read.
        problem = WalkItems(m_cursor, header, [](std::string_view, std::size_t) { return true; });
    }
    if (!problem) problem = ExpectSectionEnd(m_cursor, header);
    if (problem) {
        m_problem = {problem.message, problem.position};
        if (named) {
            m_problem_section = header.name;
            m_problem_section_position = header.position;
        }
        return false;
    }
    positions.push_back(header.position);
    counts.push_back(header.count);
    lines.push_back(header.line);
    name_ids.push_back(Intern(m_name_index, names, header.name));
    type_ids.push_back(Intern(m_type_index, types, header.type));
    return true;
}

std::int32_t FormattedScanner::Intern(std::unordered_map<std::string, std::int32_t>& p_index,
                                      std::vector<std::string>& p_list, const std::string& p_text) {
    const auto found = p_index.emplace(p_text, static_cast<std::int32_t>(p_list.size()));
    if (found.second) p_list.push_back(p_text);
    return found.first->second;
}

}  // namespace kelvara::formatted

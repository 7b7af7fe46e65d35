#include "eclipse/SectionScan.h"

#include <cstring>
#include <utility>

#include "eclipse/ItemSize.h"
#include "eclipse/ItemType.h"

namespace kelvara::eclipse {

namespace {

const unsigned char little_marker[4] = {16, 0, 0, 0};
const unsigned char big_marker[4] = {0, 0, 0, 16};

}  // namespace

SectionScanner::SectionScanner(std::shared_ptr<stream::SharedFile> p_file)
    : m_file(std::move(p_file)), m_stream(m_file, 0), m_size(m_file->size()) {}

bool SectionScanner::Fail(const char* p_message, std::int64_t p_position) {
    m_problem.message = p_message;
    m_problem.position = p_position;
    m_done = true;
    return false;
}

std::int32_t SectionScanner::Intern(std::unordered_map<std::string, std::int32_t>& p_index,
                                    std::vector<std::string>& p_list, std::string p_text) {
    auto found = p_index.find(p_text);
    if (found != p_index.end()) return found->second;
    const auto id = static_cast<std::int32_t>(p_list.size());
    p_index.emplace(p_text, id);
    p_list.push_back(std::move(p_text));
    return id;
}

bool SectionScanner::Step(std::int64_t p_bytes) {
    const std::int64_t stop = m_position + p_bytes;
    while (!m_done && m_position < stop) {
        if (!ScanOne()) break;
    }
    m_stream.relax();
    return m_done;
}

bool SectionScanner::ScanOne() {
    const std::int64_t start = m_position;
    m_stream.seek(start);
    unsigned char header[24] = {};
    const std::size_t got = m_stream.read(header, sizeof header);
    if (got == 0) {
        m_done = true;
        if (start == 0) return Fail("the file is empty", 0);
        return false;
    }
    const bool little = std::memcmp(header, little_marker, 4) == 0;
    const bool big = std::memcmp(header, big_marker, 4) == 0;
    if (got < sizeof header || (!little && !big) ||
        std::memcmp(header + 20, little ? little_marker : big_marker, 4) != 0) {
        if (start == 0) {
            return Fail("not an ECLIPSE unformatted file: it does not start with a section header",
                        0);
        }
        if (got < sizeof header) return Fail("the file ends inside a section header", start);
        return Fail("no section header where the previous section ends", start);
    }

    char name[8];
    std::memcpy(name, header + 4, 8);
    std::string trimmed(name, TrimBlanks(name, 8));
    m_problem_section = trimmed;
    m_problem_section_position = start;

    TItemType type;
    if (!ParseItemType(reinterpret_cast<const char*>(header + 16), type)) {
        return Fail("an unknown section type", start + 16);
    }
    std::uint32_t raw_count;
    std::memcpy(&raw_count, header + 12, 4);
    if (big) raw_count = __builtin_bswap32(raw_count);
    std::int32_t count;
    std::memcpy(&count, &raw_count, 4);
    if (count < 0) return Fail("a negative item count", start + 12);

    // Items need their bytes and, when there are any, one frame of 8 bytes at least.
    const std::int64_t total = std::int64_t(count) * type.size;
    const std::int64_t room = m_size - (start + 24);
    if (total > 0 && total + 8 > room) {
        return Fail("an item count that the rest of the file cannot hold", start + 12);
    }

    std::int64_t block = start + 24;
    std::int64_t done = 0;
    while (done < total) {
        std::int32_t length, trailing;
        m_stream.seek(block);
        const bool read = big ? stream::read_word<true>(m_stream, length)
                              : stream::read_word<false>(m_stream, length);
        if (!read) return Fail("the file ends inside the section's data", block);
        if (const char* bad = BadBlockLength(length, type.size, done, total)) {
            return Fail(bad, block);
        }
        m_stream.seek(block + 4 + length);
        const bool read_trailing = big ? stream::read_word<true>(m_stream, trailing)
                                       : stream::read_word<false>(m_stream, trailing);
        if (!read_trailing)
            return Fail("the file ends inside the section's data", block + 4 + length);
        if (trailing != length) {
            return Fail("a data block whose trailing length differs from its leading length",
                        block + 4 + length);
        }
        done += length;
        block += std::int64_t(length) + 8;
    }

    positions.push_back(start);
    counts.push_back(count);
    name_ids.push_back(Intern(m_name_index, names, std::move(trimmed)));
    type_ids.push_back(
        Intern(m_type_index, types, std::string(reinterpret_cast<char*>(header + 16), 4)));
    swaps.push_back(big ? 1 : 0);
    m_problem_section.clear();
    m_problem_section_position = -1;
    m_position = block;
    return true;
}

}  // namespace kelvara::eclipse

#include "eclipse/SectionScan.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "eclipse/ItemSize.h"
#include "eclipse/ItemType.h"

namespace kelvara::eclipse {

namespace {

const unsigned char little_marker[4] = {16, 0, 0, 0};
const unsigned char big_marker[4] = {0, 0, 0, 16};

// Items in a standard block: text items come 105 a block, all others 1000.
constexpr std::int64_t text_block_items = 105;
constexpr std::int64_t block_items = 1000;

// Items in the whole 2^31 parts of an X231 array.
constexpr std::int64_t x231_part = std::int64_t(1) << 31;

std::int32_t word_at(const unsigned char* p_bytes, bool p_big) {
    return p_big ? stream::word_of<true>(p_bytes) : stream::word_of<false>(p_bytes);
}

bool is_marker(const unsigned char* p_bytes) {
    return std::memcmp(p_bytes, little_marker, 4) == 0 || std::memcmp(p_bytes, big_marker, 4) == 0;
}

}  // namespace

// One header as read: its bytes and what they say. first_block is the leading length word of the
// first block behind the header (when the file holds it).
struct SectionScanner::THeader {
    unsigned char bytes[24] = {};
    bool big = false;
    TItemType type;
    std::int32_t count = 0;
    std::int32_t first_block = 0;
    bool has_first_block = false;
};

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
        if (!ScanOne() && !RetryByWalk()) break;
    }
    m_stream.relax();
    return m_done;
}

// A problem met right behind a section taken by its guess may come from a wrong guess: that
// section is taken back and walked; the problem stands only if the walk ends where the guess did.
bool SectionScanner::RetryByWalk() {
    if (!m_problem || m_last_guess < 0) return false;
    m_problem = TFormatProblem{};
    m_done = false;
    m_position = m_last_guess;
    m_last_guess = -1;
    m_walk_next = true;
    positions.pop_back();
    counts.pop_back();
    name_ids.pop_back();
    type_ids.pop_back();
    swaps.pop_back();
    --m_guessed;
    return true;
}

bool SectionScanner::ReadHeader(std::int64_t p_start, THeader& p_header) {
    // The header and the first block's leading length come in one read.
    unsigned char raw[28] = {};
    const std::size_t got = m_file->read_at(raw, sizeof raw, p_start);
    std::memcpy(p_header.bytes, raw, 24);
    const bool little = std::memcmp(raw, little_marker, 4) == 0;
    const bool big = std::memcmp(raw, big_marker, 4) == 0;
    if (got < 24 || (!little && !big) ||
        std::memcmp(raw + 20, little ? little_marker : big_marker, 4) != 0) {
        if (p_start == 0) {
            return Fail("not an ECLIPSE unformatted file: it does not start with a section header",
                        0);
        }
        if (got < 24) return Fail("the file ends inside a section header", p_start);
        return Fail("no section header where the previous section ends", p_start);
    }
    p_header.big = big;
    p_header.count = word_at(raw + 12, big);
    p_header.has_first_block = got == sizeof raw;
    if (p_header.has_first_block) p_header.first_block = word_at(raw + 24, big);
    return true;
}

bool SectionScanner::ScanOne() {
    const std::int64_t start = m_position;
    if (start >= m_size) {
        m_done = true;
        if (start == 0) return Fail("the file is empty", 0);
        return false;
    }
    THeader header;
    if (!ReadHeader(start, header)) return false;

    char name[8];
    std::memcpy(name, header.bytes + 4, 8);
    std::string trimmed(name, TrimBlanks(name, 8));
    m_problem_section = trimmed;
    m_problem_section_position = start;

    std::int64_t data = start + 24;
    std::int64_t count = header.count;
    if (std::memcmp(header.bytes + 16, "X231", 4) == 0) {
        if (header.count >= 0) return Fail("an X231 header without a negative count", start + 12);
        const std::int64_t wholes = -std::int64_t(header.count);
        THeader rest;
        if (!ReadHeader(data, rest) || std::memcmp(rest.bytes + 4, header.bytes + 4, 8) != 0 ||
            rest.big != header.big || std::memcmp(rest.bytes + 16, "X231", 4) == 0) {
            return Fail("an X231 header that no header of the same name follows", data);
        }
        if (rest.count < 0) return Fail("a negative item count", data + 12);
        std::memcpy(header.bytes + 16, rest.bytes + 16, 4);
        header.first_block = rest.first_block;
        header.has_first_block = rest.has_first_block;
        count = wholes * x231_part + rest.count;
        data += 24;
    }

    if (!ParseItemType(reinterpret_cast<const char*>(header.bytes + 16), header.type)) {
        return Fail("an unknown section type", data - 8);
    }
    if (count < 0) return Fail("a negative item count", start + 12);

    // Items need their bytes and, when there are any, one frame of 8 bytes at least.
    const std::int64_t total = count * header.type.size;
    const std::int64_t room = m_size - data;
    if (total > 0 && total + 8 > room) {
        return Fail("an item count that the rest of the file cannot hold", data - 12);
    }

    std::int64_t end = data;
    m_last_guess = -1;
    if (total > 0 && !m_walk_next && Guess(header, data, count, end)) {
        m_last_guess = start;
        ++m_guessed;
    } else if (total > 0) {
        ++m_walked;
        if (!Walk(header, data, total, end)) return false;
    }
    m_walk_next = false;

    positions.push_back(start);
    counts.push_back(count);
    name_ids.push_back(Intern(m_name_index, names, std::move(trimmed)));
    type_ids.push_back(
        Intern(m_type_index, types, std::string(reinterpret_cast<char*>(header.bytes + 16), 4)));
    swaps.push_back(header.big ? 1 : 0);
    m_problem_section.clear();
    m_problem_section_position = -1;
    m_position = end;
    return true;
}

bool SectionScanner::Guess(const THeader& p_header, std::int64_t p_data, std::int64_t p_count,
                           std::int64_t& p_end) {
    const std::int64_t per_block =
        p_header.type.kind == ItemClass::Char ? text_block_items : block_items;
    const std::int64_t blocks = (p_count + per_block - 1) / per_block;
    const std::int64_t first_bytes = std::min(p_count, per_block) * p_header.type.size;
    const std::int64_t last_bytes = (p_count - (blocks - 1) * per_block) * p_header.type.size;
    const std::int64_t end = p_data + p_count * p_header.type.size + 8 * blocks;
    if (end > m_size || !p_header.has_first_block || p_header.first_block != first_bytes) {
        return false;
    }
    // The last trailing length and, unless the file ends there, the next header's leading word.
    unsigned char raw[8];
    const std::size_t want = end == m_size ? 4 : 8;
    if (m_file->read_at(raw, want, end - 4) != want) return false;
    if (word_at(raw, p_header.big) != last_bytes) return false;
    if (want == 8 && !is_marker(raw + 4)) return false;
    p_end = end;
    return true;
}

bool SectionScanner::Walk(const THeader& p_header, std::int64_t p_data, std::int64_t p_total,
                          std::int64_t& p_end) {
    std::int64_t block = p_data;
    std::int64_t done = 0;
    while (done < p_total) {
        std::int32_t length, trailing;
        m_stream.seek(block);
        const bool read = p_header.big ? stream::read_word<true>(m_stream, length)
                                       : stream::read_word<false>(m_stream, length);
        if (!read) return Fail("the file ends inside the section's data", block);
        if (const char* bad = BadBlockLength(length, p_header.type.size, done, p_total)) {
            return Fail(bad, block);
        }
        m_stream.seek(block + 4 + length);
        const bool read_trailing = p_header.big ? stream::read_word<true>(m_stream, trailing)
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
    p_end = block;
    return true;
}

}  // namespace kelvara::eclipse

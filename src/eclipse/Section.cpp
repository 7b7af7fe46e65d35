#include "eclipse/Section.h"

#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "eclipse/BlockWalk.h"
#include "eclipse/ItemSize.h"

namespace kelvara::eclipse {

namespace {

// The product of item size and count in 32-bit two's complement, as the section's byte total.
std::int32_t byte_total(std::int32_t p_item_size, std::int32_t p_count) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(p_item_size) *
                                     static_cast<std::uint32_t>(p_count));
}

}  // namespace

Section::Section(std::shared_ptr<stream::FileStream> p_stream) : m_stream(std::move(p_stream)) {
    ReadHeader();
}

Section::Section(std::shared_ptr<stream::FileStream> p_stream, std::int64_t p_position)
    : m_stream(std::move(p_stream)) {
    if (p_position >= 0) m_stream->seek(p_position);
    ReadHeader();
}

TSectionData Section::Data() const {
    return TSectionData{m_position, std::string(Name()), Type(), m_count};
}

std::string Section::ShownName() const {
    std::string name;
    for (char c : Name()) name += c == '\0' ? std::string("\\0") : std::string(1, c);
    return name;
}

std::string Section::Type() const {
    return m_has_header ? std::string(m_raw_header + 16, 4) : std::string();
}

bool Section::ReadHeader() {
    m_position = m_stream->tell();
    m_loaded = false;
    // No file reaches this close to the largest position: no header can be read there, and
    // the data position could not be counted.
    if (m_position > std::numeric_limits<std::int64_t>::max() - 24) return false;
    m_data_position = m_position + 24;
    // The header is taken straight from the stream's buffer; a short one is passed over as a
    // read would, so that the stream ends at the end of the file.
    std::size_t avail;
    const char* header = m_stream->window(sizeof m_raw_header, avail);
    if (avail < sizeof m_raw_header) {
        m_stream->consume(avail);
        return false;
    }
    std::memcpy(m_raw_header, header, sizeof m_raw_header);
    m_stream->consume(sizeof m_raw_header);
    m_has_header = true;

    const unsigned char* marker = reinterpret_cast<const unsigned char*>(m_raw_header);
    const std::uint32_t leading = std::uint32_t(marker[0]) | std::uint32_t(marker[1]) << 8 |
                                  std::uint32_t(marker[2]) << 16 | std::uint32_t(marker[3]) << 24;
    m_swap = leading != 16;

    std::uint32_t count;
    std::memcpy(&count, m_raw_header + 12, 4);
    if (m_swap) count = __builtin_bswap32(count);
    std::memcpy(m_raw_header + 12, &count, 4);
    std::memcpy(&m_count, &count, 4);

    m_name_length = TrimNameField(m_raw_header + 4);
    m_item_size = ItemSize(m_raw_header + 16);
    return true;
}

bool Section::JumpItems() {
    const std::int32_t total = byte_total(m_item_size, m_count);
    return JumpBlocks(*m_stream, m_swap, total);
}

bool Section::Advance() {
    if (!m_loaded && !JumpItems()) return false;
    return ReadHeader();
}

bool Section::GoTo(std::int64_t p_position) {
    m_position = p_position;
    if (p_position < 0) throw std::runtime_error("Invalid file position!");
    m_stream->seek(p_position);
    return ReadHeader();
}

void Section::CheckListFits(std::int64_t p_items) const {
    // Even a refused type is taken to need one byte per slot, so no count can outgrow the file.
    const std::int64_t item_bytes = m_item_size > 0 ? m_item_size : 1;
    const std::int64_t room = m_stream->file()->size() - m_data_position;
    if (p_items <= 0 || p_items <= room / item_bytes) return;
    throw std::runtime_error("Section \"" + ShownName() + "\" claims " + std::to_string(p_items) +
                             " items, more than the rest of the file can hold");
}

}  // namespace kelvara::eclipse

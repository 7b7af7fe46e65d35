#include "eclipse/Section.h"

#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "eclipse/ItemSize.h"

namespace kelvara::eclipse {

namespace {

// How many blocks ahead a walk asks for a length word before it reads it.
constexpr std::int64_t prefetch_blocks = 16;

// Sections up to this many bytes are passed over through the stream's buffer.
constexpr std::int32_t small_section_bytes = 64 * 1024;

// Passes over the whole blocks of a small section that the buffer holds or can fill, and adds
// their bytes to p_done. The next header follows closely, so reading through keeps the buffer
// on its sequential run, where the mapped view would break it. Stops, leaving the stream on the
// block, at anything the full walk must judge: a negative length or the end of the file.
template <bool Swap>
void pass_small_blocks(stream::FileStream& p_stream, std::int32_t p_total, std::int64_t& p_done) {
    while (p_done < p_total) {
        std::size_t avail;
        const char* lead = p_stream.window(4, avail);
        if (avail < 4) return;
        const std::int32_t length = stream::word_of<Swap>(lead);
        if (length < 0 || length > small_section_bytes) return;
        const std::size_t framed = static_cast<std::size_t>(length) + 8;
        p_stream.window(framed, avail);
        if (avail < framed) return;
        p_stream.consume(framed);
        p_done += length;
    }
}

// Walks on from p_done bytes of the blocks of a section of p_total bytes, one length word to
// the next; Swap reverses each length word. Complains when the blocks do not add up.
template <bool Swap>
[[gnu::noinline]] bool jump_sparse_blocks(stream::FileStream& p_stream, std::int32_t p_total,
                                          std::int64_t p_done) {
    std::int64_t position = p_stream.tell();
    while (p_total >= 1 && p_done < p_total) {
        std::int32_t length, trailing;
        // Only the length words are read: the items in between are never fetched.
        if (!stream::read_sparse_word<Swap>(p_stream, length)) break;
        // A negative length would walk backwards, and possibly for ever: the walk ends there.
        if (length < 0) break;
        // Each length word costs a fetch from memory that the next one waits for. Blocks are
        // mostly of one length, so the word some blocks ahead is asked for now, on the guess
        // that they are of this block's length; a wrong guess costs nothing but the hint.
        p_stream.prefetch_sparse(position + prefetch_blocks * (std::int64_t(length) + 8));
        p_stream.seek(position + length + 4);
        if (!stream::read_sparse_word<Swap>(p_stream, trailing)) break;
        p_done += length;
        position += std::int64_t(length) + 8;
    }
    if (p_done == p_total) return true;
    std::fprintf(stderr, "Error on JumpItems: %lld X %d\n", static_cast<long long>(p_done),
                 p_total);
    return false;
}

// Walks the blocks of a section of p_total bytes: a small section through the buffer, as far
// as that goes, the rest by its length words.
template <bool Swap>
bool jump_blocks(stream::FileStream& p_stream, std::int32_t p_total) {
    std::int64_t done = 0;
    if (p_total >= 1 && p_total <= small_section_bytes) {
        pass_small_blocks<Swap>(p_stream, p_total, done);
        if (done == p_total) return true;
    }
    return jump_sparse_blocks<Swap>(p_stream, p_total, done);
}

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
    return stream::with_byte_order(m_swap, [&](auto p_swap) {
        return jump_blocks<decltype(p_swap)::value>(*m_stream, total);
    });
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

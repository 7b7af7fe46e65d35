#include "imex/Section.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "builder/ArrayFeeder.h"
#include "imex/ChunkedReads.h"
#include "imex/ItemKinds.h"

namespace kelvara::imex {

namespace {

// Reads straight into the destination through the shared file, then leaves the stream behind
// what arrived: the bulk reads need no pass through the stream's buffer.
struct DirectSource {
    stream::FileStream& m_stream;
    std::size_t read(void* p_out, std::size_t p_size) {
        const std::int64_t position = m_stream.tell();
        const std::size_t got = m_stream.file()->read_at(p_out, p_size, position);
        m_stream.seek(position + static_cast<std::int64_t>(got));
        return got;
    }
};

std::uint32_t word_at(const unsigned char* p_bytes) {
    std::uint32_t word;
    std::memcpy(&word, p_bytes, sizeof word);
    return word;
}

}  // namespace

Section::Section(std::shared_ptr<stream::FileStream> p_stream, std::int64_t p_position,
                 bool p_bare_records)
    : m_stream(std::move(p_stream)),
      m_bare_records(p_bare_records),
      m_start_pos(std::max<std::int64_t>(p_position, 0)) {
    LoadHeader();
}

bool Section::LoadHeader() {
    // A position before the start of the file cannot be set.
    if (m_start_pos < 0) return false;
    m_stream->seek(m_start_pos);
    if (m_bare_records) {
        std::uint32_t size;
        if (m_stream->read(&size, sizeof size) < sizeof size) return false;
        m_swap = true;
        m_frame = FRAME_BARE;
        m_data_size = __builtin_bswap32(size);
        m_data_pos = m_stream->tell();
        m_end_pos = m_start_pos + m_data_size + 4;
        return true;
    }
    unsigned char header[12];
    if (m_stream->read(header, sizeof header) < sizeof header) return false;
    if (IsMarker(header)) {
        m_frame = FRAME_MARKED;
        m_data_size = word_at(header + 4);
        m_swap = false;
    } else if (IsMarker(header + 4)) {
        m_frame = FRAME_RECORD;
        m_data_size = word_at(header + 8);
        m_swap = word_at(header) != m_data_size + 8u;
    }
    // With neither marker the frame, swap and size of the block before stay, and so does the
    // reversal below: a retained size is reversed once more when swap is set.
    m_data_pos = m_start_pos + HeaderSize(m_frame);
    if (m_swap) m_data_size = __builtin_bswap32(m_data_size);
    m_end_pos = m_start_pos + m_data_size + HeaderSize(m_frame) + TrailerSize(m_frame);
    return true;
}

bool Section::Advance() {
    m_start_pos = m_end_pos;
    return LoadHeader();
}

bool Section::GoTo(std::int64_t p_position) {
    m_start_pos = p_position;
    return LoadHeader();
}

std::uint32_t Section::ItemsCount(char p_type) const {
    switch (p_type) {
        case 'd':
            return m_data_size / 8;
        case 'i':
            return m_data_size / 4;
        default:
            std::fputs("Unknown section type:", stderr);
            std::fputc(p_type, stderr);
            std::fputc('\n', stderr);
            return m_data_size / 0xFFFFFFFFu;
    }
}

std::int32_t Section::Size() const {
    return static_cast<std::int32_t>(m_data_size + HeaderSize(m_frame) + TrailerSize(m_frame));
}

void Section::CheckFits(std::int64_t p_from, std::int64_t p_count, std::int64_t p_width) const {
    if (p_count <= 0 || p_from < 0) return;
    const std::int64_t room = m_stream->file()->size() - p_from;
    if (p_count <= room / p_width) return;
    throw std::runtime_error("IMEX block at " + std::to_string(m_start_pos) + " claims " +
                             std::to_string(p_count) +
                             " items, more than the rest of the file can hold");
}

template <class Kind>
bool Section::BeginRange(std::int64_t p_first, std::int64_t& p_count) {
    if (p_count == -1) p_count = m_data_size >> Kind::shift;
    const std::int64_t from = m_data_pos + p_first * static_cast<std::int64_t>(Kind::width);
    const std::int64_t to = from + p_count * static_cast<std::int64_t>(Kind::width);
    if (to > m_end_pos) return false;
    if (from < 0) return false;
    m_stream->seek(from);
    return true;
}

template <class Kind>
bool Section::FeedRange(ostrel::builder::ArrayFeeder& p_feeder, std::int64_t p_first,
                        std::int64_t p_count) {
    if (!BeginRange<Kind>(p_first, p_count)) return false;
    if (p_count < 1) return true;
    return stream::with_byte_order(m_swap, [&](auto p_swap) {
        return feed_in_chunks<Kind, decltype(p_swap)::value>(
            *m_stream, p_count, [&](typename Kind::value_type p_value) {
                p_feeder.InsertNextValue(static_cast<double>(p_value));
            });
    });
}

template <class Kind>
bool Section::ReadRange(typename Kind::value_type* p_buffer, std::int64_t p_first,
                        std::int64_t p_count, std::int64_t* p_arrived) {
    if (p_arrived) *p_arrived = 0;
    if (!BeginRange<Kind>(p_first, p_count)) return false;
    if (p_count < 1) return true;
    DirectSource source{*m_stream};
    const std::int64_t arrived = read_in_calls<Kind>(source, p_buffer, p_count);
    if (p_arrived) *p_arrived = arrived;
    return arrived == p_count * static_cast<std::int64_t>(Kind::width);
}

template <class Kind>
bool Section::LoadVector(std::vector<typename Kind::value_type>& p_vector, std::int64_t p_first,
                         std::int64_t p_count) {
    if (p_count == -1) p_count = m_data_size >> Kind::shift;
    CheckFits(m_data_pos + p_first * static_cast<std::int64_t>(Kind::width), p_count, Kind::width);
    p_vector.resize(static_cast<std::size_t>(std::max<std::int64_t>(p_count, 0)));
    if (!ReadRange<Kind>(p_vector.data(), p_first, p_count, nullptr)) return false;
    if (m_swap) Kind::swap_in_place(p_vector.data(), p_vector.size());
    return true;
}

template <class Kind>
void Section::LoadWholeOf(typename Kind::value_type* p_out) {
    const std::int64_t count = m_data_size >> Kind::shift;
    CheckFits(m_data_pos, count, Kind::width);
    std::int64_t arrived;
    if (ReadRange<Kind>(p_out, 0, count, &arrived)) {
        if (m_swap) Kind::swap_in_place(p_out, static_cast<std::size_t>(count));
        return;
    }
    auto* bytes = reinterpret_cast<char*>(p_out);
    std::memset(bytes + arrived, 0,
                static_cast<std::size_t>(count * static_cast<std::int64_t>(Kind::width) - arrived));
}

bool Section::FeedIntRange(ostrel::builder::ArrayFeeder& p_feeder, std::int32_t p_first,
                           std::int32_t p_count) {
    return FeedRange<IntItem>(p_feeder, p_first, p_count);
}

bool Section::FeedDoubleRange(ostrel::builder::ArrayFeeder& p_feeder, std::int32_t p_first,
                              std::int32_t p_count) {
    return FeedRange<DoubleItem>(p_feeder, p_first, p_count);
}

bool Section::ReadIntRange(std::int32_t* p_buffer, std::int32_t p_first, std::int32_t p_count) {
    return ReadRange<IntItem>(p_buffer, p_first, p_count, nullptr);
}

bool Section::ReadDoubleRange(double* p_buffer, std::int32_t p_first, std::int32_t p_count) {
    return ReadRange<DoubleItem>(p_buffer, p_first, p_count, nullptr);
}

bool Section::LoadIntVector(std::vector<std::int32_t>& p_vector, std::int32_t p_first,
                            std::int32_t p_count) {
    return LoadVector<IntItem>(p_vector, p_first, p_count);
}

bool Section::LoadDoubleVector(std::vector<double>& p_vector, std::int32_t p_first,
                               std::int32_t p_count) {
    return LoadVector<DoubleItem>(p_vector, p_first, p_count);
}

bool Section::ReadWholeIntSection(std::vector<std::int32_t>& p_vector) {
    if (m_data_pos < 0) return false;
    m_stream->seek(m_data_pos);
    return LoadIntVector(p_vector, 0, -1);
}

void Section::LoadWhole(std::int32_t* p_out) { LoadWholeOf<IntItem>(p_out); }

void Section::LoadWhole(double* p_out) { LoadWholeOf<DoubleItem>(p_out); }

}  // namespace kelvara::imex

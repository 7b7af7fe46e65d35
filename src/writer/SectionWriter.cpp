#include "writer/SectionWriter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kelvara::writer {

namespace {

using eclipse::ItemClass;

void put_be32(char* p_out, std::uint32_t p_word) {
    p_word = __builtin_bswap32(p_word);
    std::memcpy(p_out, &p_word, 4);
}

// Items a block holds: 105 for text, 1000 for every other type.
std::int64_t block_items(eclipse::TItemType p_kind) {
    return p_kind.kind == ItemClass::Char ? 105 : 1000;
}

// A text item as the file holds it: p_size characters, with what the memory pads by NUL (or
// lacks) filled with blanks.
void put_text(char* p_out, const char* p_item, std::int32_t p_chars, std::int32_t p_size) {
    const std::int32_t n = std::min(p_chars, p_size);
    std::int32_t i = 0;
    for (; i < n && p_item[i] != '\0'; ++i) p_out[i] = p_item[i];
    for (; i < p_size; ++i) p_out[i] = ' ';
}

std::uint32_t swapped(std::uint32_t p_word) { return __builtin_bswap32(p_word); }
std::uint64_t swapped(std::uint64_t p_word) { return __builtin_bswap64(p_word); }

// Words p_first .. p_first + p_n of p_data, byte order reversed, at p_out.
template <class Word>
void put_swapped(char* p_out, const void* p_data, std::int64_t p_first, std::int64_t p_n) {
    const Word* in = static_cast<const Word*>(p_data) + p_first;
    for (std::int64_t i = 0; i < p_n; ++i) {
        const Word word = swapped(in[i]);
        std::memcpy(p_out + sizeof(Word) * i, &word, sizeof(Word));
    }
}

// Big-endian items p_first .. p_first + p_n of p_items at p_out.
void encode(char* p_out, eclipse::TItemType p_kind, const TItems& p_items, std::int64_t p_first,
            std::int64_t p_n) {
    switch (p_kind.kind) {
        case ItemClass::Inte:
        case ItemClass::Real:
            put_swapped<std::uint32_t>(p_out, p_items.data, p_first, p_n);
            break;
        case ItemClass::Doub:
            put_swapped<std::uint64_t>(p_out, p_items.data, p_first, p_n);
            break;
        case ItemClass::Logi: {
            // True is written as all bits set, as simulators write it.
            const auto* in = static_cast<const unsigned char*>(p_items.data) + p_first;
            for (std::int64_t i = 0; i < p_n; ++i) {
                const std::uint32_t word = in[i] != 0 ? 0xFFFFFFFFu : 0u;
                std::memcpy(p_out + 4 * i, &word, 4);
            }
            break;
        }
        case ItemClass::Char: {
            const char* in = static_cast<const char*>(p_items.data) + p_first * p_items.chars;
            for (std::int64_t i = 0; i < p_n; ++i) {
                put_text(p_out + i * p_kind.size, in + i * p_items.chars, p_items.chars,
                         p_kind.size);
            }
            break;
        }
        case ItemClass::Mess:
            break;
    }
}

// p_value as 0.ddd...E+xx with p_digits significant digits and p_letter before the exponent;
// an exponent of three digits is written without the letter (0.1-100), as simulators do.
std::size_t scientific(char* p_out, double p_value, int p_digits, char p_letter) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*e", p_digits - 1, p_value);
    const char* at = text;
    char* out = p_out;
    if (*at == '-') *out++ = *at++;
    *out++ = '0';
    *out++ = '.';
    *out++ = *at++;
    if (*at == '.') ++at;
    while (*at != 'e') *out++ = *at++;
    int exponent = std::atoi(at + 1);
    if (p_value != 0) exponent += 1;
    const int magnitude = std::abs(exponent);
    if (magnitude <= 99) *out++ = p_letter;
    *out++ = exponent < 0 ? '-' : '+';
    if (magnitude > 99) *out++ = static_cast<char>('0' + magnitude / 100);
    *out++ = static_cast<char>('0' + magnitude / 10 % 10);
    *out++ = static_cast<char>('0' + magnitude % 10);
    return static_cast<std::size_t>(out - p_out);
}

// The text form of one type: how many items a line holds and how each is written, right
// aligned in its width.
struct TextLayout {
    int per_line;
    int width;
};

TextLayout text_layout(eclipse::TItemType p_kind) {
    switch (p_kind.kind) {
        case ItemClass::Inte:
            return {6, 12};
        case ItemClass::Real:
            return {4, 17};
        case ItemClass::Doub:
            return {3, 26};
        case ItemClass::Logi:
            return {25, 3};
        case ItemClass::Char:
            return {std::max(1, 80 / (p_kind.size + 3)), p_kind.size + 3};
        case ItemClass::Mess:
            break;
    }
    return {1, 1};
}

// Item p_index written at p_out, right aligned in p_width; returns the bytes written.
std::size_t format_item(char* p_out, eclipse::TItemType p_kind, const TItems& p_items,
                        std::int64_t p_index, int p_width) {
    char text[128];
    std::size_t n = 0;
    switch (p_kind.kind) {
        case ItemClass::Inte:
            n = static_cast<std::size_t>(std::snprintf(
                text, sizeof text, "%d", static_cast<const std::int32_t*>(p_items.data)[p_index]));
            break;
        case ItemClass::Real:
            n = scientific(text, static_cast<const float*>(p_items.data)[p_index], 9, 'E');
            break;
        case ItemClass::Doub:
            n = scientific(text, static_cast<const double*>(p_items.data)[p_index], 17, 'D');
            break;
        case ItemClass::Logi:
            text[0] = static_cast<const unsigned char*>(p_items.data)[p_index] != 0 ? 'T' : 'F';
            n = 1;
            break;
        case ItemClass::Char:
            text[0] = '\'';
            put_text(text + 1, static_cast<const char*>(p_items.data) + p_index * p_items.chars,
                     p_items.chars, p_kind.size);
            text[p_kind.size + 1] = '\'';
            n = static_cast<std::size_t>(p_kind.size) + 2;
            break;
        case ItemClass::Mess:
            break;
    }
    const std::size_t pad = n < static_cast<std::size_t>(p_width) ? p_width - n : 0;
    std::memset(p_out, ' ', pad);
    std::memcpy(p_out + pad, text, n);
    return pad + n;
}

}  // namespace

SectionWriter::SectionWriter(ByteSink& p_sink) : m_sink(p_sink), m_buffer(buffer_bytes) {}

char* SectionWriter::room(std::size_t p_size) {
    if (m_buffer.size() - m_fill < p_size) flush();
    if (m_buffer.size() < p_size) m_buffer.resize(p_size);
    return m_buffer.data() + m_fill;
}

void SectionWriter::put(const char* p_data, std::size_t p_size) {
    std::memcpy(room(p_size), p_data, p_size);
    m_fill += p_size;
}

void SectionWriter::flush() {
    if (m_fill == 0) return;
    m_sink.put(m_buffer.data(), m_fill);
    m_fill = 0;
}

void SectionWriter::write(const std::string& p_name, const char* p_type, const TItems& p_items,
                          bool p_formatted) {
    eclipse::TItemType kind;
    eclipse::ParseItemType(p_type, kind);
    if (p_formatted) {
        formatted(p_name, p_type, kind, p_items);
    } else {
        unformatted(p_name, p_type, kind, p_items);
    }
}

void SectionWriter::unformatted(const std::string& p_name, const char* p_type,
                                eclipse::TItemType p_kind, const TItems& p_items) {
    char* header = room(24);
    put_be32(header, 16);
    std::memcpy(header + 4, p_name.data(), 8);
    put_be32(header + 12, static_cast<std::uint32_t>(p_items.count));
    std::memcpy(header + 16, p_type, 4);
    put_be32(header + 20, 16);
    m_fill += 24;
    if (p_kind.kind == ItemClass::Mess) return;
    const std::int64_t per_block = block_items(p_kind);
    for (std::int64_t first = 0; first < p_items.count; first += per_block) {
        const std::int64_t n = std::min(per_block, p_items.count - first);
        const auto bytes = static_cast<std::size_t>(n * p_kind.size);
        char* out = room(bytes + 8);
        put_be32(out, static_cast<std::uint32_t>(bytes));
        encode(out + 4, p_kind, p_items, first, n);
        put_be32(out + 4 + bytes, static_cast<std::uint32_t>(bytes));
        m_fill += bytes + 8;
    }
}

void SectionWriter::formatted(const std::string& p_name, const char* p_type,
                              eclipse::TItemType p_kind, const TItems& p_items) {
    char header[64];
    const int n = std::snprintf(header, sizeof header, " '%.8s'%12lld '%.4s'\n", p_name.c_str(),
                                static_cast<long long>(p_items.count), p_type);
    put(header, static_cast<std::size_t>(n));
    if (p_kind.kind == ItemClass::Mess) return;
    const std::int64_t per_block = block_items(p_kind);
    const TextLayout layout = text_layout(p_kind);
    // The longest line: its items and the line's end.
    const std::size_t line_bytes = static_cast<std::size_t>(layout.per_line) *
                                       static_cast<std::size_t>(std::max(layout.width, 40)) +
                                   1;
    for (std::int64_t first = 0; first < p_items.count; first += per_block) {
        const std::int64_t end = std::min(first + per_block, p_items.count);
        for (std::int64_t line = first; line < end; line += layout.per_line) {
            char* out = room(line_bytes);
            std::size_t used = 0;
            const std::int64_t stop = std::min<std::int64_t>(line + layout.per_line, end);
            for (std::int64_t i = line; i < stop; ++i) {
                used += format_item(out + used, p_kind, p_items, i, layout.width);
            }
            out[used++] = '\n';
            m_fill += used;
        }
    }
}

}  // namespace kelvara::writer

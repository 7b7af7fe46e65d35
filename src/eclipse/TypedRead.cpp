#include "eclipse/TypedRead.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>

#include "eclipse/PayloadReader.h"

namespace kelvara::eclipse {

namespace {

// Numbers are taken in rounds that the cache holds, reversed right after they arrived.
constexpr std::size_t round_bytes = std::size_t(1) << 18;
// Items converted through the small buffer per round.
constexpr std::size_t scratch_items = 8192;

template <std::size_t Size>
void reverse_items(char* p_data, std::size_t p_items) {
    using Word = std::conditional_t<Size == 4, std::uint32_t, std::uint64_t>;
    for (std::size_t i = 0; i < p_items; ++i) {
        Word word;
        std::memcpy(&word, p_data + i * Size, Size);
        if constexpr (Size == 4) {
            word = __builtin_bswap32(word);
        } else {
            word = __builtin_bswap64(word);
        }
        std::memcpy(p_data + i * Size, &word, Size);
    }
}

bool read_numbers(PayloadReader& p_reader, char* p_out, std::int64_t p_total, std::int32_t p_size,
                  bool p_swap) {
    std::int64_t done = 0;
    while (done < p_total) {
        const auto n =
            static_cast<std::size_t>(std::min<std::int64_t>(round_bytes, p_total - done));
        if (!p_reader.fill(p_out + done, n)) return false;
        if (p_swap && p_size == 4) reverse_items<4>(p_out + done, n / 4);
        if (p_swap && p_size == 8) reverse_items<8>(p_out + done, n / 8);
        done += static_cast<std::int64_t>(n);
    }
    return true;
}

// Reads the items through a buffer of scratch_items items and hands each round to p_convert
// (raw bytes, item count, index of the first).
template <class Convert>
bool read_converted(PayloadReader& p_reader, std::int64_t p_count, std::int32_t p_size,
                    Convert&& p_convert) {
    const std::size_t capacity =
        std::min<std::size_t>(scratch_items, static_cast<std::size_t>(p_count));
    std::unique_ptr<char[]> scratch(new char[capacity * p_size]);
    std::size_t done = 0;
    while (done < static_cast<std::size_t>(p_count)) {
        const std::size_t n = std::min(capacity, static_cast<std::size_t>(p_count) - done);
        if (!p_reader.fill(scratch.get(), n * p_size)) return false;
        p_convert(scratch.get(), n, done);
        done += n;
    }
    return true;
}

// A logical word is true when any of its bits is set, whatever the byte order.
void convert_logicals(const char* p_raw, std::size_t p_items, bool* p_out) {
    for (std::size_t i = 0; i < p_items; ++i) {
        std::uint32_t word;
        std::memcpy(&word, p_raw + i * 4, 4);
        p_out[i] = word != 0;
    }
}

// Text items: blanks trimmed on both sides, each byte a code point, zeros behind.
void convert_texts(const char* p_raw, std::size_t p_items, std::size_t p_size,
                   std::uint32_t* p_out) {
    for (std::size_t i = 0; i < p_items; ++i) {
        const auto* item = reinterpret_cast<const unsigned char*>(p_raw + i * p_size);
        std::size_t begin = 0;
        std::size_t end = p_size;
        while (begin < end && item[begin] == ' ') ++begin;
        while (end > begin && item[end - 1] == ' ') --end;
        std::uint32_t* out = p_out + i * p_size;
        for (std::size_t c = begin; c < end; ++c) *out++ = item[c];
        std::fill(out, p_out + (i + 1) * p_size, 0u);
    }
}

}  // namespace

std::int64_t TypedBytes(TItemType p_type, std::int64_t p_count) {
    switch (p_type.kind) {
        case ItemClass::Inte:
        case ItemClass::Real:
        case ItemClass::Doub:
            return p_count * p_type.size;
        case ItemClass::Logi:
            return p_count;
        case ItemClass::Char:
            return p_count * p_type.size * 4;
        case ItemClass::Mess:
            break;
    }
    return 0;
}

TFormatProblem ReadTypedItems(const stream::SharedFile& p_file, std::int64_t p_data_position,
                              bool p_swap, TItemType p_type, std::int64_t p_count, void* p_out) {
    if (p_count <= 0 || p_type.size <= 0) return {};
    const std::int64_t total = p_count * p_type.size;
    PayloadReader reader(p_file, p_data_position, p_swap, total, p_type.size);
    bool ok = false;
    switch (p_type.kind) {
        case ItemClass::Inte:
        case ItemClass::Real:
        case ItemClass::Doub:
            ok = read_numbers(reader, static_cast<char*>(p_out), total, p_type.size, p_swap);
            break;
        case ItemClass::Logi:
            ok = read_converted(reader, p_count, 4,
                                [&](const char* p_raw, std::size_t p_items, std::size_t p_first) {
                                    convert_logicals(p_raw, p_items,
                                                     static_cast<bool*>(p_out) + p_first);
                                });
            break;
        case ItemClass::Char:
            ok = read_converted(reader, p_count, p_type.size,
                                [&](const char* p_raw, std::size_t p_items, std::size_t p_first) {
                                    convert_texts(
                                        p_raw, p_items, p_type.size,
                                        static_cast<std::uint32_t*>(p_out) + p_first * p_type.size);
                                });
            break;
        case ItemClass::Mess:
            return {};
    }
    if (ok) ok = reader.finish();
    return ok ? TFormatProblem{} : reader.problem();
}

TFormatProblem ReadIntRecords(const stream::SharedFile& p_file, const std::int64_t* p_positions,
                              const std::int32_t* p_counts, const bool* p_swaps,
                              std::size_t p_sections, std::int32_t p_width, std::int32_t* p_out,
                              std::size_t& p_failed) {
    for (std::size_t i = 0; i < p_sections; ++i) {
        const std::int32_t items = std::min(std::max(p_counts[i], 0), p_width);
        if (items == 0) continue;
        PayloadReader reader(p_file, p_positions[i] + 24, p_swaps[i], std::int64_t(p_counts[i]) * 4,
                             4);
        char* row = reinterpret_cast<char*>(p_out + i * static_cast<std::size_t>(p_width));
        if (!reader.fill(row, static_cast<std::size_t>(items) * 4)) {
            p_failed = i;
            return reader.problem();
        }
        if (p_swaps[i]) reverse_items<4>(row, static_cast<std::size_t>(items));
    }
    return {};
}

}  // namespace kelvara::eclipse

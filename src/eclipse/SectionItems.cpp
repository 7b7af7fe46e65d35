// Item decoding: the members of Section that turn the current section's items into values for a
// feeder, a host list, bit counters or a cell record.
#include <cstdio>
#include <stdexcept>

#include "builder/ArrayFeeder.h"
#include "core/pattern/Contract.h"
#include "eclipse/ItemConvert.h"
#include "eclipse/ItemKinds.h"
#include "eclipse/ItemLoops.h"
#include "eclipse/ItemSize.h"
#include "eclipse/Section.h"

namespace kelvara::eclipse {

namespace {

using ostrel::builder::ArrayFeeder;

void complain_letter(char p_letter) {
    std::fputs("Invalid Feed section type:", stderr);
    std::fputc(p_letter, stderr);
    std::fputc('\n', stderr);
}

[[noreturn]] void throw_pack_size() {
    throw std::runtime_error("Wrong pack size reading char section items");
}

template <class Kind>
struct FeederSink : SinkBase {
    ArrayFeeder& m_feeder;
    void operator()(typename Kind::value_type p_value) {
        m_feeder.InsertNextValue(Kind::to_double(p_value));
    }
    // Whole runs go into the feeder's free window in one loop without a room test per value.
    static constexpr bool takes_runs = true;
    template <class K, bool Swap>
    void run(const char* p_data, std::size_t p_items) {
        m_feeder.InsertValues(
            p_items, [p_data](double* p_out, std::size_t p_first, std::size_t p_count) {
                convert_items<K, Swap>(p_data + p_first * K::size, p_out, p_count);
            });
    }
};

template <class Kind>
struct MaskedSink : SinkBase {
    const TSectionMask& m_mask;
    ArrayFeeder& m_feeder;
    std::size_t m_index = 0;
    // The mask must have an entry for every item of the run: a shorter mask ends the process.
    void begin_run(std::size_t p_run) {
        OSTREL_CHECK_CONTRACT(m_index + p_run <= m_mask.mask.size(),
                              "section mask index out of range");
    }
    void operator()(typename Kind::value_type p_value) {
        if (static_cast<std::int32_t>(static_cast<signed char>(m_mask.mask[m_index++])) ==
            m_mask.value) {
            m_feeder.InsertNextValue(Kind::to_double(p_value));
        }
    }
};

template <class Kind, int Bit>
struct BitSink : SinkBase {
    ArrayFeeder& m_feeder;
    void operator()(typename Kind::value_type p_value) {
        m_feeder.InsertNextValue((Kind::to_word(p_value) >> Bit) & 1 ? 1.0 : 0.0);
    }
};

template <class Kind>
struct CountSink : SinkBase {
    TBitCounts& m_counts;
    void operator()(typename Kind::value_type p_value) {
        const std::int32_t word = Kind::to_word(p_value);
        m_counts.bit0 += word & 1;
        m_counts.bit1 += (word >> 1) & 1;
    }
};

template <class Kind>
struct RecordSink : SinkBase {
    TCoordsRecord& m_record;
    void operator()(typename Kind::value_type p_value) {
        if (m_record.cursor < TCoordsRecord::capacity) {
            m_record.values[m_record.cursor] = Kind::to_word(p_value);
        }
        ++m_record.cursor;
    }
};

template <class Kind>
struct ListSink : SinkBase {
    TListCursor& m_cursor;
    void operator()(typename Kind::value_type p_value) {
        if constexpr (Kind::integral) {
            m_cursor.put_int(Kind::to_word(p_value));
        } else {
            m_cursor.put_float(Kind::to_double(p_value));
        }
    }
};

// Reads p_items text items of 8 bytes, trimmed, into the list; false at the end of the file.
bool list_texts(stream::FileStream& p_stream, std::int64_t p_items, TListCursor& p_cursor) {
    for (; p_items > 0; --p_items) {
        char text[9];
        if (p_stream.read(text, 8) < 8) return false;
        text[TrimBlanks(text, 8)] = '\0';
        p_cursor.put_text(text);
    }
    return true;
}

// The whole-section loop over text items; a block that holds no whole number of items fails.
template <bool Swap>
void text_loop(stream::FileStream& p_stream, std::int32_t p_count, TListCursor& p_cursor) {
    std::int64_t done = 0;
    while (done < p_count) {
        std::int32_t length, trailing;
        if (!stream::read_word<Swap>(p_stream, length)) return;
        if (length % 8 != 0) throw_pack_size();
        const std::int32_t items = length >> 3;
        if (!list_texts(p_stream, items, p_cursor)) return;
        done += items;
        if (!stream::read_word<Swap>(p_stream, trailing)) return;
    }
}

// The range loop over text items: the first block as for numbers, then whole blocks until the
// count is reached; the list refuses what lies past its end.
template <bool Swap>
void text_range_loop(stream::FileStream& p_stream, std::int64_t p_start, std::int64_t p_count,
                     TListCursor& p_cursor) {
    std::int64_t delivered = range_head<Swap>(
        p_stream, p_start, p_count, 8,
        [&](std::int64_t p_items) { return list_texts(p_stream, p_items, p_cursor); });
    if (delivered < 0) return;
    std::int32_t word;
    while (delivered < p_count) {
        if (!stream::read_word<Swap>(p_stream, word)) return;
        if (word % 8 != 0) throw_pack_size();
        if (!list_texts(p_stream, word >> 3, p_cursor)) return;
        delivered += word >> 3;
        if (!stream::read_word<Swap>(p_stream, word)) return;
    }
}

// Runs p_loop(Kind, Swap, sink) with the sink SinkOf<Kind> made of p_args when the section has
// a numeric kind, and complains otherwise.
template <template <class> class SinkOf, class Loop, class... Args>
void numeric(Section& p_section, Loop&& p_loop, Args&... p_args) {
    const bool known =
        with_numeric_kind(p_section.letter(), p_section.swap(), [&](auto p_kind, auto p_swap) {
            SinkOf<decltype(p_kind)> sink{{}, p_args...};
            p_loop(p_kind, p_swap, sink);
        });
    if (!known) complain_letter(p_section.letter());
}

// The whole-section loop for the sink SinkOf<Kind> made of p_args.
template <template <class> class SinkOf, class... Args>
void whole_numeric(Section& p_section, Args&... p_args) {
    numeric<SinkOf>(
        p_section,
        [&](auto p_kind, auto p_swap, auto& p_sink) {
            whole_loop<decltype(p_kind), decltype(p_swap)::value>(p_section.stream(),
                                                                  p_section.Size(), p_sink);
        },
        p_args...);
}

// The range loop for the sink SinkOf<Kind> made of p_args.
template <template <class> class SinkOf, class... Args>
void range_numeric(Section& p_section, std::int64_t p_start, std::int64_t p_count,
                   std::int32_t p_skip, Args&... p_args) {
    numeric<SinkOf>(
        p_section,
        [&](auto p_kind, auto p_swap, auto& p_sink) {
            range_loop<decltype(p_kind), decltype(p_swap)::value>(p_section.stream(), p_start,
                                                                  p_count, p_skip, p_sink);
        },
        p_args...);
}

template <class Kind>
using Bit0Sink = BitSink<Kind, 0>;
template <class Kind>
using Bit1Sink = BitSink<Kind, 1>;

}  // namespace

void Section::BeginLoad() {
    m_loaded = true;
    m_stream->seek(m_data_position);
}

void Section::FeedAll(ArrayFeeder& p_feeder) {
    BeginLoad();
    whole_numeric<FeederSink>(*this, p_feeder);
}

void Section::FeedBit0(ArrayFeeder& p_feeder) {
    BeginLoad();
    whole_numeric<Bit0Sink>(*this, p_feeder);
}

void Section::FeedBit1(ArrayFeeder& p_feeder) {
    BeginLoad();
    whole_numeric<Bit1Sink>(*this, p_feeder);
}

void Section::CountBits(TBitCounts& p_counts) {
    BeginLoad();
    whole_numeric<CountSink>(*this, p_counts);
}

void Section::ReadToIntRecord(TCoordsRecord& p_record) {
    BeginLoad();
    whole_numeric<RecordSink>(*this, p_record);
}

void Section::FeedMasked(const TSectionMask& p_mask, ArrayFeeder& p_feeder) {
    BeginLoad();
    whole_numeric<MaskedSink>(*this, p_mask, p_feeder);
}

void Section::ListAll(TListCursor& p_cursor) {
    if (letter() == 'C') {
        ListAllAsText(p_cursor);
        return;
    }
    BeginLoad();
    whole_numeric<ListSink>(*this, p_cursor);
}

void Section::ListAllAsText(TListCursor& p_cursor) {
    BeginLoad();
    stream::with_byte_order(m_swap, [&](auto p_swap) {
        text_loop<decltype(p_swap)::value>(*m_stream, m_count, p_cursor);
    });
}

std::int64_t Section::RangeCount(std::int32_t p_start, std::int32_t p_count) const {
    const std::int64_t count = p_count < 0 ? std::int64_t(m_count) - p_start : p_count;
    if (std::int64_t(p_start) + count > m_count) {
        throw std::runtime_error("Requested items exceed section items count");
    }
    return count;
}

void Section::FeedRange(ArrayFeeder& p_feeder, std::int32_t p_start, std::int32_t p_count,
                        std::int32_t p_skip) {
    const std::int64_t count = RangeCount(p_start, p_count);
    BeginLoad();
    range_numeric<FeederSink>(*this, p_start, count, p_skip, p_feeder);
}

void Section::ListRange(TListCursor& p_cursor, std::int32_t p_start, std::int32_t p_count,
                        std::int32_t p_skip) {
    const std::int64_t count = RangeCount(p_start, p_count);
    BeginLoad();
    if (letter() == 'C') {
        stream::with_byte_order(m_swap, [&](auto p_swap) {
            text_range_loop<decltype(p_swap)::value>(*m_stream, p_start, count, p_cursor);
        });
        return;
    }
    range_numeric<ListSink>(*this, p_start, count, p_skip, p_cursor);
}

}  // namespace kelvara::eclipse

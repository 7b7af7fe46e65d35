#pragma once

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "stream/FileStream.h"

namespace kelvara::eclipse {

// The read loops over the blocks of a section. Each is a template over the item kind, the byte
// order and the sink, so every combination is its own loop with the delivery as a direct call.
// A sink takes a decoded value with operator(); it may also check a run of items before they are
// delivered (begin_run). Every loop stops at the end of the file: what arrived stays delivered.

struct SinkBase {
    void begin_run(std::size_t) {}
    // A sink that takes a whole run at once says so, and gives run<Kind, Swap>(data, items).
    static constexpr bool takes_runs = false;
};

// Reads p_items items, delivering each; false when the file ends first.
// Always inlined into its loop: a short block (a cell's corners) would otherwise pay a call for
// each.
template <class Kind, bool Swap, class Sink>
__attribute__((always_inline)) inline bool deliver_items(stream::FileStream& p_stream,
                                                         std::int64_t p_items, Sink& p_sink) {
    while (p_items > 0) {
        std::size_t avail;
        const char* data = p_stream.window(Kind::size, avail);
        const std::size_t run = std::min<std::size_t>(p_items, avail / Kind::size);
        if (run == 0) return false;
        p_sink.begin_run(run);
        if constexpr (Sink::takes_runs) {
            p_sink.template run<Kind, Swap>(data, run);
        } else {
            for (std::size_t i = 0; i < run; ++i) {
                p_sink(Kind::template load<Swap>(data + i * Kind::size));
            }
        }
        p_stream.consume(run * Kind::size);
        p_items -= static_cast<std::int64_t>(run);
    }
    return true;
}

// The whole-section loop: blocks are delivered whole until they have carried p_count items.
// It stops only between blocks and leaves the stream behind the last trailing length.
template <class Kind, bool Swap, class Sink>
void whole_loop(stream::FileStream& p_stream, std::int32_t p_count, Sink& p_sink) {
    std::int64_t done = 0;
    while (done < p_count) {
        std::int32_t length, trailing;
        if (!stream::read_word<Swap>(p_stream, length)) return;
        const std::int32_t items = length >> Kind::shift;
        if (!deliver_items<Kind, Swap>(p_stream, items, p_sink)) return;
        done += items;
        if (!stream::read_word<Swap>(p_stream, trailing)) return;
    }
}

// Leaves the stream on item p_start of the data that begins where the stream stands. Returns how
// many items of the block it stops in are still to come, or -1 when the file ends first. A
// negative p_start lands before the first item, on what precedes it in the file; a position
// before byte 0 of the file is refused.
template <bool Swap>
std::int64_t seek_item(stream::FileStream& p_stream, std::int64_t p_start, std::int32_t p_size) {
    std::int64_t position = p_stream.tell();
    std::int64_t consumed = 0;
    for (;;) {
        std::int32_t length, trailing;
        if (!stream::read_sparse_word<Swap>(p_stream, length)) return -1;
        position += 4;
        const std::int64_t items = length / p_size;
        if (items >= p_start - consumed) {
            position += (p_start - consumed) * p_size;
            if (position < 0) throw std::runtime_error("Requested items start before the file");
            p_stream.seek(position);
            return items - p_start + consumed;
        }
        if (length < 0) return -1;  // a negative length would walk backwards
        consumed += items;
        position += length;
        p_stream.seek(position);
        if (!stream::read_sparse_word<Swap>(p_stream, trailing)) return -1;
        position += 4;
    }
}

// The first block of a range: seeks item p_start, delivers with p_deliver(items) every item of
// its block up to p_count, and reads the block's trailing length when more are wanted. Returns
// the items delivered, or -1 when the file ends first.
template <bool Swap, class Deliver>
std::int64_t range_head(stream::FileStream& p_stream, std::int64_t p_start, std::int64_t p_count,
                        std::int32_t p_size, Deliver&& p_deliver) {
    const std::int64_t avail = seek_item<Swap>(p_stream, p_start, p_size);
    if (avail < 0) return -1;
    const std::int64_t first = std::min<std::int64_t>(avail, p_count);
    if (!p_deliver(first)) return -1;
    std::int32_t trailing;
    if (first < p_count && !stream::read_word<Swap>(p_stream, trailing)) return -1;
    return first;
}

// Delivers every stride-th value to the sink it wraps, by a phase that runs on across blocks,
// kept as a countdown to the next delivered value; counts what it delivered.
template <class Sink>
struct StrideSink : SinkBase {
    Sink& m_sink;
    std::int64_t m_stride;
    std::int64_t m_countdown = 0;
    std::int64_t m_delivered = 0;

    template <class Value>
    void operator()(Value p_value) {
        if (m_countdown == 0) {
            m_sink(p_value);
            ++m_delivered;
            m_countdown = m_stride - 1;
        } else {
            --m_countdown;
        }
    }
    // Items to read so that p_wanted more values are delivered.
    std::int64_t items_for(std::int64_t p_wanted) const {
        return m_countdown + (p_wanted - 1) * m_stride + 1;
    }
};

// The range loop after seek_item: every item to the end of the first block is delivered, the
// stride applies from the second block on. Each block is read up to the last item wanted. A skip
// of 0 has no stride to take beyond the first block and is refused there.
template <class Kind, bool Swap, class Sink>
void range_loop(stream::FileStream& p_stream, std::int64_t p_start, std::int64_t p_count,
                std::int32_t p_skip, Sink& p_sink) {
    const std::int64_t first = range_head<Swap>(
        p_stream, p_start, p_count, Kind::size,
        [&](std::int64_t p_items) { return deliver_items<Kind, Swap>(p_stream, p_items, p_sink); });
    if (first < 0) return;
    if (first < p_count && p_skip == 0) {
        throw std::runtime_error("A skip of 0 cannot stride beyond the first block of the range");
    }
    std::int32_t word;
    StrideSink<Sink> strided{{}, p_sink, p_skip < 0 ? -std::int64_t(p_skip) : p_skip};
    while (first + strided.m_delivered < p_count) {
        if (!stream::read_word<Swap>(p_stream, word)) return;
        const std::int64_t items = word / std::int32_t(Kind::size);
        const std::int64_t wanted = p_count - first - strided.m_delivered;
        if (!deliver_items<Kind, Swap>(p_stream, std::min(items, strided.items_for(wanted)),
                                       strided)) {
            return;
        }
        if (!stream::read_word<Swap>(p_stream, word)) return;
    }
}

}  // namespace kelvara::eclipse

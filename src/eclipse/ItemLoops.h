#pragma once

#include <algorithm>
#include <cstdint>

#include "stream/FileStream.h"

namespace kelvara::eclipse {

// The read loops over the blocks of a section. Each is a template over the item kind, the byte
// order and the sink, so every combination is its own loop with the delivery as a direct call.
// A sink takes a decoded value with operator(); it may also check a run of items before they are
// delivered (begin_run). Every loop stops at the end of the file: what arrived stays delivered.

struct SinkBase {
    void begin_run(std::size_t) {}
};

// Reads p_items items, delivering each; false when the file ends first.
template <class Kind, bool Swap, class Sink>
bool deliver_items(stream::FileStream& p_stream, std::int64_t p_items, Sink& p_sink) {
    while (p_items > 0) {
        std::size_t avail;
        const char* data = p_stream.window(Kind::size, avail);
        const std::size_t run = std::min<std::size_t>(p_items, avail / Kind::size);
        if (run == 0) return false;
        p_sink.begin_run(run);
        for (std::size_t i = 0; i < run; ++i) {
            p_sink(Kind::template load<Swap>(data + i * Kind::size));
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
// many items of the block it stops in are still to come, or -1 when the file ends first.
template <bool Swap>
std::int64_t seek_item(stream::FileStream& p_stream, std::int32_t p_start, std::int32_t p_size) {
    std::int64_t position = p_stream.tell();
    std::int64_t consumed = 0;
    for (;;) {
        std::int32_t length, trailing;
        if (!stream::read_word<Swap>(p_stream, length)) return -1;
        position += 4;
        const std::int64_t items = length / p_size;
        if (items >= p_start - consumed) {
            position += (p_start - consumed) * p_size;
            p_stream.seek(position);
            return items - p_start + consumed;
        }
        if (length < 0) return -1;  // a negative length would walk backwards
        consumed += items;
        position += length;
        p_stream.seek(position);
        if (!stream::read_word<Swap>(p_stream, trailing)) return -1;
        position += 4;
    }
}

// The range loop after seek_item: every item to the end of the first block is delivered, the
// stride applies from the second block on, by a phase that runs on across blocks.
template <class Kind, bool Swap, class Sink>
void range_loop(stream::FileStream& p_stream, std::int32_t p_start, std::int32_t p_count,
                std::int32_t p_skip, Sink& p_sink, void (*p_zero_skip)()) {
    const std::int64_t avail = seek_item<Swap>(p_stream, p_start, Kind::size);
    if (avail < 0) return;
    std::int64_t delivered = std::min<std::int64_t>(avail, p_count);
    if (!deliver_items<Kind, Swap>(p_stream, delivered, p_sink)) return;
    std::int32_t word;
    if (delivered < p_count && !stream::read_word<Swap>(p_stream, word)) return;
    if (delivered < p_count && p_skip == 0) p_zero_skip();
    // The phase modulo the stride, kept as a countdown to the next delivered item.
    const std::int64_t stride = p_skip < 0 ? -std::int64_t(p_skip) : p_skip;
    std::int64_t countdown = 0;
    while (delivered < p_count) {
        if (!stream::read_word<Swap>(p_stream, word)) return;
        std::int64_t items = word / std::int32_t(Kind::size);
        while (items > 0 && delivered < p_count) {
            std::size_t avail_bytes;
            const char* data = p_stream.window(Kind::size, avail_bytes);
            const std::size_t run = std::min<std::size_t>(items, avail_bytes / Kind::size);
            if (run == 0) return;
            std::size_t i = 0;
            for (; i < run && delivered < p_count; ++i) {
                if (countdown == 0) {
                    p_sink(Kind::template load<Swap>(data + i * Kind::size));
                    ++delivered;
                    countdown = stride - 1;
                } else {
                    --countdown;
                }
            }
            p_stream.consume(i * Kind::size);
            items -= static_cast<std::int64_t>(i);
        }
        if (!stream::read_word<Swap>(p_stream, word)) return;
    }
}

}  // namespace kelvara::eclipse

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace kelvara::imex {

// The two read loops behind the ranged reads of a block. Both are templates over the item kind
// and over the source, anything with read(void*, std::size_t) -> std::size_t that reads on from
// where it stands.

// Items per chunk of a feed: one call-local buffer of this many items is refilled and drained.
inline constexpr std::size_t feed_chunk_items = 1024;

// Reads p_count items in chunks of at most feed_chunk_items and gives each, bytes reversed when
// Swap is set, to p_deliver. False when a chunk falls short; the chunks before it stay
// delivered, the items of the short chunk are not.
template <class Kind, bool Swap, class Source, class Deliver>
bool feed_in_chunks(Source& p_source, std::int64_t p_count, Deliver&& p_deliver) {
    typename Kind::value_type buffer[feed_chunk_items];
    while (p_count > 0) {
        const std::size_t n = static_cast<std::size_t>(
            std::min<std::int64_t>(p_count, static_cast<std::int64_t>(feed_chunk_items)));
        if (p_source.read(buffer, n * Kind::width) < n * Kind::width) return false;
        for (std::size_t i = 0; i < n; ++i) p_deliver(Kind::template load<Swap>(buffer + i));
        p_count -= static_cast<std::int64_t>(n);
    }
    return true;
}

// Reads p_count items straight into p_out, at most Kind::max_per_read items a read call.
// Returns the number of bytes that arrived: all of them, or fewer after a short read.
template <class Kind, class Source>
std::int64_t read_in_calls(Source& p_source, typename Kind::value_type* p_out,
                           std::int64_t p_count) {
    auto* out = reinterpret_cast<char*>(p_out);
    std::int64_t done = 0;
    const std::int64_t total = p_count * static_cast<std::int64_t>(Kind::width);
    while (done < total) {
        const auto want = static_cast<std::size_t>(std::min<std::int64_t>(
            total - done, static_cast<std::int64_t>(Kind::max_per_read * Kind::width)));
        const std::size_t got = p_source.read(out + done, want);
        done += static_cast<std::int64_t>(got);
        if (got < want) break;
    }
    return done;
}

}  // namespace kelvara::imex

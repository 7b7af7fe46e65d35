#pragma once

// Ranged reads of a block into any sink: a feeder, an adaptor or a sink of the loader. The loop
// is instantiated once per item kind, byte order and sink, so that each item costs one direct
// call of the sink and no decision is taken per item.
#include <cstdint>

#include "imex/ChunkedReads.h"
#include "imex/ItemKinds.h"
#include "imex/Section.h"

namespace kelvara::imex {

// Feeds the items [p_first, p_first + p_count) of the block under p_section (p_count -1: all),
// each as it stands in the file after byte reversal, to p_sink(value). The range test, the
// result and the chunks are those of Section::FeedIntRange and FeedDoubleRange.
template <class Kind, class Sink>
bool FeedRangeTo(Section& p_section, Sink& p_sink, std::int64_t p_first, std::int64_t p_count) {
    if (!p_section.SeekRange(Kind::width, p_first, p_count)) return false;
    if (p_count < 1) return true;
    return stream::with_byte_order(p_section.SwapBytes(), [&](auto p_swap) {
        return feed_in_chunks<Kind, decltype(p_swap)::value>(
            p_section.stream(), p_count,
            [&p_sink](typename Kind::value_type p_value) { p_sink(p_value); });
    });
}

// The whole payload of the block under p_section into p_sink.
template <class Kind, class Sink>
bool FeedWholeTo(Section& p_section, Sink& p_sink) {
    return FeedRangeTo<Kind>(p_section, p_sink, 0, -1);
}

}  // namespace kelvara::imex

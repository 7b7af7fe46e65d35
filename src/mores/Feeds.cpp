#include "mores/Feeds.h"

#include <stdexcept>

#include "builder/ArrayFeeder.h"
#include "builder/CompleteCornersBuilder.h"
#include "mores/Base64.h"

namespace kelvara::mores {

namespace {

// Runs p_decode with the item type of p_type: a value of std::int32_t for 'i', of double for
// 'd'. Each type makes its own decoding loop.
template <class Decode>
void with_item_type(char p_type, Decode&& p_decode) {
    switch (p_type) {
        case 'i':
            return p_decode(std::int32_t{});
        case 'd':
            return p_decode(double{});
        default:
            throw std::runtime_error("Invalid data type");
    }
}

// Delivers the items whose index lies in [first, last).
struct SliceRule {
    std::int64_t m_first;
    std::int64_t m_last;
    std::int64_t m_index = 0;
    bool take() {
        const bool inside = m_first <= m_index && m_index < m_last;
        ++m_index;
        return inside;
    }
};

// Delivers a run of last - first items out of every stride items: an item at or behind last
// moves the band on by stride first, once per item.
struct CornerBandRule {
    std::int64_t m_first;
    std::int64_t m_last;
    std::int64_t m_stride;
    std::int64_t m_index = 0;
    bool take() {
        if (m_index >= m_last) {
            m_first += m_stride;
            m_last += m_stride;
        }
        const bool inside = m_first <= m_index && m_index < m_last;
        ++m_index;
        return inside;
    }
};

}  // namespace

void FeedArray(stream::FileStream& p_stream, char p_type, std::int64_t p_count,
               ostrel::builder::ArrayFeeder& p_feeder) {
    with_item_type(p_type, [&](auto p_item) {
        using Value = decltype(p_item);
        decode_base64<Value>(p_stream, p_count,
                             [&](Value p_value) { p_feeder.InsertNextValue(p_value); });
    });
}

void SliceFeedArray(stream::FileStream& p_stream, char p_type, std::int64_t p_count,
                    std::int32_t p_first, std::int32_t p_last,
                    ostrel::builder::ArrayFeeder& p_feeder) {
    with_item_type(p_type, [&](auto p_item) {
        using Value = decltype(p_item);
        SliceRule rule{p_first, p_last};
        decode_base64<Value>(p_stream, p_count, [&](Value p_value) {
            if (rule.take()) p_feeder.InsertNextValue(p_value);
        });
    });
}

void FeedCornersArray(stream::FileStream& p_stream, std::int64_t p_count, std::int32_t p_first,
                      std::int32_t p_last, std::int32_t p_stride,
                      ostrel::builder::CompleteCornersBuilder& p_builder) {
    CornerBandRule rule{p_first, p_last, p_stride};
    decode_base64<double>(p_stream, p_count, [&](double p_value) {
        if (rule.take()) p_builder.InsertNextValue(p_value);
    });
}

}  // namespace kelvara::mores

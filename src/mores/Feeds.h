#pragma once

#include <cstdint>

#include "stream/FileStream.h"

namespace ostrel::builder {
class ArrayFeeder;
class CompleteCornersBuilder;
}  // namespace ostrel::builder

namespace kelvara::mores {

// The base-64 feeds of MoReS data, from where the stream stands, taking at most p_count
// characters (nothing when p_count is below 1). p_type is 'i' (int32, fed as double) or 'd'
// (double); any other code throws std::runtime_error "Invalid data type" before anything is
// read. The data ends at the first byte outside the base-64 alphabet or at the end of the file.

// Every item to the feeder.
void FeedArray(stream::FileStream& p_stream, char p_type, std::int64_t p_count,
               ostrel::builder::ArrayFeeder& p_feeder);

// The items whose index lies in [p_first, p_last); the whole stretch is read all the same.
void SliceFeedArray(stream::FileStream& p_stream, char p_type, std::int64_t p_count,
                    std::int32_t p_first, std::int32_t p_last,
                    ostrel::builder::ArrayFeeder& p_feeder);

// Doubles in bands: the items in [first, last), where an item at or behind last first moves
// the band on by p_stride, once per item.
void FeedCornersArray(stream::FileStream& p_stream, std::int64_t p_count, std::int32_t p_first,
                      std::int32_t p_last, std::int32_t p_stride,
                      ostrel::builder::CompleteCornersBuilder& p_builder);

}  // namespace kelvara::mores

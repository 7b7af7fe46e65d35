#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "imex/Frame.h"
#include "stream/FileStream.h"

namespace ostrel::builder {
class ArrayFeeder;
}

namespace kelvara::imex {

// A cursor over one framed block of an IMEX file. It decodes the frame at an absolute position,
// tells whether the file's bytes must be reversed, where the payload starts and where the next
// block starts, and moves the payload's items, typed by the caller ('i' or 'd'), into a feeder
// or into memory. The stream's position is no part of its state: every read sets it first. A
// copy is an independent cursor on the same stream.
class Section {
  public:
    // A negative position starts at 0. The header is read at once; when that fails the cursor
    // is made all the same and the caller learns of it from the fields or a later read.
    Section(std::shared_ptr<stream::FileStream> p_stream, std::int64_t p_position,
            bool p_bare_records);

    // Decodes the frame at start_pos. False when the stream cannot be positioned there or the
    // header is short; the fields then stay as they were. A block with no marker keeps the
    // frame, swap and size of the block before (the size is reversed once more when swap is
    // set).
    bool LoadHeader();
    bool Advance();
    bool GoTo(std::int64_t p_position);

    // Items of the type p_type ('i' or 'd') that the payload holds; a partial trailing item does
    // not count. Any other code complains on standard error and gives data_size / 0xFFFFFFFF.
    std::uint32_t ItemsCount(char p_type) const;
    bool SwapBytes() const { return m_swap; }
    // data_size plus header and trailer, in 32-bit arithmetic.
    std::int32_t Size() const;

    // Ranged reads. p_first is an item index into the payload, p_count a number of items, -1
    // for all that data_size holds. A range that runs past end_pos (not the payload's end: in
    // FRAME_RECORD it may reach into the trailing word), a position before the file's start
    // and a short read give false; what was delivered by then stays delivered. A count below 1
    // reads nothing and gives true.
    //
    // Feeds each item as a double, in chunks of 1024 items.
    bool FeedIntRange(ostrel::builder::ArrayFeeder& p_feeder, std::int32_t p_first,
                      std::int32_t p_count);
    bool FeedDoubleRange(ostrel::builder::ArrayFeeder& p_feeder, std::int32_t p_first,
                         std::int32_t p_count);
    // Reads the file's bytes as they stand into p_buffer, which has room for the items, at most
    // 0x3DFFF (ints) or 0x1EFFF (doubles) items a read call.
    bool ReadIntRange(std::int32_t* p_buffer, std::int32_t p_first, std::int32_t p_count);
    bool ReadDoubleRange(double* p_buffer, std::int32_t p_first, std::int32_t p_count);
    // Resizes the vector to the count (new elements 0), reads, and reverses the items when swap
    // is set; after a failed read the items stay as read. A count that the rest of the file
    // could not fill throws std::runtime_error before the vector is touched; a negative count
    // other than -1 leaves it empty.
    bool LoadIntVector(std::vector<std::int32_t>& p_vector, std::int32_t p_first,
                       std::int32_t p_count);
    bool LoadDoubleVector(std::vector<double>& p_vector, std::int32_t p_first,
                          std::int32_t p_count);
    bool ReadWholeIntSection(std::vector<std::int32_t>& p_vector);

    // The whole payload into p_out, which has room for ItemsCount items of the type: in host
    // order after a complete read; after a failed one the bytes that arrived, as they stand,
    // and zeros behind them. Throws std::runtime_error, writing nothing, when the rest of the
    // file could not fill the payload.
    void LoadWhole(std::int32_t* p_out);
    void LoadWhole(double* p_out);
    // Throws std::runtime_error when p_count items of p_width bytes from p_from on run past the
    // end of the file.
    void CheckFits(std::int64_t p_from, std::int64_t p_count, std::int64_t p_width) const;

    std::int64_t start_pos() const { return m_start_pos; }
    std::int64_t data_pos() const { return m_data_pos; }
    std::int64_t end_pos() const { return m_end_pos; }
    std::uint32_t data_size() const { return m_data_size; }
    std::int32_t frame() const { return m_frame; }
    bool bare_records() const { return m_bare_records; }
    stream::FileStream& stream() { return *m_stream; }

  private:
    template <class Kind>
    bool BeginRange(std::int64_t p_first, std::int64_t& p_count);
    template <class Kind>
    bool FeedRange(ostrel::builder::ArrayFeeder& p_feeder, std::int64_t p_first,
                   std::int64_t p_count);
    template <class Kind>
    bool ReadRange(typename Kind::value_type* p_buffer, std::int64_t p_first, std::int64_t p_count,
                   std::int64_t* p_arrived);
    template <class Kind>
    bool LoadVector(std::vector<typename Kind::value_type>& p_vector, std::int64_t p_first,
                    std::int64_t p_count);
    template <class Kind>
    void LoadWholeOf(typename Kind::value_type* p_out);

    std::shared_ptr<stream::FileStream> m_stream;
    bool m_swap = false;
    bool m_bare_records;
    std::int32_t m_frame = FRAME_BARE;
    std::int64_t m_start_pos;
    std::int64_t m_data_pos = 0;
    std::int64_t m_end_pos = 0;
    std::uint32_t m_data_size = 0;
};

}  // namespace kelvara::imex

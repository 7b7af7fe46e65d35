#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "eclipse/ItemRecords.h"
#include "eclipse/TSectionData.h"
#include "stream/FileStream.h"

namespace ostrel::builder {
class ArrayFeeder;
}

namespace kelvara::eclipse {

// A forward cursor over the sections of an ECLIPSE unformatted file. A section is a 24-byte
// header (marker 16, 8-character name, item count, 4-character type, marker) followed by its
// items in length-framed blocks. The byte order is decided anew at every header.
class Section {
  public:
    // Reads the header at the stream's present position.
    explicit Section(std::shared_ptr<stream::FileStream> p_stream);
    // Seeks to p_position first when it is 0 or more; a negative position reads where the
    // stream stands.
    Section(std::shared_ptr<stream::FileStream> p_stream, std::int64_t p_position);

    // Header and navigation.
    // The trimmed name, inside the header bytes: valid until the cursor reads another header.
    std::string_view Name() const { return std::string_view(m_raw_header + 4, m_name_length); }
    // The name for a message: a NUL inside it, which would end the text early, shown as \0.
    std::string ShownName() const;
    TSectionData Data() const;
    std::int32_t Size() const { return m_count; }
    // The item count as well: the product with the item size is left to the caller.
    std::int32_t SizeInBytes() const { return m_count; }
    std::string Type() const;
    bool GoTo(std::int64_t p_position);
    bool Advance();
    std::int64_t Position() const { return m_position; }

    bool ReadHeader();
    // Walks over the blocks from where the stream stands; true when they carried exactly the
    // section's bytes. The stream then stands at the next header.
    bool JumpItems();

    // Item operations. Each seeks to the data itself and sets the loaded state.
    void FeedAll(ostrel::builder::ArrayFeeder& p_feeder);
    void FeedRange(ostrel::builder::ArrayFeeder& p_feeder, std::int32_t p_start,
                   std::int32_t p_count, std::int32_t p_skip);
    void FeedMasked(const TSectionMask& p_mask, ostrel::builder::ArrayFeeder& p_feeder);
    void ListAll(TListCursor& p_cursor);
    // Every item as 8-byte text, whatever the type says (the grid scans' names).
    void ListAllAsText(TListCursor& p_cursor);
    void ListRange(TListCursor& p_cursor, std::int32_t p_start, std::int32_t p_count,
                   std::int32_t p_skip);
    void FeedBit0(ostrel::builder::ArrayFeeder& p_feeder);
    void FeedBit1(ostrel::builder::ArrayFeeder& p_feeder);
    void CountBits(TBitCounts& p_counts);
    void ReadToIntRecord(TCoordsRecord& p_record);

    // The number of items a range of p_count items from item p_start on delivers (a negative
    // p_count: the rest of the section). Throws "Requested items exceed section items count"
    // when the range reaches past the section's last item; the stream does not move. A negative
    // p_start is no error here: the range then begins with what precedes the data.
    std::int64_t RangeCount(std::int32_t p_start, std::int32_t p_count) const;
    // Refuses, before anything is allocated, a list of p_items items of this section that the
    // rest of the file could not fill.
    void CheckListFits(std::int64_t p_items) const;

    bool swap() const { return m_swap; }
    bool loaded() const { return m_loaded; }
    std::int64_t data_position() const { return m_data_position; }
    std::int32_t item_size() const { return m_item_size; }
    char letter() const { return m_raw_header[16]; }
    stream::FileStream& stream() { return *m_stream; }

  private:
    // Common head of every item operation: mark the section loaded and go to its data.
    void BeginLoad();

    std::shared_ptr<stream::FileStream> m_stream;
    bool m_swap = false;
    bool m_has_header = false;
    std::int64_t m_position = 0;
    std::int64_t m_data_position = 24;
    char m_raw_header[24] = {};
    bool m_loaded = false;
    std::size_t m_name_length = 0;  // the trimmed name lies at m_raw_header + 4
    std::int32_t m_item_size = 0;
    std::int32_t m_count = 0;
};

}  // namespace kelvara::eclipse

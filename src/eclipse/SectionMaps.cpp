#include "eclipse/SectionMaps.h"

#include <stdexcept>
#include <string_view>

#include "builder/ArrayFeeder.h"
#include "eclipse/Section.h"

namespace kelvara::eclipse {

using ostrel::builder::ArrayFeeder;

std::vector<TSectionData> ListFileSections(const std::shared_ptr<stream::FileStream>& p_stream) {
    std::vector<TSectionData> sections;
    Section cursor(p_stream, 0);
    for (;;) {
        sections.push_back(cursor.Data());
        if (!cursor.Advance()) break;
    }
    return sections;
}

namespace {

// One walk: p_process handles a section named p_name and returns nothing. The walk stops at the
// p_count-th match, or at the end of the sections, and then demands an exact count.
template <class Process>
void walk_sequence(Section& p_cursor, const char* p_name, std::int32_t p_count,
                   Process&& p_process) {
    const std::string_view name(p_name);
    std::int32_t matched = 0;
    for (;;) {
        if (p_cursor.Name() == name) {
            p_process(p_cursor);
            ++matched;
            if (matched >= p_count) break;
        }
        if (!p_cursor.Advance()) break;
    }
    if (matched != p_count) throw std::runtime_error("Number of section error");
}

// A COORDS walk: each matched section yields one value from its record. The record is zeroed
// once for the walk, and item 4, the activity word, is 1 unless the section holds it.
template <class Yield>
void walk_coords(Section& p_cursor, std::int32_t p_count, ArrayFeeder& p_feeder, Yield p_yield) {
    TCoordsRecord record;
    walk_sequence(p_cursor, "COORDS", p_count, [&](Section& p_section) {
        record.values[4] = 1;
        record.cursor = 0;
        p_section.ReadToIntRecord(record);
        p_feeder.InsertNextValue(p_yield(record));
    });
}

}  // namespace

void ReadCornersSequence(const std::shared_ptr<stream::FileStream>& p_stream, std::int32_t p_count,
                         std::int64_t p_position, ArrayFeeder& p_feeder) {
    Section cursor(p_stream, p_position);
    walk_sequence(cursor, "CORNERS", p_count,
                  [&](Section& p_section) { p_section.FeedAll(p_feeder); });
}

void ReadActnumSequence(const std::shared_ptr<stream::FileStream>& p_stream, std::int32_t p_count,
                        std::int64_t p_position, ArrayFeeder& p_feeder) {
    Section cursor(p_stream, p_position);
    walk_coords(cursor, p_count, p_feeder,
                [](const TCoordsRecord& p_record) { return double(p_record.values[4]); });
}

void ReadHostnumSequence(const std::shared_ptr<stream::FileStream>& p_stream, std::int32_t p_count,
                         std::int64_t p_position, ArrayFeeder& p_feeder) {
    Section cursor(p_stream, p_position);
    // Only the first COORDS is asked whether it carries a host number (7 items).
    for (;;) {
        if (cursor.Name() == "COORDS") {
            if (cursor.Size() != 7) {
                throw std::runtime_error("The file COORDS sequence has no Hostnum data!");
            }
            break;
        }
        if (!cursor.Advance()) break;
    }
    walk_coords(cursor, p_count, p_feeder,
                [](const TCoordsRecord& p_record) { return double(p_record.values[5]); });
}

void ReadActiveBit0Sequence(const std::shared_ptr<stream::FileStream>& p_stream,
                            std::int32_t p_count, std::int64_t p_position, ArrayFeeder& p_feeder) {
    Section cursor(p_stream, p_position);
    walk_coords(cursor, p_count, p_feeder,
                [](const TCoordsRecord& p_record) { return (p_record.values[4] & 1) ? 1.0 : 0.0; });
}

void ReadActiveBit1Sequence(const std::shared_ptr<stream::FileStream>& p_stream,
                            std::int32_t p_count, std::int64_t p_position, ArrayFeeder& p_feeder) {
    Section cursor(p_stream, p_position);
    walk_coords(cursor, p_count, p_feeder, [](const TCoordsRecord& p_record) {
        return ((p_record.values[4] >> 1) & 1) ? 1.0 : 0.0;
    });
}

}  // namespace kelvara::eclipse

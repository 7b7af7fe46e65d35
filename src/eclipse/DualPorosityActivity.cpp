#include "eclipse/DualPorosityActivity.h"

#include "builder/ArrayFeeder.h"
#include "eclipse/Section.h"
#include "eclipse/SectionMaps.h"

namespace kelvara::eclipse {

TBitCounts DpDkExtGridActiveCellsCount(const std::shared_ptr<stream::FileStream>& p_stream,
                                       std::int64_t p_position) {
    Section cursor(p_stream, p_position);
    TBitCounts counts;
    cursor.CountBits(counts);
    return counts;
}

void ReadExtGridDpDkActnumSections(const std::shared_ptr<stream::FileStream>& p_stream,
                                   std::int32_t /*p_count*/, std::int64_t p_position, bool p_matrix,
                                   ostrel::builder::ArrayFeeder& p_feeder) {
    Section cursor(p_stream, p_position);
    if (p_matrix) {
        cursor.FeedBit0(p_feeder);
    } else {
        cursor.FeedBit1(p_feeder);
    }
}

void ReadGridDpDkActnumSections(const std::shared_ptr<stream::FileStream>& p_stream,
                                std::int32_t p_count, std::int64_t p_position, bool p_matrix,
                                ostrel::builder::ArrayFeeder& p_feeder) {
    if (p_matrix) {
        ReadActiveBit0Sequence(p_stream, p_count, p_position, p_feeder);
    } else {
        ReadActiveBit1Sequence(p_stream, p_count, p_position, p_feeder);
    }
}

}  // namespace kelvara::eclipse

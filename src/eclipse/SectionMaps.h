#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "eclipse/TSectionData.h"
#include "stream/FileStream.h"

namespace ostrel::builder {
class ArrayFeeder;
}

namespace kelvara::eclipse {

// Every section of the file from position 0 on, in file order, up to the first one that cannot
// be walked over (which is included).
std::vector<TSectionData> ListFileSections(const std::shared_ptr<stream::FileStream>& p_stream);

// The walks over the cell-by-cell sections of a plain grid file. Each starts at p_position (the
// stream's position when negative), processes every section of its name until p_count of them
// were met, and throws "Number of section error" when the count does not come out exact.
void ReadCornersSequence(const std::shared_ptr<stream::FileStream>& p_stream, std::int32_t p_count,
                         std::int64_t p_position, ostrel::builder::ArrayFeeder& p_feeder);
void ReadActnumSequence(const std::shared_ptr<stream::FileStream>& p_stream, std::int32_t p_count,
                        std::int64_t p_position, ostrel::builder::ArrayFeeder& p_feeder);
void ReadHostnumSequence(const std::shared_ptr<stream::FileStream>& p_stream, std::int32_t p_count,
                         std::int64_t p_position, ostrel::builder::ArrayFeeder& p_feeder);
void ReadActiveBit0Sequence(const std::shared_ptr<stream::FileStream>& p_stream,
                            std::int32_t p_count, std::int64_t p_position,
                            ostrel::builder::ArrayFeeder& p_feeder);
void ReadActiveBit1Sequence(const std::shared_ptr<stream::FileStream>& p_stream,
                            std::int32_t p_count, std::int64_t p_position,
                            ostrel::builder::ArrayFeeder& p_feeder);

}  // namespace kelvara::eclipse

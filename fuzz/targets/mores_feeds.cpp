// The MoReS base-64 feeders. Four bytes of parameters (item type, which feeder, the band of a
// slice and its stride) stand before the text.
#include "Harness.h"
#include "builder/ArrayFeeder.h"
#include "builder/CompleteCornersBuilder.h"
#include "mores/Feeds.h"

KELVARA_FUZZ_TARGET(kelvara::fuzz::Format::base64, p_input) {
    if (p_input.size() < 4) return;
    const char types[] = {'i', 'd', 'i', 'd', 'x'};
    const char type = types[p_input.byte(0) % 5];
    const std::int64_t count =
        p_input.byte(1) & 0x80 ? static_cast<std::int64_t>(p_input.size()) : p_input.byte(1) * 8;
    const std::int32_t first = static_cast<std::int32_t>(p_input.byte(2) % 64) - 4;
    const std::int32_t last = first + static_cast<std::int32_t>(p_input.byte(3) % 32);
    auto stream = p_input.stream(4);
    switch (p_input.byte(1) % 3) {
        case 0: {
            ostrel::builder::ArrayFeeder feeder;
            kelvara::mores::FeedArray(*stream, type, count, feeder);
            break;
        }
        case 1: {
            ostrel::builder::ArrayFeeder feeder;
            kelvara::mores::SliceFeedArray(*stream, type, count, first, last, feeder);
            break;
        }
        default: {
            ostrel::builder::CompleteCornersBuilder corners(2, 2, 1 + p_input.byte(3) % 3);
            kelvara::mores::FeedCornersArray(*stream, count, first, last,
                                             static_cast<std::int32_t>(p_input.byte(0) % 7) - 1,
                                             corners);
            break;
        }
    }
}

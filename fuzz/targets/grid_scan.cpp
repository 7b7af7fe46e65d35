// The scan of a plain grid file (in plain or dual mode, by the input's length), then the walks
// over its cell-by-cell sections and the dual readers, with the counts the catalogue gives.
#include "Harness.h"
#include "builder/ArrayFeeder.h"
#include "eclipse/DualPorosityActivity.h"
#include "eclipse/GridFileScan.h"
#include "eclipse/SectionMaps.h"

KELVARA_FUZZ_TARGET(kelvara::fuzz::Format::eclipse, p_input) {
    auto stream = p_input.stream();
    const std::int32_t dual = static_cast<std::int32_t>(p_input.size() % 2);
    const kelvara::eclipse::TGridFileMap map = kelvara::eclipse::BuildGridMap(stream, dual);
    std::int32_t coords = 0;
    std::int64_t first = -1;
    for (const auto& section : map.fileSections) {
        if (section.name != "COORDS") continue;
        if (first < 0) first = section.position;
        ++coords;
    }
    if (first < 0) return;
    ostrel::builder::ArrayFeeder feeder;
    using Walk = void (*)(const std::shared_ptr<kelvara::stream::FileStream>&, std::int32_t,
                          std::int64_t, ostrel::builder::ArrayFeeder&);
    const Walk walks[] = {
        kelvara::eclipse::ReadCornersSequence, kelvara::eclipse::ReadActnumSequence,
        kelvara::eclipse::ReadHostnumSequence, kelvara::eclipse::ReadActiveBit0Sequence,
        kelvara::eclipse::ReadActiveBit1Sequence};
    const Walk walk = walks[p_input.size() / 2 % 5];
    walk(stream, coords, first, feeder);
    kelvara::eclipse::ReadGridDpDkActnumSections(stream, coords, first, p_input.size() % 3 == 0,
                                                 feeder);
}

// The model's connections: sorting them by kind into the assembly, and feeding per-connection
// blocks through the connection feeder.
#include <stdexcept>
#include <vector>

#include "builder/SConnectionArrayFeeder.h"
#include "imex/Checked.h"
#include "imex/FeedAdaptors.h"
#include "imex/ItemKinds.h"
#include "imex/Loader.h"
#include "imex/SinkReads.h"

namespace kelvara::imex {

namespace {

// A grid number of the file (from 1) as an index from 0; every number below 1 gives -1, which
// no grid has.
std::int32_t FromOne(std::int32_t p_number) { return p_number > 0 ? p_number - 1 : -1; }

}  // namespace

void Loader::SetupConnections() {
    if (!m_assembly->connectionInfos.empty()) return;
    std::vector<std::int32_t> packed_to_cell, cell_to_grid, first, second;
    ReadNamedInts("IPSTCS", packed_to_cell);
    ReadNamedInts("ICSTGN", cell_to_grid);
    ReadNamedInts("ICTPS1", first);
    ReadNamedInts("ICTPS2", second);
    m_assembly->CreateConnectionInfos();
    m_assembly->connectionSequence.reserve(first.size());
    for (std::size_t n = 0; n < first.size(); ++n) {
        // Every "- 1" in 64 bits, so that an item of -2^31 becomes an index outside its list
        // (the checked-container path) and not a wrapped one. An index that passed CheckedAt
        // lies inside a list and fits 32 bits.
        const std::int64_t a = std::int64_t(first[n]) - 1;
        const std::int64_t b = std::int64_t(CheckedAt(second, static_cast<std::int64_t>(n),
                                                      "ICTPS2 as long as ICTPS1")) -
                               1;
        const std::int64_t c1 =
            std::int64_t(CheckedAt(packed_to_cell, a, "ICTPS1 cell inside IPSTCS")) - 1;
        const std::int64_t c2 =
            std::int64_t(CheckedAt(packed_to_cell, b, "ICTPS2 cell inside IPSTCS")) - 1;
        const std::int32_t g1 = FromOne(CheckedAt(cell_to_grid, c1, "IPSTCS cell inside ICSTGN"));
        const std::int32_t g2 = FromOne(CheckedAt(cell_to_grid, c2, "IPSTCS cell inside ICSTGN"));
        const auto l1 = static_cast<std::int32_t>(c1 - m_assembly->GridAt(g1).cellBegin);
        const auto l2 = static_cast<std::int32_t>(c2 - m_assembly->GridAt(g2).cellBegin);
        builder::TConnectionRef& ref = m_assembly->AddConnection(l1, g1, l2, g2);
        if (ref.kind < 3) ref.index = static_cast<std::int32_t>(a);
    }
}

bool Loader::FeedConnectionGridFunctions(std::int64_t p_position, char p_type,
                                         builder::SConnectionArrayFeeder& p_feeder) {
    m_section.GoTo(p_position);
    InsertAdaptor<builder::SConnectionArrayFeeder> sink{p_feeder};
    switch (p_type) {
        case 'd':
            return FeedWholeTo<DoubleItem>(m_section, sink);
        case 'i':
            return FeedWholeTo<IntItem>(m_section, sink);
        default:
            throw std::runtime_error("Invalid section type must be 'i' or 'd'!");
    }
}

}  // namespace kelvara::imex

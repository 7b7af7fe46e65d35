// The IMEX loader over a model whose blocks stand in a fixed order behind the byte of frame
// form: the first block is IGNTID, the next IGNTJD, and so on through the names below; the
// table holds a name when its block is there. Then every grid is fed by every feed, the
// connections are set up and the last block is fed as packed and as per-connection values.
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "Harness.h"
#include "builder/CompleteCornersBuilder.h"
#include "builder/SConnectionArrayFeeder.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "builder/TOstrelArray3DBuilder.h"
#include "imex/Loader.h"

namespace {

constexpr const char* names[] = {"IGNTID",        "IGNTJD", "IGNTKD",    "ICSTPS", "IPSTCS",
                                 "ICSTCG",        "ICSTGN", "BLOCKSIZE", "ICTPS1", "ICTPS2",
                                 "GRID/PAYDEPTH", "ACTNUM", "POR"};
constexpr std::size_t name_count = sizeof names / sizeof names[0];

class BlockTable : public kelvara::imex::IGridSections {
  public:
    explicit BlockTable(std::vector<std::int64_t> p_positions)
        : m_positions(std::move(p_positions)) {}
    std::int64_t SectionPos(const std::string& p_name) override {
        for (std::size_t i = 0; i < m_positions.size(); ++i)
            if (p_name == names[i]) return m_positions[i];
        throw std::out_of_range("no block " + p_name);
    }
    bool HasSection(const std::string& p_name) override {
        for (std::size_t i = 0; i < m_positions.size(); ++i)
            if (p_name == names[i]) return true;
        return false;
    }

  private:
    std::vector<std::int64_t> m_positions;
};

// Extents for the builders: the grid's own when small, else a small box, so that the harness
// never allocates what the file does not ask for.
std::size_t small(std::int32_t p_extent) {
    return p_extent > 0 && p_extent <= 64 ? static_cast<std::size_t>(p_extent) : 1;
}

}  // namespace

KELVARA_FUZZ_TARGET(kelvara::fuzz::Format::imex, p_input) {
    if (p_input.size() == 0) return;
    const bool bare = p_input.byte(0) % 3 == 0;
    kelvara::imex::Section walker(p_input.stream(), 1, bare);
    std::vector<std::int64_t> positions;
    std::int64_t last = -1;
    for (std::size_t i = 0; i < name_count + 1; ++i) {
        if (walker.end_pos() > static_cast<std::int64_t>(p_input.size()) ||
            walker.data_pos() > static_cast<std::int64_t>(p_input.size()))
            break;
        if (i < name_count) positions.push_back(walker.start_pos());
        last = walker.start_pos();
        if (!walker.Advance()) break;
    }
    auto table = std::make_shared<BlockTable>(positions);
    kelvara::imex::Section section(p_input.stream(), 1, bare);
    kelvara::imex::Loader loader(section, table);
    const int grids = loader.GridCount();
    for (int g = 0; g < grids && g < 16; ++g) {
        const auto info = loader.GridInfo(g);
        const std::size_t ni = small(info->ni), nj = small(info->nj), nk = small(info->nk);
        ostrel::builder::CompleteCornersBuilder corners(ni, nj, nk);
        loader.FeedCorners(g, corners);
        ostrel::builder::TOstrelArray3DBuilder<double> depth(ni, nj, nk);
        loader.FeedPayDepth(g, depth);
        ostrel::builder::TOstrelArray1DBuilder<double> dx, dy;
        ostrel::builder::TOstrelArray3DBuilder<double> dz(ni, nj, nk);
        loader.FeedDeltas(g, dx, dy, dz);
        ostrel::builder::TOstrelArray3DBuilder<unsigned char> actnum(ni, nj, nk);
        loader.FeedActnum(g, actnum);
        ostrel::builder::TOstrelArray3DBuilder<float> por(ni, nj, nk);
        loader.FeedGridArray("POR", g, por);
        loader.HostCellIJK(g);
        if (last >= 0) {
            ostrel::builder::TOstrelArray1DBuilder<double> packed;
            loader.FeedPackedGridFunction(g, last, p_input.byte(1) % 2 ? 'd' : 'i', packed);
        }
    }
    loader.SetupConnections();
    if (last < 0) return;
    // One target per grid and kind, all storing into one builder.
    auto values = std::make_shared<ostrel::builder::TOstrelArray1DBuilder<double>>();
    const kelvara::builder::ConnectionTarget target(values);
    std::vector<std::vector<kelvara::builder::ConnectionTarget>> targets(
        static_cast<std::size_t>(grids), std::vector<kelvara::builder::ConnectionTarget>(
                                             4 + static_cast<std::size_t>(grids), target));
    kelvara::builder::SConnectionArrayFeeder feeder(loader.GetGridAssembly(), targets);
    loader.FeedConnectionGridFunctions(last, p_input.byte(2) % 2 ? 'd' : 'i', feeder);
}

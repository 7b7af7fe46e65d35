#include "imex/Loader.h"

#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "imex/Checked.h"
#include "imex/ItemKinds.h"
#include "imex/LoaderSinks.h"
#include "imex/SinkReads.h"

namespace kelvara::imex {

namespace {

// The mask's extents are 16 bits wide and the model's cell numbers 32 bits: a grid outside
// either can't be held.
void CheckExtents(std::size_t p_grid, std::int64_t p_ni, std::int64_t p_nj, std::int64_t p_nk,
                  std::int64_t p_cell_end) {
    constexpr std::int64_t widest = std::numeric_limits<std::uint16_t>::max();
    const bool fits = p_ni >= 0 && p_nj >= 0 && p_nk >= 0 && p_ni <= widest && p_nj <= widest &&
                      p_nk <= widest && p_cell_end <= std::numeric_limits<std::int32_t>::max();
    if (fits) return;
    throw std::runtime_error("IMEX grid " + std::to_string(p_grid + 1) + " of " +
                             std::to_string(p_ni) + " x " + std::to_string(p_nj) + " x " +
                             std::to_string(p_nk) +
                             " cells: extents must lie in 0 to 65535 and the model's cells "
                             "below 2^31");
}

}  // namespace

Loader::Loader(const Section& p_section, std::shared_ptr<IGridSections> p_sections)
    : m_assembly(std::make_shared<builder::SGridInfoAssembly>()),
      m_sections(std::move(p_sections)),
      m_section(p_section) {
    std::vector<std::int32_t> ni, nj, nk;
    ReadNamedInts("IGNTID", ni);
    ReadNamedInts("IGNTJD", nj);
    ReadNamedInts("IGNTKD", nk);
    std::int64_t sum = 0;
    for (std::size_t g = 0; g < ni.size(); ++g) {
        auto grid = std::make_shared<builder::SGridInfo>();
        grid->ni = ni[g];
        grid->nj = CheckedAt(nj, static_cast<std::int64_t>(g), "IGNTJD as long as IGNTID");
        grid->nk = CheckedAt(nk, static_cast<std::int64_t>(g), "IGNTKD as long as IGNTID");
        const std::int64_t cells = std::int64_t(grid->ni) * grid->nj * grid->nk;
        CheckExtents(g, grid->ni, grid->nj, grid->nk, sum + cells);
        grid->cellBegin = static_cast<std::int32_t>(sum);
        sum += cells;
        grid->cellEnd = static_cast<std::int32_t>(sum);
        m_assembly->AddGrid(std::move(grid));
    }
    ReadActivity();
    ReadPacking();
    ReadRefinement();
    SetActiveRanges();
    ReadOrigins();
}

bool Loader::ReadNamedInts(const std::string& p_name, std::vector<std::int32_t>& p_vector) {
    m_section.GoTo(m_sections->SectionPos(p_name));
    return m_section.ReadWholeIntSection(p_vector);
}

void Loader::GoToNamed(const char* p_name) { m_section.GoTo(m_sections->SectionPos(p_name)); }

void Loader::ReadActivity() {
    GoToNamed("ICSTPS");
    for (const auto& grid : m_assembly->gridList) grid->CreateActiveMask();
    ActivitySink sink(*m_assembly);
    FeedWholeTo<IntItem>(m_section, sink);
}

void Loader::ReadPacking() {
    GoToNamed("IPSTCS");
    for (const auto& grid : m_assembly->gridList) grid->CreatePackedMap();
    PackingSink sink(*m_assembly);
    FeedWholeTo<IntItem>(m_section, sink);
}

void Loader::ReadRefinement() {
    GoToNamed("ICSTCG");
    RefinementSink sink(*m_assembly);
    FeedWholeTo<IntItem>(m_section, sink);
}

void Loader::SetActiveRanges() {
    std::int32_t sum = 0;
    for (const auto& grid : m_assembly->gridList) {
        grid->activeBegin = sum;
        sum += grid->activeCount;
        grid->activeEnd = sum;
    }
}

void Loader::ReadOrigins() {
    if (!m_sections->HasSection("BLOCKSIZE")) return;
    GoToNamed("BLOCKSIZE");
    OriginSink sink(*m_assembly);
    FeedWholeTo<DoubleItem>(m_section, sink);
}

int Loader::GridCount() const { return static_cast<int>(m_assembly->gridList.size()); }

std::shared_ptr<builder::SGridInfo> Loader::GridInfo(int p_grid) const {
    m_assembly->GridAt(p_grid);
    return m_assembly->gridList[static_cast<std::size_t>(p_grid)];
}

std::vector<std::string> Loader::GetGeometryArrayNames() const {
    std::vector<std::string> names;
    if (m_sections->HasSection("CORNERS")) {
        names.emplace_back("CORNERS");
    } else {
        if (m_sections->HasSection("BLOCKSIZE")) names.emplace_back("BLOCKSIZE");
        if (m_sections->HasSection("BLOCKDEPTH")) names.emplace_back("BLOCKDEPTH");
    }
    if (m_sections->HasSection("BLOCKPVOL")) names.emplace_back("BLOCKPVOL");
    return names;
}

bool Loader::HasGeometryArray(const std::string& p_name) const {
    return m_sections->HasSection(p_name);
}

std::optional<std::array<int, 3>> Loader::HostCellIJK(int p_grid) const {
    const builder::SGridInfo& grid = m_assembly->GridAt(p_grid);
    if (grid.hostGrid < 0 || grid.hostGrid >= GridCount()) return std::nullopt;
    const builder::SGridInfo& host = m_assembly->GridAt(grid.hostGrid);
    const std::int32_t h = grid.hostCell;
    const std::int32_t layer = host.ni * host.nj;
    const std::int32_t k = h / layer;
    const std::int32_t r = h - k * layer;
    const std::int32_t j = r / host.ni;
    const std::int32_t i = r % host.ni;
    if (i == -1) return std::nullopt;
    return std::array<int, 3>{i, j, k};
}

}  // namespace kelvara::imex

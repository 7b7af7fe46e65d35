#include "imex/Loader.h"

#include <algorithm>
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
// either can't be held. The extents are looked at before anything is multiplied, so that the
// cell count below is exact in 64 bits.
void CheckExtents(std::size_t p_grid, std::int64_t p_ni, std::int64_t p_nj, std::int64_t p_nk,
                  std::int64_t p_cell_begin) {
    constexpr std::int64_t widest = std::numeric_limits<std::uint16_t>::max();
    const auto inside = [](std::int64_t p_extent) { return p_extent >= 0 && p_extent <= widest; };
    const bool fits = inside(p_ni) && inside(p_nj) && inside(p_nk) &&
                      p_cell_begin + p_ni * p_nj * p_nk <= std::numeric_limits<std::int32_t>::max();
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
        CheckExtents(g, grid->ni, grid->nj, grid->nk, sum);
        grid->cellBegin = static_cast<std::int32_t>(sum);
        sum += grid->CellCount();
        grid->cellEnd = static_cast<std::int32_t>(sum);
        m_assembly->AddGrid(std::move(grid));
    }
    ReadActivity();
    CheckFirstGrid();
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
    // A mask has a byte per cell, each filled by an item of the block: no grid gets one that
    // the rest of the file could not fill from the grid's first item on.
    const std::int64_t size = m_section.stream().file()->size();
    for (const auto& grid : m_assembly->gridList) {
        const std::int64_t first = m_section.data_pos() + std::int64_t(4) * grid->cellBegin;
        if (grid->CellCount() > std::max<std::int64_t>(size - first, 0) / 4) {
            throw std::runtime_error("ICSTPS: grid " + std::to_string(grid->gridIndex + 1) +
                                     " of " + std::to_string(grid->ni) + " x " +
                                     std::to_string(grid->nj) + " x " + std::to_string(grid->nk) +
                                     " cells, more than the rest of the file can hold");
        }
    }
    for (const auto& grid : m_assembly->gridList) grid->CreateActiveMask();
    ActivitySink sink(*m_assembly);
    FeedWholeTo<IntItem>(m_section, sink);
}

void Loader::CheckFirstGrid() const {
    if (m_assembly->gridList.empty()) return;
    const builder::SGridInfo& first = *m_assembly->gridList.front();
    // A grid whose activity never completed (a short block) counts no active cell either, but
    // nothing after it has a selection to be shifted.
    const bool complete = first.selection || first.CellCount() == 0;
    if (!complete || first.activeCount > 0) return;
    throw std::runtime_error(
        "IMEX grid 1 has no active cell while it comes first: the packed cells of the "
        "grids after it could not be placed");
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
    // The loader never makes a grid without cells a host; a host's record may still say so.
    if (host.ni < 1 || host.nj < 1) {
        throw std::runtime_error("HostCellIJK: grid " + std::to_string(p_grid + 1) +
                                 " has as its host grid " + std::to_string(grid.hostGrid + 1) +
                                 ", which has no layer of cells (" + std::to_string(host.ni) +
                                 " x " + std::to_string(host.nj) + ")");
    }
    // In 64 bits, where the layer of any 32-bit extents is exact; each part then fits 32 bits.
    const std::int64_t h = grid.hostCell;
    const std::int64_t layer = std::int64_t(host.ni) * host.nj;
    const std::int64_t k = h / layer;
    const std::int64_t r = h - k * layer;
    const std::int64_t j = r / host.ni;
    const std::int64_t i = r % host.ni;
    if (i == -1) return std::nullopt;
    return std::array<int, 3>{static_cast<int>(i), static_cast<int>(j), static_cast<int>(k)};
}

}  // namespace kelvara::imex

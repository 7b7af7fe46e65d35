// The feeds of one grid's slice of a block into builders.
#include <stdexcept>

#include "builder/CompleteCornersBuilder.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "builder/TOstrelArray3DBuilder.h"
#include "imex/FeedAdaptors.h"
#include "imex/ItemKinds.h"
#include "imex/Loader.h"
#include "imex/SinkReads.h"

namespace kelvara::imex {

namespace {

constexpr const char* kInvalidSectionType = "Invalid section type must be 'i' or 'd'!";

}  // namespace

bool Loader::BeginNamedFeed(const std::string& p_name) {
    if (!m_sections->HasSection(p_name)) return false;
    m_section.GoTo(m_sections->SectionPos(p_name));
    return true;
}

// The grid's cells of the block under the section, p_per_cell items each, into p_sink.
template <class Kind, class Sink>
bool Loader::FeedCells(int p_grid, std::int32_t p_per_cell, Sink& p_sink) {
    const builder::SGridInfo& grid = m_assembly->GridAt(p_grid);
    // In 64 bits: a grid behind 2^31 / p_per_cell cells has its range there, not wrapped.
    const std::int64_t per_cell = p_per_cell;
    return FeedRangeTo<Kind>(m_section, p_sink, grid.cellBegin * per_cell,
                             (std::int64_t(grid.cellEnd) - grid.cellBegin) * per_cell);
}

bool Loader::FeedCorners(int p_grid, ostrel::builder::CompleteCornersBuilder& p_builder) {
    if (!BeginNamedFeed("CORNERS")) return false;
    InsertAdaptor<ostrel::builder::CompleteCornersBuilder> sink{p_builder};
    return FeedCells<DoubleItem>(p_grid, 24, sink);
}

template <class T>
bool Loader::FeedPayDepth(int p_grid, ostrel::builder::TOstrelArray3DBuilder<T>& p_builder) {
    return FeedGridArray("BLOCKDEPTH", p_grid, p_builder);
}

template <class T>
bool Loader::FeedGridArray(const std::string& p_name, int p_grid,
                           ostrel::builder::TOstrelArray3DBuilder<T>& p_builder) {
    if (!BeginNamedFeed(p_name)) return false;
    InsertAdaptor<ostrel::builder::TOstrelArray3DBuilder<T>> sink{p_builder};
    return FeedCells<DoubleItem>(p_grid, 1, sink);
}

template <class T>
bool Loader::FeedActnum(int p_grid, ostrel::builder::TOstrelArray3DBuilder<T>& p_builder) {
    if (!BeginNamedFeed("ICSTPS")) return false;
    FlagAdaptor<ostrel::builder::TOstrelArray3DBuilder<T>> sink{p_builder};
    return FeedCells<IntItem>(p_grid, 1, sink);
}

template <class T>
bool Loader::FeedDeltas(int p_grid, ostrel::builder::TOstrelArray1DBuilder<T>& p_dx,
                        ostrel::builder::TOstrelArray1DBuilder<T>& p_dy,
                        ostrel::builder::TOstrelArray3DBuilder<T>& p_dz) {
    if (!BeginNamedFeed("BLOCKSIZE")) return false;
    const builder::SGridInfo& grid = m_assembly->GridAt(p_grid);
    DeltaSplitter<T> sink(grid.ni, grid.nj, p_dx, p_dy, p_dz);
    return FeedCells<DoubleItem>(p_grid, 3, sink);
}

template <class T>
bool Loader::FeedPackedGridFunction(int p_grid, std::int64_t p_position, char p_type,
                                    ostrel::builder::TOstrelArray1DBuilder<T>& p_builder) {
    const builder::SGridInfo& grid = m_assembly->GridAt(p_grid);
    if (grid.activeCount == 0 || !grid.packedToHandle) return false;
    m_section.GoTo(p_position);
    IndexedAdaptor<T> sink{p_builder, grid.packedToHandle->data()};
    const std::int32_t count = grid.activeEnd - grid.activeBegin;
    switch (p_type) {
        case 'd':
            return FeedRangeTo<DoubleItem>(m_section, sink, grid.activeBegin, count);
        case 'i':
            return FeedRangeTo<IntItem>(m_section, sink, grid.activeBegin, count);
        default:
            throw std::runtime_error(kInvalidSectionType);
    }
}

template bool Loader::FeedPayDepth(int, ostrel::builder::TOstrelArray3DBuilder<float>&);
template bool Loader::FeedPayDepth(int, ostrel::builder::TOstrelArray3DBuilder<double>&);
template bool Loader::FeedGridArray(const std::string&, int,
                                    ostrel::builder::TOstrelArray3DBuilder<float>&);
template bool Loader::FeedGridArray(const std::string&, int,
                                    ostrel::builder::TOstrelArray3DBuilder<double>&);
template bool Loader::FeedActnum(int, ostrel::builder::TOstrelArray3DBuilder<double>&);
template bool Loader::FeedActnum(int, ostrel::builder::TOstrelArray3DBuilder<unsigned char>&);
template bool Loader::FeedDeltas(int, ostrel::builder::TOstrelArray1DBuilder<float>&,
                                 ostrel::builder::TOstrelArray1DBuilder<float>&,
                                 ostrel::builder::TOstrelArray3DBuilder<float>&);
template bool Loader::FeedDeltas(int, ostrel::builder::TOstrelArray1DBuilder<double>&,
                                 ostrel::builder::TOstrelArray1DBuilder<double>&,
                                 ostrel::builder::TOstrelArray3DBuilder<double>&);
template bool Loader::FeedPackedGridFunction(int, std::int64_t, char,
                                             ostrel::builder::TOstrelArray1DBuilder<float>&);
template bool Loader::FeedPackedGridFunction(int, std::int64_t, char,
                                             ostrel::builder::TOstrelArray1DBuilder<double>&);
template bool Loader::FeedPackedGridFunction(int, std::int64_t, char,
                                             ostrel::builder::TOstrelArray1DBuilder<int>&);

}  // namespace kelvara::imex

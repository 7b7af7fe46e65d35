#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "builder/SGridInfoAssembly.h"
#include "imex/IGridSections.h"
#include "imex/Section.h"

namespace ostrel::builder {
class CompleteCornersBuilder;
template <class T>
class TOstrelArray1DBuilder;
template <class T>
class TOstrelArray3DBuilder;
}  // namespace ostrel::builder

namespace kelvara::builder {
class SConnectionArrayFeeder;
}

namespace kelvara::imex {

// The grid hierarchy of an IMEX file: a main grid and its refinements laid end to end in one
// cell numbering, each with its active cells, selection, packed map, host cell and origin. The
// constructor reads the dimension, activity, packing, refinement and size blocks; the feeds
// then pour any grid's slice of a block into builders, and SetupConnections sorts the model's
// connections by kind.
class Loader {
  public:
    // Copies p_section (the copy moves on its own over the same stream) and reads the named
    // blocks of p_sections. A missing name raises whatever SectionPos raises.
    Loader(const Section& p_section, std::shared_ptr<IGridSections> p_sections);

    int GridCount() const;
    // The grid at p_grid; outside the list the process ends.
    std::shared_ptr<builder::SGridInfo> GridInfo(int p_grid) const;
    std::vector<std::string> GetGeometryArrayNames() const;
    bool HasGeometryArray(const std::string& p_name) const;

    // The named feeds of one grid's cells: false when the block isn't in the table or the read
    // falls short, else true.
    bool FeedCorners(int p_grid, ostrel::builder::CompleteCornersBuilder& p_builder);
    template <class T>
    bool FeedPayDepth(int p_grid, ostrel::builder::TOstrelArray3DBuilder<T>& p_builder);
    template <class T>
    bool FeedDeltas(int p_grid, ostrel::builder::TOstrelArray1DBuilder<T>& p_dx,
                    ostrel::builder::TOstrelArray1DBuilder<T>& p_dy,
                    ostrel::builder::TOstrelArray3DBuilder<T>& p_dz);
    template <class T>
    bool FeedActnum(int p_grid, ostrel::builder::TOstrelArray3DBuilder<T>& p_builder);
    template <class T>
    bool FeedGridArray(const std::string& p_name, int p_grid,
                       ostrel::builder::TOstrelArray3DBuilder<T>& p_builder);
    // The grid's slice of the packed block at p_position, each value stored at its cell's
    // handle in the grid's selection. False with no active cell (nothing read, p_type not
    // looked at); std::runtime_error for a type other than 'i' and 'd'.
    template <class T>
    bool FeedPackedGridFunction(int p_grid, std::int64_t p_position, char p_type,
                                ostrel::builder::TOstrelArray1DBuilder<T>& p_builder);
    // The whole per-connection block at p_position into the connection feeder.
    bool FeedConnectionGridFunctions(std::int64_t p_position, char p_type,
                                     builder::SConnectionArrayFeeder& p_feeder);

    // (i, j, k) of the cell of the host grid that p_grid refines, or nothing for a grid
    // without a host.
    std::optional<std::array<int, 3>> HostCellIJK(int p_grid) const;
    // Reads the connection blocks once and sorts every connection into the assembly.
    void SetupConnections();
    std::shared_ptr<builder::SGridInfoAssembly> GetGridAssembly() const { return m_assembly; }

    // The stream of the loader's own section.
    stream::FileStream& stream() { return m_section.stream(); }

  private:
    bool ReadNamedInts(const std::string& p_name, std::vector<std::int32_t>& p_vector);
    void GoToNamed(const char* p_name);
    void ReadActivity();
    // Refuses a model whose first grid has no active cell: the packing walk could not place the
    // packed cells of the grids after it.
    void CheckFirstGrid() const;
    void ReadPacking();
    void ReadRefinement();
    void SetActiveRanges();
    void ReadOrigins();
    // Positions the section on the named block for a feed of p_grid; false without the block.
    bool BeginNamedFeed(const std::string& p_name);
    template <class Kind, class Sink>
    bool FeedCells(int p_grid, std::int32_t p_per_cell, Sink& p_sink);

    std::shared_ptr<builder::SGridInfoAssembly> m_assembly;
    std::shared_ptr<IGridSections> m_sections;
    Section m_section;
};

}  // namespace kelvara::imex

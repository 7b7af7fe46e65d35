// The host's view of the IMEX loader: the table of named blocks as a Python mapping, and the
// Loader with its feeds, each trying its feeder kinds in a fixed order.
#include <pybind11/stl.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "bindings/CharArg.h"
#include "bindings/FeederTries.h"
#include "bindings/ImexBindings.h"
#include "bindings/Relax.h"
#include "builder/ArrayFeeder.h"
#include "builder/CompleteCornersBuilder.h"
#include "builder/SConnectionArrayFeeder.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "builder/TOstrelArray3DBuilder.h"
#include "imex/Loader.h"

namespace kelvara::bindings {

namespace _imex {

// The host's table of blocks: a mapping of block name to records with mrf_pos. Whatever the
// mapping raises (a KeyError for a missing name) goes up unchanged.
class PyGridSectionsWrapper : public imex::IGridSections {
  public:
    explicit PyGridSectionsWrapper(py::object p_table) : m_table(std::move(p_table)) {}
    ~PyGridSectionsWrapper() override {
        py::gil_scoped_acquire gil;
        m_table = py::object();
    }

    std::int64_t SectionPos(const std::string& p_name) override {
        py::object record = m_table[latin1(p_name)];
        return record.attr("mrf_pos").cast<std::int64_t>();
    }
    bool HasSection(const std::string& p_name) override { return m_table.contains(latin1(p_name)); }

  private:
    py::object m_table;
};

}  // namespace _imex

namespace {

using imex::Loader;
using ostrel::builder::ArrayFeeder;
using ostrel::builder::CompleteCornersBuilder;
template <class T>
using Builder1D = ostrel::builder::TOstrelArray1DBuilder<T>;
template <class T>
using Builder3D = ostrel::builder::TOstrelArray3DBuilder<T>;

std::shared_ptr<Loader> MakeLoader(std::shared_ptr<imex::Section> p_section, py::object p_table) {
    if (!p_section) throw py::type_error("Loader needs an imex.Section, not None");
    RelaxOnReturn<imex::Section> relax{*p_section};
    auto loader = std::make_shared<Loader>(
        *p_section, std::make_shared<_imex::PyGridSectionsWrapper>(std::move(p_table)));
    loader->stream().relax();
    return loader;
}

bool FeedCorners(Loader& p_loader, int p_grid, py::handle p_feeder) {
    RelaxOnReturn<Loader> relax{p_loader};
    return p_loader.FeedCorners(p_grid, RequireByReference<CompleteCornersBuilder>(p_feeder));
}

bool FeedPayDepth(Loader& p_loader, int p_grid, py::handle p_feeder) {
    RelaxOnReturn<Loader> relax{p_loader};
    bool result = false;
    TryByReference<Builder3D<float>, Builder3D<double>>(
        p_feeder, [&](auto& p_builder) { result = p_loader.FeedPayDepth(p_grid, p_builder); });
    return result;
}

bool FeedDeltas(Loader& p_loader, int p_grid, py::handle p_dx, py::handle p_dy, py::handle p_dz) {
    RelaxOnReturn<Loader> relax{p_loader};
    if (auto* dx = ByReference<Builder1D<float>>(p_dx)) {
        auto* dy = ByReference<Builder1D<float>>(p_dy);
        auto* dz = ByReference<Builder3D<float>>(p_dz);
        if (dy && dz) return p_loader.FeedDeltas(p_grid, *dx, *dy, *dz);
    }
    if (auto* dx = ByReference<Builder1D<double>>(p_dx)) {
        auto* dy = ByReference<Builder1D<double>>(p_dy);
        auto* dz = ByReference<Builder3D<double>>(p_dz);
        if (dy && dz) return p_loader.FeedDeltas(p_grid, *dx, *dy, *dz);
    }
    return false;
}

bool FeedActnum(Loader& p_loader, int p_grid, py::handle p_feeder) {
    RelaxOnReturn<Loader> relax{p_loader};
    bool result = false;
    TryByReference<Builder3D<double>, Builder3D<unsigned char>>(
        p_feeder, [&](auto& p_builder) { result = p_loader.FeedActnum(p_grid, p_builder); });
    return result;
}

bool FeedGridArray(Loader& p_loader, const std::string& p_name, int p_grid, py::handle p_feeder) {
    RelaxOnReturn<Loader> relax{p_loader};
    bool result = false;
    TryByReference<Builder3D<float>, Builder3D<double>>(p_feeder, [&](auto& p_builder) {
        result = p_loader.FeedGridArray(p_name, p_grid, p_builder);
    });
    return result;
}

bool FeedPackedGridFunction(Loader& p_loader, int p_grid, std::int64_t p_position, CharArg p_type,
                            py::handle p_feeder) {
    RelaxOnReturn<Loader> relax{p_loader};
    if (ByReference<ArrayFeeder>(p_feeder) == nullptr) {
        throw std::runtime_error(kInvalidFeederType);
    }
    bool result = false;
    TryBySharedHandle<Builder1D<float>, Builder1D<double>, Builder1D<int>>(
        p_feeder, [&](auto p_builder) {
            result = p_loader.FeedPackedGridFunction(p_grid, p_position, p_type.value, *p_builder);
        });
    return result;
}

bool FeedConnectionGridFunctions(Loader& p_loader, std::int64_t p_position, CharArg p_type,
                                 std::shared_ptr<builder::SConnectionArrayFeeder> p_feeder) {
    RelaxOnReturn<Loader> relax{p_loader};
    if (!p_feeder)
        throw py::type_error(
            "FeedConnectionGridFunctions needs an "
            "SConnectionArrayFeeder, not None");
    return p_loader.FeedConnectionGridFunctions(p_position, p_type.value, *p_feeder);
}

py::object HostCellIJK(const Loader& p_loader, int p_grid) {
    const auto ijk = p_loader.HostCellIJK(p_grid);
    if (!ijk) return py::none();
    return py::make_tuple((*ijk)[0], (*ijk)[1], (*ijk)[2]);
}

void SetupConnections(Loader& p_loader) {
    RelaxOnReturn<Loader> relax{p_loader};
    p_loader.SetupConnections();
}

}  // namespace

void ExposeLoader(py::class_<ImexScope>& p_scope) {
    py::class_<Loader, std::shared_ptr<Loader>>(
        p_scope, "Loader",
        "Loader(section, table): the grid hierarchy of an IMEX file.\n\n"
        "table maps block names to records with mrf_pos (the block's position); the loader "
        "reads \"IGNTID\", \"IGNTJD\", \"IGNTKD\", \"ICSTPS\", \"IPSTCS\", \"ICSTCG\" and, if "
        "present, \"BLOCKSIZE\". A missing name raises the mapping's own error (KeyError for a "
        "dict). The loader reads through a copy of section at positions of its own; the file "
        "must stay open for its whole life. RuntimeError for extents outside 0 to 65535, a grid "
        "of more cells than the rest of the file could hold from its first \"ICSTPS\" item on, "
        "a first grid without active cells, and a packed cell outside its grid or inactive.")
        .def(py::init(&MakeLoader), py::arg("section"), py::arg("table"))
        .def("GridCount", &Loader::GridCount, "The number of grids.")
        .def("GridInfo", &Loader::GridInfo, py::arg("grid"),
             "The SGridInfo of a grid, from 0. A grid outside the list ends the process.")
        .def("GetGeometryArrayNames", &Loader::GetGeometryArrayNames,
             "\"CORNERS\" if present, else \"BLOCKSIZE\" and \"BLOCKDEPTH\" where present; then "
             "\"BLOCKPVOL\" if present.")
        .def("HasGeometryArray", &Loader::HasGeometryArray, py::arg("name"),
             "Whether the table has the block, for any name.")
        .def("FeedCorners", &FeedCorners, py::arg("grid"), py::arg("feeder"),
             "The grid's 24 corner coordinates per cell from \"CORNERS\" into a "
             "CompleteCornersBuilder (any other feeder raises the cast error). False without the "
             "block or on a short read.")
        .def("FeedPayDepth", &FeedPayDepth, py::arg("grid"), py::arg("feeder"),
             "The grid's \"BLOCKDEPTH\" into an Array3DBuilderFloat or ...Double; False for any "
             "other feeder, without the block, or on a short read.")
        .def("FeedDeltas", &FeedDeltas, py::arg("grid"), py::arg("dx"), py::arg("dy"),
             py::arg("dz"),
             "Splits the grid's \"BLOCKSIZE\" triples: the i size of the first ni cells to dx, j "
             "sizes to dy (nj values, one cell late from row 2 on) and every k size to dz. dx, dy "
             "are Array1DBuilder and dz an Array3DBuilder of one precision (Float or Double); "
             "else False.")
        .def("FeedActnum", &FeedActnum, py::arg("grid"), py::arg("feeder"),
             "The grid's \"ICSTPS\" as flags (0 -> 0.0, anything else 1.0) into an "
             "Array3DBuilderDouble or ...UChar; False for any other feeder.")
        .def("FeedGridArray", &FeedGridArray, py::arg("name"), py::arg("grid"), py::arg("feeder"),
             "The grid's slice of a block of one double per cell into an Array3DBuilderFloat or "
             "...Double; False for any other feeder (without a look at the table) or without the "
             "block.")
        .def("FeedPackedGridFunction", &FeedPackedGridFunction, py::arg("grid"),
             py::arg("position"), py::arg("type"), py::arg("feeder"),
             "Unpacks the grid's slice of the packed block at position ('i' or 'd') into an "
             "Array1DBuilder of the grid's cells, each value at its cell's selection handle. "
             "RuntimeError \"Invalid Feeder type!\" for no ArrayFeeder; False for an ArrayFeeder "
             "that is no 1D builder and for a grid without active cells; RuntimeError \"Invalid "
             "section type must be 'i' or 'd'!\" for another type.")
        .def("FeedConnectionGridFunctions", &FeedConnectionGridFunctions, py::arg("position"),
             py::arg("type"), py::arg("feeder"),
             "The whole per-connection block at position ('i' or 'd') into an "
             "SConnectionArrayFeeder; True when every value arrived.")
        .def("HostCellIJK", &HostCellIJK, py::arg("grid"),
             "(i, j, k) of the host cell that the grid refines, or None. RuntimeError when the "
             "host's record has no layer of cells (ni or nj below 1).")
        .def("SetupConnections", &SetupConnections,
             "Reads \"IPSTCS\", \"ICSTGN\", \"ICTPS1\", \"ICTPS2\" once and sorts every "
             "connection into the assembly. A second call does nothing.")
        .def("GetGridAssembly", &Loader::GetGridAssembly,
             "The loader's SGridInfoAssembly, shared: later connections show through it.");
}

}  // namespace kelvara::bindings

#include "bindings/SummaryBindings.h"

#include <pybind11/numpy.h>

#include <cstdint>
#include <memory>

#include "bindings/FileObject.h"
#include "summary/ColumnGather.h"

namespace kelvara::bindings {

namespace {

template <class T>
using CArray = py::array_t<T, py::array::c_style | py::array::forcecast>;

py::object Gather(py::handle p_file, CArray<std::int64_t> p_positions, CArray<bool> p_swaps,
                  std::int32_t p_items, CArray<std::int32_t> p_columns, py::array_t<float> p_out) {
    const py::ssize_t records = p_positions.size();
    const py::ssize_t columns = p_columns.size();
    if (p_swaps.size() != records || p_out.ndim() != 2 || p_out.shape(0) != records ||
        p_out.shape(1) != columns || !(p_out.flags() & py::array::c_style) || !p_out.writeable()) {
        throw py::value_error(
            "gather: positions and swaps of one length, out a C array of "
            "(records, columns) float32");
    }
    if (p_items < 0) throw py::value_error("gather: a negative item count");
    for (py::ssize_t j = 0; j < columns; ++j) {
        if (p_columns.at(j) >= p_items) throw py::value_error("gather: a column past the items");
    }
    const std::shared_ptr<stream::SharedFile> file = GetFileStream(p_file)->file();
    summary::TRecords in{p_positions.data(), p_swaps.data(), static_cast<std::size_t>(records),
                         p_items};
    summary::TColumns wanted{p_columns.data(), static_cast<std::size_t>(columns)};
    float* out = p_out.mutable_data();
    std::size_t failed = 0;
    eclipse::TFormatProblem problem;
    {
        py::gil_scoped_release release;
        problem = summary::GatherColumns(*file, in, wanted, out, failed);
    }
    if (!problem) return py::none();
    return py::make_tuple(latin1(problem.message), problem.position, failed);
}

}  // namespace

void ExposeSummary(py::module_& p_module) {
    py::module_ summary =
        p_module.def_submodule("_summary", "The column gatherer behind kelvara.open_summary.");
    summary.def("gather", &Gather, py::arg("file"), py::arg("positions"), py::arg("swaps"),
                py::arg("items"), py::arg("columns"), py::arg("out"),
                "Gathers the items `columns` (-1: NaN) of every REAL record of `items` items "
                "whose headers stand at `positions` into the rows of out, without the "
                "interpreter's lock and without reading the rest of each record. None, or "
                "(message, byte, index of the record) when the file does not hold them.");
}

}  // namespace kelvara::bindings

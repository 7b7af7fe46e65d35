#include "bindings/TypedReadBindings.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bindings/FileObject.h"
#include "bindings/HostSources.h"
#include "bindings/ScanTable.h"
#include "eclipse/ItemType.h"
#include "eclipse/SectionScan.h"
#include "eclipse/TypedRead.h"

namespace kelvara::bindings {

namespace {

using eclipse::SectionScanner;
using stream::SharedFile;

// An open file for the typed layer: the shared descriptor behind a host file object, which stays
// open after the host object is closed, until close() or the end of this object.
struct Source {
    std::shared_ptr<SharedFile> m_file;

    // A reference of its own to the open file, so that a close() in another thread while a read
    // runs without the interpreter's lock leaves that read's file open.
    std::shared_ptr<SharedFile> file() const {
        if (!m_file) throw py::value_error("I/O operation on closed file.");
        return m_file;
    }
};

Source MakeSource(py::handle p_file) { return Source{GetFileStream(p_file)->file()}; }

py::object ReadInto(const Source& p_source, std::int64_t p_data_position, bool p_swap,
                    const std::string& p_type, std::int64_t p_count, py::array p_out) {
    const std::shared_ptr<SharedFile> file = p_source.file();
    return ReadIntoArray(p_type, p_count, p_out, [&](eclipse::TItemType p_item, void* p_into) {
        return eclipse::ReadTypedItems(*file, p_data_position, p_swap, p_item, p_count, p_into);
    });
}

py::object ReadRecords(const Source& p_source, py::array_t<std::int64_t> p_positions,
                       py::array_t<std::int32_t> p_counts, py::array_t<bool> p_swaps,
                       py::array_t<std::int32_t> p_out) {
    const py::ssize_t n = p_positions.size();
    if (p_counts.size() != n || p_swaps.size() != n || p_out.ndim() != 2 || p_out.shape(0) != n ||
        !(p_out.flags() & py::array::c_style) || !p_out.writeable()) {
        throw py::value_error("records: arrays of one length and an (n, width) C array");
    }
    // Contiguous copies of the inputs (already contiguous ones are used as they are).
    auto positions =
        py::array_t<std::int64_t, py::array::c_style | py::array::forcecast>(p_positions);
    auto counts = py::array_t<std::int32_t, py::array::c_style | py::array::forcecast>(p_counts);
    auto swaps = py::array_t<bool, py::array::c_style | py::array::forcecast>(p_swaps);
    const std::shared_ptr<SharedFile> file = p_source.file();
    const auto width = static_cast<std::int32_t>(p_out.shape(1));
    std::int32_t* out = p_out.mutable_data();
    std::size_t failed = 0;
    eclipse::TFormatProblem problem;
    {
        py::gil_scoped_release release;
        problem = eclipse::ReadIntRecords(*file, positions.data(), counts.data(), swaps.data(),
                                          static_cast<std::size_t>(n), width, out, failed);
    }
    if (!problem) return py::none();
    return py::make_tuple(latin1(problem.message), problem.position, failed);
}

}  // namespace

std::shared_ptr<SharedFile> SourceFile(py::handle p_source) {
    return p_source.cast<const Source&>().file();
}

void ExposeTypedRead(py::module_& p_module) {
    py::module_ typed = p_module.def_submodule(
        "_typed", "The checked section catalogue and the typed read behind kelvara.open.");

    py::class_<Source>(typed, "Source",
                       "The shared descriptor of an open file; it stays open after the host "
                       "file object is closed, until close().")
        .def(py::init(&MakeSource), py::arg("file"))
        .def_static(
            "from_buffer", [](const py::buffer& p_buffer) { return Source{BufferFile(p_buffer)}; },
            py::arg("buffer"), "A source over the bytes of a buffer, read in place.")
        .def_static(
            "from_reader", [](const py::object& p_file) { return Source{ReaderFile(p_file)}; },
            py::arg("file"),
            "A source over a seekable file object without a descriptor, read through its "
            "seek and readinto calls.")
        .def_property_readonly("size",
                               [](const Source& p_source) { return p_source.file()->size(); })
        .def_property_readonly("closed", [](const Source& p_source) { return !p_source.m_file; })
        .def("close", [](Source& p_source) { p_source.m_file.reset(); });

    py::class_<SectionScanner>(typed, "Scanner",
                               "A checked walk over every section of a file, made in steps.")
        .def(py::init([](const Source& p_source) {
                 return std::make_unique<SectionScanner>(p_source.file());
             }),
             py::arg("source"))
        .def("step", &SectionScanner::Step, py::arg("nbytes"),
             py::call_guard<py::gil_scoped_release>(),
             "Walks on over at least nbytes bytes; True when the walk is over.")
        .def_property_readonly("position", &SectionScanner::position)
        .def_property_readonly("file_size", &SectionScanner::file_size)
        .def_property_readonly("guessed", &SectionScanner::guessed,
                               "Sections taken by the arithmetic of the standard blocks.")
        .def_property_readonly("walked", &SectionScanner::walked,
                               "Sections whose block frames were walked.")
        .def_property_readonly("problem", &ScanProblem<SectionScanner>,
                               "None, or (message, byte, section name, section position).")
        .def("table", &ScanTable<SectionScanner>,
             "(positions, counts, name ids, type ids, big-endian flags, names, types).");

    typed.def("read_into", &ReadInto, py::arg("source"), py::arg("data_position"), py::arg("swap"),
              py::arg("type"), py::arg("count"), py::arg("out"),
              "Reads a section's items into out, without the interpreter's lock. None, or "
              "(message, byte) when the file does not hold them.");
    typed.def("read_records", &ReadRecords, py::arg("source"), py::arg("positions"),
              py::arg("counts"), py::arg("swaps"), py::arg("out"),
              "Reads the first out.shape[1] items of each INTE section into the rows of out. "
              "None, or (message, byte, index of the section).");
}

}  // namespace kelvara::bindings

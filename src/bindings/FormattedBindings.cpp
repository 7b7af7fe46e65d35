#include "bindings/FormattedBindings.h"

#include <pybind11/numpy.h>

#include <memory>
#include <string>
#include <vector>

#include "bindings/ScanTable.h"
#include "bindings/TypedReadBindings.h"
#include "eclipse/ItemType.h"
#include "eclipse/TypedRead.h"
#include "formatted/FormattedRead.h"
#include "formatted/FormattedScan.h"

namespace kelvara::bindings {

namespace {

using formatted::FormattedScanner;

py::object ReadInto(py::handle p_source, std::int64_t p_position, std::int64_t p_line,
                    const std::string& p_type, std::int32_t p_count, py::array p_out) {
    const std::shared_ptr<stream::SharedFile> file = SourceFile(p_source);
    return ReadIntoArray(p_type, p_count, p_out, [&](eclipse::TItemType p_item, void* p_into) {
        return formatted::ReadFormattedItems(*file, p_position, p_line, p_item, p_count, p_into);
    });
}

}  // namespace

void ExposeFormatted(py::module_& p_module) {
    py::module_ text = p_module.def_submodule(
        "_formatted", "The catalogue and the typed read of formatted (text) files.");

    text.def(
        "looks_formatted",
        [](py::handle p_source) {
            const std::shared_ptr<stream::SharedFile> file = SourceFile(p_source);
            py::gil_scoped_release release;
            return formatted::LooksFormatted(*file);
        },
        py::arg("source"),
        "True when the first character of the file that is not blank is a quote.");

    py::class_<FormattedScanner>(text, "Scanner",
                                 "A checked walk over every section of a formatted file, made in "
                                 "steps; the same table as _typed.Scanner.")
        .def(py::init([](py::handle p_source) {
                 return std::make_unique<FormattedScanner>(SourceFile(p_source));
             }),
             py::arg("source"))
        .def("step", &FormattedScanner::Step, py::arg("nbytes"),
             py::call_guard<py::gil_scoped_release>(),
             "Walks on over at least nbytes bytes; True when the walk is over.")
        .def_property_readonly("position", &FormattedScanner::position)
        .def_property_readonly("file_size", &FormattedScanner::file_size)
        .def_property_readonly("problem", &ScanProblem<FormattedScanner>,
                               "None, or (message, byte, section name, section position).")
        .def("table", &ScanTable<FormattedScanner>,
             "(positions, counts, name ids, type ids, big-endian flags (all False: text has no "
             "byte order), names, types).")
        .def(
            "lines", [](const FormattedScanner& p_scanner) { return to_array(p_scanner.lines); },
            "The 1-based line of each section's header.");

    text.def("read_into", &ReadInto, py::arg("source"), py::arg("position"), py::arg("line"),
             py::arg("type"), py::arg("count"), py::arg("out"),
             "Reads the items of the section whose header line starts at byte position (line "
             "line) into out, without the interpreter's lock. None, or (message, byte) when the "
             "text does not hold them.");
}

}  // namespace kelvara::bindings

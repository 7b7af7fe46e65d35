#include "bindings/FormattedBindings.h"

#include <pybind11/numpy.h>

#include <memory>
#include <string>
#include <vector>

#include "bindings/TypedReadBindings.h"
#include "eclipse/ItemType.h"
#include "eclipse/TypedRead.h"
#include "formatted/FormattedRead.h"
#include "formatted/FormattedScan.h"

namespace kelvara::bindings {

namespace {

using formatted::FormattedScanner;

template <class T>
py::array_t<T> to_array(const std::vector<T>& p_values) {
    return py::array_t<T>(static_cast<py::ssize_t>(p_values.size()), p_values.data());
}

py::list to_texts(const std::vector<std::string>& p_texts) {
    py::list out(p_texts.size());
    for (std::size_t i = 0; i < p_texts.size(); ++i) out[i] = latin1(p_texts[i]);
    return out;
}

py::object Problem(const FormattedScanner& p_scanner) {
    const auto& problem = p_scanner.problem();
    if (!problem) return py::none();
    return py::make_tuple(latin1(problem.message), problem.position,
                          latin1(p_scanner.problem_section()),
                          p_scanner.problem_section_position());
}

py::tuple Table(const FormattedScanner& p_scanner) {
    // No byte order in a text file: the flags are all false, as the unformatted table's
    // little-endian ones.
    py::array_t<bool> swaps(static_cast<py::ssize_t>(p_scanner.positions.size()));
    for (py::ssize_t i = 0; i < swaps.size(); ++i) swaps.mutable_at(i) = false;
    return py::make_tuple(to_array(p_scanner.positions), to_array(p_scanner.counts),
                          to_array(p_scanner.name_ids), to_array(p_scanner.type_ids), swaps,
                          to_texts(p_scanner.names), to_texts(p_scanner.types));
}

py::object ReadInto(py::handle p_source, std::int64_t p_position, std::int64_t p_line,
                    const std::string& p_type, std::int32_t p_count, py::array p_out) {
    eclipse::TItemType type;
    if (p_type.size() != 4 || !eclipse::ParseItemType(p_type.data(), type)) {
        throw py::value_error("unknown section type " + p_type);
    }
    if (p_count < 0) throw py::value_error("a negative item count");
    if (!(p_out.flags() & py::array::c_style) || !p_out.writeable() ||
        p_out.nbytes() != eclipse::TypedBytes(type, p_count)) {
        throw py::value_error("the array does not fit the section's items");
    }
    const std::shared_ptr<stream::SharedFile> file = SourceFile(p_source);
    // The array stays referenced by the caller's frame while the lock is released.
    void* out = p_out.mutable_data();
    formatted::TTextProblem problem;
    {
        py::gil_scoped_release release;
        problem = formatted::ReadFormattedItems(*file, p_position, p_line, type, p_count, out);
    }
    if (!problem) return py::none();
    return py::make_tuple(latin1(problem.message), problem.position);
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
        .def_property_readonly("problem", &Problem,
                               "None, or (message, byte, section name, section position).")
        .def("table", &Table,
             "(positions, counts, name ids, type ids, big-endian flags (all False), names, "
             "types).")
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

#include "bindings/ImexBindings.h"

#include <pybind11/numpy.h>

#include <cstdint>
#include <memory>
#include <stdexcept>

#include "bindings/CharArg.h"
#include "bindings/FeederTries.h"
#include "bindings/FileObject.h"
#include "bindings/Relax.h"
#include "builder/ArrayFeeder.h"
#include "imex/Section.h"

namespace kelvara::bindings {

namespace {

using imex::Section;
using ostrel::builder::ArrayFeeder;

constexpr const char* kInvalidDataType = "Invalid data type";

// The constructor: the file test, the stream, then the position, converted up to twice. When
// neither conversion works the host's errors are cleared and the result is None.
py::object MakeSection(py::handle p_file, py::handle p_position, bool p_bare_records) {
    auto stream = GetFileStream(p_file);
    for (int attempt = 0; attempt < 2; ++attempt) {
        // Through __index__ only: a float or a string is no position.
        PyObject* index = PyNumber_Index(p_position.ptr());
        const long long position = index ? PyLong_AsLongLong(index) : -1;
        Py_XDECREF(index);
        if (position == -1 && PyErr_Occurred()) {
            PyErr_Clear();
            continue;
        }
        return py::cast(std::make_shared<Section>(stream, position, p_bare_records));
    }
    return py::none();
}

// The whole payload as a NumPy array of the type's items, read straight into the array's memory.
template <class T>
py::array_t<T> WholePayload(Section& p_section, std::uint32_t p_count) {
    p_section.CheckFits(p_section.data_pos(), p_count, sizeof(T));
    py::array_t<T> result(static_cast<py::ssize_t>(p_count));
    p_section.LoadWhole(result.mutable_data());
    return result;
}

py::object GetItems(Section& p_section, CharArg p_type) {
    RelaxOnReturn<Section> relax{p_section};
    switch (p_type.value) {
        case 'd':
            return WholePayload<double>(p_section, p_section.ItemsCount('d'));
        case 'i':
            return WholePayload<std::int32_t>(p_section, p_section.ItemsCount('i'));
        default:
            throw std::runtime_error(kInvalidDataType);
    }
}

bool FeedItems(Section& p_section, CharArg p_type, py::handle p_feeder) {
    RelaxOnReturn<Section> relax{p_section};
    auto feeder = BySharedHandle<ArrayFeeder>(p_feeder);
    if (!feeder) return false;
    switch (p_type.value) {
        case 'd':
            return p_section.FeedDoubleRange(*feeder, 0, -1);
        case 'i':
            return p_section.FeedIntRange(*feeder, 0, -1);
        default:
            throw std::runtime_error(kInvalidDataType);
    }
}

// The metaclass of Section: calling the class runs MakeSection, which may give None, as no
// pybind11 constructor can.
py::object SectionMetaclass() {
    auto* base = reinterpret_cast<PyObject*>(py::detail::get_internals().default_metaclass);
    py::object meta = py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(&PyType_Type))(
        "SectionType", py::make_tuple(py::handle(base)),
        py::dict(py::arg("__module__") = "kelvara._kelvaraio"));
    meta.attr("__call__") = py::cpp_function(
        [](py::handle /*p_class*/, py::handle p_file, py::handle p_position, bool p_bare_records) {
            return MakeSection(p_file, p_position, p_bare_records);
        },
        py::is_method(meta), py::name("__call__"), py::arg("file"), py::arg("position"),
        py::arg("bare_records"));
    return meta;
}

}  // namespace

void ExposeImex(py::class_<ImexScope>& p_scope) {
    py::class_<Section, std::shared_ptr<Section>>(
        p_scope, "Section", py::metaclass(SectionMetaclass()),
        "Section(file, position, bare_records): a cursor over one framed block of an IMEX file.\n\n"
        "position is anything with __index__ (negative starts at 0); when it converts neither "
        "time the call gives None. bare_records takes every block as a big-endian size word and "
        "its payload. The cursor reads at positions of its own and never moves the file "
        "object.")
        .def(
            "ItemsCount",
            [](const Section& p_section, CharArg p_type) {
                return p_section.ItemsCount(p_type.value);
            },
            py::arg("type"),
            "Items of type 'i' (int32) or 'd' (float64) that the payload holds. Any other "
            "code prints \"Unknown section type:\" and the code on standard error and gives 0.")
        .def("SwapBytes", &Section::SwapBytes, "True when the file's bytes are reversed.")
        .def("Advance", &Relaxed<&Section::Advance, Section>,
             "Moves to the block at end_pos; True when its header was read.")
        .def("GoTo", &Relaxed<&Section::GoTo, Section, std::int64_t>, py::arg("position"),
             "Moves to the block at position; True when its header was read.")
        .def("Size", &Section::Size, "The whole block's size in bytes: header, payload, trailer.")
        .def("GetItems", &GetItems, py::arg("type"),
             "The whole payload as a NumPy array, int32 for 'i' and float64 for 'd'. A block "
             "claiming more than the rest of the file holds raises RuntimeError before anything "
             "is allocated; any other code raises RuntimeError \"Invalid data type\".")
        .def("FeedItems", &FeedItems, py::arg("type"), py::arg("feeder"),
             "Feeds the whole payload to an ArrayFeeder as doubles; True when every item "
             "arrived. False, with no test of the code, when feeder is no ArrayFeeder.")
        .def_property_readonly("start_pos", &Section::start_pos,
                               "Byte position of the block's first byte.")
        .def_property_readonly("data_pos", &Section::data_pos,
                               "Byte position of the payload's first byte.")
        .def_property_readonly("end_pos", &Section::end_pos,
                               "Byte position just behind the block: the next block's start.")
        .def_property_readonly("data_size", &Section::data_size, "The payload's size in bytes.")
        .def("__repr__", [](const Section& p_section) {
            return py::str("<imex.Section frame={} data_size={} at {}>")
                .format(p_section.frame(), p_section.data_size(), p_section.start_pos());
        });
}

}  // namespace kelvara::bindings

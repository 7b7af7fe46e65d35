#include "bindings/EclipseBindings.h"

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bindings/FeederTries.h"
#include "bindings/FileObject.h"
#include "bindings/GridFileBindings.h"
#include "builder/ArrayFeeder.h"
#include "eclipse/ItemRecords.h"
#include "eclipse/Section.h"
#include "eclipse/SectionMaps.h"

namespace kelvara::bindings {

namespace {

using eclipse::Section;
using eclipse::TSectionData;
using ostrel::builder::ArrayFeeder;
using CharVectorPtr = std::shared_ptr<std::vector<char>>;

// The feeder inside a host object, by reference; pybind11's cast error when there is none.
ArrayFeeder& ExtractFeeder(py::handle p_feeder) {
    return RequireByReference<ArrayFeeder>(p_feeder);
}

// A host list of fixed size whose slots are filled in order; slots past its end are refused and
// the values dropped, slots no value reached stay None.
class HostListCursor final : public eclipse::TListCursor {
  public:
    explicit HostListCursor(Py_ssize_t p_size) : m_list(p_size) {
        for (Py_ssize_t i = 0; i < p_size; ++i) {
            Py_INCREF(Py_None);
            PyList_SET_ITEM(m_list.ptr(), i, Py_None);
        }
    }
    void put_int(std::int32_t p_value) override { store(PyLong_FromLong(p_value)); }
    void put_float(double p_value) override { store(PyFloat_FromDouble(p_value)); }
    void put_text(const char* p_text) override {
        store(
            PyUnicode_DecodeLatin1(p_text, static_cast<Py_ssize_t>(std::strlen(p_text)), nullptr));
    }
    py::list& list() { return m_list; }

  private:
    void store(PyObject* p_item) {
        if (p_item == nullptr) throw py::error_already_set();
        if (m_next < PyList_GET_SIZE(m_list.ptr())) {
            PyList_SetItem(m_list.ptr(), m_next, p_item);  // steals, releases the None
        } else {
            Py_DECREF(p_item);
        }
        ++m_next;
    }

    py::list m_list;
    Py_ssize_t m_next = 0;
};

// Every host call on a cursor that reads gives back, when it ends, a large buffer that a bulk
// read grew, so that thousands of idle cursors stay small.
struct RelaxOnReturn {
    Section& m_section;
    ~RelaxOnReturn() { m_section.stream().relax(); }
};

bool Advance(Section& p_section) {
    RelaxOnReturn relax{p_section};
    return p_section.Advance();
}

bool GoTo(Section& p_section, std::int64_t p_position) {
    RelaxOnReturn relax{p_section};
    return p_section.GoTo(p_position);
}

void LoadToFeeder(Section& p_section, py::handle p_feeder) {
    RelaxOnReturn relax{p_section};
    p_section.FeedAll(ExtractFeeder(p_feeder));
}

void LoadToFeederRange(Section& p_section, py::handle p_feeder, std::int32_t p_start,
                       std::int32_t p_count, std::int32_t p_skip) {
    RelaxOnReturn relax{p_section};
    p_section.FeedRange(ExtractFeeder(p_feeder), p_start, p_count, p_skip);
}

std::shared_ptr<Section> MakeSection(py::handle p_file) {
    return std::make_shared<Section>(GetFileStream(p_file));
}

std::shared_ptr<Section> MakeSectionAt(py::handle p_file, std::int64_t p_position) {
    return std::make_shared<Section>(GetFileStream(p_file), p_position);
}

py::list LoadItems(Section& p_section) {
    RelaxOnReturn relax{p_section};
    p_section.CheckListFits(p_section.Size());
    HostListCursor cursor(std::max<std::int32_t>(p_section.Size(), 0));
    p_section.ListAll(cursor);
    return cursor.list();
}

py::list LoadItemsRange(Section& p_section, std::int32_t p_start, std::int32_t p_count) {
    if (p_count < 0) throw py::value_error("LoadItems needs a count of 0 or more");
    RelaxOnReturn relax{p_section};
    p_section.CheckListFits(p_count);
    HostListCursor cursor(p_count);
    p_section.ListRange(cursor, p_start, p_count, 1);
    return cursor.list();
}

void LoadToFeederMasked(Section& p_section, py::handle p_mask, std::int32_t p_value,
                        py::handle p_feeder) {
    RelaxOnReturn relax{p_section};
    py::detail::make_caster<CharVectorPtr> mask_caster;
    // None converts to an empty pointer, which is no mask either.
    if (!mask_caster.load(p_mask, true) || !py::detail::cast_op<CharVectorPtr>(mask_caster)) {
        throw py::type_error("Section mask must be std::vector<char>!");
    }
    ArrayFeeder& feeder = ExtractFeeder(p_feeder);
    const CharVectorPtr mask = py::detail::cast_op<CharVectorPtr>(mask_caster);
    p_section.FeedMasked(eclipse::TSectionMask{*mask, p_value}, feeder);
}

py::dict MapFileSections(py::handle p_file) {
    auto sections = WithHostStream(
        p_file, [](const auto& p_stream) { return eclipse::ListFileSections(p_stream); });
    py::dict catalogue;
    for (auto& section : sections) {
        py::str key = latin1(section.name);
        catalogue[key] = py::cast(std::move(section));
    }
    return catalogue;
}

using SequenceWalk = void (*)(const std::shared_ptr<stream::FileStream>&, std::int32_t,
                              std::int64_t, ArrayFeeder&);

// The host entry of a grid section walk: stream, feeder, walk; the host object is left where
// the walk ended.
template <SequenceWalk Walk>
void ReadSequence(py::handle p_file, std::int32_t p_count, std::int64_t p_position,
                  py::handle p_feeder) {
    WithHostStream(p_file, [&](const auto& p_stream) {
        ArrayFeeder& feeder = ExtractFeeder(p_feeder);
        Walk(p_stream, p_count, p_position, feeder);
    });
}

}  // namespace

void ExposeEclipseSection(py::class_<EclipseScope>& p_scope) {
    py::class_<TSectionData>(p_scope, "SectionData",
                             "The record of one section: where its header lies, its trimmed "
                             "name, its four type characters and its item count. Made only by "
                             "Section.Data and by the section maps.")
        .def_property_readonly(
            "position", [](const TSectionData& p_data) { return p_data.position; },
            "Byte offset of the section's header in the file.")
        .def_property_readonly(
            "name", [](const TSectionData& p_data) { return latin1(p_data.name); },
            "The section name, trimmed of blanks.")
        .def_property_readonly(
            "type", [](const TSectionData& p_data) { return latin1(p_data.type); },
            "All four characters of the section type, untrimmed.")
        .def_property_readonly(
            "size", [](const TSectionData& p_data) { return p_data.size; }, "The item count.")
        .def("__repr__", [](const TSectionData& p_data) {
            return py::str("SectionData(name={!r}, type={!r}, size={}, position={})")
                .format(latin1(p_data.name), latin1(p_data.type), p_data.size, p_data.position);
        });

    auto name = [](const Section& p_section) { return latin1(p_section.Name()); };
    py::class_<Section, std::shared_ptr<Section>>(
        p_scope, "Section",
        "A forward cursor over the sections of an ECLIPSE unformatted file. It reads at a "
        "position of its own and never moves the file object.")
        .def(py::init(&MakeSection), py::arg("file"),
             "Reads the section header where the file object stands.")
        .def(py::init(&MakeSectionAt), py::arg("file"), py::arg("position"),
             "Reads the section header at position; a negative position reads where the file "
             "object stands.")
        .def("Name", name, "The section name, trimmed of blanks.")
        .def_property_readonly("name", name, "The section name, trimmed of blanks.")
        .def("Data", &Section::Data, "The section's record: position, name, type, size.")
        .def("Size", &Section::Size, "The item count.")
        .def("SizeInBytes", &Section::SizeInBytes,
             "The item count as well (not multiplied by the item size).")
        .def(
            "Type", [](const Section& p_section) { return latin1(p_section.Type()); },
            "The four characters of the section type.")
        .def("GoTo", &GoTo, py::arg("position"),
             "Reads the header at position; True when a whole header was read. A negative "
             "position raises RuntimeError.")
        .def("Advance", &Advance, "Moves to the next section's header; True when one was read.")
        .def("Position", &Section::Position, "Byte offset of the current header.")
        .def("LoadItems", &LoadItems, "All items of the section as a list.")
        .def("LoadItems", &LoadItemsRange, py::arg("start"), py::arg("count"),
             "count items from item start on as a list.")
        .def("LoadToFeeder", &LoadToFeeder, py::arg("feeder"),
             "Feeds every item of the section to an ArrayFeeder as a double.")
        .def("LoadToFeeder", &LoadToFeederRange, py::arg("feeder"), py::arg("start"),
             py::arg("count"), py::arg("skip"),
             "Feeds count items from item start on (count -1: the rest); every item of the first "
             "block, then every skip-th item.")
        .def("LoadToFeeder", &LoadToFeederMasked, py::arg("mask"), py::arg("value"),
             py::arg("feeder"),
             "Feeds the items whose CharVector mask entry, as a signed byte, equals value.")
        .def("__repr__", [](const Section& p_section) {
            return py::str("<eclipse.Section {!r} {!r} size={} at {}>")
                .format(latin1(p_section.Name()), latin1(p_section.Type()), p_section.Size(),
                        p_section.Position());
        });
}

void ExposeEclipseStatics(py::class_<EclipseScope>& p_scope) {
    p_scope.def_static("MapFileSections", &MapFileSections, py::arg("file"),
                       "A dict of the file's sections by name, the last occurrence of each.");
    ExposeGridFileScans(p_scope);
    p_scope.def_static("ReadGridCornersSections", &ReadSequence<eclipse::ReadCornersSequence>,
                       py::arg("file"), py::arg("count"), py::arg("position"), py::arg("feeder"),
                       "Feeds the items of count CORNERS sections from position on.");
    p_scope.def_static("ReadGridActnumSections", &ReadSequence<eclipse::ReadActnumSequence>,
                       py::arg("file"), py::arg("count"), py::arg("position"), py::arg("feeder"),
                       "Feeds item 4 (activity) of count COORDS sections from position on.");
    p_scope.def_static("ReadGridHostnumSections", &ReadSequence<eclipse::ReadHostnumSequence>,
                       py::arg("file"), py::arg("count"), py::arg("position"), py::arg("feeder"),
                       "Feeds item 5 (host cell) of count COORDS sections from position on.");
    ExposeDualPorosityStatics(p_scope);
}

}  // namespace kelvara::bindings

// The host's section catalogue: SectionInfo records, the SectionInfoMap by name, and the
// SPECInfo store that files records apart by name.
#include "bindings/SectionCatalogue.h"

#include <memory>
#include <string>

#include "bindings/SectionInfo.h"

namespace kelvara::bindings {

namespace {

using InfoPtr = std::shared_ptr<TSectionInfo>;

// Host text to bytes, one character one byte; a character beyond U+00FF cannot be one byte.
std::string from_latin1(const py::str& p_text) {
    PyObject* bytes = PyUnicode_AsLatin1String(p_text.ptr());
    if (bytes == nullptr) throw py::error_already_set();
    const auto owned = py::reinterpret_steal<py::bytes>(bytes);
    return std::string(owned);
}

// A property of text that reads and writes p_field as Latin-1.
template <std::string TSectionInfo::*Field>
void TextProperty(py::class_<TSectionInfo, InfoPtr>& p_class, const char* p_name,
                  const char* p_doc) {
    p_class.def_property(
        p_name, [](const TSectionInfo& p_info) { return latin1(p_info.*Field); },
        [](TSectionInfo& p_info, const py::str& p_value) { p_info.*Field = from_latin1(p_value); },
        p_doc);
}

py::object Lookup(const TSectionInfoMap& p_map, const py::str& p_key) {
    const auto found = p_map.find(from_latin1(p_key));
    if (found == p_map.end() || !found->second) return py::none();
    return py::cast(found->second);
}

}  // namespace

void ExposeSectionCatalogue(py::class_<EclipseScope>& p_scope) {
    TSPECInfo::FillFrtSectionNames();

    py::class_<TSectionInfo, InfoPtr> info(
        p_scope, "SectionInfo",
        "What the host knows of one section: name, file, type, address (a signed 32-bit "
        "integer) and item count.");
    info.def(py::init([](const py::str& p_name, const py::str& p_filename, const py::str& p_type,
                         std::int32_t p_address, std::int32_t p_items_count) {
                 auto record = std::make_shared<TSectionInfo>();
                 record->name = from_latin1(p_name);
                 record->filename = from_latin1(p_filename);
                 record->type = from_latin1(p_type);
                 record->address = p_address;
                 record->items_count = p_items_count;
                 return record;
             }),
             py::arg("name"), py::arg("filename"), py::arg("type"), py::arg("address"),
             py::arg("items_count"));
    TextProperty<&TSectionInfo::name>(info, "name", "The section name, the key in the maps.");
    TextProperty<&TSectionInfo::filename>(info, "filename", "The file that holds the section.");
    TextProperty<&TSectionInfo::type>(info, "type", "The section's type.");
    info.def_readwrite("address", &TSectionInfo::address,
                       "The section's place in its file, a signed 32-bit integer.")
        .def_readwrite("items_count", &TSectionInfo::items_count, "The number of items.")
        .def_property(
            "num_limits",
            [](const TSectionInfo& p_info) -> py::object {
                if (p_info.upper_limit < p_info.lower_limit) return py::none();
                return py::make_tuple(p_info.lower_limit, p_info.upper_limit);
            },
            // The limits have no writer: an assignment is taken and changes nothing.
            [](TSectionInfo&, const py::object&) {},
            "(lower, upper), or None while the limits are inverted, which they always are: "
            "assignments are accepted and ignored.")
        .def("__repr__", [](const TSectionInfo& p_info) {
            return py::str(
                       "SectionInfo(name={!r}, filename={!r}, type={!r}, address={}, "
                       "items_count={})")
                .format(latin1(p_info.name), latin1(p_info.filename), latin1(p_info.type),
                        p_info.address, p_info.items_count);
        });

    py::class_<TSectionInfoMap>(p_scope, "SectionInfoMap",
                                "SectionInfo records by section name. Lookup of a missing name "
                                "gives None; there is no iteration and no deletion.")
        .def(py::init<>())
        .def("get", &Lookup, py::arg("key"), "The record under key, or None.")
        .def("__getitem__", &Lookup, py::arg("key"), "The record under key, or None.")
        .def(
            "__setitem__",
            [](TSectionInfoMap& p_map, const py::str& p_key, InfoPtr p_info) {
                p_map[from_latin1(p_key)] = std::move(p_info);
            },
            py::arg("key"), py::arg("info"), "Inserts or replaces the record under key.")
        .def("__len__", [](const TSectionInfoMap& p_map) { return p_map.size(); })
        // No iteration: without this, __getitem__ would make the map look like a sequence.
        .attr("__iter__") = py::none();

    auto map_of = [](TSectionInfoMap TSPECInfo::*p_field) {
        return [p_field](TSPECInfo& p_store) -> TSectionInfoMap& { return p_store.*p_field; };
    };
    py::class_<TSPECInfo>(p_scope, "SPECInfo",
                          "A store of SectionInfo records: frt_sections for a fixed set of 37 "
                          "names, map_sections for all others, tab_sections for the host.")
        .def(py::init<>())
        .def(
            "AddSectionInfo",
            [](TSPECInfo& p_store, const InfoPtr& p_info) {
                // The record's name decides the target, so there must be a record.
                if (!p_info) throw py::type_error("AddSectionInfo needs a SectionInfo, not None");
                p_store.AddSectionInfo(p_info);
            },
            py::arg("info"), "Files the record under its name in frt_sections or map_sections.")
        .def_property_readonly("frt_sections", map_of(&TSPECInfo::frt_sections),
                               py::return_value_policy::reference_internal,
                               "The records of the fixed name set (a view into the store).")
        .def_property_readonly("tab_sections", map_of(&TSPECInfo::tab_sections),
                               py::return_value_policy::reference_internal,
                               "Records the host files itself (a view into the store).")
        .def_property_readonly("map_sections", map_of(&TSPECInfo::map_sections),
                               py::return_value_policy::reference_internal,
                               "The records of all other names (a view into the store).");
}

}  // namespace kelvara::bindings

#include "bindings/WriterBindings.h"

#include <pybind11/numpy.h>

#include <memory>
#include <string>

#include "eclipse/ItemType.h"
#include "writer/SectionWriter.h"

namespace kelvara::bindings {

namespace {

using writer::ByteSink;
using writer::SectionWriter;

// Bytes for a host object's write call (an io.BytesIO, a socket file, an fsspec file): one
// call a buffer's worth, the interpreter's lock taken for that call only.
class HostSink final : public ByteSink {
  public:
    explicit HostSink(py::object p_file) : m_file(std::move(p_file)) {}
    ~HostSink() override {
        py::gil_scoped_acquire lock;
        m_file = py::object();
    }

    void put(const char* p_data, std::size_t p_size) override {
        py::gil_scoped_acquire lock;
        while (p_size > 0) {
            py::object n = m_file.attr("write")(
                py::memoryview::from_memory(p_data, static_cast<py::ssize_t>(p_size)));
            // A raw file may take fewer bytes than given; None means it took none for now.
            const std::size_t taken = n.is_none() ? 0 : n.cast<std::size_t>();
            if (taken == 0) throw py::value_error("the file object took no bytes to write");
            p_data += taken;
            p_size -= std::min(taken, p_size);
        }
    }

  private:
    py::object m_file;
};

// A writer over a descriptor (an int) or a host object with a write method.
struct Writer {
    std::unique_ptr<ByteSink> m_sink;
    std::unique_ptr<SectionWriter> m_writer;
};

std::unique_ptr<Writer> MakeWriter(const py::object& p_target) {
    auto out = std::make_unique<Writer>();
    if (py::isinstance<py::int_>(p_target)) {
        out->m_sink = std::make_unique<writer::DescriptorSink>(p_target.cast<int>());
    } else {
        out->m_sink = std::make_unique<HostSink>(p_target);
    }
    out->m_writer = std::make_unique<SectionWriter>(*out->m_sink);
    return out;
}

// Bytes one item takes in memory for the type.
std::int64_t MemoryItemBytes(const eclipse::TItemType& p_kind, py::ssize_t p_itemsize) {
    switch (p_kind.kind) {
        case eclipse::ItemClass::Logi:
            return 1;
        case eclipse::ItemClass::Char:
            return p_itemsize;
        case eclipse::ItemClass::Mess:
            return 0;
        default:
            return p_kind.size;
    }
}

void WriteSection(Writer& p_writer, const std::string& p_name, const std::string& p_type,
                  const py::array& p_items, bool p_formatted) {
    eclipse::TItemType kind;
    if (p_name.size() != 8) throw py::value_error("a section name is 8 characters, blank padded");
    if (p_type.size() != 4 || !eclipse::ParseItemType(p_type.data(), kind)) {
        throw py::value_error("unknown section type " + p_type);
    }
    if (!(p_items.flags() & py::array::c_style) || p_items.ndim() != 1) {
        throw py::value_error("the items must be one contiguous 1-D array");
    }
    const std::int64_t count = p_items.size();
    const py::ssize_t itemsize = p_items.itemsize();
    const bool fits = kind.kind == eclipse::ItemClass::Mess
                          ? count == 0
                          : itemsize == MemoryItemBytes(kind, itemsize) &&
                                (kind.kind != eclipse::ItemClass::Char || itemsize <= kind.size);
    if (!fits) throw py::value_error("the array's items do not fit the type " + p_type);
    if (count > 2147483647) throw py::value_error("a section of more than 2147483647 items");
    writer::TItems items{p_items.data(), count, static_cast<std::int32_t>(itemsize)};
    py::gil_scoped_release release;
    p_writer.m_writer->write(p_name, p_type.data(), items, p_formatted);
}

}  // namespace

void ExposeWriter(py::module_& p_module) {
    py::module_ write = p_module.def_submodule("_write", "The native section writer.");
    py::class_<Writer>(write, "Writer",
                       "Writes sections into a descriptor (an int, at its present offset) or a "
                       "file object's write method, through a buffer of its own.")
        .def(py::init(&MakeWriter), py::arg("target"))
        .def("section", &WriteSection, py::arg("name"), py::arg("type"), py::arg("items"),
             py::arg("formatted") = false,
             "Writes one section; items is a C-contiguous 1-D array of the type's memory form.")
        .def(
            "flush", [](Writer& p_writer) { p_writer.m_writer->flush(); },
            py::call_guard<py::gil_scoped_release>(), "Hands every buffered byte on.");
}

}  // namespace kelvara::bindings

#include "bindings/FileObject.h"

#include <utility>

namespace kelvara::bindings {

namespace {

const char* const not_a_file = "First argument must be a file object!";

py::handle io_base() {
    // Kept for the life of the process; never released at interpreter shutdown.
    static py::handle s_io_base = py::object(py::module_::import("io").attr("IOBase")).release();
    return s_io_base;
}

}  // namespace

std::shared_ptr<stream::FileStream> GetFileStream(py::handle p_file) {
    if (!py::isinstance(p_file, io_base())) throw py::type_error(not_a_file);
    int descriptor;
    try {
        descriptor = p_file.attr("fileno")().cast<int>();
    } catch (py::error_already_set&) {
        throw py::type_error(not_a_file);
    } catch (py::cast_error&) {
        throw py::type_error(not_a_file);
    }
    // A descriptor that cannot be read, or is no regular file, is refused before the host
    // object is asked for a position it may not have.
    auto file = stream::SharedFile::for_descriptor(descriptor);
    // Bytes the host has written but still buffers must reach the file before it is read.
    if (p_file.attr("writable")().cast<bool>()) p_file.attr("flush")();
    const auto position = p_file.attr("tell")().cast<std::int64_t>();
    return std::make_shared<stream::FileStream>(std::move(file), position);
}

void SetHostPosition(py::handle p_file, std::int64_t p_position) {
    try {
        p_file.attr("seek")(p_position);
    } catch (py::error_already_set& p_refusal) {
        if (!p_refusal.matches(PyExc_OSError) && !p_refusal.matches(PyExc_OverflowError) &&
            !p_refusal.matches(PyExc_ValueError)) {
            throw;
        }
        // A position beyond what the host's file system accepts (a walk sent far past the
        // end): the host object goes to the end of its file, the nearest place it has, and the
        // operation ends as its own result says.
        try {
            p_file.attr("seek")(0, 2);
        } catch (py::error_already_set&) {
            // The host object refuses to move at all; it stays where it was.
        }
    }
}

}  // namespace kelvara::bindings

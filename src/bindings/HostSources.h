#pragma once

#include <memory>

#include "bindings/Common.h"
#include "stream/SharedFile.h"

namespace kelvara::bindings {

// A shared file over the bytes of a host buffer (a memoryview of an io.BytesIO, bytes, a NumPy
// array), read in place with no copy. The buffer stays exported until the file is released.
std::shared_ptr<stream::SharedFile> BufferFile(const py::buffer& p_buffer);

// A shared file over a readable, seekable host file object that has no descriptor (an fsspec
// file): each read seeks and calls readinto (or read) once for the whole stretch asked for,
// taking the interpreter's lock for that call only.
std::shared_ptr<stream::SharedFile> ReaderFile(const py::object& p_file);

}  // namespace kelvara::bindings

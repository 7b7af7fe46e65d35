#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "bindings/Common.h"
#include "stream/FileStream.h"

namespace kelvara::bindings {

// The stream behind a host file object: any io.IOBase whose fileno() works. The stream reads the
// same open file at a position of its own, starting where the host object's tell() stands.
// Anything else raises TypeError "First argument must be a file object!".
std::shared_ptr<stream::FileStream> GetFileStream(py::handle p_file);

// Moves the host object to p_position, as a shared stream would have been left. A position the
// host refuses (OSError, OverflowError, ValueError) leaves it at the end of its file instead;
// no error comes of it. Other exceptions of the host's seek go up.
void SetHostPosition(py::handle p_file, std::int64_t p_position);

// Runs p_operation on a stream of p_file and leaves the host object where the stream ended,
// also when the operation throws.
template <class Operation>
auto WithHostStream(py::handle p_file, Operation&& p_operation) {
    auto stream = GetFileStream(p_file);
    try {
        if constexpr (std::is_void_v<decltype(p_operation(stream))>) {
            p_operation(stream);
            SetHostPosition(p_file, stream->tell());
        } else {
            auto result = p_operation(stream);
            SetHostPosition(p_file, stream->tell());
            return result;
        }
    } catch (...) {
        try {
            SetHostPosition(p_file, stream->tell());
        } catch (py::error_already_set&) {
            // The operation's own failure is the one to report.
        }
        throw;
    }
}

}  // namespace kelvara::bindings

#include "bindings/HostSources.h"

#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

namespace kelvara::bindings {

namespace {

// Host objects held by a file that may be released where the interpreter's lock is not held:
// the deleter takes the lock first.
template <class T>
std::shared_ptr<T> held_with_lock(T* p_value) {
    return std::shared_ptr<T>(p_value, [](T* p_object) {
        py::gil_scoped_acquire lock;
        delete p_object;
    });
}

// Reads through the host object's own calls; one at a time, since each is a seek and a read
// on a position the host object shares between them.
class HostReader {
  public:
    explicit HostReader(std::shared_ptr<py::object> p_file) : m_file(std::move(p_file)) {}

    std::size_t operator()(void* p_out, std::size_t p_size, std::int64_t p_offset) {
        std::unique_lock<std::mutex> one_at_a_time(*m_mutex, std::defer_lock);
        if (PyGILState_Check() != 0) {
            // A caller that holds the interpreter's lock lets it go while it waits for a read
            // in another thread, which needs that lock to finish.
            py::gil_scoped_release waiting;
            one_at_a_time.lock();
        } else {
            one_at_a_time.lock();
        }
        py::gil_scoped_acquire lock;
        try {
            return read(static_cast<char*>(p_out), p_size, p_offset);
        } catch (py::error_already_set& p_failure) {
            // The host's own words, without the traceback: the caller sees them in a
            // RuntimeError, since the reader's loops know no host exceptions.
            const std::string kind = py::str(p_failure.type().attr("__name__"));
            const std::string text = py::str(p_failure.value());
            throw std::runtime_error("reading the file object failed: " + kind + ": " + text);
        }
    }

  private:
    std::size_t read(char* p_out, std::size_t p_size, std::int64_t p_offset) {
        const py::object& file = *m_file;
        file.attr("seek")(p_offset);
        const bool into = py::hasattr(file, "readinto");
        std::size_t done = 0;
        while (done < p_size) {
            std::size_t got;
            if (into) {
                py::object n = file.attr("readinto")(py::memoryview::from_memory(
                    p_out + done, static_cast<py::ssize_t>(p_size - done), false));
                got = n.is_none() ? 0 : n.cast<std::size_t>();
            } else {
                py::bytes chunk = file.attr("read")(p_size - done);
                const std::string_view bytes = chunk;
                got = std::min(bytes.size(), p_size - done);
                std::memcpy(p_out + done, bytes.data(), got);
            }
            if (got == 0) break;
            done += got;
        }
        return done;
    }

    std::shared_ptr<py::object> m_file;
    std::shared_ptr<std::mutex> m_mutex = std::make_shared<std::mutex>();
};

}  // namespace

std::shared_ptr<stream::SharedFile> BufferFile(const py::buffer& p_buffer) {
    auto info = held_with_lock(new py::buffer_info(p_buffer.request()));
    if (info->ndim != 1 || info->strides[0] != info->itemsize) {
        throw py::value_error("the buffer is not one contiguous run of bytes");
    }
    const char* data = static_cast<const char*>(info->ptr);
    const auto size = static_cast<std::int64_t>(info->size * info->itemsize);
    return stream::SharedFile::for_memory(data, size, std::move(info));
}

std::shared_ptr<stream::SharedFile> ReaderFile(const py::object& p_file) {
    auto file = held_with_lock(new py::object(p_file));
    const auto end = p_file.attr("seek")(0, 2).cast<std::int64_t>();
    p_file.attr("seek")(0);
    return stream::SharedFile::for_reader(end, HostReader(std::move(file)));
}

}  // namespace kelvara::bindings

#include "stream/SharedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace kelvara::stream {

namespace {

using KeyPair = std::pair<unsigned long long, unsigned long long>;

// Live shared descriptors by (device, inode). An entry's file stays open while any stream
// holds it, so its inode cannot be reused by another file in that time.
struct Registry {
    std::mutex m_mutex;
    std::map<KeyPair, std::weak_ptr<SharedFile>> m_files;
};

Registry& registry() {
    static Registry* s_registry = new Registry;  // never destroyed: streams may outlive statics
    return *s_registry;
}

}  // namespace

std::shared_ptr<SharedFile> SharedFile::for_descriptor(int p_fd) {
    struct stat info;
    if (::fstat(p_fd, &info) != 0) {
        throw std::system_error(errno, std::generic_category(), "fstat of the file object");
    }
    const int flags = ::fcntl(p_fd, F_GETFL);
    if (flags != -1 && (flags & O_ACCMODE) == O_WRONLY) {
        throw std::runtime_error("File object is not open for reading");
    }
    // Only a regular file has an end and positions to read at: a device or a pipe could feed
    // a walk for ever, or not at all.
    if (!S_ISREG(info.st_mode)) throw std::runtime_error("File object is not a regular file");
    const KeyPair key{static_cast<unsigned long long>(info.st_dev),
                      static_cast<unsigned long long>(info.st_ino)};
    Registry& reg = registry();
    std::lock_guard<std::mutex> lock(reg.m_mutex);
    auto found = reg.m_files.find(key);
    if (found != reg.m_files.end()) {
        if (auto live = found->second.lock()) return live;
    }
    const int fd = ::fcntl(p_fd, F_DUPFD_CLOEXEC, 3);
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), "duplicating the file descriptor");
    }
    std::shared_ptr<SharedFile> file(new SharedFile(fd, Key{key.first, key.second}));
    reg.m_files[key] = file;
    return file;
}

SharedFile::~SharedFile() {
    Registry& reg = registry();
    {
        std::lock_guard<std::mutex> lock(reg.m_mutex);
        auto found = reg.m_files.find(KeyPair{m_key.device, m_key.inode});
        if (found != reg.m_files.end() && found->second.expired()) reg.m_files.erase(found);
    }
    ::close(m_fd);
}

std::size_t SharedFile::read_at(void* p_out, std::size_t p_size, std::int64_t p_offset) const {
    m_read_calls.fetch_add(1, std::memory_order_relaxed);
    auto* out = static_cast<char*>(p_out);
    std::size_t done = 0;
    while (done < p_size) {
        const ssize_t n = ::pread(m_fd, out + done, p_size - done, static_cast<off_t>(p_offset));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<std::size_t>(n);
        p_offset += n;
    }
    return done;
}

std::int64_t SharedFile::size() const {
    struct stat info;
    if (::fstat(m_fd, &info) != 0) return 0;
    return static_cast<std::int64_t>(info.st_size);
}

}  // namespace kelvara::stream

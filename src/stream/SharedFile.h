#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace kelvara::stream {

// One open descriptor of a file, shared by every stream that reads that file. It is a duplicate
// of a host descriptor, so it stays open and keeps reading the same file when the host closes
// its own. Reads are positional (pread): the descriptor has no position that readers share.
class SharedFile {
  public:
    // The shared descriptor of the file behind p_fd, made by duplicating p_fd when no live one
    // exists for that file. Throws std::system_error when p_fd cannot be inspected or duplicated,
    // and std::runtime_error when it is not open for reading or not a regular file.
    static std::shared_ptr<SharedFile> for_descriptor(int p_fd);

    ~SharedFile();
    SharedFile(const SharedFile&) = delete;
    SharedFile& operator=(const SharedFile&) = delete;

    // Reads up to p_size bytes at p_offset; fewer only at the end of the file or on an error.
    std::size_t read_at(void* p_out, std::size_t p_size, std::int64_t p_offset) const;
    // The file's present size in bytes.
    std::int64_t size() const;
    int descriptor() const { return m_fd; }
    // How many read_at calls this file was asked for, by every reader: for tests that must know
    // how a reader splits its work into read calls.
    std::uint64_t read_calls() const { return m_read_calls.load(std::memory_order_relaxed); }

    struct Key {
        unsigned long long device;
        unsigned long long inode;
    };

  private:
    SharedFile(int p_fd, Key p_key) : m_fd(p_fd), m_key(p_key) {}

    int m_fd;
    Key m_key;
    mutable std::atomic<std::uint64_t> m_read_calls{0};
};

}  // namespace kelvara::stream

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace kelvara::stream {

// One open descriptor of a file, shared by every stream that reads that file. It is a duplicate
// of a host descriptor, so it stays open and keeps reading the same file when the host closes
// its own. Reads are positional (pread): the descriptor has no position that readers share.
//
// A file that has no descriptor is one of two other kinds: bytes that lie in memory already (a
// buffer the host lends, read in place, as a mapped file is), or bytes that a reader function
// fetches on demand (a remote object), asked for large stretches at a time.
class SharedFile {
  public:
    // Fills up to p_size bytes at p_offset, fewer only at the end; returns how many it placed.
    using Reader =
        std::function<std::size_t(void* p_out, std::size_t p_size, std::int64_t p_offset)>;

    // The shared descriptor of the file behind p_fd, made by duplicating p_fd when no live one
    // exists for that file. Throws std::system_error when p_fd cannot be inspected or duplicated,
    // and std::runtime_error when it is not open for reading or not a regular file.
    static std::shared_ptr<SharedFile> for_descriptor(int p_fd);
    // The p_size bytes at p_data, kept alive by p_owner while the file lives.
    static std::shared_ptr<SharedFile> for_memory(const char* p_data, std::int64_t p_size,
                                                  std::shared_ptr<void> p_owner);
    // A file of p_size bytes that p_reader fetches; p_reader is released with the file.
    static std::shared_ptr<SharedFile> for_reader(std::int64_t p_size, Reader p_reader);

    ~SharedFile();
    SharedFile(const SharedFile&) = delete;
    SharedFile& operator=(const SharedFile&) = delete;

    // Reads up to p_size bytes at p_offset; fewer only at the end of the file or on an error.
    std::size_t read_at(void* p_out, std::size_t p_size, std::int64_t p_offset) const;
    // The file's present size in bytes.
    std::int64_t size() const;
    // The descriptor, or -1 for a file in memory or behind a reader.
    int descriptor() const { return m_fd; }
    // How many read_at calls this file was asked for, by every reader: for tests that must know
    // how a reader splits its work into read calls.
    std::uint64_t read_calls() const { return m_read_calls.load(std::memory_order_relaxed); }
    // The whole file's bytes when it lies in memory, else nullptr.
    const char* memory() const { return m_memory; }
    // Whether the bytes are fetched by a reader function.
    bool fetched() const { return m_fd < 0 && m_memory == nullptr; }

    struct Key {
        unsigned long long device;
        unsigned long long inode;
    };

  private:
    SharedFile(int p_fd, Key p_key) : m_fd(p_fd), m_key(p_key) {}
    SharedFile() = default;

    int m_fd = -1;
    Key m_key{};
    const char* m_memory = nullptr;
    std::int64_t m_size = 0;  // of a file in memory or behind a reader
    std::shared_ptr<void> m_owner;
    Reader m_reader;
    mutable std::atomic<std::uint64_t> m_read_calls{0};
};

}  // namespace kelvara::stream

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "EclWriter.h"
#include "stream/FileStream.h"
#include "stream/SharedFile.h"

using kelvara::stream::FileStream;
using kelvara::stream::SharedFile;

namespace {

// A file of n bytes whose byte i is i % 251, and a descriptor on it.
int make_file(std::size_t p_size, std::string& p_path) {
    char path[] = "/tmp/kelvara-stream-XXXXXX";
    const int fd = ::mkstemp(path);
    std::vector<char> bytes(p_size);
    for (std::size_t i = 0; i < p_size; ++i) bytes[i] = static_cast<char>(i % 251);
    EXPECT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(p_size));
    p_path = path;
    return fd;
}

}  // namespace

TEST(SharedFile, OneDescriptorPerFileWhileStreamsLive) {
    std::string path;
    const int fd = make_file(100, path);
    const int other = ::open(path.c_str(), O_RDONLY);
    auto a = SharedFile::for_descriptor(fd);
    auto b = SharedFile::for_descriptor(other);
    EXPECT_EQ(a.get(), b.get());
    EXPECT_NE(a->descriptor(), fd);
    ::close(fd);
    ::close(other);
    ::unlink(path.c_str());
    char byte = 0;
    EXPECT_EQ(a->read_at(&byte, 1, 42), 1u);  // the duplicate outlives the host descriptors
    EXPECT_EQ(byte, char(42));
    EXPECT_EQ(a->size(), 100);
}

TEST(SharedFile, RefusesWriteOnlyDescriptors) {
    std::string path;
    const int fd = make_file(10, path);
    const int write_only = ::open(path.c_str(), O_WRONLY);
    EXPECT_THROW(SharedFile::for_descriptor(write_only), std::runtime_error);
    ::close(write_only);
    ::close(fd);
    ::unlink(path.c_str());
}

TEST(FileStream, SequentialReadsAcrossRefillsAndSeeks) {
    std::string path;
    const std::size_t size = 3 * 1024 * 1024 + 7;
    const int fd = make_file(size, path);
    auto file = SharedFile::for_descriptor(fd);
    ::close(fd);
    ::unlink(path.c_str());
    FileStream stream(file, 10);
    std::vector<char> out(size);
    ASSERT_EQ(stream.read(out.data(), size - 10), size - 10);
    for (std::size_t i = 0; i < size - 10; ++i) ASSERT_EQ(out[i], char((i + 10) % 251));
    EXPECT_EQ(stream.tell(), std::int64_t(size));
    EXPECT_EQ(stream.read(out.data(), 1), 0u);  // end of file
    stream.seek(5);
    char byte;
    ASSERT_EQ(stream.read(&byte, 1), 1u);
    EXPECT_EQ(byte, char(5));
    EXPECT_EQ(stream.remaining(), std::int64_t(size - 6));
}

TEST(FileStream, WindowGivesWholeItemsAcrossBufferEdges) {
    std::string path;
    const int fd = make_file(10000, path);
    auto file = SharedFile::for_descriptor(fd);
    ::close(fd);
    ::unlink(path.c_str());
    FileStream stream(file, 4093);  // a 4-byte word straddles the first buffer's end
    std::size_t avail = 0;
    stream.window(1, avail);
    stream.consume(avail - 1);
    const char* data = stream.window(4, avail);
    ASSERT_GE(avail, 4u);
    const std::int64_t at = stream.tell();
    for (int i = 0; i < 4; ++i) EXPECT_EQ(data[i], char((at + i) % 251));
}

TEST(FileStream, StreamsOnOneFileKeepTheirOwnPositions) {
    kelvara::testing::EclWriter writer;
    writer.section("A", "INTE", std::vector<std::int32_t>{1, 2, 3});
    auto first = writer.open(0);
    FileStream second(first->file(), 4);
    char a[4], b[4];
    first->read(a, 4);
    second.read(b, 4);
    EXPECT_EQ(first->tell(), 4);
    EXPECT_EQ(second.tell(), 8);
    EXPECT_NE(std::string(a, 4), std::string(b, 4));
}

TEST(FileStream, SparseReadsComeFromTheBufferOrTheFilesPagesAcrossWindows) {
    std::string path;
    const std::size_t window = kelvara::stream::MappedWindow::window_bytes;
    const std::size_t size = window + 4096 + 5;
    const int fd = make_file(size, path);
    auto stream = std::make_shared<FileStream>(SharedFile::for_descriptor(fd), 0);
    ::close(fd);
    ::unlink(path.c_str());
    auto byte_at = [](std::size_t p_offset) { return static_cast<char>(p_offset % 251); };

    char out[8];
    // Inside the buffer after a buffered read.
    ASSERT_EQ(stream->read(out, 2), 2u);
    ASSERT_EQ(stream->read_sparse(out, 4), 4u);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(out[i], byte_at(2 + i));
    EXPECT_EQ(stream->tell(), 6);
    // Far away, and straddling the edge of the mapped window.
    const std::int64_t edge = static_cast<std::int64_t>(window) - 3;
    stream->seek(edge);
    ASSERT_EQ(stream->read_sparse(out, 8), 8u);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(out[i], byte_at(edge + i));
    EXPECT_EQ(stream->tell(), edge + 8);
    // A buffered read goes on from where the sparse one ended.
    ASSERT_EQ(stream->read(out, 3), 3u);
    EXPECT_EQ(out[0], byte_at(edge + 8));
    // At the end of the file: fewer bytes, then none.
    stream->seek(static_cast<std::int64_t>(size) - 2);
    EXPECT_EQ(stream->read_sparse(out, 4), 2u);
    EXPECT_EQ(out[1], byte_at(size - 1));
    EXPECT_EQ(stream->read_sparse(out, 4), 0u);
    stream->seek(static_cast<std::int64_t>(size) + 100);
    EXPECT_EQ(stream->read_sparse(out, 4), 0u);
    // Giving the view back changes nothing that can be read.
    stream->relax();
    stream->seek(12345);
    ASSERT_EQ(stream->read_sparse(out, 1), 1u);
    EXPECT_EQ(out[0], byte_at(12345));
}

TEST(FileStream, LongSequentialRunsReadThePagesInPlaceAcrossWindows) {
    // A run long enough to leave the buffer for the mapped view, over the edge of a mapped
    // window, read in items of 12 bytes that straddle every edge, with a sparse read, a seek back
    // and a relax in between; every byte must be the file's.
    std::string path;
    const std::size_t window = kelvara::stream::MappedWindow::window_bytes;
    const std::size_t size = window + (std::size_t(3) << 20) + 7;
    const int fd = make_file(size, path);
    auto stream = std::make_shared<FileStream>(SharedFile::for_descriptor(fd), 0);
    ::close(fd);
    ::unlink(path.c_str());
    auto byte_at = [](std::size_t p_offset) { return static_cast<char>(p_offset % 251); };

    std::size_t offset = 0;
    auto read_items = [&](std::size_t p_until) {
        while (offset + 12 <= p_until) {
            std::size_t avail;
            const char* data = stream->window(12, avail);
            ASSERT_GE(avail, 12u) << offset;
            for (std::size_t i = 0; i < 12; ++i) ASSERT_EQ(data[i], byte_at(offset + i)) << offset;
            stream->consume(12);
            offset += 12;
            ASSERT_EQ(stream->tell(), static_cast<std::int64_t>(offset));
        }
    };
    read_items(window / 2);
    // A sparse read inside the run, then the run goes on.
    char out[4];
    ASSERT_EQ(stream->read_sparse(out, 4), 4u);
    for (int i = 0; i < 4; ++i) ASSERT_EQ(out[i], byte_at(offset + i));
    offset += 4;
    read_items(window + 12345);
    // Giving the view back, as at the end of a host call, keeps the position.
    stream->relax();
    EXPECT_EQ(stream->tell(), static_cast<std::int64_t>(offset));
    read_items(size);
    // The last bytes and the end of the file.
    std::size_t avail;
    stream->window(12, avail);
    EXPECT_EQ(avail, size - offset);
    // A seek back into bytes already passed reads them again.
    stream->seek(static_cast<std::int64_t>(window) - 6);
    ASSERT_EQ(stream->read(out, 4), 4u);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(out[i], byte_at(window - 6 + i));
}

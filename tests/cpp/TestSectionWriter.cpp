// The section writer's bytes and text, and the shared files that have no descriptor.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "stream/FileStream.h"
#include "stream/SharedFile.h"
#include "writer/SectionWriter.h"

namespace kelvara::writer {
namespace {

// Collects what is written, and how many put calls it took.
class MemorySink final : public ByteSink {
  public:
    void put(const char* p_data, std::size_t p_size) override {
        m_bytes.append(p_data, p_size);
        ++m_calls;
    }
    std::string m_bytes;
    int m_calls = 0;
};

std::uint32_t be32(const std::string& p_bytes, std::size_t p_at) {
    std::uint32_t word;
    std::memcpy(&word, p_bytes.data() + p_at, 4);
    return __builtin_bswap32(word);
}

std::string Write(const char* p_type, const void* p_data, std::int64_t p_count,
                  std::int32_t p_chars, bool p_formatted) {
    MemorySink sink;
    SectionWriter writer(sink);
    writer.write("VALUES  ", p_type, TItems{p_data, p_count, p_chars}, p_formatted);
    EXPECT_EQ(sink.m_calls, 0);  // nothing leaves the buffer before the flush
    writer.flush();
    return sink.m_bytes;
}

TEST(SectionWriter, BigEndianHeaderAndBlocksOf1000) {
    std::vector<double> values(2500);
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = 0.5 * static_cast<double>(i);
    const std::string out = Write("DOUB", values.data(), 2500, 0, false);
    ASSERT_EQ(out.size(), 24u + 3 * 8 + 2500 * 8);
    EXPECT_EQ(be32(out, 0), 16u);
    EXPECT_EQ(out.substr(4, 8), "VALUES  ");
    EXPECT_EQ(be32(out, 12), 2500u);
    EXPECT_EQ(out.substr(16, 4), "DOUB");
    EXPECT_EQ(be32(out, 20), 16u);
    const std::size_t blocks[] = {1000, 1000, 500};
    std::size_t at = 24;
    std::size_t item = 0;
    for (std::size_t n : blocks) {
        EXPECT_EQ(be32(out, at), n * 8);
        for (std::size_t i = 0; i < n; ++i, ++item) {
            std::uint64_t raw;
            std::memcpy(&raw, out.data() + at + 4 + 8 * i, 8);
            raw = __builtin_bswap64(raw);
            double value;
            std::memcpy(&value, &raw, 8);
            ASSERT_EQ(value, values[item]);
        }
        EXPECT_EQ(be32(out, at + 4 + n * 8), n * 8);
        at += n * 8 + 8;
    }
}

TEST(SectionWriter, TextItemsArePaddedWithBlanksIn105ABlock) {
    std::vector<char> names(200 * 3, '\0');
    for (int i = 0; i < 200; ++i) std::memcpy(names.data() + 3 * i, "AB", 2);
    const std::string out = Write("CHAR", names.data(), 200, 3, false);
    EXPECT_EQ(be32(out, 24), 105u * 8);
    EXPECT_EQ(out.substr(28, 8), "AB      ");
    EXPECT_EQ(be32(out, 24 + 8 + 105 * 8), 95u * 8);
}

TEST(SectionWriter, LogicalTrueIsAllBitsSet) {
    const unsigned char flags[] = {1, 0, 7};
    const std::string out = Write("LOGI", flags, 3, 0, false);
    EXPECT_EQ(be32(out, 28), 0xFFFFFFFFu);
    EXPECT_EQ(be32(out, 32), 0u);
    EXPECT_EQ(be32(out, 36), 0xFFFFFFFFu);
}

TEST(SectionWriter, FormattedNumbersHoldEveryDigit) {
    const double doubles[] = {1.0, -0.1, 1e-300, 0.0, 123456.789};
    EXPECT_EQ(Write("DOUB", doubles, 5, 0, true),
              " 'VALUES  '           5 'DOUB'\n"
              "   0.10000000000000000D+01  -0.10000000000000001D+00   0.10000000000000000-299\n"
              "   0.00000000000000000D+00   0.12345678900000000D+06\n");
    const float reals[] = {1.0f, -2.5e-38f, 3.4028235e38f};
    EXPECT_EQ(Write("REAL", reals, 3, 0, true),
              " 'VALUES  '           3 'REAL'\n"
              "  0.100000000E+01 -0.249999998E-37  0.340282347E+39\n");
    const std::int32_t ints[] = {-2147483647 - 1, 0, 2147483647, 1, 2, 3, 4};
    EXPECT_EQ(Write("INTE", ints, 7, 0, true),
              " 'VALUES  '           7 'INTE'\n"
              " -2147483648           0  2147483647           1           2           3\n"
              "           4\n");
    EXPECT_EQ(Write("MESS", nullptr, 0, 0, true), " 'VALUES  '           0 'MESS'\n");
}

TEST(SharedFile, InMemoryAndBehindAReader) {
    std::string bytes(3 << 20, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7);
    auto memory = stream::SharedFile::for_memory(bytes.data(),
                                                 static_cast<std::int64_t>(bytes.size()), nullptr);
    int calls = 0;
    auto reader =
        stream::SharedFile::for_reader(static_cast<std::int64_t>(bytes.size()),
                                       [&](void* p_out, std::size_t p_size, std::int64_t p_offset) {
                                           ++calls;
                                           std::memcpy(p_out, bytes.data() + p_offset, p_size);
                                           return p_size;
                                       });
    for (const auto& file : {memory, reader}) {
        EXPECT_EQ(file->size(), static_cast<std::int64_t>(bytes.size()));
        EXPECT_EQ(file->descriptor(), -1);
        char out[16];
        ASSERT_EQ(file->read_at(out, 16, 100), 16u);
        EXPECT_EQ(std::memcmp(out, bytes.data() + 100, 16), 0);
        EXPECT_EQ(file->read_at(out, 16, static_cast<std::int64_t>(bytes.size()) - 4), 4u);
        EXPECT_EQ(file->read_at(out, 16, static_cast<std::int64_t>(bytes.size())), 0u);
        // A stream jumping about reads the right bytes through its views.
        stream::FileStream stream(file, 0);
        for (std::int64_t at : {5, 2000000, 17, 3145000, 1048575}) {
            stream.seek(at);
            char got[40];
            const std::size_t n = stream.read(got, sizeof got);
            const std::size_t want = std::min<std::size_t>(40, bytes.size() - at);
            ASSERT_EQ(n, want);
            EXPECT_EQ(std::memcmp(got, bytes.data() + at, n), 0);
        }
    }
    EXPECT_EQ(memory->memory(), bytes.data());
    EXPECT_TRUE(reader->fetched());
    // The reader is asked for windows, not for each small read.
    EXPECT_LE(calls, 12);
}

}  // namespace
}  // namespace kelvara::writer

#pragma once

// Helpers shared by the C++ tests: a stream over bytes written to a temporary file, and the
// values a feeder collected.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "builder/ArrayFeeder.h"
#include "stream/FileStream.h"
#include "stream/SharedFile.h"

namespace kelvara::testing {

// Writes p_bytes to a temporary file and opens a stream on it at p_position; the file is removed
// at once, the stream's descriptor keeps it readable.
inline std::shared_ptr<stream::FileStream> OpenTemporary(const std::string& p_bytes,
                                                         std::int64_t p_position = 0) {
    char path[] = "/tmp/kelvara-cpp-XXXXXX";
    const int fd = ::mkstemp(path);
    if (fd < 0) std::abort();
    if (::write(fd, p_bytes.data(), p_bytes.size()) != static_cast<ssize_t>(p_bytes.size())) {
        std::abort();
    }
    auto file = stream::SharedFile::for_descriptor(fd);
    ::close(fd);
    ::unlink(path);
    return std::make_shared<stream::FileStream>(file, p_position);
}

inline std::vector<double> FedValues(const ostrel::builder::ArrayFeeder& p_feeder) {
    std::vector<double> out(p_feeder.size());
    p_feeder.copy_to(out.data());
    return out;
}

}  // namespace kelvara::testing

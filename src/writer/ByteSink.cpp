#include "writer/ByteSink.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace kelvara::writer {

void DescriptorSink::put(const char* p_data, std::size_t p_size) {
    while (p_size > 0) {
        const ssize_t n = ::write(m_fd, p_data, p_size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) throw std::system_error(errno, std::generic_category(), "writing the file");
        p_data += n;
        p_size -= static_cast<std::size_t>(n);
    }
}

}  // namespace kelvara::writer

#pragma once

#include <cstddef>

namespace kelvara::writer {

// Where written bytes go: a descriptor, or a host object's write call. put takes every byte or
// throws.
class ByteSink {
  public:
    virtual ~ByteSink() = default;
    virtual void put(const char* p_data, std::size_t p_size) = 0;
};

// Writes to a descriptor at its present offset, with as many write calls as the system needs.
class DescriptorSink final : public ByteSink {
  public:
    explicit DescriptorSink(int p_fd) : m_fd(p_fd) {}
    void put(const char* p_data, std::size_t p_size) override;

  private:
    int m_fd;
};

}  // namespace kelvara::writer

#pragma once

// The frame of every fuzz target. A target file defines the format of its inputs and one
// function that reads an input as a file:
//
//     KELVARA_FUZZ_TARGET(kelvara::fuzz::Format::eclipse, p_input) { ... }
//
// The harness runs it on each input: the errors a reader raises for bad input (any standard
// exception) and the deliberate ends of the checked containers (ContractViolation, thrown
// instead of abort() in fuzzing builds) end the input normally; anything else, a crash, a
// sanitizer report, a hang or an allocation beyond the limit, is a finding. The format chooses
// the structure-aware mutator (Mutators.h).

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "stream/FileStream.h"

namespace kelvara::fuzz {

enum class Format {
    raw,      // bytes as they come
    eclipse,  // length-framed records: 24-byte headers followed by blocks of items
    imex,     // a byte of frame form, then IMEX blocks in that form
    base64,   // a byte of parameters, then base-64 text
};

// One input as the readers see it: a regular file in memory (memfd), with a fresh stream on it.
class Input {
  public:
    Input(const std::uint8_t* p_data, std::size_t p_size);
    ~Input();
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    // A new stream at p_position of the file.
    std::shared_ptr<stream::FileStream> stream(std::int64_t p_position = 0) const;
    const std::uint8_t* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    // The byte at p_index, 0 past the end: parameters that a target takes from the input.
    std::uint8_t byte(std::size_t p_index) const { return p_index < m_size ? m_data[p_index] : 0; }

  private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    int m_fd;
};

// The target's format and reader, defined by KELVARA_FUZZ_TARGET.
extern const Format target_format;
void run_target(const Input& p_input);

}  // namespace kelvara::fuzz

#define KELVARA_FUZZ_TARGET(format, input)                               \
    const kelvara::fuzz::Format kelvara::fuzz::target_format = (format); \
    void kelvara::fuzz::run_target(const kelvara::fuzz::Input& input)

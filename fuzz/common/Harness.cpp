#include "Harness.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <system_error>

#include "Mutators.h"
#include "core/pattern/Contract.h"
#include "stream/SharedFile.h"

namespace kelvara::fuzz {

Input::Input(const std::uint8_t* p_data, std::size_t p_size)
    : m_data(p_data), m_size(p_size), m_fd(memfd_create("kelvara-fuzz", MFD_CLOEXEC)) {
    if (m_fd < 0) throw std::system_error(errno, std::generic_category(), "memfd_create");
    std::size_t done = 0;
    while (done < p_size) {
        const ssize_t n = write(m_fd, p_data + done, p_size - done);
        if (n <= 0) throw std::system_error(errno, std::generic_category(), "write");
        done += static_cast<std::size_t>(n);
    }
}

Input::~Input() { close(m_fd); }

std::shared_ptr<stream::FileStream> Input::stream(std::int64_t p_position) const {
    return std::make_shared<stream::FileStream>(stream::SharedFile::for_descriptor(m_fd),
                                                p_position);
}

}  // namespace kelvara::fuzz

namespace {

// Counts of how inputs ended, printed at exit so that a run shows what the readers refused.
struct Outcomes {
    unsigned long long read = 0, refused = 0, contract = 0;
    ~Outcomes() {
        if (std::getenv("KELVARA_FUZZ_QUIET") == nullptr)
            std::fprintf(stderr,
                         "kelvara fuzz: %llu inputs read, %llu refused with an error, %llu "
                         "ended by a contract check\n",
                         read, refused, contract);
    }
} outcomes;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_data, std::size_t p_size) {
    try {
        kelvara::fuzz::Input input(p_data, p_size);
        kelvara::fuzz::run_target(input);
        ++outcomes.read;
    } catch (const ostrel::core::ContractViolation&) {
        ++outcomes.contract;
    } catch (const std::exception&) {
        ++outcomes.refused;
    }
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* p_data, std::size_t p_size,
                                               std::size_t p_max_size, unsigned int p_seed) {
    return kelvara::fuzz::Mutate(kelvara::fuzz::target_format, p_data, p_size, p_max_size, p_seed);
}

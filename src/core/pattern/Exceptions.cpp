#include "core/pattern/Exceptions.h"

#include <utility>

namespace tamblin {

IException::~IException() = default;

const char* IException::what() const noexcept { return "tamblin::IException"; }

IHeaderException::IHeaderException(std::string p_message, std::string p_file, unsigned int p_line)
    : m_message(std::move(p_message)), m_file(std::move(p_file)), m_line(p_line) {
    compose(std::string());
}

IHeaderException::~IHeaderException() = default;

const char* IHeaderException::what() const noexcept { return m_what.c_str(); }

void IHeaderException::compose(const std::string& p_extra) {
    m_what = m_message + "\n" + p_extra + "File: " + m_file + "\nLine: " + std::to_string(m_line);
}

IPreconditionException::IPreconditionException(std::string p_expression, std::string p_message,
                                               std::string p_file, unsigned int p_line)
    : IHeaderException(std::move(p_message), std::move(p_file), p_line),
      m_expression(std::move(p_expression)) {
    compose("Precondition: " + m_expression + "\n");
}

IPreconditionException::~IPreconditionException() = default;

IPosconditionException::IPosconditionException(std::string p_expression, std::string p_message,
                                               std::string p_file, unsigned int p_line)
    : IHeaderException(std::move(p_message), std::move(p_file), p_line),
      m_expression(std::move(p_expression)) {
    compose("Postcondition: " + m_expression + "\n");
}

IPosconditionException::~IPosconditionException() = default;

}  // namespace tamblin

namespace ostrel::core {

IAvailabilityException::IAvailabilityException(std::string p_message, std::string p_file,
                                               unsigned int p_line)
    : tamblin::IHeaderException(std::move(p_message), std::move(p_file), p_line) {}

IAvailabilityException::~IAvailabilityException() = default;

}  // namespace ostrel::core

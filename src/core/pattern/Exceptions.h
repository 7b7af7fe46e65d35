#pragma once

// The exception family of the core. Every failed check of the core throws one of these by value;
// each carries its message, the source path of the check (a fixed path such as
// "core/array/Array1D.inl") and the line, and the condition checks also the tested expression.
#include <exception>
#include <string>

#include "core/Export.h"

namespace tamblin {

class OSTREL_CORE_API IException : public std::exception {
  public:
    IException() = default;
    ~IException() override;
    const char* what() const noexcept override;
};

class OSTREL_CORE_API IHeaderException : public IException {
  public:
    IHeaderException(std::string p_message, std::string p_file, unsigned int p_line);
    ~IHeaderException() override;
    const char* what() const noexcept override;

    const std::string& message() const { return m_message; }
    const std::string& file() const { return m_file; }
    unsigned int line() const { return m_line; }

  protected:
    // Rebuilds the text of what(): the message, then the extra lines of a subclass, then the
    // file and the line.
    void compose(const std::string& p_extra);

  private:
    std::string m_message;
    std::string m_file;
    unsigned int m_line;
    std::string m_what;
};

// A condition that a caller had to meet and did not.
class OSTREL_CORE_API IPreconditionException : public IHeaderException {
  public:
    IPreconditionException(std::string p_expression, std::string p_message, std::string p_file,
                           unsigned int p_line);
    ~IPreconditionException() override;
    const std::string& expression() const { return m_expression; }

  private:
    std::string m_expression;
};

// A condition that the code itself had to establish and did not.
class OSTREL_CORE_API IPosconditionException : public IHeaderException {
  public:
    IPosconditionException(std::string p_expression, std::string p_message, std::string p_file,
                           unsigned int p_line);
    ~IPosconditionException() override;
    const std::string& expression() const { return m_expression; }

  private:
    std::string m_expression;
};

}  // namespace tamblin

namespace ostrel::core {

// An operation that a class does not offer.
class OSTREL_CORE_API IAvailabilityException : public tamblin::IHeaderException {
  public:
    IAvailabilityException(std::string p_message, std::string p_file, unsigned int p_line);
    ~IAvailabilityException() override;
};

}  // namespace ostrel::core

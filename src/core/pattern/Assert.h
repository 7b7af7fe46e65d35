#pragma once

// How a failed check of the core is thrown: the message is built on a string stream, then the
// exception goes by value with the text of the tested expression, the fixed source path given
// by the check and the line of the check.
#include <sstream>

#include "core/pattern/Exceptions.h"

// Throws p_exception (a class taking expression, message, file and line) when cond is false.
#define OSTREL_CHECK(p_exception, cond, expression, file, p_message)                        \
    do {                                                                                    \
        if (!(cond)) {                                                                      \
            std::ostringstream ostrel_message_stream;                                       \
            ostrel_message_stream << p_message;                                             \
            throw p_exception((expression), ostrel_message_stream.str(), (file), __LINE__); \
        }                                                                                   \
    } while (false)

// Throws tamblin::IPreconditionException when cond is false. p_message is a stream expression:
// OSTREL_PRECONDITION(n <= m, "n <= m", "core/x/File.inl", "too big: " << n).
#define OSTREL_PRECONDITION(cond, expression, file, p_message) \
    OSTREL_CHECK(::tamblin::IPreconditionException, cond, expression, file, p_message)

// The same for a condition that the code itself had to establish.
#define OSTREL_POSTCONDITION(cond, expression, file, p_message) \
    OSTREL_CHECK(::tamblin::IPosconditionException, cond, expression, file, p_message)

// An operation that the class of p_object does not offer. p_kind is " is not implemented yet for "
// or " is not available for "; p_more adds a further line (may be empty).
#define OSTREL_NOT_AVAILABLE(p_object, p_kind, file, p_more)                               \
    do {                                                                                   \
        std::ostringstream ostrel_message_stream;                                          \
        ostrel_message_stream << __PRETTY_FUNCTION__ << (p_kind) << (p_object).type_name() \
                              << p_more;                                                   \
        throw ::ostrel::core::IAvailabilityException(ostrel_message_stream.str(), (file),  \
                                                     __LINE__);                            \
    } while (false)

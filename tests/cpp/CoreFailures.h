#pragma once

// Helpers of the core's tests: checks that a call fails with a given exception of the core, with
// its expression, message and source path word for word; an observer that counts.
#include <gtest/gtest.h>

#include <string>

#include "core/pattern/Exceptions.h"

template <class Exception, class Call>
::testing::AssertionResult FailsWith(Call&& p_call, const std::string& p_expression,
                                     const std::string& p_message, const std::string& p_file) {
    try {
        p_call();
    } catch (const Exception& p_failure) {
        if (p_failure.expression() != p_expression) {
            return ::testing::AssertionFailure() << "expression: " << p_failure.expression();
        }
        if (p_failure.message() != p_message) {
            return ::testing::AssertionFailure() << "message: [" << p_failure.message() << "]";
        }
        if (p_failure.file() != p_file) {
            return ::testing::AssertionFailure() << "file: " << p_failure.file();
        }
        const std::string what = p_failure.what();
        if (what.find(p_message) != 0 || what.find(p_expression) == std::string::npos ||
            what.find(p_file) == std::string::npos) {
            return ::testing::AssertionFailure() << "what: " << what;
        }
        return ::testing::AssertionSuccess();
    } catch (const std::exception& p_other) {
        return ::testing::AssertionFailure() << "another exception: " << p_other.what();
    }
    return ::testing::AssertionFailure() << "no exception";
}

template <class Call>
::testing::AssertionResult FailsPrecondition(Call&& p_call, const std::string& p_expression,
                                             const std::string& p_message,
                                             const std::string& p_file) {
    return FailsWith<tamblin::IPreconditionException>(p_call, p_expression, p_message, p_file);
}

#include "core/pattern/Subject.h"

// An observer that counts its notifications.
struct CountingObserver : ostrel::core::IObserver {
    void update() override { ++updates; }
    int updates = 0;
};

#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <string>

namespace zentrova::monitoring_modules::testing {

// The what() text of the `expected_exception` that `call` throws. Anything else, or nothing,
// fails the test and gives a text that no expectation matches.
template <typename expected_exception, typename callable>
std::string failure_text(callable&& call) {
    try {
        call();
    } catch (const expected_exception& error) {
        return error.what();
    } catch (const std::exception& other) {
        ADD_FAILURE() << "another exception: " << other.what();
        return "(another exception)";
    }
    ADD_FAILURE() << "no exception";
    return "(no exception)";
}

}  // namespace zentrova::monitoring_modules::testing

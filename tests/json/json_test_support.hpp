#pragma once

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

#include "json/exceptions.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::json::test {

// A published Azure response body kept beside the tests.
inline std::string read_body(const std::string& file_name) {
    return monitoring_modules::testing::read_text_file(MICROSOFTAZURE_JSON_TEST_DATA "/" +
                                                       file_name);
}

// `call` must throw exactly `Error` (not a subclass or base) with `message` and `details`.
template <typename Error, typename Call>
void expect_error(Call&& call, const std::string& message, const std::string& details) {
    try {
        call();
        ADD_FAILURE() << "no exception; expected \"" << message << "\" with \"" << details << '"';
    } catch (const exceptions::exception& error) {
        EXPECT_EQ(typeid(error), typeid(Error)) << error.full_message();
        EXPECT_EQ(error.what(), message);
        EXPECT_EQ(error.details(), details);
    }
}

template <typename Error, typename Call>
void expect_error(Call&& call, const std::string& details) {
    expect_error<Error>(std::forward<Call>(call), Error().what(), details);
}

// A value of the wrong kind arrives as the base class with the type error's message.
template <typename Call>
void expect_type_error(Call&& call, const std::string& kind) {
    expect_error<exceptions::exception>(std::forward<Call>(call),
                                        exceptions::messages::unexpected_type_error, kind);
}

}  // namespace zentrova::monitoring_modules::json::test

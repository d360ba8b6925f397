#include <gtest/gtest.h>

#include <string>

#include "json/parser_factory.hpp"
#include "tests/json/json_test_support.hpp"

namespace zentrova::monitoring_modules::json {
namespace {

// Each exception keeps its fixed text in what(), with or without details; `leading` are the
// constructor arguments before the details (the message, for the base class).
template <typename Error, typename... Leading>
void expect_fixed_text(const std::string& text, const Leading&... leading) {
    SCOPED_TRACE(text);
    const Error bare(leading..., "");
    EXPECT_EQ(bare.what(), text);
    EXPECT_EQ(bare.details(), "");
    EXPECT_EQ(bare.full_message(), text);

    const Error detailed(leading..., "/properties/rows");
    EXPECT_EQ(static_cast<const std::exception&>(detailed).what(), text);
    EXPECT_EQ(detailed.details(), "/properties/rows");
    EXPECT_EQ(detailed.full_message(), text + ": /properties/rows");
}

TEST(json_exceptions, fixed_texts_stay_apart_from_details) {
    using namespace exceptions;
    expect_fixed_text<conversion_error>("The conversion of a string to a number failed.");
    expect_fixed_text<empty_result>("The queried field is empty.");
    expect_fixed_text<parse_error>("The received JSON data could not be parsed.");
    expect_fixed_text<query_error>("The provided JSONPath is incorrect.");
    expect_fixed_text<unexpected_type_error>("The received value has an unexpected data type.");
    expect_fixed_text<unexpected_array_error>(
        "The received value is an array instead of a single value.");
    expect_fixed_text<invalid_content_type>("Invalid Content-Type");
    expect_fixed_text<exception>("NOT YET IMPLEMENTED", std::string("NOT YET IMPLEMENTED"));
}

// The body is rejected when the parser is made, before any query can run.
TEST(json_exceptions, bodies_that_are_not_json_fail_at_construction) {
    for (const char* body : {"", "{", "not json", "{\"a\": 1} extra", "[1,]", "{'a': 1}"}) {
        for (const auto factory : {&create_jsonpointer_parser, &create_jsonpath_parser}) {
            SCOPED_TRACE(body);
            try {
                factory(body);
                ADD_FAILURE() << "accepted";
            } catch (const exceptions::parse_error& error) {
                EXPECT_STREQ(error.what(), "The received JSON data could not be parsed.");
                // The library's own text, which says where the body went wrong.
                EXPECT_NE(error.details().find("line 1"), std::string::npos) << error.details();
            }
        }
    }
}

}  // namespace
}  // namespace zentrova::monitoring_modules::json

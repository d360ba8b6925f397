#include <gtest/gtest.h>

#include <string>

#include "json/parser_factory.hpp"
#include "tests/json/json_test_support.hpp"

namespace zentrova::monitoring_modules::json {
namespace {

using test::expect_error;

TEST(jsonpath_parser, reads_the_single_match_of_an_expression) {
    const auto parser = create_jsonpath_parser(test::read_body("cost-query.json"));
    EXPECT_EQ(parser->get_string("$.properties.columns[?(@.type == 'Number')].name"), "PreTaxCost");
    EXPECT_EQ(parser->get_double("$.properties.rows[1][0]"), 218.68795741935486);
    // No empty check here, unlike JSON Pointers: an empty string is a value.
    EXPECT_EQ(create_jsonpath_parser(R"({"a": ""})")->get_string("$.a"), "");
}

TEST(jsonpath_parser, needs_exactly_one_match) {
    const auto parser = create_jsonpath_parser(test::read_body("vm-metrics.json"));
    const std::string none = "$.value[0].timeseries[*].data[0].average";
    expect_error<exceptions::empty_result>([&] { parser->get_double(none); }, none);
    expect_error<exceptions::unexpected_array_error>(
        [&] { parser->get_double("$.value[0].timeseries[*].data[3].average"); },
        "Array size is: 2");
    EXPECT_EQ(parser->get_double("$.value[0].timeseries[1].data[3].average"), 245.0);
}

TEST(jsonpath_parser, malformed_expressions_are_query_errors) {
    const auto parser = create_jsonpath_parser(R"({"a": 1})");
    for (const char* path : {"$.[[[", "a.b", "$.a[?(@ ==)]"}) {
        try {
            parser->get_int(path);
            ADD_FAILURE() << path << " was accepted";
        } catch (const exceptions::query_error& error) {
            EXPECT_FALSE(error.details().empty()) << path;
        }
    }
}

}  // namespace
}  // namespace zentrova::monitoring_modules::json

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "json/parser_factory.hpp"
#include "tests/json/json_test_support.hpp"

namespace zentrova::monitoring_modules::json {
namespace {

using test::expect_error;
using test::expect_type_error;

constexpr const char* shapes_body = R"({
    "empty_text": "", "empty_list": [], "empty_object": {}, "nothing": null, "zero": 0,
    "list": ["b", 1, true, 2.5], "holes": ["a", null], "nested": [["x"]],
    "tags": {"zeta": "z", "alpha": 1, "mid": false}, "deep": {"inner": {"k": "v"}},
    "mixed": [{"a": 1}, 2]
})";

TEST(jsonpointer_parser, paths_that_lead_nowhere_or_to_empty_values_are_empty_results) {
    const auto parser = create_jsonpointer_parser(shapes_body);
    for (const char* path : {"/empty_text", "/empty_list", "/empty_object", "/missing", "/list/4",
                             "/list/-", "/list/first", "/zero/inner", "/empty_object/a"}) {
        SCOPED_TRACE(path);
        expect_error<exceptions::empty_result>([&] { parser->get_string(path); }, path);
        expect_error<exceptions::empty_result>([&] { parser->get_object(path); }, path);
    }
    EXPECT_EQ(parser->get_int("/zero"), 0);
}

TEST(jsonpointer_parser, string_arrays_keep_order_and_read_missing_lists_as_empty) {
    const auto parser = create_jsonpointer_parser(shapes_body);
    EXPECT_EQ(parser->get_string_array("/list"),
              (std::vector<std::string>{"b", "1", "true", "2.5"}));
    EXPECT_TRUE(parser->get_string_array("/missing").empty());
    EXPECT_TRUE(parser->get_string_array("/empty_list").empty());
    expect_type_error([&] { parser->get_string_array("/tags"); }, "object");
    expect_type_error([&] { parser->get_string_array("/holes"); }, "null");
    expect_type_error([&] { parser->get_string_array("/nested"); }, "array");
    EXPECT_THROW(parser->get_string_array("list"), exceptions::query_error);
}

TEST(jsonpointer_parser, string_maps_are_ordered_by_member_name) {
    const auto parser = create_jsonpointer_parser(shapes_body);
    const std::map<std::string, std::string> tags = parser->get_string_map("/tags");
    EXPECT_EQ(tags, (std::map<std::string, std::string>{
                        {"alpha", "1"}, {"mid", "false"}, {"zeta", "z"}}));
    expect_type_error([&] { parser->get_string_map("/list"); }, "array");
    expect_type_error([&] { parser->get_string_map("/deep"); }, "object");
    expect_error<exceptions::empty_result>([&] { parser->get_string_map("/missing"); }, "/missing");
}

TEST(jsonpointer_parser, object_arrays_check_every_element) {
    const auto cost = create_jsonpointer_parser(test::read_body("cost-query.json"));
    const auto columns = cost->get_object_array("/properties/columns");
    ASSERT_EQ(columns.size(), 3U);
    EXPECT_EQ(columns[0]->get_string("/name"), "PreTaxCost");
    EXPECT_EQ(columns[1]->get_string("/name"), "ResourceGroup");
    EXPECT_EQ(columns[2]->get_string("/type"), "String");
    expect_type_error([&] { cost->get_object_array("/properties/rows"); }, "array");
    expect_type_error([&] { cost->get_object_array("/properties"); }, "object");
    const auto shapes = create_jsonpointer_parser(shapes_body);
    expect_type_error([&] { shapes->get_object_array("/mixed"); }, "uint64");
    // null passes the empty check and fails the type check (the scalars' case is the
    // conversion table's).
    expect_type_error([&] { shapes->get_object("/nothing"); }, "null");
}

TEST(jsonpointer_parser, sub_parsers_start_at_their_object_and_outlive_their_parent) {
    auto parent = create_jsonpointer_parser(test::read_body("cost-query.json"));
    auto properties = parent->get_object("/properties");
    auto columns = parent->get_object_array("/properties/columns");
    parent.reset();
    EXPECT_EQ(properties->get_string("/columns/1/name"), "ResourceGroup");
    expect_error<exceptions::empty_result>(
        [&] { properties->get_string("/properties/columns/1/name"); },
        "/properties/columns/1/name");
    EXPECT_EQ(properties->get_object("/columns/2")->get_string("/name"), "Currency");
    EXPECT_EQ(columns[0]->get_string("/type"), "Number");
    expect_type_error([&] { properties->get_object("/rows"); }, "array");
    expect_type_error([&] { properties->get_object("/rows/0/1"); }, "string");
}

// A document's memory grows with its values more than with its bytes: a body holds at most
// largest_document_values of them, each kind counted, by the plain reader and, for a text it
// declines (an escape), by the library's parser.
TEST(jsonpointer_parser, refuses_a_body_of_more_values_than_a_document_may_hold) {
    // `values` values: the array, zeros, one of each other kind, and `last`.
    const auto body = [](std::size_t values, const std::string& last) {
        std::string text = "[";
        text.reserve(2 * values + 64);
        for (std::size_t zero = 9; zero < values; ++zero) {
            text += "0,";
        }
        return text + R"(-1,0.5,"a",true,null,[],{},)" + last + "]";
    };
    const std::string refused =
        "more than " + std::to_string(largest_document_values) +
        " values (objects, arrays, texts, numbers, true, false and null), more than any Azure "
        "answer the module reads; reading stopped there (check that the endpoint is an Azure "
        "endpoint)";
    for (const std::string last : {"1", R"("\n")"}) {
        SCOPED_TRACE(last);
        const auto parser = create_jsonpointer_parser(body(largest_document_values, last));
        EXPECT_EQ(parser->get_string("/" + std::to_string(largest_document_values - 2)),
                  last == "1" ? "1" : "\n");
        expect_error<exceptions::too_many_values>(
            [&] { create_jsonpointer_parser(body(largest_document_values + 1, last)); }, refused);
    }
}

}  // namespace
}  // namespace zentrova::monitoring_modules::json

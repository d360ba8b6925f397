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
    "mixed": [{"a": 1}, 2], "a/b": 1, "m~n": 2
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

TEST(jsonpointer_parser, null_passes_the_empty_check_and_fails_the_type_check) {
    const auto parser = create_jsonpointer_parser(shapes_body);
    expect_type_error([&] { parser->get_string("/nothing"); }, "null");
    expect_type_error([&] { parser->get_bool("/nothing"); }, "null");
    expect_type_error([&] { parser->get_object("/nothing"); }, "null");
}

TEST(jsonpointer_parser, malformed_pointers_are_query_errors_and_escapes_resolve) {
    const auto parser = create_jsonpointer_parser(shapes_body);
    for (const char* path : {"list", "/m~2n"}) {
        try {
            parser->get_string(path);
            ADD_FAILURE() << path << " was accepted";
        } catch (const exceptions::query_error& error) {
            EXPECT_FALSE(error.details().empty()) << path;
        }
    }
    EXPECT_EQ(parser->get_int("/a~1b"), 1);
    EXPECT_EQ(parser->get_int("/m~0n"), 2);
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

// A cost sensor finds its columns by name and then reads every row cell by cell.
TEST(jsonpointer_parser, walks_a_cost_query_response) {
    const auto parser = create_jsonpointer_parser(test::read_body("cost-query.json"));
    std::map<std::string, std::size_t> column_index;
    for (const auto& column : parser->get_object_array("/properties/columns")) {
        column_index.emplace(column->get_string("/name"), column_index.size());
    }
    const std::string cost = std::to_string(column_index.at("PreTaxCost"));
    const std::string group = std::to_string(column_index.at("ResourceGroup"));
    double total = 0;
    std::vector<std::string> groups;
    for (std::size_t row = 0;; ++row) {
        const std::string prefix = "/properties/rows/" + std::to_string(row) + "/";
        try {
            total += parser->get_double(prefix + cost);
        } catch (const exceptions::empty_result&) {
            break;
        }
        groups.push_back(parser->get_string(prefix + group));
    }
    EXPECT_DOUBLE_EQ(
        total, 0.009865586851323632 + 218.68795741935486 + 2.10333307059661 + 0.14384913581657052);
    EXPECT_EQ(groups.size(), 4U);
    EXPECT_EQ(groups[2], "ScreenSharingTest-peer1");
    expect_type_error([&] { parser->get_string("/properties/nextLink"); }, "null");
}

// A metrics reader takes the last data point of each series; points without "average" are
// empty results, not zeros.
TEST(jsonpointer_parser, walks_a_metrics_and_an_instance_view_response) {
    const auto metrics = create_jsonpointer_parser(test::read_body("vm-metrics.json"));
    const auto values = metrics->get_object_array("/value");
    ASSERT_EQ(values.size(), 1U);
    EXPECT_EQ(values[0]->get_string("/name/value"), "BlobCapacity");
    const auto points = metrics->get_object_array("/value/0/timeseries/1/data");
    ASSERT_EQ(points.size(), 4U);
    EXPECT_EQ(points.back()->get_double("/average"), 245.0);
    expect_error<exceptions::empty_result>([&] { points.front()->get_double("/average"); },
                                           "/average");
    EXPECT_EQ(metrics->get_int("/cost"), 0);

    const auto view = create_jsonpointer_parser(test::read_body("vm-instance-view.json"));
    std::vector<std::string> codes;
    for (const auto& status : view->get_object_array("/statuses")) {
        codes.push_back(status->get_string("/code"));
    }
    EXPECT_EQ(codes,
              (std::vector<std::string>{"ProvisioningState/succeeded", "PowerState/running"}));
    EXPECT_EQ(view->get_int("/platformFaultDomain"), 1);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::json

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <typeinfo>
#include <variant>
#include <vector>

#include "json/exceptions.hpp"
#include "json/parser_factory.hpp"

// The conversion rules shared by both parsers: every value kind a body can hold, against each
// typed query, read once through a JSON Pointer and once through JSONPath. Parsed text holds
// non-negative integers as "uint64" and negative ones as "int64".
namespace zentrova::monitoring_modules::json {
namespace {

constexpr const char* kinds_body = R"({
    "null": null, "true": true, "false": false, "int": 42, "negative": -7,
    "uint": 18446744073709551615, "double": 42.5, "whole_double": 2.0,
    "text": "abc", "numeric": "42", "prefixed": "42abc", "padded": "  -17.25 kg",
    "quoted_true": "true", "huge_integer": "99999999999999999999", "huge_exponent": "1e999",
    "bignum": 123456789012345678901234567890, "array": [1, 2], "object": {"a": 1},
    "plus": "\t+2.5e1x", "hex": "-0x1.8p1", "hex_prefix_alone": "0xg", "infinity": "-Infinity",
    "subnormal": "1e-310", "two_signs": "+-1"
})";

enum class query { string, integer, floating, boolean };

struct type_error {
    std::string kind;
    bool operator==(const type_error& other) const { return kind == other.kind; }
};
struct conversion_failure {
    std::string details;
    bool operator==(const conversion_failure& other) const { return details == other.details; }
};
std::ostream& operator<<(std::ostream& out, const type_error& e) {
    return out << "type error " << e.kind;
}
std::ostream& operator<<(std::ostream& out, const conversion_failure& e) {
    return out << "conversion error " << e.details;
}

using outcome =
    std::variant<std::string, std::int64_t, double, bool, type_error, conversion_failure>;

struct conversion_case {
    const char* member;
    query op;
    outcome expected;
};

std::ostream& operator<<(std::ostream& out, const conversion_case& c) {
    return out << c.member << " as " << static_cast<int>(c.op);
}

outcome run(const parser_interface& parser, query op, const std::string& path) {
    try {
        switch (op) {
            case query::string:
                return parser.get_string(path);
            case query::integer:
                return parser.get_int(path);
            case query::floating:
                return parser.get_double(path);
            case query::boolean:
                return parser.get_bool(path);
        }
    } catch (const exceptions::conversion_error& error) {
        return conversion_failure{error.details()};
    } catch (const exceptions::exception& error) {
        const bool type_mismatch =
            typeid(error) == typeid(exceptions::exception) &&
            error.what() == std::string(exceptions::messages::unexpected_type_error);
        if (!type_mismatch) {
            throw;
        }
        return type_error{error.details()};
    }
    return type_error{"unreachable"};
}

using text = std::string;
using integer = std::int64_t;

std::vector<conversion_case> conversion_cases() {
    return {
        {"null", query::string, type_error{"null"}},
        {"true", query::string, text{"true"}},
        {"int", query::string, text{"42"}},
        {"negative", query::string, text{"-7"}},
        {"uint", query::string, text{"18446744073709551615"}},
        {"double", query::string, text{"42.5"}},
        {"whole_double", query::string, text{"2.0"}},
        {"text", query::string, text{"abc"}},
        {"bignum", query::string, text{"123456789012345678901234567890"}},
        {"array", query::string, type_error{"array"}},
        {"object", query::string, type_error{"object"}},

        {"int", query::integer, integer{42}},
        {"negative", query::integer, integer{-7}},
        {"numeric", query::integer, integer{42}},
        {"prefixed", query::integer, integer{42}},
        {"padded", query::integer, integer{-17}},
        {"text", query::integer, conversion_failure{"invalid stoll argument"}},
        {"huge_integer", query::integer, conversion_failure{"stoll argument out of range"}},
        {"bignum", query::integer, conversion_failure{"stoll argument out of range"}},
        {"double", query::integer, type_error{"double"}},
        {"whole_double", query::integer, type_error{"double"}},
        {"true", query::integer, type_error{"bool"}},
        {"null", query::integer, type_error{"null"}},
        {"array", query::integer, type_error{"array"}},
        {"object", query::integer, type_error{"object"}},

        {"int", query::floating, 42.0},
        {"uint", query::floating, 18446744073709551615.0},
        {"double", query::floating, 42.5},
        {"numeric", query::floating, 42.0},
        {"prefixed", query::floating, 42.0},
        {"padded", query::floating, -17.25},
        {"huge_integer", query::floating, 1e20},
        {"text", query::floating, conversion_failure{"invalid stod argument"}},
        {"huge_exponent", query::floating, conversion_failure{"stod argument out of range"}},
        {"plus", query::floating, 25.0},
        {"hex", query::floating, -3.0},
        {"hex_prefix_alone", query::floating, 0.0},
        {"infinity", query::floating, -std::numeric_limits<double>::infinity()},
        {"subnormal", query::floating, conversion_failure{"stod argument out of range"}},
        {"two_signs", query::floating, conversion_failure{"invalid stod argument"}},
        {"true", query::floating, type_error{"bool"}},
        {"null", query::floating, type_error{"null"}},
        {"array", query::floating, type_error{"array"}},
        {"object", query::floating, type_error{"object"}},

        {"true", query::boolean, true},
        {"false", query::boolean, false},
        {"quoted_true", query::boolean, type_error{"string"}},
        {"int", query::boolean, type_error{"uint64"}},
        {"negative", query::boolean, type_error{"int64"}},
        {"double", query::boolean, type_error{"double"}},
        {"null", query::boolean, type_error{"null"}},
        {"object", query::boolean, type_error{"object"}},
    };
}

class conversion_table : public testing::TestWithParam<conversion_case> {};

TEST_P(conversion_table, json_pointer_parser) {
    const auto parser = create_jsonpointer_parser(kinds_body);
    EXPECT_EQ(run(*parser, GetParam().op, std::string("/") + GetParam().member),
              GetParam().expected);
}

TEST_P(conversion_table, jsonpath_parser) {
    const auto parser = create_jsonpath_parser(kinds_body);
    EXPECT_EQ(run(*parser, GetParam().op, std::string("$['") + GetParam().member + "']"),
              GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(kinds, conversion_table, testing::ValuesIn(conversion_cases()));

// Response bodies always write numbers with '.', whatever locale the hosting process chose.
TEST(conversion, numeric_strings_ignore_the_thread_locale) {
    locale_t comma_locale = nullptr;
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"}) {
        comma_locale = newlocale(LC_ALL_MASK, name, nullptr);
        if (comma_locale != nullptr) {
            break;
        }
    }
    if (comma_locale == nullptr) {
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    }
    // uselocale changes only this thread, and the guard restores it even when the query throws.
    struct thread_locale_guard {
        locale_t previous;
        locale_t chosen;
        ~thread_locale_guard() {
            uselocale(previous);
            freelocale(chosen);
        }
    } guard{uselocale(comma_locale), comma_locale};
    const auto parser = create_jsonpointer_parser(R"({"value": "2.5", "number": 0.5})");
    EXPECT_EQ(parser->get_double("/value"), 2.5);
    EXPECT_EQ(parser->get_string("/number"), "0.5");
}

}  // namespace
}  // namespace zentrova::monitoring_modules::json

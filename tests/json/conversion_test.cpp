#include <gtest/gtest.h>

#include <clocale>
#include <jsoncons/json.hpp>
#include <sstream>
#include <string>
#include <typeinfo>

#include "json/exceptions.hpp"
#include "json/parser_factory.hpp"
#include "tests/json/json_test_support.hpp"
#include "tests/support/process_locale.hpp"

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

// One line per member and query: the value read, or the failure and its details.
std::string conversions(const parser_interface& parser, bool pointer) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.precision(17);
    const auto body = jsoncons::ojson::parse(kinds_body);
    for (const auto& member : body.object_range()) {
        const std::string path = pointer ? "/" + member.key() : "$['" + member.key() + "']";
        for (const char* query : {"string", "int", "double", "bool"}) {
            out << member.key() << " as " << query << ": ";
            try {
                switch (*query) {
                    case 's':
                        out << '"' + parser.get_string(path) + '"';
                        break;
                    case 'i':
                        out << parser.get_int(path);
                        break;
                    case 'd':
                        out << parser.get_double(path);
                        break;
                    default:
                        out << std::boolalpha << parser.get_bool(path);
                        break;
                }
            } catch (const exceptions::conversion_error& error) {
                out << "conversion error " << error.details();
            } catch (const exceptions::exception& error) {
                // A wrong kind arrives as the base class itself with the type error's message.
                const bool type_error =
                    typeid(error) == typeid(exceptions::exception) &&
                    error.what() == std::string(exceptions::messages::unexpected_type_error);
                out << (type_error ? "type error " : "error " + std::string(error.what()) + ": ")
                    << error.details();
            }
            out << "\n";
        }
    }
    return out.str();
}

TEST(conversion_table, both_parsers_convert_every_kind_as_the_table_says) {
    const std::string expected = test::read_body("conversions.txt");
    EXPECT_EQ(conversions(*create_jsonpointer_parser(kinds_body), true), expected);
    EXPECT_EQ(conversions(*create_jsonpath_parser(kinds_body), false), expected);
    // Whatever C++ locale the hosting process chose (its C locale below).
    const monitoring_modules::testing::process_locale german_like;
    EXPECT_EQ(conversions(*create_jsonpointer_parser(kinds_body), true), expected);
}

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

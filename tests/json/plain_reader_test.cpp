#include <gtest/gtest.h>

#include <jsoncons/json.hpp>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "json/impl/plain_json_reader.hpp"
#include "json/parser_factory.hpp"
#include "tests/json/json_test_support.hpp"

namespace zentrova::monitoring_modules::json {
namespace {

// The same document down to the kind of every value and the bits of every double.
void expect_same(const jsoncons::json& built, const jsoncons::json& library) {
    ASSERT_EQ(built.type(), library.type()) << library.to_string();
    EXPECT_EQ(built.tag(), library.tag());
    if (library.is_double()) {
        // Bit for bit: -0.0 and 0.0 differ, and the last bit of a rounding counts.
        const double a = built.as<double>();
        const double b = library.as<double>();
        EXPECT_TRUE(a == b && std::signbit(a) == std::signbit(b)) << a << " against " << b;
    } else if (library.is_array()) {
        ASSERT_EQ(built.size(), library.size());
        for (std::size_t i = 0; i < library.size(); ++i) {
            expect_same(built[i], library[i]);
        }
    } else if (library.is_object()) {
        ASSERT_EQ(built.size(), library.size());
        auto member = built.object_range().begin();
        for (const auto& expected : library.object_range()) {
            EXPECT_EQ(member->key(), expected.key());
            expect_same(member->value(), expected.value());
            ++member;
        }
    } else {
        EXPECT_EQ(built, library);
    }
}

// Whether the reader took the text; when it did, its document must be the library's.
bool read_like_the_library(const std::string& text) {
    jsoncons::json_decoder<jsoncons::json> builder;
    if (!impl::plain_json_reader(text, builder).read() || !builder.is_valid()) {
        return false;
    }
    jsoncons::json library;
    EXPECT_NO_THROW(library = jsoncons::json::parse(text)) << "the reader took a broken text";
    expect_same(builder.get_result(), library);
    return true;
}

// Plain answers skip the library's parser; what the reader declines goes to the library, which
// reads it or says why it cannot.
TEST(plain_json_reader, builds_the_library_document_or_leaves_the_text_to_the_library) {
    struct text_case {
        std::string text;
        bool plain;
    };
    const std::vector<text_case> cases{
        {R"({"b":[1,-1,0,-0,1.5,-2.5e3,1E-7,0.1,-0.0,123456789012345678,-123456789012345678],
            "a":"x","c":{"d":true,"e":false,"f":null,"g":[],"h":{}},"a":"y"})",
         true},
        {" \t\r\n\"text\" ", true},
        {"[1.2345678901234567,1e23,-4.9e-320,0.009865586851323632]", true},
        {"18446744073709551615", false},  // 19 digits or more: the library picks the kind
        {"[1e999]", false},
        {"[01]", false},
        {"[1.]", false},
        {"[.5]", false},
        {"[-]", false},
        {"[1e]", false},
        {"[\"\xc0\xaf\"]", false},
        {"[\"\xed\xa0\x80\"]", false},
        {"[\"\xf4\x90\x80\x80\"]", false},
        {"[1] x", false},
        {"[1,]", false},
        {"{\"a\" 1}", false},
        {"[tru]", false},
        {"/* note */ [1]", false},
        {"[1/* note */]", false},
        {"[\f1]", false},
        {"", false},
        {"\xef\xbb\xbf[1]", false},
        {std::string(80, '[') + std::string(80, ']'), false},
        {test::read_body("vm-metrics.json"), true},
        {test::read_body("cost-query.json"), true},
    };
    for (const auto& [text, plain] : cases) {
        SCOPED_TRACE(text.substr(0, 80));
        EXPECT_EQ(read_like_the_library(text), plain);
        // The layer reads what the reader declines as the library does, errors included.
        std::string library_error;
        try {
            jsoncons::json::parse(text);
        } catch (const jsoncons::ser_error& error) {
            library_error = error.what();
        }
        try {
            create_jsonpointer_parser(text);
            EXPECT_EQ(library_error, "");
        } catch (const exceptions::parse_error& error) {
            EXPECT_EQ(error.details(), library_error);
        }
    }

    // Numbers of every shape: each one the reader takes must be the library's to the last bit.
    std::mt19937_64 random(22);
    const auto digits = [&](std::size_t count) {
        std::string text(count, '0');
        for (auto& digit : text) {
            digit = static_cast<char>('0' + random() % 10);
        }
        return text;
    };
    for (int i = 0; i < 20000; ++i) {
        std::string number = random() % 2 == 0 ? "-" : "";
        number += std::to_string(1 + random() % 9) + digits(random() % 12);
        if (random() % 2 == 0) {
            number += "." + digits(1 + random() % 10);
        }
        if (random() % 2 == 0) {
            number +=
                "e" + std::string(random() % 2 == 0 ? "-" : "") + std::to_string(random() % 25);
        }
        SCOPED_TRACE(number);
        read_like_the_library("[" + number + "]");
    }
}

// Texts are passed eight bytes at a time, and their last few bytes one by one: each byte that
// ends a plain run, at every offset of a member's name and of a text longer than two such steps,
// and among the last bytes of the answer, is read as the library reads it or left to the library.
TEST(plain_json_reader, finds_every_special_byte_wherever_it_lies) {
    const std::vector<std::pair<std::string, bool>> specials{
        {"\\\\", false},        {"\\\"", false},
        {"\\n", false},         {"\\u00e9", false},
        {"\"", false},          {std::string(1, '\0'), false},
        {"\x01", false},        {"\n", false},
        {"\x1f", false},        {" ", true},
        {"\x7f", true},         {"\xc3\xa9", true},
        {"\xe2\x82\xac", true}, {"\xf0\x9f\x98\x80", true},
        {"\x80", false},        {"\xc3", false},
        {"\xff", false},
    };
    for (std::size_t index = 0; index < specials.size(); ++index) {
        for (std::size_t offset = 0; offset <= 24; ++offset) {
            for (const std::size_t after : {0, 16}) {
                const std::string text =
                    std::string(offset, 'a') + specials[index].first + std::string(after, 'b');
                SCOPED_TRACE(::testing::Message() << "special " << index << " at " << offset << ", "
                                                  << after << " after");
                EXPECT_EQ(read_like_the_library("{\"" + text + "\":0}"), specials[index].second);
                EXPECT_EQ(read_like_the_library("[\"" + text + "\"]"), specials[index].second);
            }
        }
    }
}

}  // namespace
}  // namespace zentrova::monitoring_modules::json

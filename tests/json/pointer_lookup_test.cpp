#include <gtest/gtest.h>

#include <jsoncons/json.hpp>
#include <jsoncons_ext/jsonpointer/jsonpointer.hpp>

#include <string>
#include <system_error>

#include "json/exceptions.hpp"
#include "json/parser_factory.hpp"

namespace zentrova::monitoring_modules::json {
namespace {

// Common pointers are walked without the library's lookup; whichever way a pointer goes, it
// must land on the value the library's lookup lands on, or fail where the library fails.
TEST(jsonpointer_lookup, lands_where_the_library_lookup_lands) {
    const std::string body = R"({
        "a": {"b": ["b0", "b1", {"c": "c0"}], "": "empty name"}, "": {"": "root empty"},
        "x/y": "slash", "k~": "tilde", "sp ace": "space", "0": "zero name",
        "rows": [["r00", "r01"], ["r10", "r11"], ["r20", "r21"], ["r30", "r31"], ["r40"],
                 ["r50"], ["r60"], ["r70"], ["r80"], ["r90"], ["r100"], ["r110"]]})";
    const jsoncons::json document = jsoncons::json::parse(body);
    const auto parser = create_jsonpointer_parser(body);

    for (const std::string pointer :
         {"/a/b/0",     "/a/b/2/c", "/a/",         "//",         "/x~1y",
          "/k~0",       "/sp ace",  "/0",          "/rows/10/0", "/rows/11/0",
          "/rows/1/1",  "/a/b/",    "/a/b/00",     "/a/b/01",    "/a/b/+1",
          "/a/b/1x",    "/a/b/-1",  "/a/b/-",      "/a/b/3",     "/a/b/99999999999999999999",
          "/a/missing", "/a/b/0/x", "/rows/1/1/0", "/a/b/2/c/",  "a/b",
          "/a~",        "/a~2b",    "/missing/~2"}) {
        SCOPED_TRACE(pointer);
        std::error_code code;
        const jsoncons::json& expected = jsoncons::jsonpointer::get(document, pointer, code);
        try {
            const std::string found = parser->get_string(pointer);
            ASSERT_FALSE(code) << "library: " << code.message() << ", layer: " << found;
            EXPECT_EQ(found, expected.as<std::string>());
        } catch (const exceptions::empty_result& error) {
            EXPECT_TRUE(code) << "library found " << expected.to_string();
            EXPECT_EQ(error.details(), pointer);
        } catch (const exceptions::query_error& error) {
            EXPECT_EQ(error.details(), code.message());
        } catch (const exceptions::exception& error) {
            EXPECT_FALSE(code) << error.full_message();
            EXPECT_FALSE(expected.is_string()) << error.full_message();
        }
    }
}

}  // namespace
}  // namespace zentrova::monitoring_modules::json

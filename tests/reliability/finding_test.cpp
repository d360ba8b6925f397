// Findings of the fuzz targets and the reliability suites, each kept as a case that failed before
// its fix. Inputs that the fuzz targets found are also replayed from fuzz/regressions/.
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "json/exceptions.hpp"
#include "json/parser_factory.hpp"
#include "rest/impl/parsed_url.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

// A Windows thread's default stack, the smallest a probe's threads are likely to have.
constexpr std::size_t windows_default_stack = 1024 * 1024;

// Runs `work` on a thread with a stack of `stack_bytes`.
void on_small_stack(std::size_t stack_bytes, const std::function<void()>& work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, stack_bytes), 0);
    std::function<void()> task = work;
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &task), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

// The URL parser's regular expression recursed once per character: a resource id of some
// thousand characters took down the calling thread. The parser now splits by hand, at any length;
// 512 and 513 characters were the two sides of the limit of the recursive matcher it once used.
TEST(Findings, ALongUrlParsesOnASmallStack) {
    const std::string head =
        "https://management.azure.com//subscriptions/s/resourceGroups/rg/"
        "providers/Microsoft.Compute/virtualMachines/";
    const std::string tail = "/instanceView?api-version=2020-06-01#top";
    for (const std::size_t length : {std::size_t{512}, std::size_t{513}, std::size_t{100000}}) {
        const std::string url = head + std::string(length - head.size() - tail.size(), 'v') + tail;
        std::string path;
        std::string query;
        on_small_stack(windows_default_stack, [&] {
            const auto parsed = rest::impl::parse_url(url);
            path = parsed.path;
            query = parsed.query;
        });
        EXPECT_EQ(path.size(), url.find('?') - std::string("https://management.azure.com").size())
            << length;
        EXPECT_EQ(query, "api-version=2020-06-01") << length;
    }
}

// JSONPath's regular expressions (the "=~" filter and tokenize()) ran std::regex over the values,
// recursing once per character: a long string in a body took down the calling thread. They are
// refused as a query error; every other filter still works.
TEST(Findings, JsonPathRefusesRegularExpressionsInsteadOfExhaustingTheStack) {
    const std::string body = R"([{"a": ")" + std::string(100000, 'a') + R"(", "b": "=~"}])";
    for (const std::string path :
         {"$[?(@.a =~ /a*b?/)].b", "$[?(length(tokenize(@.a, 'a')) > 1)].b"}) {
        on_small_stack(256 * 1024, [&] {
            const auto parser = json::create_jsonpath_parser(body);
            try {
                parser->get_string(path);
                ADD_FAILURE() << path << " was evaluated";
            } catch (const json::exceptions::query_error& e) {
                EXPECT_NE(e.details().find("regular expressions"), std::string::npos) << path;
            }
        });
    }
    // The same characters inside a string literal are no regular expression.
    const auto parser = json::create_jsonpath_parser(body);
    EXPECT_EQ(parser->get_string("$[?(@.b == '=~')].b"), "=~");
    EXPECT_EQ(parser->get_string("$[?(@.b == \"=~\")].b"), "=~");
}

}  // namespace
}  // namespace zentrova::monitoring_modules::testing

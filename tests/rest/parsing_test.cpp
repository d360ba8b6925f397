// URLs, records, texts and encodings: everything of the REST layer that needs no network.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "rest/exceptions.hpp"
#include "rest/impl/base64.hpp"
#include "rest/impl/endpoint_configuration.hpp"
#include "rest/impl/parsed_url.hpp"
#include "rest/impl/recent_urls.hpp"
#include "rest/impl/rest_impl.hpp"
#include "rest/impl/token_response.hpp"
#include "rest/rest_interface.hpp"
#include "tests/rest/url_expression.hpp"
#include "tests/support/failure_text.hpp"
#include "tests/support/text_file.hpp"

namespace rest = zentrova::monitoring_modules::rest;
using rest::impl::parse_url;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using zentrova::monitoring_modules::testing::failure_text;

namespace {

std::string read_data(const std::string& name) {
    return zentrova::monitoring_modules::testing::read_text_file(MICROSOFTAZURE_REST_TEST_DATA "/" +
                                                                 name);
}

// tests/rest/data/urls.txt: "split URL => parts or failure" and "rebuild URL PARTS => text", a
// case a line.
TEST(url_parsing, splits_and_rebuilds_the_urls_of_the_table) {
    std::istringstream lines(read_data("urls.txt"));
    int count = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::istringstream fields(line);
        std::string verb, text, kept, arrow, expected;
        fields >> verb >> text;
        if (verb == "rebuild") {
            fields >> kept;
        }
        fields >> arrow >> std::ws;
        std::getline(fields, expected);
        if (verb == "split") {
            EXPECT_EQ(rest::testing::split_by_parse_url(text), expected) << line;
        } else {
            const auto has = [&kept](char part) { return kept.find(part) != std::string::npos; };
            EXPECT_EQ(parse_url(text).rebuild({has('s'), has('u'), has('p'), has('q'), has('f')}),
                      expected)
                << line;
        }
        ++count;
    }
    EXPECT_EQ(count, 30);
}

// The hand-written splitter against the expression it writes out, on texts made of the
// characters that steer it, after the beginnings that choose its branches.
TEST(url_parsing, splits_as_the_regular_expression_does) {
    const std::string characters = ":/?#@\\a1.\n\r";
    const std::vector<std::string> beginnings = {"", "https://", "//", "a:", "x://u:p@", "h:/"};
    std::mt19937 random(20240611);
    for (int index = 0; index < 20000; ++index) {
        std::string text = beginnings[random() % beginnings.size()];
        for (auto length = random() % 14; length > 0; --length) {
            text += characters[random() % characters.size()];
        }
        ASSERT_EQ(rest::testing::split_by_parse_url(text), rest::testing::split_by_expression(text))
            << text;
    }
}

TEST(url_parsing, remembering_recent_urls_changes_no_result) {
    rest::impl::recent_urls recent(2);
    const std::vector<std::string> texts = {
        "https://a.example/1", "https://b.example:8443/2?x", "https://a.example/1",
        "http://c.example/3",  "https://b.example:8443/2?x", "https://a.example/1"};
    for (const auto& text : texts) {
        EXPECT_EQ(recent.parse(text).rebuild({true, false, true, true, false}),
                  parse_url(text).rebuild({true, false, true, true, false}));
        EXPECT_EQ(recent.parse(text).text, text);
    }
    EXPECT_THROW(recent.parse("https:///no-host"), rest::exceptions::invalid_url);
}

TEST(base64, encodes_and_decodes_utf8_text) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},         {"foo", "Zm9v"},
        {"u:p", "dTpw"}, {"\xC3\xA9", "w6k="}, {"foobar", "Zm9vYmFy"}, {"\xFF\xFE", "//4="},
    };
    for (const auto& [plain, encoded] : cases) {
        EXPECT_EQ(rest::impl::base64_encode(plain), encoded);
        EXPECT_EQ(rest::impl::base64_decode(encoded), plain);
    }
    std::string every_byte;
    for (int value = 0; value < 256; ++value) {
        every_byte += static_cast<char>(value);
    }
    EXPECT_EQ(rest::impl::base64_decode(rest::impl::base64_encode(every_byte)), every_byte);
    for (const char* broken : {"Zg=", "Zg=a", "Z!==", "=Zg=", "Zm9v===="}) {
        EXPECT_THROW(rest::impl::base64_decode(broken), std::invalid_argument) << broken;
    }
}

using variables = std::map<std::string, std::string>;

rest::impl::endpoint_configuration configuration_from(const variables& values) {
    return rest::impl::endpoint_configuration::from_variables(
        [&](const std::string& name) -> std::optional<std::string> {
            const auto found = values.find(name);
            return found == values.end() ? std::nullopt : std::optional<std::string>(found->second);
        });
}

TEST(endpoint_configuration, defaults_to_the_public_cloud_and_normalises_slashes) {
    const auto defaults = configuration_from({{"MICROSOFTAZURE_ARM_ENDPOINT", ""}});
    EXPECT_EQ(defaults.arm_endpoint, "https://management.azure.com/");
    EXPECT_EQ(defaults.login_endpoint, "https://login.microsoftonline.com");
    EXPECT_EQ(defaults.ca_bundle, "");
    const auto local =
        configuration_from({{"MICROSOFTAZURE_ARM_ENDPOINT", "https://127.0.0.1:8443"},
                            {"MICROSOFTAZURE_LOGIN_ENDPOINT", "https://127.0.0.1:9000//"}});
    EXPECT_EQ(local.arm_endpoint, "https://127.0.0.1:8443/");
    EXPECT_EQ(local.login_endpoint, "https://127.0.0.1:9000");
}

// Each failure names the variable and stays on one log line.
TEST(endpoint_configuration, names_the_variable_that_is_wrong) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"http://127.0.0.1:9000", "must be an https URL"},
        {"ftp://host.example", "must be an https URL"},
        {"management.azure.com", "must be an https URL"},
        {"https://host.example?x=1", "must not carry"},
        {"https://host.example:port", "begins neither a port nor a path"},
        {"https://u:p@host.example", "must not carry"},
        // Cut to 16 bits, 65979 would be 443.
        {"https://host.example:65979", "the port 65979 is not a port number (1 to 65535)"},
        {"https://host.example:0/", "the port 0 is not"},
        {"https://host.example ", "a blank or a control character (character 21)"},
        {" https://host.example", "(character 1)"},
        {"https://host.example/\n", "'https://host.example/\\n'"},
        {"https://host\t.example", "(character 13)"},
        {"https://host.example/a b", "(character 23)"},
        {std::string("https://host.example/\x7F"), "'https://host.example/\\x7F'"},
    };
    for (const auto& variable : {"MICROSOFTAZURE_ARM_ENDPOINT", "MICROSOFTAZURE_LOGIN_ENDPOINT"}) {
        for (const auto& [value, reason] : cases) {
            const std::string text =
                failure_text<rest::exceptions::invalid_url>([&, &value = value] {
                    configuration_from({{variable, value}});
                });
            EXPECT_THAT(text, AllOf(HasSubstr(variable), HasSubstr(reason))) << value;
            EXPECT_EQ(text.find_first_of("\r\n\t\x7F"), std::string::npos) << value;
        }
    }
    EXPECT_THAT(failure_text<std::invalid_argument>([] {
                    configuration_from({{"MICROSOFTAZURE_CA_BUNDLE", "/nonexistent/ca.pem"}});
                }),
                AllOf(HasSubstr("MICROSOFTAZURE_CA_BUNDLE"), HasSubstr("/nonexistent/ca.pem")));
}

rest::response answer(std::int32_t status, std::string body, std::string text = "OK") {
    rest::response result;
    result.status_code = status;
    result.status_text = std::move(text);
    result.body = std::move(body);
    return result;
}

TEST(token_response, reads_the_token_and_its_lifetime_as_number_or_string) {
    const auto published =
        rest::impl::read_token_response(answer(200, read_data("token-response.json")));
    EXPECT_EQ(published.access_token, "YOUR-ACCESS-TOKEN");
    EXPECT_EQ(published.expires_in, 3599);
    const auto numeric = rest::impl::read_token_response(
        answer(200, R"({"access_token":"abc","expires_in":3600,"token_type":"Bearer"})"));
    EXPECT_EQ(numeric.access_token, "abc");
    EXPECT_EQ(numeric.expires_in, 3600);
}

// tests/rest/data/token-failures.txt: one answer a line, "status status-text | body | what the
// failure must say" (a multi-line description said on one line).
TEST(token_response, says_what_was_wrong_with_an_unusable_answer) {
    std::istringstream cases(read_data("token-failures.txt"));
    int count = 0;
    for (std::string line; std::getline(cases, line); ++count) {
        const auto space = line.find(' ');
        const auto body = line.find(" | ") + 3;
        const auto details = line.rfind(" | ");
        const auto given =
            answer(std::stoi(line.substr(0, space)), line.substr(body, details - body),
                   line.substr(space + 1, body - 4 - space));
        EXPECT_THAT(
            failure_text<rest::exceptions::authentication_failed>(
                [&] { rest::impl::read_token_response(given); }),
            AllOf(StartsWith("Authentication failed: "), HasSubstr(line.substr(details + 3))))
            << line;
    }
    EXPECT_EQ(count, 15);
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <jsoncons/json.hpp>

#include "framework/settings/impl/plain_buffer_scanner.hpp"
#include "framework/settings/kind_integer.hpp"
#include "framework/settings/kind_string.hpp"
#include "framework/settings/persistent_data_storage.hpp"
#include "framework/settings/secure_string.hpp"
#include "framework/settings/sensor_data_wrapper.hpp"
#include "framework/utils/exceptions.hpp"
#include "tests/support/failure_text.hpp"

namespace zentrova::monitoring_modules::framework::settings {
namespace {

using monitoring_modules::testing::failure_text;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

sensor_data_wrapper wrap(const std::string& text) {
    return sensor_data_wrapper(text.data(), text.size());
}

// What the wrapper reads of a buffer, as its logged form shows it (secrets masked).
TEST(SensorDataWrapper, ReadsEveryPartItKnowsAndNothingElse) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {R"({"kind":"virtual_machine_sensor","settings":{"host":"h","timeout":"60"},
            "secure_settings":{"secret":"p\"w\u00e9"},"persistent_data":{"currency":"EUR"},
            "channels":{"0":"channel_avg_cpu","12":"budget_used[x]"}})",
         R"({"kind":"virtual_machine_sensor","settings":{"host":"h","timeout":"60"},"secure_settings":{"secret":"********"},"channels":{"0":"channel_avg_cpu","12":"budget_used[x]"},"persistent_data":{"currency":"EUR"}})"},
        // Missing members mean empty.
        {R"({"settings":{"a":"1"}})",
         R"({"kind":"","settings":{"a":"1"},"secure_settings":{},"channels":{},"persistent_data":{}})"},
        {R"({"probe":{"settings":{"timeout":60},"list":[1,[2,{"a":null}]]},"kind":"k","version":3,
            "settings":{"timeout":"60"},"extra":["settings",{"kind":5}],"channels":null})",
         R"({"kind":"k","settings":{"timeout":"60"},"secure_settings":{},"channels":{},"persistent_data":{}})"},
        // As the JSON library reads objects: of two members with one name, the first counts.
        {R"({"kind":"first","kind":"second","settings":{"a":"1","a":"2"},"settings":{"b":"3"},
            "channels":{"4":"x","4":"y"}})",
         R"({"kind":"first","settings":{"a":"1"},"secure_settings":{},"channels":{"4":"x"},"persistent_data":{}})"},
    };
    for (const auto& [buffer, read] : cases) {
        EXPECT_EQ(wrap(buffer).to_json(), read) << buffer;
    }
    // Plain and secret settings are separate: neither lookup sees the other's keys.
    const auto wrapper = wrap(cases[0].first);
    EXPECT_EQ(wrapper.get_secure_value("secret"), "p\"w\xc3\xa9");
    EXPECT_THROW(wrapper.get_value("secret"), utils::exceptions::setting_not_available);
    EXPECT_EQ(failure_text<utils::exceptions::setting_not_available>(
                  [&] { wrapper.get_secure_value("host"); }),
              "The following setting was not available: host");
}

TEST(SensorDataWrapper, RefusesABrokenBufferSayingWhatIsWrong) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"not json", "not JSON"},
        {"{\"kind\":", "not JSON"},
        {"[1,2]", "must be a JSON object"},
        {R"({"kind":5})", "\"kind\" must be a text"},
        {R"({"settings":[]})", "\"settings\" must be an object"},
        {R"({"secure_settings":{"k":null}})", "\"secure_settings\".\"k\" must be a text"},
        {R"({"channels":{"one":"x"}})", "channel id \"one\" is not a decimal number"},
        {R"({"channels":{"99999999999":"x"}})", "channel id"},
        {R"({"persistent_data":{"k":true}})", "\"persistent_data\".\"k\""},
        {R"({"settings":{"group":{"a":"1"}}})", "\"settings\".\"group\" must be a text"},
        // Broken text is reported as such even after a member of the wrong kind.
        {R"({"settings":{"timeout":60},"kind":)", "not JSON"},
        // Problems are reported in member order, whatever the order of the text.
        {R"({"persistent_data":[],"kind":1})", "\"kind\" must be a text"},
    };
    for (const auto& [text, reason] : cases) {
        EXPECT_THAT(failure_text<utils::exceptions::invalid_settings_buffer>([&] { wrap(text); }),
                    AllOf(StartsWith("The settings buffer cannot be read: "), HasSubstr(reason)))
            << text;
    }
}

// Whether the scanner took the buffer; when it did, it must have read the library's document.
bool scanned_like_the_library(const std::string& buffer) {
    jsoncons::json_decoder<jsoncons::json> builder;
    if (!impl::plain_buffer_scanner(buffer, builder).scan()) {
        return false;
    }
    jsoncons::json library;
    EXPECT_NO_THROW(library = jsoncons::json::parse(buffer)) << "the scanner took a broken buffer";
    EXPECT_EQ(builder.get_result(), library);
    return true;
}

// The scanner passes texts eight bytes at a time, and the buffer's last few bytes one by one:
// each byte that ends a plain run, at every offset of a text longer than two such steps and
// among the buffer's last bytes, is read as the library reads it or left to the library.
TEST(PlainBufferScanner, ReadsEverySpecialByteWhereverItLiesAsTheLibraryDoes) {
    const std::vector<std::string> specials{"\\\\",     "\\\"", "\\n",  "\"", std::string(1, '\0'),
                                            "\x01",     "\n",   "\x1f", " ",  "\x7f",
                                            "\xc3\xa9", "\x80", "\xff"};
    for (const auto& special : specials) {
        // Of these, only a blank and DEL are plain text to the scanner.
        const bool plain = special == " " || special == "\x7f";
        for (std::size_t offset = 0; offset <= 24; ++offset) {
            for (const std::size_t after : {0, 16}) {
                const std::string text =
                    std::string(offset, 'a') + special + std::string(after, 'b');
                SCOPED_TRACE(::testing::Message() << "byte " << static_cast<int>(special[0])
                                                  << " at " << offset << ", " << after << " after");
                EXPECT_EQ(scanned_like_the_library(R"({"settings":{"k":")" + text + R"("}})"),
                          plain);
            }
        }
    }
}

TEST(KindInteger, AcceptsOnlyWholeDecimalNumbersWithinTheBounds) {
    validation_rules rules;
    rules.lower_bound = 0;
    rules.upper_bound = 300;
    EXPECT_EQ(kind_integer::parse_and_validate("300", rules), 300);
    EXPECT_EQ(kind_integer::parse_and_validate("0", rules), 0);
    for (const char* refused :
         {"301", "-1", "", "abc", " 60", "60 ", "6e1", "60s", "+60", "99999999999999999999"}) {
        EXPECT_FALSE(kind_integer::parse_and_validate(refused, rules).has_value()) << refused;
    }
    EXPECT_EQ(kind_integer::parse_and_validate("-9223372036854775808", {}), INT64_MIN);
}

TEST(KindString, ChecksLengthAndPatternWithoutQuotingTheValue) {
    validation_rules rules;
    rules.max_length = 5;
    EXPECT_EQ(kind_string::parse_and_validate("abcde", rules), "abcde");
    EXPECT_THAT(failure_text<utils::exceptions::setting_invalid>(
                    [&] { kind_string::parse_and_validate("secret", rules); }),
                AllOf(StartsWith("Setting invalid: String too long. "), Not(HasSubstr("secret"))));

    validation_rules pattern;
    pattern.pattern = "[a-z]+";
    EXPECT_EQ(kind_securestring::parse_and_validate("abc", pattern), "abc");
    EXPECT_THAT(failure_text<utils::exceptions::setting_invalid>(
                    [&] { kind_securestring::parse_and_validate("abc1", pattern); }),
                AllOf(StartsWith("Setting invalid: String does not match the rules. "),
                      Not(HasSubstr("abc1"))));

    validation_rules broken;
    broken.pattern = "([a-z";
    EXPECT_THAT(failure_text<utils::exceptions::setting_invalid>(
                    [&] { kind_string::parse_and_validate("abc", broken); }),
                StartsWith("Setting invalid: RegEx error on validation. "));
}

TEST(KindString, MatchesLongValuesWithoutExhaustingTheStack) {
    validation_rules any;
    any.pattern = ".*";
    // A recursive matcher needs hundreds of bytes of stack per character here.
    EXPECT_EQ(kind_securestring::parse_and_validate(std::string(1'000'000, 'x'), any).size(),
              1'000'000U);
    validation_rules nested;
    nested.pattern = "([a-z]+)*x";
    EXPECT_THROW(kind_string::parse_and_validate(std::string(40, 'a'), nested),
                 utils::exceptions::setting_invalid);
}

TEST(SecureString, KeepsItsTextAcrossCopiesAndMoves) {
    secure_string original("pw-1");
    secure_string copy = original;
    secure_string moved = std::move(original);
    EXPECT_EQ(copy.get_as_plaintext(), "pw-1");
    EXPECT_EQ(moved.get_as_plaintext(), "pw-1");
    EXPECT_TRUE(original.get_as_plaintext()
                    .empty());  // NOLINT(bugprone-use-after-move): moving wipes the source
    copy = secure_string("pw-2");
    EXPECT_EQ(copy.get_as_plaintext(), "pw-2");
}

TEST(PersistentDataStorage, AtNamesAMissingKey) {
    persistent_data_storage data(std::map<std::string, std::string>{{"currency", "EUR"}});
    EXPECT_EQ(data.at("currency"), "EUR");
    data["next_channel_id"] = "4";
    EXPECT_TRUE(data.exists("next_channel_id"));
    EXPECT_THAT(failure_text<std::out_of_range>([&] { data.at("base_url"); }),
                HasSubstr("'base_url'"));
}

}  // namespace
}  // namespace zentrova::monitoring_modules::framework::settings

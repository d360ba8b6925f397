// The messages the module sends the host, as exact texts: member order, value kinds, non-finite
// floats written as text, unset channel options as empty text, documents embedded as JSON.
#include <gtest/gtest.h>

#include <jsoncons/json.hpp>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "framework/channels/dynamic_channel.hpp"
#include "framework/i18n/i18n_msg.hpp"
#include "framework/messaging/metascan_progress.hpp"
#include "framework/messaging/module_information_message.hpp"
#include "framework/messaging/persistent_data.hpp"
#include "framework/responses/meta_scan_result.hpp"
#include "framework/responses/sensor_scan_result.hpp"
#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework {
namespace {

TEST(Messages, AreWrittenExactlyAsTheHostReadsThem) {
    const std::vector<std::pair<std::function<std::string()>, std::string>> cases = {
        {[] {
             responses::sensor_scan_result scan(7);
             scan.add_float(3, 12.5);
             scan.add_integer(1, 20);
             scan.add_float(4, std::numeric_limits<double>::quiet_NaN());
             scan.add_float(5, std::numeric_limits<double>::infinity());
             scan.add_float(6, -std::numeric_limits<double>::infinity());
             scan.set_response_code(responses::scan_response_codes::error);
             scan.set_response_message(
                 i18n::i18n_msg::from_key("error.request_failed", {"Request failed: x"}));
             return scan.serialize();
         },
         R"({"type":"sensor_scan_result","sensor_id":7,"response_code":3,"message":"#:error.request_failed[Request failed: x]","channels":[{"id":3,"kind":"float","value":12.5},{"id":1,"kind":"integer","value":20},{"id":4,"kind":"float","value":"NaN"},{"id":5,"kind":"float","value":"Infinity"},{"id":6,"kind":"float","value":"-Infinity"}]})"},
        {[] { return messaging::metascan_progress(7, 3, 50, "Listing").serialize(); },
         R"({"type":"metascan_progress","sensor_id":7,"scan_id":3,"progress":50,"text":"Listing"})"},
        {[] { return messaging::persistent_data(7, "currency", "EUR").serialize(); },
         R"({"type":"persistent_data","sensor_id":7,"key":"currency","value":"EUR"})"},
        {[] {
             responses::meta_scan_result result(5, 2);
             result.add_entry("vm-1", {{"s.g.name", "vm-1"}, {"s.g.os", "Linux"}});
             return result.serialize();
         },
         R"({"type":"meta_scan_result","sensor_id":5,"scan_id":2,"response_code":0,"message":"","entries":[{"display":"vm-1","values":{"s.g.name":"vm-1","s.g.os":"Linux"}}]})"},
        {[] {
             channels::dynamic_channel_options options;
             options.name = "budget_used[Team, \"A\"]";
             options.kind = channels::value_kind::floating_point;
             options.unit = channels::unit::custom;
             options.custom_unit = "EUR";
             channels::dynamic_channel declared(4, options);
             declared.set_sensor_id(9);
             return declared.serialize();
         },
         R"({"type":"dynamic_channel","sensor_id":9,"channel_id":4,"options":{"name":"budget_used[Team, \"A\"]","value_kind":3,"unit":8,"custom_unit":"EUR","lookup":""}})"},
        {[] { return channels::dynamic_channel(0, {}).serialize(); },
         R"({"type":"dynamic_channel","sensor_id":0,"channel_id":0,"options":{"name":"","value_kind":"","unit":"","custom_unit":"","lookup":""}})"},
        {[] {
             messaging::module_information_message info(R"({"Revision":7,"MetaData":{}})");
             info.addLanguage(R"({"Text":{}})");
             return info.serialize();
         },
         R"({"type":"module_information","definition":{"Revision":7,"MetaData":{}},"languages":[{"Text":{}}]})"},
    };
    for (const auto& [make, expected] : cases) {
        EXPECT_EQ(make(), expected);
    }
    EXPECT_THROW(messaging::module_information_message("{not json").serialize(),
                 utils::exceptions::exception);
}

// Messages copy plain texts themselves and leave the rest to the JSON library: whatever they
// hold, they must read byte for byte as the library's compact encoder writes them.
TEST(Messages, ReadAsTheLibrarysEncoderWritesThem) {
    // Texts are passed eight bytes at a time, their last few bytes one by one: each byte the
    // library escapes, or writes as it comes, at every offset of a text longer than two such
    // steps, and at its end.
    std::vector<std::string> texts{""};
    const std::vector<std::string> specials{
        "\"",   "\\",  "/",    std::string(1, '\0'), "\x01",         "\t",
        "\x1f", " ",   "\x7f", "\xc3\xa9",           "\xe2\x82\xac", "\xf0\x9f\x98\x80",
        "\x80", "\xff"};
    for (const auto& special : specials) {
        for (std::size_t offset = 0; offset <= 24; ++offset) {
            texts.push_back(std::string(offset, 'a') + special);
            texts.push_back(texts.back() + std::string(16, 'b'));
        }
    }
    for (const auto& text : texts) {
        std::string expected;
        jsoncons::compact_json_string_encoder library(expected);
        library.begin_object();
        library.key("type");
        library.string_value("persistent_data");
        library.key("sensor_id");
        library.int64_value(7);
        library.key("key");
        library.string_value(text);
        library.key("value");
        library.string_value(text);
        library.end_object();
        library.flush();
        EXPECT_EQ(messaging::persistent_data(7, text, text).serialize(), expected);
    }

    std::mt19937_64 random(7);
    std::vector<double> doubles{0.0, -0.0, 0.1, 12.5, 1e21, 1e-7, 123456789.125, 5e-324};
    while (doubles.size() < 2000) {
        const std::uint64_t bits = random();
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        if (std::isfinite(number)) {
            doubles.push_back(number);
        }
    }
    responses::sensor_scan_result scan(7);
    std::string expected;
    jsoncons::compact_json_string_encoder library(expected);
    library.begin_object();
    library.key("type");
    library.string_value("sensor_scan_result");
    library.key("sensor_id");
    library.int64_value(7);
    library.key("response_code");
    library.int64_value(0);
    library.key("message");
    library.string_value("");
    library.key("channels");
    library.begin_array();
    for (std::size_t id = 0; id < doubles.size(); ++id) {
        scan.add_float(static_cast<int>(id), doubles[id]);
        library.begin_object();
        library.key("id");
        library.int64_value(static_cast<std::int64_t>(id));
        library.key("kind");
        library.string_value("float");
        library.key("value");
        library.double_value(doubles[id]);
        library.end_object();
    }
    library.end_array();
    library.end_object();
    library.flush();
    EXPECT_EQ(scan.serialize(), expected);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::framework

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <jsoncons/json.hpp>
#include <limits>

#include "framework/channels/dynamic_channel.hpp"
#include "framework/i18n/i18n_msg.hpp"
#include "framework/messaging/metascan_progress.hpp"
#include "framework/messaging/module_information_message.hpp"
#include "framework/messaging/persistent_data.hpp"
#include "framework/responses/sensor_scan_result.hpp"
#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework {
namespace {

jsoncons::ojson decode(const messaging::tiko_message& message) {
    return jsoncons::ojson::parse(message.serialize());
}

std::vector<std::string> member_names(const jsoncons::ojson& object) {
    std::vector<std::string> names;
    for (const auto& member : object.object_range()) {
        names.emplace_back(member.key());
    }
    return names;
}

TEST(Messages, EachKindStartsWithItsTypeAndCarriesItsMembers) {
    responses::sensor_scan_result scan(7);
    const auto scan_json = decode(scan);
    EXPECT_EQ(
        member_names(scan_json),
        (std::vector<std::string>{"type", "sensor_id", "response_code", "message", "channels"}));
    EXPECT_EQ(scan_json["type"].as<std::string>(), "sensor_scan_result");
    EXPECT_EQ(scan_json["response_code"].as<int>(), 0);
    EXPECT_EQ(scan_json["message"].as<std::string>(), "");

    const auto progress = decode(messaging::metascan_progress(7, 3, 50, "Listing"));
    EXPECT_EQ(member_names(progress),
              (std::vector<std::string>{"type", "sensor_id", "scan_id", "progress", "text"}));
    EXPECT_EQ(progress["progress"].as<int>(), 50);

    const auto stored = decode(messaging::persistent_data(7, "currency", "EUR"));
    EXPECT_EQ(member_names(stored),
              (std::vector<std::string>{"type", "sensor_id", "key", "value"}));
    EXPECT_EQ(stored["value"].as<std::string>(), "EUR");
}

TEST(Messages, ScanResultKeepsChannelsInOrderAndWritesNonFiniteFloatsAsText) {
    responses::sensor_scan_result scan(7);
    scan.add_float(3, 12.5);
    scan.add_integer(1, 20);
    scan.add_float(4, std::numeric_limits<double>::quiet_NaN());
    scan.add_float(5, std::numeric_limits<double>::infinity());
    scan.add_float(6, -std::numeric_limits<double>::infinity());
    scan.set_response_code(responses::scan_response_codes::error);
    scan.set_response_message(
        i18n::i18n_msg::from_key("error.request_failed", {"Request failed: x"}));

    const auto json = decode(scan);
    EXPECT_EQ(json["response_code"].as<int>(), 3);
    EXPECT_EQ(json["message"].as<std::string>(), "#:error.request_failed[Request failed: x]");
    const auto& channels = json["channels"];
    ASSERT_EQ(channels.size(), 5U);
    EXPECT_EQ(channels[0]["id"].as<int>(), 3);
    EXPECT_EQ(channels[0]["kind"].as<std::string>(), "float");
    EXPECT_DOUBLE_EQ(channels[0]["value"].as<double>(), 12.5);
    EXPECT_EQ(channels[1]["kind"].as<std::string>(), "integer");
    EXPECT_EQ(channels[1]["value"].as<std::int64_t>(), 20);
    EXPECT_EQ(channels[2]["value"].as<std::string>(), "NaN");
    EXPECT_EQ(channels[3]["value"].as<std::string>(), "Infinity");
    EXPECT_EQ(channels[4]["value"].as<std::string>(), "-Infinity");
}

TEST(Messages, DynamicChannelWritesUnsetOptionsAsEmptyText) {
    channels::dynamic_channel_options options;
    options.name = "budget_used[Team, \"A\"]";
    options.kind = channels::value_kind::floating_point;
    options.unit = channels::unit::custom;
    options.custom_unit = "EUR";
    channels::dynamic_channel declared(4, options);
    declared.set_sensor_id(9);
    const auto json = decode(declared);
    EXPECT_EQ(json["sensor_id"].as<int>(), 9);
    EXPECT_EQ(json["channel_id"].as<int>(), 4);
    EXPECT_EQ(json["options"]["name"].as<std::string>(), "budget_used[Team, \"A\"]");
    EXPECT_EQ(json["options"]["value_kind"].as<int>(), 3);
    EXPECT_EQ(json["options"]["unit"].as<int>(), 8);
    EXPECT_EQ(json["options"]["lookup"].as<std::string>(), "");

    const auto bare = decode(channels::dynamic_channel(0, {}));
    EXPECT_EQ(bare["options"]["value_kind"].as<std::string>(), "");
    EXPECT_EQ(bare["options"]["unit"].as<std::string>(), "");
}

TEST(Messages, ModuleInformationEmbedsItsDocumentsAsJsonValues) {
    messaging::module_information_message info(R"({"Revision":7,"MetaData":{}})");
    EXPECT_EQ(decode(info)["languages"].size(), 0U);
    info.addLanguage(R"({"Text":{}})");
    const auto json = decode(info);
    EXPECT_EQ(json["definition"]["Revision"].as<int>(), 7);
    ASSERT_EQ(json["languages"].size(), 1U);
    EXPECT_TRUE(json["languages"][0].contains("Text"));

    messaging::module_information_message broken("{not json");
    EXPECT_THROW(broken.serialize(), utils::exceptions::exception);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::framework

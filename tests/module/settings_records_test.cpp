// The settings records of the module's kinds: selections read exactly and the timeout's bounds;
// each refusal names the entry and the value.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/utils/exceptions.hpp"
#include "settings/subscription_cost_sensor.hpp"
#include "tests/support/failure_text.hpp"
#include "tests/support/settings_buffer.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {
namespace {

using framework::settings::sensor_data_wrapper;
using framework::utils::exceptions::selection_parse_error;
using framework::utils::exceptions::setting_invalid;
using framework::utils::exceptions::setting_not_available;

const std::string cost_group = "subscription_cost_sensor_section.subscription_cost_sensor_group.";

template <typename Record>
Record parse(const testing::settings_buffer& buffer) {
    const std::string text = buffer.to_json();
    return Record(sensor_data_wrapper(text.data(), static_cast<unsigned>(text.size())));
}

testing::settings_buffer cost_buffer() {
    auto buffer = testing::settings_buffer::with_credentials("subscription_cost_sensor");
    buffer.settings[cost_group + "show_budgets"] = "enabled";
    buffer.settings[cost_group + "show_forecast"] = "disabled";
    buffer.settings[cost_group + "show_most_expensive_service"] = "enabled";
    buffer.settings[cost_group + "most_expensive_service_grouping"] = "servicename";
    return buffer;
}

// What parsing the cost sensor's record from `buffer` fails with.
template <typename Exception>
std::string failure(const testing::settings_buffer& buffer) {
    return testing::failure_text<Exception>([&] { parse<subscription_cost_sensor>(buffer); });
}

TEST(SettingsRecords, SelectionsAreExactAndNameTheEntryAndValue) {
    for (const auto& [key, value] : std::vector<std::pair<std::string, std::string>>{
             {"logging", "Enabled"},
             {cost_group + "show_budgets", "yes"},
             {cost_group + "most_expensive_service_grouping", "ServiceName"}}) {
        auto buffer = cost_buffer();
        buffer.settings[key] = value;
        EXPECT_EQ(failure<selection_parse_error>(buffer),
                  "Entry " + key.substr(key.rfind('.') + 1) + ": Selection value '" + value +
                      "' not found.");
    }
}

TEST(SettingsRecords, TimeoutMustBePresentAndWithinItsBounds) {
    auto buffer = cost_buffer();
    for (const char* value : {"0", "300"}) {
        buffer.settings["timeout"] = value;
        EXPECT_EQ(parse<subscription_cost_sensor>(buffer).connection.timeout, std::stoll(value));
    }
    for (const std::string value : {"301", "-1", "sixty", ""}) {
        buffer.settings["timeout"] = value;
        EXPECT_EQ(failure<setting_invalid>(buffer),
                  "Setting invalid: \"timeout\" must be a whole number of seconds from 0 to 300, "
                  "not \"" +
                      value + "\".");
    }
    buffer.settings.erase("timeout");
    EXPECT_EQ(failure<setting_not_available>(buffer),
              "The following setting was not available: timeout");
}

}  // namespace
}  // namespace zentrova::monitoring_modules::microsoftazure::settings

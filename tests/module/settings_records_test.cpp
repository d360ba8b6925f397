#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/utils/exceptions.hpp"
#include "settings/discovery_settings.hpp"
#include "settings/sql_database_sensor.hpp"
#include "settings/subscription_cost_sensor.hpp"
#include "settings/virtual_machine_sensor.hpp"
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

template <typename Exception, typename Record = subscription_cost_sensor>
std::string failure(const testing::settings_buffer& buffer) {
    try {
        parse<Record>(buffer);
    } catch (const Exception& e) {
        return e.what();
    }
    return "no failure";
}

TEST(SettingsRecords, CostRecordReadsItsSwitchesAndGrouping) {
    const auto record = parse<subscription_cost_sensor>(cost_buffer());
    EXPECT_EQ(record.connection.host, "management.azure.com");
    EXPECT_TRUE(record.connection.logging);
    EXPECT_EQ(record.connection.timeout, 60);
    EXPECT_EQ(record.credentials.section_name, "azure_credentials_section");
    EXPECT_EQ(record.credentials.tenant_id, "tenant-1");
    EXPECT_EQ(record.credentials.client_secret.get_as_plaintext(), "s3cr3t-value");
    EXPECT_EQ(record.credentials.subscription_id, "sub-1");
    EXPECT_TRUE(record.show_budgets);
    EXPECT_FALSE(record.show_forecast);
    EXPECT_TRUE(record.show_most_expensive_service);
    EXPECT_EQ(static_cast<int>(record.grouping), 4);
}

TEST(SettingsRecords, SelectionsAreExactAndNameTheEntryAndValue) {
    auto buffer = cost_buffer();
    buffer.settings["logging"] = "Enabled";
    EXPECT_EQ(failure<selection_parse_error>(buffer),
              "Entry logging: Selection value 'Enabled' not found.");
    buffer = cost_buffer();
    buffer.settings[cost_group + "show_budgets"] = "yes";
    EXPECT_EQ(failure<selection_parse_error>(buffer),
              "Entry show_budgets: Selection value 'yes' not found.");
    buffer = cost_buffer();
    buffer.settings[cost_group + "most_expensive_service_grouping"] = "ServiceName";
    EXPECT_EQ(failure<selection_parse_error>(buffer),
              "Entry most_expensive_service_grouping: Selection value 'ServiceName' not found.");
}

TEST(SettingsRecords, TimeoutMustBePresentAndWithinItsBounds) {
    auto buffer = cost_buffer();
    for (const auto& [value, accepted] : std::vector<std::pair<std::string, bool>>{{"0", true},
                                                                                   {"300", true},
                                                                                   {"301", false},
                                                                                   {"-1", false},
                                                                                   {"sixty", false},
                                                                                   {"", false}}) {
        buffer.settings["timeout"] = value;
        if (accepted) {
            EXPECT_EQ(parse<subscription_cost_sensor>(buffer).connection.timeout,
                      std::stoll(value));
        } else {
            EXPECT_EQ(failure<setting_invalid>(buffer),
                      "Setting invalid: \"timeout\" must be a whole number of seconds from 0 to "
                      "300, not \"" +
                          value + "\".");
        }
    }
    buffer.settings.erase("timeout");
    EXPECT_EQ(failure<setting_not_available>(buffer),
              "The following setting was not available: timeout");
}

TEST(SettingsRecords, SecretsAreReadOnlyFromTheSecureSettings) {
    auto buffer = cost_buffer();
    const std::string secret_key = "azure_credentials_section.credentials_group.client_secret";
    buffer.settings[secret_key] = buffer.secure_settings[secret_key];
    buffer.secure_settings.erase(secret_key);
    EXPECT_EQ(failure<setting_not_available>(buffer),
              "The following setting was not available: " + secret_key);
}

TEST(SettingsRecords, DiscoveryColumnsAreReadUnderTheirSection) {
    auto vm = testing::settings_buffer::with_credentials("virtual_machine_sensor");
    const std::string vm_group = "virtual_machine_metascan_section.virtual_machine_metascan_group.";
    vm.settings[vm_group + "name"] = "vm-1";
    vm.settings[vm_group + "vm_id"] =
        "/subscriptions/s/resourceGroups/RG/providers/Microsoft.Compute/virtualMachines/vm-1";
    vm.settings[vm_group + "os"] = "Linux";
    vm.settings[vm_group + "resource_group"] = "RG";
    vm.settings[vm_group + "region"] = "West Europe";
    const auto record = parse<virtual_machine_sensor>(vm);
    EXPECT_EQ(record.section_name, "virtual_machine_metascan_section");
    EXPECT_EQ(record.vm_id, vm.settings[vm_group + "vm_id"]);
    EXPECT_EQ(record.region, "West Europe");
    vm.settings.erase(vm_group + "os");
    EXPECT_EQ((failure<setting_not_available, virtual_machine_sensor>(vm)),
              "The following setting was not available: " + vm_group + "os");

    auto sql = testing::settings_buffer::with_credentials("sql_database_sensor");
    const std::string sql_group = "sql_database_metascan_section.sql_database_metascan_group.";
    for (const char* column : {"name", "database_id", "region"}) {
        sql.settings[sql_group + column] = column;
    }
    sql.settings[sql_group + "type"] = "Elastic pool, DTU";
    EXPECT_EQ(parse<sql_database_sensor>(sql).type, "Elastic pool, DTU");

    EXPECT_EQ(parse<discovery_settings>(
                  testing::settings_buffer::with_credentials("virtual_machine_metascan"))
                  .credentials.client_id,
              "client-1");
}

}  // namespace
}  // namespace zentrova::monitoring_modules::microsoftazure::settings

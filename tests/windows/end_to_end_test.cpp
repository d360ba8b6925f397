// Every sensor kind through MicrosoftAzure.dll under Wine, against the emulator running natively
// on loopback: discovery, sensor creation and checks, as a probe on Windows drives the module.
// Once with the emulator's CA in the Windows trust store (imported into the Wine prefix) and
// once with it given as MICROSOFTAZURE_CA_BUNDLE.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <jsoncons/json.hpp>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/module_driver.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// KEY=VALUE lines the server script wrote for the emulator it started.
std::map<std::string, std::string> emulator_environment() {
    const char* file = std::getenv("MICROSOFTAZURE_WINDOWS_EMULATOR");
    if (file == nullptr || *file == '\0') {
        throw std::runtime_error(
            "MICROSOFTAZURE_WINDOWS_EMULATOR names no file: run these tests through CTest in the "
            "Windows build (make test-windows), which starts the emulator");
    }
    std::map<std::string, std::string> values;
    std::istringstream lines(read_text_file(file));
    std::string line;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (const auto equals = line.find('='); equals != std::string::npos) {
            values[line.substr(0, equals)] = line.substr(equals + 1);
        }
    }
    for (const char* key : {"MICROSOFTAZURE_ARM_ENDPOINT", "MICROSOFTAZURE_LOGIN_ENDPOINT",
                            "MICROSOFTAZURE_CA_BUNDLE"}) {
        if (values[key].empty()) {
            throw std::runtime_error(std::string(file) + " lacks " + key);
        }
    }
    return values;
}

// The emulator's endpoints, and the bundled scenario's credentials.
azure_world world(bool with_ca_bundle) {
    const auto environment = emulator_environment();
    const auto credentials = jsoncons::json::parse(read_text_file(MICROSOFTAZURE_CREDENTIALS_FILE));
    // Without the bundle only the Windows trust store vouches for the emulator.
    return {environment.at("MICROSOFTAZURE_ARM_ENDPOINT"),
            environment.at("MICROSOFTAZURE_LOGIN_ENDPOINT"),
            with_ca_bundle ? environment.at("MICROSOFTAZURE_CA_BUNDLE") : "",
            credentials["tenant_id"].as<std::string>(),
            credentials["client_id"].as<std::string>(),
            credentials["client_secret"].as<std::string>(),
            credentials["subscription_id"].as<std::string>()};
}

class windows_end_to_end : public ::testing::TestWithParam<std::string> {
protected:
    module_driver driver{world(GetParam() == "ca_bundle")};

    // Every log file the module wrote, joined.
    std::string all_logs() const {
        std::string text;
        for (const auto& entry : std::filesystem::directory_iterator(driver.log_dir())) {
            text += read_text_file(entry.path().string());
        }
        return text;
    }
};

TEST_P(windows_end_to_end, every_sensor_kind_discovers_and_checks_through_the_dll) {
    const auto machines = driver.discover(driver.settings("virtual_machine_metascan"));
    ASSERT_EQ(machines.response_code, 0) << machines.message << all_logs();
    ASSERT_EQ(machines.rows.size(), 4U);
    EXPECT_EQ(
        machines.rows[0].at("virtual_machine_metascan_section.virtual_machine_metascan_group.name"),
        "vm-web-burst-01");
    auto machine = driver.settings("virtual_machine_sensor");
    machine.settings.insert(machines.rows[0].begin(), machines.rows[0].end());
    const auto checked_machine = driver.create_and_check(1, machine);
    EXPECT_EQ(checked_machine.code, 0);
    EXPECT_EQ(checked_machine.response_code, 0) << checked_machine.message;
    EXPECT_EQ(checked_machine.values.size(), 4U);
    // A wrong secret fails the check with the authentication message.
    machine.secure_settings["azure_credentials_section.credentials_group.client_secret"] = "wrong";
    const auto refused = driver.create_and_check(2, machine);
    EXPECT_EQ(refused.response_code, 3) << "call result " << refused.code;
    EXPECT_EQ(refused.message, "#:error.authentication_failed");
    EXPECT_THAT(all_logs(), HasSubstr("Authentication failed: "));

    const auto databases = driver.discover(driver.settings("sql_database_metascan"));
    ASSERT_EQ(databases.response_code, 0) << databases.message;
    ASSERT_FALSE(databases.rows.empty());
    int sensor_id = 10;
    for (const auto& row : databases.rows) {
        auto database = driver.settings("sql_database_sensor");
        database.settings.insert(row.begin(), row.end());
        const auto checked = driver.create_and_check(++sensor_id, database);
        EXPECT_EQ(checked.response_code, 0) << checked.message;
        EXPECT_FALSE(checked.values.empty()) << checked.message;
    }

    auto costs = driver.settings("subscription_cost_sensor");
    const std::string cost_group =
        "subscription_cost_sensor_section.subscription_cost_sensor_group.";
    costs.settings[cost_group + "show_budgets"] = "enabled";
    costs.settings[cost_group + "show_forecast"] = "enabled";
    costs.settings[cost_group + "show_most_expensive_service"] = "enabled";
    costs.settings[cost_group + "most_expensive_service_grouping"] = "resourcegroupname";
    const auto checked_costs = driver.create_and_check(20, costs);
    EXPECT_EQ(checked_costs.response_code, 0) << checked_costs.message;
    EXPECT_EQ(checked_costs.message, "#:most-expensive-service[rg-web,456.30,EUR]");
    EXPECT_DOUBLE_EQ(checked_costs.value(0), 987.65);
    EXPECT_EQ(checked_costs.values.size(), 7U);

    // The secret went to the emulator's token endpoint and nowhere else.
    EXPECT_THAT(all_logs(), Not(HasSubstr(driver.client_secret())));
    for (const auto& message : driver.all_messages()) {
        EXPECT_THAT(message, Not(HasSubstr(driver.client_secret())));
    }
}

INSTANTIATE_TEST_SUITE_P(trust, windows_end_to_end,
                         ::testing::Values(std::string("system_store"), std::string("ca_bundle")),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             return info.param;
                         });

}  // namespace
}  // namespace zentrova::monitoring_modules::testing

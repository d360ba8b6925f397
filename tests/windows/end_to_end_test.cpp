// Every sensor kind through MicrosoftAzure.dll under Wine, against the emulator running natively
// on loopback: discovery, sensor creation and checks, as a probe on Windows drives the module.
// Once with the emulator's CA in the Windows trust store (imported into the Wine prefix) and
// once with it given as MICROSOFTAZURE_CA_BUNDLE.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <jsoncons/json.hpp>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "host/module_library.hpp"
#include "tests/support/settings_buffer.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string read_text(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// KEY=VALUE lines the server script wrote for the emulator it started.
std::map<std::string, std::string> emulator_environment() {
    const char* file = std::getenv("MICROSOFTAZURE_WINDOWS_EMULATOR");
    if (file == nullptr || *file == '\0') {
        throw std::runtime_error(
            "MICROSOFTAZURE_WINDOWS_EMULATOR names no file: run these tests through CTest in the "
            "Windows build (make test-windows), which starts the emulator");
    }
    std::map<std::string, std::string> values;
    std::istringstream lines(read_text(file));
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

struct sensor_outcome {
    int code = -1;
    int response_code = -1;
    std::string message;
    std::map<int, double> values;
};

struct discovery {
    int code = -1;
    int response_code = -1;
    std::string message;
    std::vector<std::map<std::string, std::string>> rows;
};

class windows_end_to_end : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        const auto environment = emulator_environment();
        log_dir_ = std::filesystem::temp_directory_path() /
                   ("windows-e2e-" + GetParam() + "-" + std::to_string(_getpid()));
        std::filesystem::remove_all(log_dir_);
        _putenv_s("MICROSOFTAZURE_ARM_ENDPOINT",
                  environment.at("MICROSOFTAZURE_ARM_ENDPOINT").c_str());
        _putenv_s("MICROSOFTAZURE_LOGIN_ENDPOINT",
                  environment.at("MICROSOFTAZURE_LOGIN_ENDPOINT").c_str());
        _putenv_s("MICROSOFTAZURE_LOG_DIR", log_dir_.string().c_str());
        // Without the bundle only the Windows trust store vouches for the emulator.
        _putenv_s(
            "MICROSOFTAZURE_CA_BUNDLE",
            GetParam() == "ca_bundle" ? environment.at("MICROSOFTAZURE_CA_BUNDLE").c_str() : "");

        const auto credentials = jsoncons::json::parse(read_text(MICROSOFTAZURE_CREDENTIALS_FILE));
        client_secret_ = credentials["client_secret"].as<std::string>();
        credentials_ = {{"tenant_id", credentials["tenant_id"].as<std::string>()},
                        {"client_id", credentials["client_id"].as<std::string>()},
                        {"subscription_id", credentials["subscription_id"].as<std::string>()}};

        module_ = std::make_unique<host::module_library>(MICROSOFTAZURE_MODULE_PATH);
        ASSERT_EQ(module_->initialize(), 0) << runtime_log();
    }

    void TearDown() override {
        module_.reset();
        for (const char* name : {"MICROSOFTAZURE_ARM_ENDPOINT", "MICROSOFTAZURE_LOGIN_ENDPOINT",
                                 "MICROSOFTAZURE_LOG_DIR", "MICROSOFTAZURE_CA_BUNDLE"}) {
            _putenv_s(name, "");
        }
        std::error_code ignored;
        std::filesystem::remove_all(log_dir_, ignored);
    }

    settings_buffer settings(const std::string& kind) const {
        auto buffer = settings_buffer::with_credentials(kind, client_secret_);
        for (const auto& [name, value] : credentials_) {
            buffer.settings["azure_credentials_section.credentials_group." + name] = value;
        }
        buffer.settings["logging"] = "enabled";
        return buffer;
    }

    discovery discover(const std::string& kind) {
        discovery found;
        found.code = module_->meta_scan(1, 1, settings(kind).to_json());
        for (const auto& text : take_messages()) {
            const auto message = jsoncons::ojson::parse(text);
            if (message["type"].as<std::string>() != "meta_scan_result") {
                continue;
            }
            found.response_code = message["response_code"].as<int>();
            found.message = message["message"].as<std::string>();
            for (const auto& entry : message["entries"].array_range()) {
                std::map<std::string, std::string> row;
                for (const auto& member : entry["values"].object_range()) {
                    row[member.key()] = member.value().as<std::string>();
                }
                found.rows.push_back(row);
            }
        }
        return found;
    }

    // Creates the sensor and runs one check, as a probe does for a new sensor.
    sensor_outcome create_and_check(int sensor_id, const settings_buffer& buffer) {
        sensor_outcome outcome;
        outcome.code = module_->create_sensor(sensor_id, buffer.to_json());
        if (outcome.code == 0) {
            outcome.code = module_->check(sensor_id, buffer.to_json());
        }
        for (const auto& text : take_messages()) {
            const auto message = jsoncons::ojson::parse(text);
            if (message["type"].as<std::string>() != "sensor_scan_result") {
                continue;
            }
            outcome.response_code = message["response_code"].as<int>();
            outcome.message = message["message"].as<std::string>();
            outcome.values.clear();
            for (const auto& channel : message["channels"].array_range()) {
                outcome.values[channel["id"].as<int>()] =
                    channel["value"].is_string() ? -1.0 : channel["value"].as<double>();
            }
        }
        return outcome;
    }

    std::vector<std::string> take_messages() {
        auto taken = module_->take_messages();
        all_messages_.insert(all_messages_.end(), taken.begin(), taken.end());
        return taken;
    }

    std::string runtime_log() const {
        return read_text((log_dir_ / "MicrosoftAzure.log").string());
    }

    // Every log file the module wrote, joined.
    std::string all_logs() const {
        std::string text;
        for (const auto& entry : std::filesystem::directory_iterator(log_dir_)) {
            text += read_text(entry.path().string());
        }
        return text;
    }

    std::filesystem::path log_dir_;
    std::string client_secret_;
    std::map<std::string, std::string> credentials_;
    std::unique_ptr<host::module_library> module_;
    std::vector<std::string> all_messages_;
};

TEST_P(windows_end_to_end, every_sensor_kind_discovers_and_checks_through_the_dll) {
    const auto machines = discover("virtual_machine_metascan");
    ASSERT_EQ(machines.response_code, 0) << machines.message << all_logs();
    ASSERT_EQ(machines.rows.size(), 4U);
    EXPECT_EQ(
        machines.rows[0].at("virtual_machine_metascan_section.virtual_machine_metascan_group.name"),
        "vm-web-burst-01");
    auto machine = settings("virtual_machine_sensor");
    machine.settings.insert(machines.rows[0].begin(), machines.rows[0].end());
    const auto checked_machine = create_and_check(1, machine);
    EXPECT_EQ(checked_machine.code, 0);
    EXPECT_EQ(checked_machine.response_code, 0) << checked_machine.message;
    EXPECT_EQ(checked_machine.values.size(), 4U);

    const auto databases = discover("sql_database_metascan");
    ASSERT_EQ(databases.response_code, 0) << databases.message;
    ASSERT_FALSE(databases.rows.empty());
    int sensor_id = 10;
    for (const auto& row : databases.rows) {
        auto database = settings("sql_database_sensor");
        database.settings.insert(row.begin(), row.end());
        const auto checked = create_and_check(++sensor_id, database);
        EXPECT_EQ(checked.response_code, 0) << checked.message;
        EXPECT_FALSE(checked.values.empty()) << checked.message;
    }

    auto costs = settings("subscription_cost_sensor");
    const std::string cost_group =
        "subscription_cost_sensor_section.subscription_cost_sensor_group.";
    costs.settings[cost_group + "show_budgets"] = "enabled";
    costs.settings[cost_group + "show_forecast"] = "enabled";
    costs.settings[cost_group + "show_most_expensive_service"] = "enabled";
    costs.settings[cost_group + "most_expensive_service_grouping"] = "resourcegroupname";
    const auto checked_costs = create_and_check(20, costs);
    EXPECT_EQ(checked_costs.response_code, 0) << checked_costs.message;
    EXPECT_EQ(checked_costs.message, "#:most-expensive-service[rg-web,456.30,EUR]");
    EXPECT_DOUBLE_EQ(checked_costs.values.at(0), 987.65);
    EXPECT_EQ(checked_costs.values.size(), 7U);

    // The secret went to the emulator's token endpoint and nowhere else.
    EXPECT_THAT(all_logs(), Not(HasSubstr(client_secret_)));
    for (const auto& message : all_messages_) {
        EXPECT_THAT(message, Not(HasSubstr(client_secret_)));
    }
}

TEST_P(windows_end_to_end, a_wrong_secret_fails_the_check_with_the_authentication_message) {
    const auto machines = discover("virtual_machine_metascan");
    ASSERT_FALSE(machines.rows.empty()) << machines.message;
    auto machine = settings("virtual_machine_sensor");
    machine.settings.insert(machines.rows[0].begin(), machines.rows[0].end());
    machine.secure_settings["azure_credentials_section.credentials_group.client_secret"] = "wrong";
    const auto checked = create_and_check(1, machine);
    EXPECT_EQ(checked.response_code, 3) << "call result " << checked.code;
    EXPECT_EQ(checked.message, "#:error.authentication_failed");
    EXPECT_THAT(all_logs(), HasSubstr("Authentication failed: "));
}

INSTANTIATE_TEST_SUITE_P(trust, windows_end_to_end,
                         ::testing::Values(std::string("system_store"), std::string("ca_bundle")),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             return info.param;
                         });

}  // namespace
}  // namespace zentrova::monitoring_modules::testing

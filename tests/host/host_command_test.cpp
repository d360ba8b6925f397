// sensor-host's own commands as a user meets their mistakes: each one named before anything is
// created, with what to pass instead; the reason a failed export logged shown without a log
// folder; the connection settings taken like the others; discovery rows kept through a failed
// discovery; the state file in the user's state folder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): setenv is POSIX's

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/host/sensor_host_test.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class HostCommand : public sensor_host_test {
protected:
    void SetUp() override {
        start("default.json", "default-credentials.json");
        // Temporary folders of the host's go here, where the test can see that none is left.
        std::filesystem::create_directories(scratch_.path() / "tmp");
        ::setenv("TMPDIR", (scratch_.path() / "tmp").c_str(), 1);
    }
    void TearDown() override { ::unsetenv("TMPDIR"); }

    // sensor-host with its state in the scratch folder; the exit status and standard output.
    std::pair<int, std::string> run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"--state", state()});
        host_process host(arguments, error_file());
        std::string out;
        while (const auto line = host.line()) {
            out += *line + "\n";
        }
        return {host.finish(), out};
    }
    std::vector<std::string> check(const std::string& kind,
                                   const std::vector<std::string>& options) const {
        std::vector<std::string> arguments{"check", kind, "--credentials", credentials_};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return arguments;
    }
    std::string state() const { return (scratch_.path() / "state.json").string(); }
    bool temporary_folders_left() const {
        return !std::filesystem::is_empty(scratch_.path() / "tmp");
    }
};

TEST_F(HostCommand, MistakesAreNamedWithWhatToPassBeforeAnySensorIsMade) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {check("subscription_cost_sensor", {"--set", "show_budgets=Enabled"}),
         "--set show_budgets=Enabled: show_budgets takes disabled or enabled (Budgets)"},
        {check("subscription_cost_sensor", {"--set", "most_expensive_service_grouping=service"}),
         "takes resourcegroupname, resourcetype, resourceid, resourcelocation or servicename"},
        {check("subscription_cost_sensor", {"--set", "show_budget=enabled"}),
         "\"subscription_cost_sensor\" has no setting \"show_budget\"; did you mean "
         "show_budgets? Its settings are: show_budgets, show_forecast, "
         "show_most_expensive_service, most_expensive_service_grouping, timeout, logging"},
        {check("subscription_cost_sensor", {"--set", "timout=30"}), "did you mean timeout?"},
        {check("subscription_cost_sensor", {"--set", "logging=enabled"}),
         "--set logging=enabled writes the sensor's log into the log folder; pass --log-dir DIR"},
        {check("virtual_machine", {}),
         "\"virtual_machine\" is not a sensor kind of this module; did you mean "
         "virtual_machine_sensor?"},
        {check("virtual_machine_sensor", {"--from-row", "0"}),
         "--from-row: \"0\" is not a row: rows are numbered from 1"},
        {{"discover", "sql_metascan", "--credentials", credentials_},
         "\"sql_metascan\" is not a meta scan of this module; did you mean "
         "sql_database_metascan?"},
    };
    for (const auto& [arguments, expected] : cases) {
        EXPECT_EQ(run(arguments).first, 2) << expected;
        EXPECT_THAT(errors(), HasSubstr(expected));
        EXPECT_THAT(errors(), Not(HasSubstr("CreateSensorInstance")));
    }
    EXPECT_FALSE(temporary_folders_left());
}

TEST_F(HostCommand, AFailedExportShowsTheReasonTheModuleLogged) {
    EXPECT_EQ(run(check("subscription_cost_sensor", {"--set", "timeout=soon"})).first, 2);
    EXPECT_THAT(errors(), HasSubstr("CreateSensorInstance answered 1: the module could not carry "
                                    "it out. The module's log says: Creating sensor 1 of kind "
                                    "\"subscription_cost_sensor\" failed"));
    EXPECT_THAT(errors(), HasSubstr("\"timeout\" must be a whole number of seconds from 0 to "
                                    "300, not \"soon\""));

    ::setenv("MICROSOFTAZURE_CA_BUNDLE", (scratch_.path() / "missing.pem").c_str(), 1);
    EXPECT_EQ(run({"info"}).first, 2);
    EXPECT_THAT(errors(), HasSubstr("The module did not start (InitializeModule answered 1); "
                                    "check the MICROSOFTAZURE_* variables. The module's log "
                                    "says: InitializeModule failed: MICROSOFTAZURE_CA_BUNDLE"));
    EXPECT_FALSE(temporary_folders_left());
}

TEST_F(HostCommand, CtrlCDuringACallLeavesNoTemporaryFolder) {
    emulator_->set_faults_json(R"({"route": "billing_periods", "delay_ms": 3000})");
    host_process host(
        {"--state", state(), "check", "subscription_cost_sensor", "--credentials", credentials_},
        error_file());
    ASSERT_TRUE(emulator_->wait_for_requests(2, std::chrono::seconds(30)));  // held back
    host.signal(SIGINT);
    EXPECT_EQ(host.finish(), 130);
    EXPECT_FALSE(temporary_folders_left());
}

TEST_F(HostCommand, ConnectionSettingsAreTakenLikeTheOthers) {
    ASSERT_EQ(run({"discover", "virtual_machine_metascan", "--credentials", credentials_}).first,
              0);
    emulator_->set_faults_json(R"({"route": "vm_metrics", "delay_ms": 3000, "count": 1})");
    const auto log_dir = (scratch_.path() / "logs").string();
    std::filesystem::create_directories(log_dir);
    const auto [code, out] =
        run({"--log-dir", log_dir, "check", "virtual_machine_sensor", "--credentials", credentials_,
             "--from-row", "1", "--set", "timeout=1", "--set", "logging=enabled"});
    EXPECT_EQ(code, 1) << out << errors();
    EXPECT_THAT(out, HasSubstr("Operation timed out after 1"));
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(log_dir) / "sensor_1.log"));
}

TEST_F(HostCommand, AFailedDiscoveryKeepsTheLastGoodRows) {
    const auto discover = [this](const std::string& credentials) {
        return run({"discover", "virtual_machine_metascan", "--credentials", credentials}).first;
    };
    ASSERT_EQ(discover(credentials_), 0) << errors();
    const auto wrong = (scratch_.path() / "wrong-secret.json").string();
    std::ifstream in(credentials_);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const auto secret = text.find("\"client_secret\"");
    text.insert(text.find('"', text.find(':', secret)) + 1, "not-");
    std::ofstream(wrong) << text;

    EXPECT_EQ(discover(wrong), 1);
    EXPECT_THAT(errors(), HasSubstr("The 4 rows of the last discovery that succeeded stay in " +
                                    state() + " for --from-row"));
    const auto [code, out] = run(check("virtual_machine_sensor", {"--from-row", "4"}));
    EXPECT_EQ(code, 0) << errors();
    EXPECT_THAT(out, HasSubstr("Microsoft Azure Virtual Machine"));
}

TEST_F(HostCommand, TheStateFileLivesInTheUsersStateFolder) {
    const auto home = scratch_.path() / "state-home";
    ::setenv("XDG_STATE_HOME", home.c_str(), 1);
    host_process host({"discover", "virtual_machine_metascan", "--credentials", credentials_},
                      error_file());
    EXPECT_EQ(host.finish(), 0) << errors();
    ::unsetenv("XDG_STATE_HOME");
    EXPECT_TRUE(std::filesystem::exists(home / "microsoftazure" / "sensor-host-state.json"));
}

}  // namespace
}  // namespace zentrova::monitoring_modules::testing

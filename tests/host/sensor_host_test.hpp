#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): setenv is POSIX's

#include <memory>
#include <string>

#include "emulator/azure_emulator.hpp"
#include "tests/host/host_process.hpp"
#include "tests/support/scratch_directory.hpp"

namespace zentrova::monitoring_modules::testing {

// The folder of the emulator's scenarios and their credentials files.
inline const std::string scenarios = MICROSOFTAZURE_SCENARIOS;

// The sensor-host command against an in-process emulator: the environment points the module at
// it, and the command's standard error goes to a file of the test's scratch folder.
class sensor_host_test : public ::testing::Test {
protected:
    void start(const std::string& scenario, const std::string& credentials) {
        emulator::emulator_options options;
        options.scenario_file = scenarios + "/" + scenario;
        emulator_ = std::make_unique<emulator::azure_emulator>(options);
        ::setenv("MICROSOFTAZURE_ARM_ENDPOINT", emulator_->base_url().c_str(), 1);
        ::setenv("MICROSOFTAZURE_LOGIN_ENDPOINT", emulator_->login_url().c_str(), 1);
        ::setenv("MICROSOFTAZURE_CA_BUNDLE", emulator_->ca_file().c_str(), 1);
        ::unsetenv("MICROSOFTAZURE_LOG_DIR");
        credentials_ = scenarios + "/" + credentials;
    }
    std::string errors() const { return scratch_.read("errors.txt"); }
    std::string error_file() const { return (scratch_.path() / "errors.txt").string(); }

    scratch_directory scratch_{"sensor-host"};
    std::unique_ptr<emulator::azure_emulator> emulator_;
    std::string credentials_;
};

}  // namespace zentrova::monitoring_modules::testing

// Drives the built module through its nine entry points, loaded with dlopen as a probe does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <jsoncons/json.hpp>
#include <set>
#include <sstream>
#include <vector>

#ifndef _WIN32
#include <unistd.h>
#endif

#include "host/module_library.hpp"
#include "tests/support/scratch_directory.hpp"
#include "tests/support/settings_buffer.hpp"

namespace zentrova::monitoring_modules {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class ModuleExports : public ::testing::Test {
protected:
    void SetUp() override {
        ::setenv("MICROSOFTAZURE_LOG_DIR", log_dir_.path().c_str(), 1);
        // Nothing here may leave the machine: the endpoints point at a closed loopback port.
        ::setenv("MICROSOFTAZURE_ARM_ENDPOINT", "https://127.0.0.1:1/", 1);
        ::setenv("MICROSOFTAZURE_LOGIN_ENDPOINT", "https://127.0.0.1:1", 1);
        module_ = std::make_unique<host::module_library>(MICROSOFTAZURE_MODULE_PATH);
    }

    void TearDown() override {
        module_.reset();
        for (const char* name : {"MICROSOFTAZURE_LOG_DIR", "MICROSOFTAZURE_ARM_ENDPOINT",
                                 "MICROSOFTAZURE_LOGIN_ENDPOINT"}) {
            ::unsetenv(name);
        }
    }

    std::string runtime_log() const { return log_dir_.read("MicrosoftAzure.log"); }

    std::vector<jsoncons::ojson> messages() {
        std::vector<jsoncons::ojson> decoded;
        for (const auto& text : module_->take_messages()) {
            decoded.push_back(jsoncons::ojson::parse(text));
        }
        return decoded;
    }

    testing::scratch_directory log_dir_{"exports-test"};
    std::unique_ptr<host::module_library> module_;
};

TEST_F(ModuleExports, AnswerAccordingToTheLifecycle) {
    const std::string settings =
        testing::settings_buffer::with_credentials("virtual_machine_sensor").to_json();
    EXPECT_EQ(module_->api_level(), 5);
    EXPECT_EQ(module_->create_sensor(1, settings), 3);
    EXPECT_EQ(module_->check(1, settings), 3);
    EXPECT_EQ(module_->meta_scan(1, 1, settings), 3);
    EXPECT_EQ(module_->sensor_scan(1), 3);
    EXPECT_EQ(module_->destroy_sensor(1), 3);
    module_->module_information(true);
    EXPECT_TRUE(messages().empty());

    ASSERT_EQ(module_->initialize(), 0);
    EXPECT_EQ(module_->api_level(), 5);
    auto vm = testing::settings_buffer::with_credentials("virtual_machine_sensor");
    for (const char* column : {"name", "vm_id", "os", "resource_group", "region"}) {
        vm.settings[std::string(
                        "virtual_machine_metascan_section.virtual_machine_metascan_group.") +
                    column] = "x";
    }
    ASSERT_EQ(module_->create_sensor(1, vm.to_json()), 0) << runtime_log();
    EXPECT_EQ(module_->initialize(), 1);
    EXPECT_THAT(runtime_log(), HasSubstr("InitializeModule called on already initialized module."));
    // The first module keeps running, with its sensors.
    EXPECT_EQ(module_->sensor_scan(1), 0);
    EXPECT_EQ(module_->sensor_scan(2), 4);
    messages();
    module_->module_information(false);
    EXPECT_EQ(messages().size(), 1U);

    EXPECT_EQ(module_->cleanup(), 0);
    EXPECT_EQ(module_->cleanup(), 0);
    EXPECT_EQ(module_->create_sensor(1, settings), 3);
    EXPECT_EQ(module_->sensor_scan(1), 3);
    EXPECT_EQ(module_->initialize(), 0);
}

TEST_F(ModuleExports, ModuleInformationCarriesTheDefinitionAndLanguagesOnlyWhenAsked) {
    ASSERT_EQ(module_->initialize(), 0);
    module_->module_information(false);
    module_->module_information(true);
    const auto sent = messages();
    ASSERT_EQ(sent.size(), 2U);
    for (const auto& message : sent) {
        EXPECT_EQ(message["type"].as<std::string>(), "module_information");
        EXPECT_EQ(message["definition"]["MetaData"]["Name"].as<std::string>(), "microsoftazure");
    }
    EXPECT_EQ(sent[0]["languages"].size(), 0U);
    ASSERT_EQ(sent[1]["languages"].size(), 1U);
    EXPECT_EQ(sent[1]["languages"][0]["Text"]["English"]["Translation"]["channel_state"]["Display"]
                  .as<std::string>(),
              "Status");
    const std::string log = runtime_log();
    EXPECT_THAT(
        log,
        HasSubstr(
            "### Begin zentrova::monitoring_modules::framework::module::module_instance_adapter::"
            "get_module_information ###"));
    EXPECT_THAT(
        log,
        HasSubstr(
            "### End   zentrova::monitoring_modules::framework::module::module_instance_adapter::"
            "get_module_information ###"));
    EXPECT_THAT(log, HasSubstr("Got LoadLanguages: false"));
    EXPECT_THAT(log, HasSubstr("Got LoadLanguages: true"));
}

TEST_F(ModuleExports, BadHostInputGetsAFailureCodeAndALogLineSayingWhy) {
    ASSERT_EQ(module_->initialize(), 0);
    const auto& exports = module_->exports();
    EXPECT_EQ(exports.create_sensor_instance(1, nullptr, 0), 2);
    EXPECT_EQ(exports.execute_check(1, nullptr, 0), 2);
    EXPECT_EQ(module_->create_sensor(1, "not json at all"), 2);
    EXPECT_EQ(module_->meta_scan(
                  1, 1, R"({"kind":"virtual_machine_metascan","settings":{"timeout":60}})"),
              2);
    EXPECT_EQ(module_->create_sensor(1, R"({"settings":{}})"), 4);
    EXPECT_EQ(module_->create_sensor(1, R"({"kind":"no_such_kind"})"), 4);
    const std::string text = "{\"kind\":\"x\"}";
    EXPECT_EQ(exports.create_sensor_instance(1, text.data(), 3), 2);  // cut short by the size

    const std::string log = runtime_log();
    EXPECT_THAT(
        log,
        HasSubstr(
            "CreateSensorInstance failed: The settings buffer cannot be read: the host passed a "
            "null pointer"));
    EXPECT_THAT(log, HasSubstr("ExecuteCheck failed: The settings buffer cannot be read"));
    EXPECT_THAT(log, HasSubstr("it is not JSON"));
    EXPECT_THAT(log, HasSubstr("\"settings\".\"timeout\" must be a text"));
    EXPECT_THAT(log, HasSubstr("the settings name no \"kind\""));
    EXPECT_THAT(log, HasSubstr("\"no_such_kind\" is not a known kind"));
    EXPECT_EQ(module_->api_level(), 5);
}

TEST_F(ModuleExports, SecretsNeverReachTheLog) {
    ASSERT_EQ(module_->initialize(), 0);
    auto settings = testing::settings_buffer::with_credentials("virtual_machine_sensor",
                                                               "Pr1vate-Client-Secret");
    settings.secure_settings["zentrovacloudapikey"] = "Pr1vate-Api-Key";
    module_->create_sensor(1, settings.to_json());
    module_->check(1, settings.to_json());
    const std::string log = runtime_log();
    EXPECT_THAT(log, HasSubstr("credentials_group.client_secret\":\"********\""));
    EXPECT_THAT(log, Not(HasSubstr("Pr1vate")));
}

// The module calls the host under the lock that serialises its messages: a call back into it from
// the callback is refused at once instead of waiting for itself.
TEST_F(ModuleExports, CallsFromInsideTheCallbackAreRefusedAtOnce) {
    ASSERT_EQ(module_->initialize(), 0);
    const auto& exports = module_->exports();
    std::vector<int> codes;
    module_->on_message([&](const std::string&) {
        codes.push_back(exports.execute_sensor_scan(1));
        codes.push_back(exports.cleanup_module());
    });
    module_->module_information(false);
    module_->on_message(nullptr);
    EXPECT_EQ(codes, (std::vector<int>{5, 0}));
    EXPECT_EQ(module_->sensor_scan(1), 4) << "the refused cleanup must leave the module running";
    EXPECT_THAT(runtime_log(), HasSubstr("ExecuteSensorScan failed: it was called from inside the "
                                         "host's message callback"));
    EXPECT_THAT(runtime_log(), HasSubstr("CleanupModule failed: it was called from inside"));
}

// A creation that fails opens no sensor log, and a runaway buffer is logged cut.
TEST_F(ModuleExports, LogsHoldNoEmptyFilesAndNoHugeLines) {
    ASSERT_EQ(module_->initialize(), 0);
    auto unusable = testing::settings_buffer::with_credentials("virtual_machine_sensor");
    unusable.settings["padding"] = std::string(1024 * 1024, 'x');
    EXPECT_EQ(module_->create_sensor(9, unusable.to_json()), 1);
    EXPECT_FALSE(std::filesystem::exists(log_dir_.path() / "sensor_9.log"));
    const std::string log = runtime_log();
    EXPECT_THAT(log, HasSubstr("more bytes not logged]"));
    EXPECT_LT(log.size(), 256U * 1024U);
}

#ifndef _WIN32
// With no usable log, standard error is the only place left to say why the module did not start.
TEST_F(ModuleExports, AnUnusableLogFolderIsToldOnStandardError) {
    std::ofstream(log_dir_.path() / "a-file") << "not a folder";
    ::setenv("MICROSOFTAZURE_LOG_DIR", (log_dir_.path() / "a-file").c_str(), 1);
    const auto captured = log_dir_.path() / "stderr.txt";
    std::fflush(stderr);
    const int saved = ::dup(2);
    std::FILE* sink = std::fopen(captured.c_str(), "w");
    ::dup2(::fileno(sink), 2);
    const int code = module_->initialize();
    std::fflush(stderr);
    ::dup2(saved, 2);
    ::close(saved);
    std::fclose(sink);
    EXPECT_EQ(code, 1);
    EXPECT_THAT(log_dir_.read("stderr.txt"),
                HasSubstr("MicrosoftAzure: InitializeModule failed: Cannot open log file"));
}
#endif

TEST(ModuleLibrary, ExportsExactlyTheNineEntryPoints) {
    const std::string command = std::string("nm -D --defined-only ") + MICROSOFTAZURE_MODULE_PATH;
    FILE* pipe = ::popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::set<std::string> names;
    char line[1024];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        std::istringstream fields(line);
        std::string address;
        std::string type;
        std::string name;
        fields >> address >> type >> name;
        names.insert(name);
    }
    ASSERT_EQ(::pclose(pipe), 0) << command;
    EXPECT_EQ(names, (std::set<std::string>{"InitializeModule", "CleanupModule", "GetApiLevel",
                                            "GetModuleInformation", "CreateSensorInstance",
                                            "DestroySensorInstance", "ExecuteCheck",
                                            "ExecuteMetaScan", "ExecuteSensorScan"}));
}

}  // namespace
}  // namespace zentrova::monitoring_modules

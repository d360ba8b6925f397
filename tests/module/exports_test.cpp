// The built module through its nine entry points, loaded as a probe loads it: what each export
// answers in each state of the module, and what it logs. Nothing here leaves the machine: the
// endpoints point at a closed loopback port.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <jsoncons/json.hpp>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/module_library.hpp"
#include "tests/reliability/kinds_under_test.hpp"
#include "tests/support/scratch_directory.hpp"
#include "tests/support/settings_buffer.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr int not_initialised = 3;
constexpr int not_found = 4;
constexpr int unknown_kind = 4;
constexpr int unreadable = 2;

// The settings of a kind that a module can make (credentials and the kind's own columns).
std::string settings_of(const kind_under_test& kind) {
    return kind.settings(settings_buffer::with_credentials(kind.name), "sub-1", 0).to_json();
}
std::string sensor_settings() {
    return settings_of(sensor_kinds().front());
}
std::string scan_settings() {
    return settings_of(metascan_kinds().front());
}

class exports_fixture {
public:
    exports_fixture() {
        ::setenv("MICROSOFTAZURE_LOG_DIR", log_dir_.path().string().c_str(), 1);
        ::setenv("MICROSOFTAZURE_ARM_ENDPOINT", "https://127.0.0.1:1/", 1);
        ::setenv("MICROSOFTAZURE_LOGIN_ENDPOINT", "https://127.0.0.1:1", 1);
        module_ = std::make_unique<host::module_library>(MICROSOFTAZURE_MODULE_PATH);
    }
    ~exports_fixture() {
        module_.reset();
        for (const char* name : {"MICROSOFTAZURE_LOG_DIR", "MICROSOFTAZURE_ARM_ENDPOINT",
                                 "MICROSOFTAZURE_LOGIN_ENDPOINT"}) {
            ::unsetenv(name);
        }
    }
    exports_fixture(const exports_fixture&) = delete;
    exports_fixture& operator=(const exports_fixture&) = delete;

    host::module_library& module() { return *module_; }
    std::string runtime_log() const { return log_dir_.read("MicrosoftAzure.log"); }
    std::string sensor_log(int id) const {
        return log_dir_.read("sensor_" + std::to_string(id) + ".log");
    }

private:
    scratch_directory log_dir_{"exports-test"};
    std::unique_ptr<host::module_library> module_;
};

// Where a row's call finds the module.
enum class module_state {
    loaded,       // never initialised
    initialised,  // initialised, with sensor 1 made
    cleaned_up,   // initialised, sensor 1 made, cleaned up
};

struct export_case {
    std::string name;
    module_state state;
    std::function<int(host::module_library&)> call;
    int code;
    std::string logged;  // a line part the runtime log must hold; empty: nothing asked
};

std::ostream& operator<<(std::ostream& out, const export_case& row) {
    return out << row.name;
}

// The five forwarding exports in a state where each answers `code`.
std::vector<export_case> forwarding(const char* prefix, module_state state, int code) {
    const auto name = [prefix](const char* export_name) {
        return std::string(prefix) + export_name;
    };
    return {
        {name("Create"), state,
         [](host::module_library& m) { return m.create_sensor(1, sensor_settings()); }, code, ""},
        {name("Check"), state,
         [](host::module_library& m) { return m.check(1, sensor_settings()); }, code, ""},
        {name("MetaScan"), state,
         [](host::module_library& m) { return m.meta_scan(1, 1, scan_settings()); }, code, ""},
        {name("SensorScan"), state, [](host::module_library& m) { return m.sensor_scan(1); }, code,
         ""},
        {name("Destroy"), state, [](host::module_library& m) { return m.destroy_sensor(1); }, code,
         ""},
        {name("ApiLevel"), state, [](host::module_library& m) { return m.api_level(); }, 5, ""},
    };
}

std::vector<export_case> export_cases() {
    using m = host::module_library;
    auto rows = forwarding("BeforeInit", module_state::loaded, not_initialised);
    for (auto& row : forwarding("AfterCleanup", module_state::cleaned_up, not_initialised)) {
        rows.push_back(row);
    }
    const auto initialised = module_state::initialised;
    const std::vector<export_case> others = {
        {"CleanupAgain", module_state::cleaned_up, [](m& x) { return x.cleanup(); }, 0, ""},
        {"InitializeAfterCleanup", module_state::cleaned_up, [](m& x) { return x.initialize(); }, 0,
         ""},
        {"CheckAfterReinitialisation", module_state::cleaned_up,
         [](m& x) { return x.initialize() == 0 ? x.check(1, sensor_settings()) : -1; }, not_found,
         "Cannot check sensor 1: no sensor has this id; create it with CreateSensorInstance first"},
        {"InitializeTwice", initialised, [](m& x) { return x.initialize(); }, 1,
         "InitializeModule called on already initialized module."},
        {"SensorScanKnownId", initialised, [](m& x) { return x.sensor_scan(1); }, 0, ""},
        {"SensorScanUnknownId", initialised, [](m& x) { return x.sensor_scan(INT_MIN); }, not_found,
         "Cannot scan sensor -2147483648: no sensor has this id"},
        {"CheckUnknownId", initialised, [](m& x) { return x.check(77, sensor_settings()); },
         not_found,
         "Cannot check sensor 77: no sensor has this id; create it with CreateSensorInstance "
         "first"},
        {"DestroyUnknownId", initialised, [](m& x) { return x.destroy_sensor(-1); }, not_found,
         "Cannot destroy sensor -1: no sensor has this id"},
        {"DestroyTwice", initialised,
         [](m& x) { return x.destroy_sensor(1) == 0 ? x.destroy_sensor(1) : -1; }, not_found, ""},
        {"CheckDestroyed", initialised,
         [](m& x) { return x.destroy_sensor(1) == 0 ? x.check(1, sensor_settings()) : -1; },
         not_found, ""},
        // Extreme ids are ids like any other.
        {"IntMaxIsAnId", initialised,
         [](m& x) {
             return x.create_sensor(INT_MAX, sensor_settings()) == 0 ? x.destroy_sensor(INT_MAX)
                                                                     : -1;
         },
         0, ""},
        {"IntMinIsAnId", initialised,
         [](m& x) {
             return x.create_sensor(INT_MIN, sensor_settings()) == 0 ? x.sensor_scan(INT_MIN) : -1;
         },
         0, ""},
        {"CreateNullBuffer", initialised,
         [](m& x) { return x.exports().create_sensor_instance(1, nullptr, 0); }, unreadable,
         "CreateSensorInstance failed: The settings buffer cannot be read: the host passed a "
         "null pointer"},
        {"CheckNullBuffer", initialised,
         [](m& x) { return x.exports().execute_check(1, nullptr, 0); }, unreadable,
         "ExecuteCheck failed: The settings buffer cannot be read"},
        {"CreateNotJson", initialised, [](m& x) { return x.create_sensor(1, "not json at all"); },
         unreadable, "it is not JSON"},
        {"CreateCutShortBySize", initialised,
         [](m& x) {
             const std::string text = "{\"kind\":\"x\"}";
             return x.exports().create_sensor_instance(1, text.data(), 3);
         },
         unreadable, ""},
        {"MetaScanNumberForText", initialised,
         [](m& x) {
             return x.meta_scan(1, 1,
                                R"({"kind":"virtual_machine_metascan","settings":{"timeout":60}})");
         },
         unreadable, "\"settings\".\"timeout\" must be a text"},
        {"CreateWithoutKind", initialised,
         [](m& x) { return x.create_sensor(1, R"({"settings":{}})"); }, unknown_kind,
         "the settings name no \"kind\""},
        {"CreateUnknownKind", initialised,
         [](m& x) { return x.create_sensor(1, R"({"kind":"no_such_kind"})"); }, unknown_kind,
         "\"no_such_kind\" is not a known kind"},
        {"CreateWithoutItsSettings", initialised,
         [](m& x) {
             return x.create_sensor(
                 2, settings_buffer::with_credentials("virtual_machine_sensor").to_json());
         },
         1, "The following setting was not available"},
    };
    rows.insert(rows.end(), others.begin(), others.end());
    // Kinds asked for in the wrong role are refused by name.
    for (const auto& kind : sensor_kinds()) {
        rows.push_back({"MetaScanOf_" + kind.name, initialised,
                        [kind](m& x) { return x.meta_scan(1, 1, settings_of(kind)); }, unknown_kind,
                        "\"" + kind.name + "\" is a sensor, not a meta scan"});
    }
    for (const auto& kind : metascan_kinds()) {
        rows.push_back({"CreateOf_" + kind.name, initialised,
                        [kind](m& x) { return x.create_sensor(2, settings_of(kind)); },
                        unknown_kind, "\"" + kind.name + "\" is a meta scan, not a sensor"});
    }
    return rows;
}

class ModuleExports : public ::testing::TestWithParam<export_case> {
protected:
    exports_fixture fixture;
};

TEST_P(ModuleExports, AnswerByTheModulesState) {
    const export_case& row = GetParam();
    auto& module = fixture.module();
    if (row.state != module_state::loaded) {
        ASSERT_EQ(module.initialize(), 0);
        ASSERT_EQ(module.create_sensor(1, sensor_settings()), 0) << fixture.runtime_log();
    }
    if (row.state == module_state::cleaned_up) {
        ASSERT_EQ(module.cleanup(), 0);
    }
    module.take_messages();

    EXPECT_EQ(row.call(module), row.code) << fixture.runtime_log();
    if (row.code != 0) {
        // A refusal says so in its code and its log line alone.
        EXPECT_THAT(module.take_messages(), IsEmpty());
    }
    if (!row.logged.empty()) {
        EXPECT_THAT(fixture.runtime_log(), HasSubstr(row.logged));
    }
}

INSTANTIATE_TEST_SUITE_P(Exports, ModuleExports, ::testing::ValuesIn(export_cases()),
                         [](const auto& info) { return info.param.name; });

class ModuleChecks : public ::testing::Test {
protected:
    exports_fixture fixture;
    host::module_library& module = fixture.module();
};

TEST_F(ModuleChecks, ModuleInformationCarriesTheDefinitionAndLanguagesOnlyWhenAsked) {
    module.module_information(true);
    EXPECT_THAT(module.take_messages(), IsEmpty());  // not before InitializeModule
    ASSERT_EQ(module.initialize(), 0);
    module.module_information(false);
    module.module_information(true);
    std::vector<jsoncons::ojson> sent;
    for (const auto& text : module.take_messages()) {
        sent.push_back(jsoncons::ojson::parse(text));
    }
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
    const std::string log = fixture.runtime_log();
    const std::string adapter =
        " zentrova::monitoring_modules::framework::module::module_instance_adapter::"
        "get_module_information ###";
    EXPECT_THAT(log, HasSubstr("### Begin" + adapter));
    EXPECT_THAT(log, HasSubstr("### End  " + adapter));
    EXPECT_THAT(log, HasSubstr("Got LoadLanguages: false"));
    EXPECT_THAT(log, HasSubstr("Got LoadLanguages: true"));
    ASSERT_EQ(module.cleanup(), 0);
    module.module_information(true);
    EXPECT_THAT(module.take_messages(), IsEmpty());
}

TEST_F(ModuleChecks, SecretsNeverReachTheLog) {
    ASSERT_EQ(module.initialize(), 0);
    auto settings =
        settings_buffer::with_credentials("virtual_machine_sensor", "Pr1vate-Client-Secret");
    settings.secure_settings["zentrovacloudapikey"] = "Pr1vate-Api-Key";
    module.create_sensor(1, settings.to_json());
    module.check(1, settings.to_json());
    const std::string log = fixture.runtime_log();
    EXPECT_THAT(log, HasSubstr("credentials_group.client_secret\":\"********\""));
    EXPECT_THAT(log, Not(HasSubstr("Pr1vate")));
}

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// Sensors of every kind, checked or not, made anew on their id, and meta scans: cleanup (and
// replacement) releases each one, in every life of the module.
TEST_F(ModuleChecks, CleanupAndReplacementReleaseEverySensor) {
    for (int life = 0; life < 2; ++life) {
        ASSERT_EQ(module.initialize(), 0);
        int id = 1;
        for (const auto& kind : kinds_under_test()) {
            const std::string settings = settings_of(kind);
            if (kind.metascan) {
                EXPECT_EQ(module.meta_scan(id, 1, settings), 0) << kind.name;
            } else {
                for (int time = 0; time < 3; ++time) {
                    EXPECT_EQ(module.create_sensor(id, settings), 0) << kind.name;
                }
                EXPECT_EQ(module.check(id, settings), 0) << kind.name;
                EXPECT_EQ(module.create_sensor(id + 10, settings), 0) << kind.name;
            }
            ++id;
        }
        ASSERT_EQ(module.cleanup(), 0);
    }
    for (const int id : {1, 2, 3, 11, 12, 13}) {
        const std::string log = fixture.sensor_log(id);
        EXPECT_GT(occurrences(log, "#################### Initializing ####################"), 0U);
        EXPECT_EQ(occurrences(log, "#################### Initializing ####################"),
                  occurrences(log, "#################### Cleaning Up  ####################"))
            << "sensor " << id;
    }
}

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
}  // namespace zentrova::monitoring_modules::testing

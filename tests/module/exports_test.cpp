// The built module through its nine entry points, loaded as a probe loads it: what each export
// answers in each state of the module, and what it logs. Nothing here leaves the machine: the
// endpoints point at a closed loopback port.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <jsoncons/json.hpp>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#ifndef _WIN32
#include <unistd.h>
#endif

#include "definition/display_texts.hpp"
#include "definition/module_definition.hpp"
#include "host/module_library.hpp"
#include "tests/reliability/kinds_under_test.hpp"
#include "tests/support/scratch_directory.hpp"
#include "tests/support/settings_buffer.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

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

// The module loaded as a probe loads it, its logs in a fresh folder and its endpoints at a
// closed port.
class ModuleChecks : public ::testing::Test {
protected:
    ~ModuleChecks() override {
        library.reset();
        for (const char* name : {"MICROSOFTAZURE_LOG_DIR", "MICROSOFTAZURE_ARM_ENDPOINT",
                                 "MICROSOFTAZURE_LOGIN_ENDPOINT"}) {
            ::unsetenv(name);
        }
    }

    std::string runtime_log() const { return log_dir.read("MicrosoftAzure.log"); }

    static std::unique_ptr<host::module_library> load(const scratch_directory& logs) {
        ::setenv("MICROSOFTAZURE_LOG_DIR", logs.path().string().c_str(), 1);
        ::setenv("MICROSOFTAZURE_ARM_ENDPOINT", "https://127.0.0.1:1/", 1);
        ::setenv("MICROSOFTAZURE_LOGIN_ENDPOINT", "https://127.0.0.1:1", 1);
        return std::make_unique<host::module_library>(MICROSOFTAZURE_MODULE_PATH);
    }

    scratch_directory log_dir{"exports-test"};
    std::unique_ptr<host::module_library> library = load(log_dir);
    host::module_library& module = *library;
};

// Where a row's calls find the module.
enum class module_state {
    loaded,       // never initialised
    initialised,  // initialised, with sensor 1 made
    cleaned_up,   // initialised, sensor 1 made, cleaned up
};

// One row: calls such as "destroy 1; check 1", where every call before the last must succeed
// and the last must answer `code`. Create, check and meta scan pass `settings`, or a working
// buffer of the first sensor (meta scan) kind when it is empty; "raw-create" and "raw-check"
// pass no buffer at all when `settings` is empty, and otherwise only its first three bytes.
struct export_case {
    std::string name;
    module_state state;
    std::string calls;
    int code;
    std::string logged;  // a line part the runtime log must hold; empty: nothing asked
    std::string settings{};
};

std::ostream& operator<<(std::ostream& out, const export_case& row) {
    return out << row.name;
}

int call(host::module_library& module, const std::string& verb, int id,
         const std::string& settings) {
    const std::string sensor = settings.empty() ? sensor_settings() : settings;
    const auto& exports = module.exports();
    const char* raw = settings.empty() ? nullptr : settings.data();
    const auto raw_size = static_cast<unsigned>(settings.empty() ? 0 : 3);
    const std::map<std::string, std::function<int()>> calls = {
        {"init", [&] { return module.initialize(); }},
        {"cleanup", [&] { return module.cleanup(); }},
        {"api", [&] { return module.api_level(); }},
        {"create", [&] { return module.create_sensor(id, sensor); }},
        {"check", [&] { return module.check(id, sensor); }},
        {"meta",
         [&] { return module.meta_scan(id, 1, settings.empty() ? scan_settings() : settings); }},
        {"scan", [&] { return module.sensor_scan(id); }},
        {"destroy", [&] { return module.destroy_sensor(id); }},
        {"raw-create", [&] { return exports.create_sensor_instance(id, raw, raw_size); }},
        {"raw-check", [&] { return exports.execute_check(id, raw, raw_size); }},
    };
    const auto found = calls.find(verb);
    if (found != calls.end()) {
        return found->second();
    }
    ADD_FAILURE() << "no call " << verb;
    return -1;
}

std::vector<export_case> export_cases() {
    const auto loaded = module_state::loaded;
    const auto up = module_state::initialised;
    const auto down = module_state::cleaned_up;
    std::vector<export_case> rows;
    for (const auto& [prefix, state] :
         {std::pair{"BeforeInit", loaded}, std::pair{"AfterCleanup", down}}) {
        const std::string p = prefix;
        for (const char* verb : {"create", "check", "meta", "scan", "destroy"}) {
            rows.push_back({p + "_" + verb, state, std::string(verb) + " 1", not_initialised, ""});
        }
        rows.push_back({p + "_api", state, "api 0", 5, ""});
    }
    const std::vector<export_case> others = {
        {"CleanupAgain", down, "cleanup 0", 0, ""},
        {"CheckAfterReinitialisation", down, "init 0; check 1", not_found,
         "Cannot check sensor 1: no sensor has this id; create it with CreateSensorInstance first"},
        {"InitializeTwice", up, "init 0", 1,
         "InitializeModule called on already initialized module."},
        {"ScanKnownId", up, "scan 1", 0, ""},
        {"ScanUnknownId", up, "scan -2147483648", not_found,
         "Cannot scan sensor -2147483648: no sensor has this id"},
        {"CheckUnknownId", up, "check 77", not_found,
         "Cannot check sensor 77: no sensor has this id"},
        {"DestroyUnknownId", up, "destroy -1", not_found,
         "Cannot destroy sensor -1: no sensor has this id"},
        {"DestroyTwice", up, "destroy 1; destroy 1", not_found, ""},
        {"CheckDestroyed", up, "destroy 1; check 1", not_found, ""},
        // Extreme ids are ids like any other.
        {"IntMaxIsAnId", up, "create 2147483647; destroy 2147483647", 0, ""},
        {"IntMinIsAnId", up, "create -2147483648; scan -2147483648", 0, ""},
        {"CreateNullBuffer", up, "raw-create 1", unreadable,
         "CreateSensorInstance failed: The settings buffer cannot be read: the host passed a null "
         "pointer"},
        {"CheckNullBuffer", up, "raw-check 1", unreadable,
         "ExecuteCheck failed: The settings buffer cannot be read"},
        {"CreateCutShortBySize", up, "raw-create 1", unreadable, "", "{\"kind\":\"x\"}"},
        {"CreateNotJson", up, "create 1", unreadable, "it is not JSON", "not json at all"},
        {"CheckChannelIdWithTrailingText", up, "check 1", unreadable,
         "the channel id \"12abc\" is not a decimal number",
         R"({"kind":"virtual_machine_sensor","channels":{"12abc":"x"}})"},
        {"MetaScanNumberForText", up, "meta 1", unreadable,
         "\"settings\".\"timeout\" must be a text",
         R"({"kind":"virtual_machine_metascan","settings":{"timeout":60}})"},
        {"CreateWithoutKind", up, "create 1", unknown_kind, "the settings name no \"kind\"",
         R"({"settings":{}})"},
        {"CreateUnknownKind", up, "create 1", unknown_kind,
         "\"no_such_kind\" is not a known kind. Sensor kinds: ", R"({"kind":"no_such_kind"})"},
        {"CreateWithoutItsSettings", up, "create 2", 1, "The following setting was not available",
         settings_buffer::with_credentials("virtual_machine_sensor").to_json()},
    };
    rows.insert(rows.end(), others.begin(), others.end());
    // Kinds asked for in the wrong role are refused by name.
    for (const auto& kind : kinds_under_test()) {
        rows.push_back({"WrongRole_" + kind.name, up, kind.metascan ? "create 2" : "meta 2",
                        unknown_kind,
                        "\"" + kind.name +
                            (kind.metascan ? "\" is a meta scan, not a sensor"
                                           : "\" is a sensor, not a meta scan"),
                        settings_of(kind)});
    }
    return rows;
}

class ModuleExports : public ModuleChecks, public ::testing::WithParamInterface<export_case> {};

TEST_P(ModuleExports, AnswerByTheModulesState) {
    const export_case& row = GetParam();
    if (row.state != module_state::loaded) {
        ASSERT_EQ(module.initialize(), 0);
        ASSERT_EQ(module.create_sensor(1, sensor_settings()), 0) << runtime_log();
    }
    if (row.state == module_state::cleaned_up) {
        ASSERT_EQ(module.cleanup(), 0);
    }
    module.take_messages();

    std::istringstream calls(row.calls);
    for (std::string step; std::getline(calls, step, ';');) {
        std::istringstream words(step);
        std::string verb;
        int id = 0;
        words >> verb >> id;
        const int code = call(module, verb, id, row.settings);
        EXPECT_EQ(code, calls.eof() ? row.code : 0) << step << "\n" << runtime_log();
    }
    if (row.code != 0) {
        // A refusal says so in its code and its log line alone.
        EXPECT_THAT(module.take_messages(), IsEmpty());
    }
    if (!row.logged.empty()) {
        EXPECT_THAT(runtime_log(), HasSubstr(row.logged));
    }
}

INSTANTIATE_TEST_SUITE_P(Exports, ModuleExports, ::testing::ValuesIn(export_cases()),
                         [](const auto& info) { return info.param.name; });

TEST_F(ModuleChecks, ModuleInformationCarriesTheDefinitionAndLanguagesOnlyWhenAsked) {
    module.module_information(true);
    EXPECT_THAT(module.take_messages(), IsEmpty());  // not before InitializeModule
    ASSERT_EQ(module.initialize(), 0);
    module.module_information(false);
    module.module_information(true);
    const auto canonical = [](const std::string& text) {
        return jsoncons::ojson::parse(text).to_string();
    };
    const std::string head = R"({"type":"module_information","definition":)" +
                             canonical(microsoftazure::definition::module_definition()) +
                             R"(,"languages":[)";
    std::vector<std::string> sent;
    for (const auto& text : module.take_messages()) {
        sent.push_back(canonical(text));
    }
    EXPECT_THAT(sent,
                ElementsAre(canonical(head + "]}"),
                            canonical(head + microsoftazure::definition::display_texts() + "]}")));
    ASSERT_EQ(module.cleanup(), 0);
    module.module_information(true);
    EXPECT_THAT(module.take_messages(), IsEmpty());
}

// The module calls the host under the lock that serialises its messages: a call back into it from
// the callback is refused at once instead of waiting for itself.
TEST_F(ModuleChecks, CallsFromInsideTheCallbackAreRefusedAtOnce) {
    ASSERT_EQ(module.initialize(), 0);
    const auto& exports = module.exports();
    std::vector<int> codes;
    module.on_message([&](const std::string&) {
        codes.push_back(exports.execute_sensor_scan(1));
        codes.push_back(exports.cleanup_module());
    });
    module.module_information(false);
    module.on_message(nullptr);
    EXPECT_EQ(codes, (std::vector<int>{5, 0}));
    EXPECT_EQ(module.sensor_scan(1), 4) << "the refused cleanup must leave the module running";
    const std::string log = runtime_log();
    EXPECT_THAT(log, HasSubstr("ExecuteSensorScan failed: it was called from inside the "
                               "host's message callback"));
    EXPECT_THAT(log, HasSubstr("CleanupModule failed: it was called from inside"));
}

// A creation that fails opens no sensor log, and a runaway buffer is logged cut.
TEST_F(ModuleChecks, LogsHoldNoEmptyFilesAndNoHugeLines) {
    ASSERT_EQ(module.initialize(), 0);
    auto unusable = settings_buffer::with_credentials("virtual_machine_sensor");
    unusable.settings["padding"] = std::string(1024 * 1024, 'x');
    EXPECT_EQ(module.create_sensor(9, unusable.to_json()), 1);
    EXPECT_FALSE(std::filesystem::exists(log_dir.path() / "sensor_9.log"));
    const std::string log = runtime_log();
    EXPECT_THAT(log, HasSubstr("more bytes not logged]"));
    EXPECT_LT(log.size(), 256U * 1024U);
}

// Secrets and tokens never travel in clear: a plain-http endpoint stops the module at its start.
TEST_F(ModuleChecks, APlainHttpEndpointIsRefusedAtInitialisation) {
    for (const std::string variable :
         {"MICROSOFTAZURE_ARM_ENDPOINT", "MICROSOFTAZURE_LOGIN_ENDPOINT"}) {
        ::setenv(variable.c_str(), "http://127.0.0.1:1", 1);
        EXPECT_EQ(module.initialize(), 1) << variable;
        EXPECT_THAT(runtime_log(),
                    HasSubstr(variable + " must be an https URL: the module sends client "
                                         "secrets and bearer tokens to it and never over a "
                                         "plain connection"));
        ::setenv(variable.c_str(), "https://127.0.0.1:1", 1);
    }
    EXPECT_EQ(module.initialize(), 0);
}

#ifndef _WIN32
// With no usable log, standard error is the only place left to say why the module did not start.
TEST_F(ModuleChecks, AnUnusableLogFolderIsToldOnStandardError) {
    const auto folder = log_dir.path();
    std::ofstream(folder / "a-file") << "not a folder";
    ::setenv("MICROSOFTAZURE_LOG_DIR", (folder / "a-file").c_str(), 1);
    const auto captured = folder / "stderr.txt";
    std::fflush(stderr);
    const int saved = ::dup(2);
    std::FILE* sink = std::fopen(captured.c_str(), "w");
    ::dup2(::fileno(sink), 2);
    const int code = module.initialize();
    std::fflush(stderr);
    ::dup2(saved, 2);
    ::close(saved);
    std::fclose(sink);
    EXPECT_EQ(code, 1);
    EXPECT_THAT(log_dir.read("stderr.txt"),
                AllOf(HasSubstr("MicrosoftAzure: InitializeModule failed: Cannot open log file"),
                      HasSubstr("a-file/MicrosoftAzure.log"), HasSubstr("MICROSOFTAZURE_LOG_DIR")));
}
#endif

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
        const std::string log = log_dir.read("sensor_" + std::to_string(id) + ".log");
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

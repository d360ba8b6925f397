// The HTTP engine (libcurl and OpenSSL) is loaded by the module's first connection, not with the
// module: a probe that loads and initialises the module maps neither. Each case runs
// module_load_probe in a process of its own, so that nothing else has loaded them before.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace zentrova::monitoring_modules {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

// What the probe wrote: the files mapped at each stage, and its other lines in order.
struct probe_report {
    std::map<std::string, std::vector<std::string>> mapped;
    std::string lines;
};

// The names of the files among `files` whose name starts with one of `stems`.
std::vector<std::string> named(const std::vector<std::string>& files,
                               const std::vector<std::string>& stems) {
    std::vector<std::string> found;
    for (const auto& file : files) {
        const std::string name = std::filesystem::path(file).filename().string();
        for (const auto& stem : stems) {
            if (name.rfind(stem, 0) == 0) {
                found.push_back(name);
            }
        }
    }
    return found;
}

std::vector<std::string> engine_libraries() {
    return {"libcurl.so", "libssl.so", "libcrypto.so", "libgnutls.so"};
}

class EngineLoading : public ::testing::Test {
protected:
    void SetUp() override {
        directory_ = std::filesystem::temp_directory_path() /
                     ("engine-loading-" + std::to_string(::getpid()) + "-" +
                      ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(directory_);
        std::filesystem::create_directories(directory_ / "logs");
    }

    void TearDown() override { std::filesystem::remove_all(directory_); }

    // Runs the probe with the module's endpoints at a closed loopback port, no CA bundle and
    // logs in the test's folder, plus `extra` environment entries.
    probe_report run_probe(const std::vector<std::string>& extra = {}) {
        std::vector<std::string> environment = {
            "MICROSOFTAZURE_ARM_ENDPOINT=https://127.0.0.1:1/",
            "MICROSOFTAZURE_LOGIN_ENDPOINT=https://127.0.0.1:1",
            "MICROSOFTAZURE_LOG_DIR=" + (directory_ / "logs").string()};
        for (char** entry = environ; *entry != nullptr; ++entry) {
            const std::string text = *entry;
            if (text.rfind("MICROSOFTAZURE_", 0) != 0 && text.rfind("LD_LIBRARY_PATH=", 0) != 0) {
                environment.push_back(text);
            }
        }
        environment.insert(environment.end(), extra.begin(), extra.end());
        const std::string report_file = (directory_ / "report.txt").string();
        std::vector<std::string> arguments = {MICROSOFTAZURE_MODULE_LOAD_PROBE,
                                              MICROSOFTAZURE_MODULE_PATH, report_file};
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 1);
        for (auto& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        std::vector<char*> envp;
        envp.reserve(environment.size() + 1);
        for (auto& entry : environment) {
            envp.push_back(entry.data());
        }
        envp.push_back(nullptr);

        pid_t child = 0;
        probe_report report;
        if (posix_spawn(&child, argv[0], nullptr, nullptr, argv.data(), envp.data()) != 0) {
            ADD_FAILURE() << "cannot start " << argv[0];
            return report;
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the probe failed";

        std::ifstream in(report_file);
        std::string stage;
        for (std::string line; std::getline(in, line);) {
            if (line.rfind("stage ", 0) == 0) {
                stage = line.substr(6);
                report.mapped[stage];
            } else if (line.rfind("mapped ", 0) == 0) {
                report.mapped[stage].push_back(line.substr(7));
            } else {
                report.lines += line + '\n';
            }
        }
        return report;
    }

    std::string sensor_log() const {
        std::ifstream in(directory_ / "logs" / "sensor_1.log");
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    std::filesystem::path directory_;
};

TEST_F(EngineLoading, InitialisingMapsNoEngineLibraryUntilTheFirstConnection) {
    const auto report = run_probe();
    ASSERT_EQ(report.mapped.size(), 3U) << report.lines;
    ASSERT_THAT(named(report.mapped.at("started"), engine_libraries()), testing::IsEmpty())
        << "the probe itself must not bring the engine along";

    const auto& initialised = report.mapped.at("initialised");
    EXPECT_THAT(named(initialised, {"libMicrosoftAzure.so", "libTikoHelper.so"}),
                testing::UnorderedElementsAre("libMicrosoftAzure.so", "libTikoHelper.so"));
    EXPECT_THAT(named(initialised, engine_libraries()), testing::IsEmpty());

    // The check connects (to a closed port), which loads libcurl and its OpenSSL, and fails the
    // way a connection fails.
    for (const char* library : {"libcurl.so", "libssl.so", "libcrypto.so"}) {
        EXPECT_THAT(named(report.mapped.at("checked"), {library}), Not(testing::IsEmpty()))
            << library;
    }
    EXPECT_THAT(report.lines, AllOf(HasSubstr("create 0"), HasSubstr("check 0"),
                                    HasSubstr("#:error.connection_failed")));
}

TEST_F(EngineLoading, AnEngineThatCannotBeLoadedFailsTheCheckNamingItAndWhatToInstall) {
    // A libcurl.so.4 ahead of the system's that is no library at all.
    const auto broken = directory_ / "broken";
    std::filesystem::create_directories(broken);
    std::ofstream(broken / "libcurl.so.4") << "not a shared library\n";

    const auto report = run_probe({"LD_LIBRARY_PATH=" + broken.string()});
    ASSERT_EQ(report.mapped.size(), 3U) << report.lines;
    EXPECT_THAT(report.lines, AllOf(HasSubstr("create 0"), HasSubstr("check 0"),
                                    HasSubstr("\"response_code\":3")));
    EXPECT_THAT(report.lines, Not(HasSubstr("\"response_code\":0")));
    EXPECT_THAT(sensor_log(), AllOf(HasSubstr("the HTTP engine cannot be loaded"),
                                    HasSubstr((broken / "libcurl.so.4").string()),
                                    HasSubstr("install Debian's libcurl4 package")));
    EXPECT_THAT(named(report.mapped.at("checked"), engine_libraries()), testing::IsEmpty());
}

}  // namespace
}  // namespace zentrova::monitoring_modules

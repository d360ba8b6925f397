// The HTTP engine (libcurl and OpenSSL) is loaded by the module's first connection, not with the
// module: a probe that loads and initialises the module maps neither. Each case runs
// module_load_probe in a process of its own, so that nothing else has loaded them before.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tests/support/scratch_directory.hpp"

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
    // Runs the probe with the module's endpoints at a closed loopback port, no CA bundle, logs in
    // the test's folder and, when given, a library path searched before the system's.
    probe_report run_probe(const std::string& library_path = {}) {
        const std::string report_file = (scratch_.path() / "report.txt").string();
        std::string command =
            "env -u MICROSOFTAZURE_CA_BUNDLE -u LD_LIBRARY_PATH "
            "MICROSOFTAZURE_ARM_ENDPOINT=https://127.0.0.1:1/ "
            "MICROSOFTAZURE_LOGIN_ENDPOINT=https://127.0.0.1:1 MICROSOFTAZURE_LOG_DIR='" +
            (scratch_.path() / "logs").string() + "' ";
        if (!library_path.empty()) {
            command += "LD_LIBRARY_PATH='" + library_path + "' ";
        }
        command += "'" MICROSOFTAZURE_MODULE_LOAD_PROBE "' '" MICROSOFTAZURE_MODULE_PATH "' '" +
                   report_file + "'";
        EXPECT_EQ(std::system(command.c_str()), 0) << "the probe failed";

        probe_report report;
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

    std::string sensor_log() const { return scratch_.read("logs/sensor_1.log"); }

    testing::scratch_directory scratch_{"engine-loading"};
};

TEST_F(EngineLoading, InitialisingMapsNoEngineLibraryUntilTheFirstConnection) {
    const auto report = run_probe();
    ASSERT_EQ(report.mapped.size(), 3U) << report.lines;
    ASSERT_THAT(named(report.mapped.at("started"), engine_libraries()), ::testing::IsEmpty())
        << "the probe itself must not bring the engine along";

    const auto& initialised = report.mapped.at("initialised");
    EXPECT_THAT(named(initialised, {"libMicrosoftAzure.so", "libTikoHelper.so"}),
                ::testing::UnorderedElementsAre("libMicrosoftAzure.so", "libTikoHelper.so"));
    EXPECT_THAT(named(initialised, engine_libraries()), ::testing::IsEmpty());

    // The check connects (to a closed port), which loads libcurl and its OpenSSL, and fails the
    // way a connection fails.
    for (const char* library : {"libcurl.so", "libssl.so", "libcrypto.so"}) {
        EXPECT_THAT(named(report.mapped.at("checked"), {library}), Not(::testing::IsEmpty()))
            << library;
    }
    EXPECT_THAT(report.lines, AllOf(HasSubstr("create 0"), HasSubstr("check 0"),
                                    HasSubstr("#:error.connection_failed")));
}

TEST_F(EngineLoading, AnEngineThatCannotBeLoadedFailsTheCheckNamingItAndWhatToInstall) {
    // A libcurl.so.4 ahead of the system's that is no library at all.
    const auto broken = scratch_.path() / "broken";
    std::filesystem::create_directories(broken);
    std::ofstream(broken / "libcurl.so.4") << "not a shared library\n";

    const auto report = run_probe(broken.string());
    ASSERT_EQ(report.mapped.size(), 3U) << report.lines;
    EXPECT_THAT(report.lines, AllOf(HasSubstr("create 0"), HasSubstr("check 0"),
                                    HasSubstr("\"response_code\":3")));
    EXPECT_THAT(report.lines, Not(HasSubstr("\"response_code\":0")));
    EXPECT_THAT(sensor_log(), AllOf(HasSubstr("the HTTP engine cannot be loaded"),
                                    HasSubstr((broken / "libcurl.so.4").string()),
                                    HasSubstr("install Debian's libcurl4 package")));
    EXPECT_THAT(named(report.mapped.at("checked"), engine_libraries()), ::testing::IsEmpty());
}

}  // namespace
}  // namespace zentrova::monitoring_modules

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "framework/logging/dev_null_log.hpp"
#include "framework/logging/impl/file_log.hpp"
#include "framework/logging/log_text.hpp"
#include "framework/logging/runtime_log.hpp"
#include "framework/logging/sensor_log.hpp"
#include "framework/module/log_registration.hpp"
#include "framework/module/service_container.hpp"
#include "tests/support/scratch_directory.hpp"

namespace zentrova::monitoring_modules::framework::logging {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

class LogDirectory : public ::testing::Test {
protected:
    void SetUp() override { ::setenv("MICROSOFTAZURE_LOG_DIR", dir_.c_str(), 1); }
    void TearDown() override { ::unsetenv("MICROSOFTAZURE_LOG_DIR"); }

    std::string read(const std::filesystem::path& name) const { return scratch_.read(name); }

    monitoring_modules::testing::scratch_directory scratch_{"log-test"};
    const std::filesystem::path& dir_ = scratch_.path();
};

TEST_F(LogDirectory, RuntimeLinesGoToTheModuleLogWithTimeAndLevel) {
    auto container = std::make_shared<module::service_container>();
    module::register_runtime_log(container);
    container->get<runtime_log>()->write(debug, "### Begin something ###");
    EXPECT_THAT(
        read("MicrosoftAzure.log"),
        MatchesRegex(
            "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}\\.[0-9]{3}Z \\[7\\] ### Begin something ###\n"));
}

TEST_F(LogDirectory, SensorLinesGoToTheirOwnFileOnlyWhenEnabled) {
    auto container = std::make_shared<module::service_container>();
    module::register_sensor_log(container);
    const auto opener = container->get<sensor_log>();
    opener->open(12, true)->write(error, "first line");
    opener->open(12, true)->write(info, "second line");
    const auto quiet = opener->open(13, false);
    quiet->write(error, "never written");
    EXPECT_FALSE(quiet->enabled());
    EXPECT_THAT(read("sensor_12.log"), HasSubstr("[3] first line\n"));
    EXPECT_THAT(read("sensor_12.log"), HasSubstr("[6] second line\n"));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "sensor_13.log"));
}

#ifndef _WIN32
// Log lines name resources and failures: other local users may neither read the file nor point
// it elsewhere with a link planted under its name.
TEST_F(LogDirectory, FilesAreTheOwnersAloneAndNeverFollowALink) {
    runtime_log::from_environment()->write(info, "private");
    const auto permissions = std::filesystem::status(dir_ / "MicrosoftAzure.log").permissions();
    EXPECT_EQ(permissions & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

    std::ofstream(dir_ / "elsewhere") << "kept\n";
    std::filesystem::create_symlink(dir_ / "elsewhere", dir_ / "sensor_5.log");
    try {
        sensor_log::from_environment()->open(5, true);
        FAIL() << "a link was followed";
    } catch (const std::exception& e) {
        EXPECT_THAT(e.what(), HasSubstr("sensor_5.log"));
        EXPECT_THAT(e.what(), HasSubstr("symbolic link"));
    }
    EXPECT_EQ(read("elsewhere"), "kept\n");
}
#endif

TEST_F(LogDirectory, AFullFileMovesAsideOnceAndTheLogStartsAnew) {
    impl::file_log log((dir_ / "small.log").string(), 200);
    for (int line = 0; line < 20; ++line) {
        log.write(info, "line " + std::to_string(line) + std::string(20, '.'));
    }
    const std::string newest = read("small.log");
    const std::string older = read("small.log.1");
    EXPECT_LE(newest.size(), 200U);
    EXPECT_LE(older.size(), 200U);
    EXPECT_THAT(newest, HasSubstr("line 19"));
    EXPECT_THAT(older, ::testing::Not(HasSubstr("line 19")));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "small.log.2"));
}

TEST(LogText, LongTextIsCutAtACharacterAndSaysHowMuchWasLeftOut) {
    EXPECT_EQ(clipped_for_log("short", 5), "short");
    EXPECT_EQ(clipped_for_log("abcdefgh", 4), "abcd \u2026 [4 more bytes not logged]");
    // "é" is two bytes: the cut falls before it rather than inside it.
    EXPECT_EQ(clipped_for_log("ab\u00e9cd", 3), "ab \u2026 [4 more bytes not logged]");
}

TEST(LogWithoutDirectory, GoesNowhere) {
    ::unsetenv("MICROSOFTAZURE_LOG_DIR");
    EXPECT_FALSE(runtime_log::from_environment()->enabled());
    EXPECT_EQ(sensor_log::from_environment()->open(1, true), dev_null_log::get_singleton());
}

}  // namespace
}  // namespace zentrova::monitoring_modules::framework::logging

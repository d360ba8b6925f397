#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>
#ifndef _WIN32
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#endif

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

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

// Whether a log text's "line <n>" lines run one by one, none missing, up to line `last`.
bool lines_run_up_to(const std::string& text, int last) {
    std::vector<int> numbers;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (const auto at = line.find("] line "); at != std::string::npos) {
            numbers.push_back(std::stoi(line.substr(at + 7)));
        }
    }
    const auto gap = [](int one, int next) { return next != one + 1; };
    return !numbers.empty() && numbers.back() == last &&
           std::adjacent_find(numbers.begin(), numbers.end(), gap) == numbers.end();
}

class LogDirectory : public ::testing::Test {
protected:
    void SetUp() override { ::setenv("MICROSOFTAZURE_LOG_DIR", dir_.c_str(), 1); }
    void TearDown() override { ::unsetenv("MICROSOFTAZURE_LOG_DIR"); }

    std::string read(const std::filesystem::path& name) const { return scratch_.read(name); }

    // Lines of `count` bytes, "line <n>" first, written one after the other by `writers`.
    static void write_lines(const std::vector<std::shared_ptr<impl::file_log>>& writers, int count,
                            int first = 0) {
        for (int n = first; n < first + count; ++n) {
            const std::string text = "line " + std::to_string(n) + " ";
            writers[n % writers.size()]->write(info, text + std::string(20 + n * 37 % 100, '.'));
        }
    }

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
    // The sensor and the meta scan of one id write through one object: one lock, one rotation.
    const auto sensor = opener->open(12, true);
    const auto meta_scan = opener->open(12, true);
    EXPECT_EQ(sensor, meta_scan);
    sensor->write(error, "first line");
    meta_scan->write(info, "second line");
    const auto quiet = opener->open(13, false);
    quiet->write(error, "never written");
    EXPECT_FALSE(quiet->enabled());
    EXPECT_THAT(read("sensor_12.log"), HasSubstr("[3] first line\n"));
    EXPECT_THAT(read("sensor_12.log"), HasSubstr("[6] second line\n"));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "sensor_13.log"));
}

#ifndef _WIN32
// Log lines name resources and failures: other local users may not read them.
TEST_F(LogDirectory, FilesAreTheOwnersAlone) {
    std::ofstream(dir_ / "sensor_4.log") << "made under a wide umask\n";
    std::filesystem::permissions(dir_ / "sensor_4.log", std::filesystem::perms::all);
    sensor_log::from_environment()->open(4, true)->write(info, "private");
    EXPECT_EQ(std::filesystem::status(dir_ / "sensor_4.log").permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}
#endif

// Whatever stands under a log's name that is not a regular file of the module's own is left as
// it is, said once in the runtime log, and the sensor runs without its log; nothing waits on it.
TEST_F(LogDirectory, WhatIsNotTheModulesOwnFileIsRefusedAndTheSensorRunsWithoutIt) {
    std::ofstream(dir_ / "elsewhere") << "kept\n";
    // What, why it is refused, and the command that makes it under the name that ends the line.
    const std::vector<std::tuple<const char*, const char*, const char*>> cases = {
        {"a directory", "it is a directory", "mkdir"},
#ifndef _WIN32
        {"a symbolic link", "symbolic link", "ln -s elsewhere"},
        {"a hard link", "names (hard links)", "ln elsewhere"},
        {"a FIFO", "named pipe", "mkfifo"},
        {"a device", "it is a device", R"(sh -c 'mknod "$0" c 1 3')"},
        {"another user's file", "belongs to another user",
         R"(sh -c 'touch "$0" && chown 65534 "$0"')"},
#endif
    };
    const auto runtime = runtime_log::from_environment();
    int sensor_id = 20;
    for (const auto& [what, reason, command] : cases) {
        SCOPED_TRACE(what);
        const auto name = (dir_ / ("sensor_" + std::to_string(++sensor_id) + ".log")).string();
#ifdef _WIN32
        const bool made = std::filesystem::create_directory(name);  // the one case here
#else
        const bool made =
            std::system(("cd '" + dir_.string() + "' && " + command + " '" + name + "' 2>/dev/null")
                            .c_str()) == 0;
#endif
        if (!made) {
            std::printf("[ SKIPPED  ] %s: this user cannot make it\n", what);
            continue;
        }
        auto opening = std::async(std::launch::async, [&] {
            return sensor_log::from_environment(runtime)->open(sensor_id, true);
        });
        if (opening.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
            ADD_FAILURE() << "the sensor's creation waits on " << what;
#ifndef _WIN32
            const int reader = ::open(name.c_str(), O_RDONLY | O_NONBLOCK);  // lets it go
            opening.wait();
            ::close(reader);
#endif
            continue;
        }
        EXPECT_FALSE(opening.get()->enabled());
        EXPECT_THAT(
            read("MicrosoftAzure.log"),
            AllOf(HasSubstr(name + " is not used: "), HasSubstr(reason),
                  HasSubstr("sensor with id " + std::to_string(sensor_id) + " runs without it")));
    }
    EXPECT_EQ(read("elsewhere"), "kept\n");
}

// With no runtime log to say it in, a refusal goes to standard error.
TEST_F(LogDirectory, WithNoRuntimeLogARefusalIsToldOnStandardError) {
    std::filesystem::create_directory(dir_ / "MicrosoftAzure.log");
    std::filesystem::create_directory(dir_ / "sensor_3.log");
    ::testing::internal::CaptureStderr();
    const auto runtime = runtime_log::from_environment();
    EXPECT_FALSE(sensor_log::from_environment(runtime)->open(3, true)->enabled());
    EXPECT_FALSE(runtime->enabled());
    EXPECT_THAT(
        ::testing::internal::GetCapturedStderr(),
        AllOf(HasSubstr("MicrosoftAzure: Log file " + (dir_ / "MicrosoftAzure.log").string() +
                        " is not used: it is a directory"),
              HasSubstr("The module runs without its runtime log"),
              HasSubstr("sensor_3.log is not used: it is a directory")));
}

// A file that cannot be moved aside (here a folder stands under "<name>.1") takes lines up to
// twice its limit, then drops them with one line on standard error, until it can move again.
TEST_F(LogDirectory, AFileThatCannotMoveAsideStopsAtTwiceItsLimit) {
    std::filesystem::create_directories(dir_ / "small.log.1" / "in the way");
    const auto log = impl::file_log::open((dir_ / "small.log").string(), 400);
    ::testing::internal::CaptureStderr();
    write_lines({log}, 20);
    const std::string told = ::testing::internal::GetCapturedStderr();
    EXPECT_LE(read("small.log").size(), 800U);
    EXPECT_GT(read("small.log").size(), 650U);
    EXPECT_THAT(told, HasSubstr("cannot be moved aside to " + (dir_ / "small.log").string()));
    EXPECT_EQ(told.find("cannot be moved aside"), told.rfind("cannot be moved aside"));

    std::filesystem::remove_all(dir_ / "small.log.1");
    write_lines({log}, 1, 20);
    EXPECT_TRUE(lines_run_up_to(read("small.log"), 20));
    EXPECT_THAT(read("small.log.1"), HasSubstr("line 0 "));
}

// Two writers of one file that share no object, as two probe processes sharing a folder: each
// follows the file under its name, so the newest lines up to the limit are kept whoever wrote
// them. (A sensor that logs much beside a meta scan that logs little kept 3 lines of 400.)
TEST_F(LogDirectory, WritersThatShareAFileButNoObjectKeepTheNewestLines) {
#ifdef _WIN32
    // The same file to Windows, another name to the log.
    const auto other_name = std::filesystem::path(L"\\\\?\\" + dir_.wstring()) / "shared.log";
#else
    std::filesystem::create_directory_symlink(dir_, dir_ / "alias");
    const auto other_name = dir_ / "alias" / "shared.log";
#endif
    const auto first = impl::file_log::open((dir_ / "shared.log").string(), 4096);
    const auto second = impl::file_log::open(other_name.string(), 4096);
    ASSERT_NE(first, second);
    write_lines({first, first, first, second}, 400);
    // The predecessor holds the lines just before the newest file's: moved aside, not dropped.
    const std::string kept = read("shared.log.1") + read("shared.log");
    EXPECT_TRUE(lines_run_up_to(kept, 399)) << kept;
    EXPECT_GE(kept.size(), 4096U);
    EXPECT_LE(read("shared.log").size(), 4096U);
    EXPECT_FALSE(std::filesystem::exists(dir_ / "shared.log.2"));
}

#ifndef _WIN32
// A writer that waited on the lock while another process moved the file aside finds a new file
// under the name and leaves it be: moving it aside too would delete the lines just kept.
TEST_F(LogDirectory, AWriterThatWaitedOnTheLockLeavesTheNextFileBe) {
    const std::string path = (dir_ / "shared.log").string();
    const auto log = impl::file_log::open(path, 400);
    write_lines({log}, 4);                                     // line 4 takes it past 400 bytes
    const int other_process = ::open(path.c_str(), O_RDONLY);  // holds the lock, as a peer would
    ASSERT_EQ(::flock(other_process, LOCK_EX), 0);
    auto writing = std::async(std::launch::async, [&] { write_lines({log}, 1, 4); });
    // Bounded wait until the writer waits on the lock ("->" in the kernel's list of locks).
    struct stat file {};
    ::fstat(other_process, &file);
    bool waits = false;
    for (const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
         !waits && std::chrono::steady_clock::now() < until; std::this_thread::yield()) {
        std::ifstream locks("/proc/locks");
        const std::string list((std::istreambuf_iterator<char>(locks)), {});
        waits =
            std::regex_search(list, std::regex("-> FLOCK .*:" + std::to_string(file.st_ino) + " "));
    }
    EXPECT_TRUE(waits) << "the writer never waited on the lock";
    std::filesystem::rename(path, path + ".1");
    std::ofstream(path) << "the other process's line\n";
    ::close(other_process);
    writing.wait();
    EXPECT_TRUE(lines_run_up_to(read("shared.log.1"), 3));
    EXPECT_THAT(read("shared.log"), AllOf(HasSubstr("other process's line"), HasSubstr("line 4 ")));
}
#endif

#ifdef _WIN32
// A file another account owns is refused. Under Wine only the host can make one (Wine reads the
// owner from the Unix file); the suite's set-up does so when it runs as root.
TEST_F(LogDirectory, AnotherAccountsFileIsRefused) {
    const std::filesystem::path folder = MICROSOFTAZURE_FOREIGN_LOG_DIR;
    if (!std::filesystem::exists(folder / "sensor_9.log")) {
        GTEST_SKIP() << "no file of another account in " << folder;
    }
    const auto runtime = runtime_log::from_environment();
    ::setenv("MICROSOFTAZURE_LOG_DIR", folder.string().c_str(), 1);
    EXPECT_FALSE(sensor_log::from_environment(runtime)->open(9, true)->enabled());
    EXPECT_THAT(read("MicrosoftAzure.log"),
                AllOf(HasSubstr("sensor_9.log is not used: "), HasSubstr("another account")));
}
#endif

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

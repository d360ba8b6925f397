#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>
#ifdef _WIN32
// windows.h first: aclapi.h and sddl.h rely on its declarations.
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
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

// What the runtime log would keep.
class kept_lines final : public log_interface {
public:
    void write(int /*level*/, const std::string& line) override { lines.push_back(line); }
    std::vector<std::string> lines;
};

// The numbers of a log text's lines "<writer> line <n> …", in the order they stand.
std::vector<int> line_numbers(const std::string& text, const std::string& writer = "") {
    std::vector<int> numbers;
    std::istringstream lines(text);
    const std::string mark = "] " + writer + "line ";
    for (std::string line; std::getline(lines, line);) {
        if (const auto at = line.find(mark); at != std::string::npos) {
            numbers.push_back(std::stoi(line.substr(at + mark.size())));
        }
    }
    return numbers;
}

// first, first + 1, …, last.
std::vector<int> run(int first, int last) {
    std::vector<int> numbers;
    for (int n = first; n <= last; ++n) {
        numbers.push_back(n);
    }
    return numbers;
}

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
    runtime_log::from_environment()->write(info, "private");
    sensor_log::from_environment()->open(4, true)->write(info, "private");
    for (const char* name : {"MicrosoftAzure.log", "sensor_4.log"}) {
        EXPECT_EQ(std::filesystem::status(dir_ / name).permissions(),
                  std::filesystem::perms::owner_read | std::filesystem::perms::owner_write)
            << name;
    }
}
#endif

// Whatever stands under a log's name that is not a regular file of the module's own is left as
// it is, said once in the runtime log, and the sensor runs without its log; nothing waits on it.
TEST_F(LogDirectory, WhatIsNotTheModulesOwnFileIsRefusedAndTheSensorRunsWithoutIt) {
    struct planted {
        const char* what;
        const char* reason;
        std::function<bool(const std::filesystem::path&)> plant;  // false: cannot be made here
    };
    const auto elsewhere = dir_ / "elsewhere";
    const std::vector<planted> cases = {
        {"a directory", "it is a directory",
         [](const auto& name) { return std::filesystem::create_directory(name); }},
#ifndef _WIN32
        {"a symbolic link", "symbolic link",
         [&](const auto& name) {
             std::filesystem::create_symlink(elsewhere, name);
             return true;
         }},
        {"a hard link", "names (hard links)",
         [&](const auto& name) {
             std::filesystem::create_hard_link(elsewhere, name);
             return true;
         }},
        {"a FIFO", "named pipe",
         [](const auto& name) { return ::mkfifo(name.c_str(), 0600) == 0; }},
        {"a device", "it is a device",
         [](const auto& name) {
             return ::mknod(name.c_str(), S_IFCHR | 0600, ::makedev(1, 3)) == 0;
         }},
        {"another user's file", "belongs to another user",
         [&](const auto& name) {
             std::filesystem::copy_file(elsewhere, name);
             return ::chown(name.c_str(), 65534, 65534) == 0;
         }},
#endif
    };
    int sensor_id = 20;
    for (const auto& planted : cases) {
        SCOPED_TRACE(planted.what);
        std::ofstream(elsewhere, std::ios::trunc) << "kept\n";
        const auto name = dir_ / ("sensor_" + std::to_string(++sensor_id) + ".log");
        if (!planted.plant(name)) {
            std::cout << "[ SKIPPED  ] " << planted.what << ": cannot be made by this user\n";
            continue;
        }
        const auto type = std::filesystem::symlink_status(name).type();
        const auto report = std::make_shared<kept_lines>();
        auto opening = std::async(std::launch::async, [&] {
            return sensor_log::from_environment(report)->open(sensor_id, true);
        });
        if (opening.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
            ADD_FAILURE() << "the sensor's creation waits on " << planted.what;
#ifndef _WIN32
            // A reader lets the writer stuck on the FIFO go, so that the test ends.
            const int reader = ::open(name.c_str(), O_RDONLY | O_NONBLOCK);
            opening.wait();
            ::close(reader);
#endif
            continue;
        }
        const auto log = opening.get();
        log->write(info, "never written");
        EXPECT_FALSE(log->enabled());
        ASSERT_EQ(report->lines.size(), 1U);
        EXPECT_THAT(
            report->lines[0],
            AllOf(HasSubstr(name.string() + " is not used: "), HasSubstr(planted.reason),
                  HasSubstr("sensor with id " + std::to_string(sensor_id) + " runs without it")));
        EXPECT_EQ(std::filesystem::symlink_status(name).type(), type);
        EXPECT_EQ(read("elsewhere"), "kept\n");
    }
}

// With no runtime log to say it in, a refusal goes to standard error.
TEST_F(LogDirectory, WithNoRuntimeLogARefusalIsToldOnStandardError) {
    std::filesystem::create_directory(dir_ / "MicrosoftAzure.log");
    std::filesystem::create_directory(dir_ / "sensor_3.log");
    ::testing::internal::CaptureStderr();
    const auto runtime = runtime_log::from_environment();
    const auto sensor = sensor_log::from_environment(runtime)->open(3, true);
    const std::string told = ::testing::internal::GetCapturedStderr();
    EXPECT_FALSE(runtime->enabled());
    EXPECT_FALSE(sensor->enabled());
    EXPECT_THAT(told, AllOf(HasSubstr("MicrosoftAzure: Log file "),
                            HasSubstr("MicrosoftAzure.log is not used: it is a directory"),
                            HasSubstr("The module runs without its runtime log"),
                            HasSubstr("sensor_3.log is not used: it is a directory")));
}

TEST_F(LogDirectory, AFullFileMovesAsideOnceAndTheLogStartsAnew) {
    const auto log = impl::file_log::open((dir_ / "small.log").string(), 200);
    for (int line = 0; line < 20; ++line) {
        log->write(info, "line " + std::to_string(line) + std::string(20, '.'));
    }
    const std::string newest = read("small.log");
    const std::string older = read("small.log.1");
    EXPECT_LE(newest.size(), 200U);
    EXPECT_LE(older.size(), 200U);
    // The predecessor holds the lines just before the newest file's: moved aside, not dropped.
    ASSERT_FALSE(line_numbers(older).empty());
    const auto kept = line_numbers(older + newest);
    EXPECT_EQ(kept, run(kept.front(), 19));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "small.log.2"));
}

// A file that cannot be moved aside (here "<name>.1" is a folder) takes lines up to twice its
// limit, then drops them with one line on standard error, until it can move again.
TEST_F(LogDirectory, AFileThatCannotMoveAsideStopsAtTwiceItsLimit) {
    std::filesystem::create_directories(dir_ / "small.log.1" / "in the way");
    const auto log = impl::file_log::open((dir_ / "small.log").string(), 200);
    ::testing::internal::CaptureStderr();
    for (int line = 0; line < 20; ++line) {
        log->write(info, "line " + std::to_string(line) + std::string(20, '.'));
    }
    const std::string told = ::testing::internal::GetCapturedStderr();
    EXPECT_LE(read("small.log").size(), 400U);
    EXPECT_GT(read("small.log").size(), 300U);
    EXPECT_THAT(told, HasSubstr("cannot be moved aside to " + (dir_ / "small.log").string()));
    EXPECT_EQ(told.find("cannot be moved aside"), told.rfind("cannot be moved aside"));

    std::filesystem::remove_all(dir_ / "small.log.1");
    log->write(info, "line 20");
    EXPECT_THAT(read("small.log"), HasSubstr("line 20"));
    EXPECT_THAT(read("small.log.1"), HasSubstr("line 6."));
}

// Two writers of one file that do not share an object, as two probe processes sharing a folder:
// each follows the file under its name and only the one that still finds it there moves it
// aside, so the newest lines up to the limit are kept. (A sensor that logs much beside a meta
// scan that logs little lost all but its last few lines.)
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
    for (int n = 0; n < 400; ++n) {
        (n % 10 == 0 ? second : first)
            ->write(info, "line " + std::to_string(n) + " " + std::string((n * 37) % 100, '.'));
    }
    const std::string kept = read("shared.log.1") + read("shared.log");
    EXPECT_EQ(line_numbers(kept), run(line_numbers(kept).front(), 399));
    EXPECT_GE(kept.size(), 4096U);
}

#ifndef _WIN32
// Two processes writing at once: neither loses a line that is newer than lines kept.
TEST_F(LogDirectory, TwoProcessesSharingAFolderKeepEachOnesNewestLines) {
    const std::string path = (dir_ / "shared.log").string();
    constexpr int lines_each = 300;
    std::array<int, 2> start{-1, -1};
    ASSERT_EQ(::pipe(start.data()), 0);
    std::vector<pid_t> writers;
    for (const char* writer : {"A ", "B "}) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::alarm(60);  // a writer that hangs ends by itself
            int code = 0;
            try {
                const auto log = impl::file_log::open(path, 4096);
                ::close(start[1]);
                char go = 0;
                (void)!::read(start[0], &go, 1);  // both begin when the parent lets go
                for (int n = 0; n < lines_each; ++n) {
                    log->write(info, writer + ("line " + std::to_string(n)) + " " +
                                         std::string((n * 37) % 100, '.'));
                }
            } catch (const std::exception&) {
                code = 1;
            }
            ::_exit(code);
        }
        writers.push_back(pid);
    }
    ::close(start[0]);
    ::close(start[1]);
    for (const pid_t pid : writers) {
        int status = -1;
        ::waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    }
    const std::string kept = read("shared.log.1") + read("shared.log");
    // Each writer's lines that are kept are its newest, with none missing between them (one
    // that finished long before the other may have none left).
    for (const char* writer : {"A ", "B "}) {
        const auto numbers = line_numbers(kept, writer);
        EXPECT_EQ(numbers, run(numbers.empty() ? lines_each : numbers.front(), lines_each - 1))
            << writer;
    }
    EXPECT_GE(kept.size(), 4096U - 200U);
}
#endif

#ifdef _WIN32
// A file's access list in text form, "D:(A;;FA;;;WD)…".
std::string access_list(const std::filesystem::path& file) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetNamedSecurityInfoW(file.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                              nullptr, nullptr, nullptr, &descriptor) != ERROR_SUCCESS) {
        return "unreadable";
    }
    LPSTR text = nullptr;
    ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1,
                                                         DACL_SECURITY_INFORMATION, &text, nullptr);
    std::string result = text != nullptr ? text : "unreadable";
    LocalFree(text);
    LocalFree(descriptor);
    return result;
}

// A log file made first by someone else keeps no access list of theirs: creating a file with
// the owner-only list does not change a file that is already there.
TEST_F(LogDirectory, AnExistingFileGetsTheOwnersAccessListOnly) {
    const auto name = dir_ / "sensor_8.log";
    PSECURITY_DESCRIPTOR everyone = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
        L"D:(A;;FA;;;WD)", SDDL_REVISION_1, &everyone, nullptr));
    SECURITY_ATTRIBUTES attributes{sizeof attributes, everyone, FALSE};
    const HANDLE made = CreateFileW(name.c_str(), GENERIC_WRITE, 0, &attributes, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    LocalFree(everyone);
    ASSERT_NE(made, INVALID_HANDLE_VALUE);
    CloseHandle(made);
    ASSERT_THAT(access_list(name), HasSubstr(";;;WD)"));

    sensor_log::from_environment()->open(8, true)->write(info, "private");
    EXPECT_THAT(read("sensor_8.log"), HasSubstr("private"));
    EXPECT_THAT(access_list(name), ::testing::Not(HasSubstr(";;;WD)")));
}

// A file another account owns is refused. Under Wine only the host can make one (Wine reads the
// owner from the Unix file); the suite's set-up does so when it runs as root.
TEST(LogOwner, AnotherAccountsFileIsRefused) {
    const std::filesystem::path folder = MICROSOFTAZURE_FOREIGN_LOG_DIR;
    if (!std::filesystem::exists(folder / "sensor_9.log")) {
        GTEST_SKIP() << "no file of another account in " << folder;
    }
    ::setenv("MICROSOFTAZURE_LOG_DIR", folder.string().c_str(), 1);
    const auto report = std::make_shared<kept_lines>();
    const auto log = sensor_log::from_environment(report)->open(9, true);
    ::unsetenv("MICROSOFTAZURE_LOG_DIR");
    EXPECT_FALSE(log->enabled());
    ASSERT_EQ(report->lines.size(), 1U);
    EXPECT_THAT(report->lines[0],
                AllOf(HasSubstr("sensor_9.log is not used: "), HasSubstr("another account")));
    std::ifstream planted(folder / "sensor_9.log");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(planted), {}), "planted\n");
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

// The azure-emulator command: its environment lines, its stop on SIGTERM, its errors.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/emulator/https_client.hpp"

namespace zentrova::monitoring_modules::emulator::testing {
namespace {

// The command as a child process with its standard output and error read through pipes.
class command {
public:
    explicit command(std::vector<std::string> args) {
        args.insert(args.begin(), AZURE_EMULATOR_COMMAND);
        std::array<int, 2> out{};
        std::array<int, 2> err{};
        if (::pipe(out.data()) != 0 || ::pipe(err.data()) != 0) {
            throw std::runtime_error("pipe failed");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        posix_spawn_file_actions_addclose(&actions, err[0]);
        std::vector<char*> argv;
        argv.reserve(args.size() + 1);
        for (auto& a : args) {
            argv.push_back(a.data());
        }
        argv.push_back(nullptr);
        const int spawned = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        ::close(err[1]);
        out_ = out[0];
        err_ = err[0];
        if (spawned != 0) {
            throw std::runtime_error("cannot start " + args[0]);
        }
    }
    ~command() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        ::close(out_);
        ::close(err_);
    }
    command(const command&) = delete;
    command& operator=(const command&) = delete;

    // Reads until standard output holds `lines` lines or the child closes it; bounded.
    std::string read_lines(int lines) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::count(out_text_.begin(), out_text_.end(), '\n') < lines &&
               std::chrono::steady_clock::now() < deadline) {
            if (!pump(100)) {
                break;
            }
        }
        return out_text_;
    }

    // Waits for the exit (bounded) and returns the exit code, -1 on a time-out.
    int finish() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        int status = 0;
        while (std::chrono::steady_clock::now() < deadline) {
            pump(50);
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                while (pump(0)) {
                }
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
        }
        return -1;
    }

    void signal(int number) const { ::kill(pid_, number); }
    const std::string& err() const { return err_text_; }

private:
    // One round of reading whatever is ready; false once both pipes are closed.
    bool pump(int timeout_ms) {
        std::array<pollfd, 2> fds{{{out_, POLLIN, 0}, {err_, POLLIN, 0}}};
        if (::poll(fds.data(), fds.size(), timeout_ms) <= 0) {
            return timeout_ms > 0;
        }
        bool open = false;
        const std::array<std::string*, 2> texts{&out_text_, &err_text_};
        for (std::size_t i = 0; i < fds.size(); ++i) {
            if ((fds[i].revents & (POLLIN | POLLHUP)) != 0) {
                std::array<char, 4096> buffer{};
                const ssize_t n = ::read(fds[i].fd, buffer.data(), buffer.size());
                if (n > 0) {
                    texts[i]->append(buffer.data(), static_cast<std::size_t>(n));
                    open = true;
                }
            } else {
                open = true;
            }
        }
        return open;
    }

    pid_t pid_ = -1;
    int out_ = -1;
    int err_ = -1;
    std::string out_text_;
    std::string err_text_;
};

TEST(command_test, print_env_lines_point_at_a_running_emulator_until_sigterm) {
    command emulator({"--print-env"});
    const std::string out = emulator.read_lines(3);
    std::map<std::string, std::string> env;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        ASSERT_EQ(line.rfind("export MICROSOFTAZURE_", 0), 0u) << line;
        const auto eq = line.find('=');
        env[line.substr(7, eq - 7)] = line.substr(eq + 1);
    }
    ASSERT_EQ(env.size(), 3u) << out << emulator.err();
    const std::string arm = env["MICROSOFTAZURE_ARM_ENDPOINT"];
    EXPECT_EQ(arm.rfind("https://127.0.0.1:", 0), 0u);
    EXPECT_EQ(arm.back(), '/');
    EXPECT_EQ(env["MICROSOFTAZURE_LOGIN_ENDPOINT"] + "/", arm);
    const std::string ca = env["MICROSOFTAZURE_CA_BUNDLE"];
    ASSERT_TRUE(std::filesystem::exists(ca));

    https_client client(ca);
    EXPECT_EQ(client.get(arm + "_emulator/health").status, 200);
    EXPECT_EQ(client
                  .post(env["MICROSOFTAZURE_LOGIN_ENDPOINT"] + "/" + tenant_id + "/oauth2/token",
                        token_form(env["MICROSOFTAZURE_LOGIN_ENDPOINT"]),
                        "application/x-www-form-urlencoded")
                  .status,
              200);

    emulator.signal(SIGTERM);
    EXPECT_EQ(emulator.finish(), 0) << emulator.err();
    EXPECT_NE(emulator.err().find("SIGTERM received, stopping"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(ca));  // its temporary TLS directory is gone
}

TEST(command_test, a_bad_scenario_file_stops_the_command_with_its_name_and_problem) {
    const auto bad = std::filesystem::temp_directory_path() /
                     ("bad-scenario-" + std::to_string(::getpid()) + ".json");
    std::ofstream(bad) << "{\n  \"regions\": [{\"name\": \"x\"}]\n}";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"/nonexistent/world.json", "scenario file '/nonexistent/world.json': does not exist"},
        {bad.string(), "$.regions[0].display_name: required member is missing"},
    };
    for (const auto& [file, expected] : cases) {
        command emulator({"--scenario", file});
        EXPECT_EQ(emulator.finish(), 2);
        EXPECT_NE(emulator.err().find(expected), std::string::npos) << emulator.err();
    }
    std::filesystem::remove(bad);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::emulator::testing

#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

extern char** environ;  // NOLINT(readability-redundant-declaration)

namespace zentrova::monitoring_modules::testing {

// sensor-host run with the arguments, its standard output in a pipe and its standard error in a
// file, in the test's environment.
class host_process {
public:
    host_process(const std::vector<std::string>& arguments, const std::string& error_file) {
        std::vector<std::string> all{SENSOR_HOST_COMMAND};
        all.insert(all.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        for (auto& argument : all) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        int out[2];
        EXPECT_EQ(::pipe(out), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        posix_spawn_file_actions_addclose(&actions, out[1]);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, error_file.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        EXPECT_EQ(::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        out_ = ::fdopen(out[0], "r");
    }
    ~host_process() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            finish();
        }
    }
    host_process(const host_process&) = delete;
    host_process& operator=(const host_process&) = delete;

    // The next line of standard output; empty at its end.
    std::optional<std::string> line() {
        if (out_ == nullptr) {
            return std::nullopt;
        }
        std::string text;
        for (int c = std::fgetc(out_); c != EOF; c = std::fgetc(out_)) {
            if (c == '\n') {
                return text;
            }
            text += static_cast<char>(c);
        }
        return std::nullopt;
    }
    void signal(int number) const { ::kill(pid_, number); }
    // Stops reading, as `| head` does: the command's next write finds its output closed.
    void close_output() {
        std::fclose(out_);
        out_ = nullptr;
    }
    // The rest of standard output is read, then the exit status (128 + signal when killed).
    int finish() {
        while (line()) {
        }
        if (out_ != nullptr) {
            std::fclose(out_);
            out_ = nullptr;
        }
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t pid_ = -1;
    std::FILE* out_ = nullptr;
};

}  // namespace zentrova::monitoring_modules::testing
